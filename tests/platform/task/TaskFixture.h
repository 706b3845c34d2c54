#pragma once

// A scheduler over virtual time, and workers: tasks that log their name when they run and then do
// what the test gave them to do.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "platform/entity/Ptr.h"
#include "platform/task/Clock.h"
#include "platform/task/Task.h"
#include "platform/task/TaskScheduler.h"
#include "platform/task/VirtualTime.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

constexpr TaskPriority ordinary{3};

template <class TaskType>
class WorkerOf {
 public:
  using Work = std::function<void()>;

  WorkerOf(const Ptr<TaskScheduler>& scheduler,
           EventLog& log,
           const std::string& name,
           TaskPriority priority = ordinary,
           Work work = nullptr)
      : task(makeEntity<TaskType>(scheduler, priority, name)),
        watcher_(*task, [&log, name, work = std::move(work)](FieldId, const void*) {
          log.add(name);
          if (work) {
            work();
          }
        }) {}

  TaskType* operator->() const noexcept { return task.get(); }

  Ptr<TaskType> task;

 private:
  Watcher watcher_;
};

using Worker = WorkerOf<Task>;
using TimedWorker = WorkerOf<TimerTask>;

class TaskFixture : public testing::Test {
 protected:
  // Runs what is runnable and returns the names of what ran, in order.
  Events run() {
    runUntilIdle(*scheduler);
    return log.take();
  }
  // Runs and moves time on, and returns the names of what ran, in order.
  Events advance(Nanoseconds duration) {
    advanceTime(*scheduler, *clock, duration);
    return log.take();
  }

  Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  EventLog log;
};

}  // namespace Routing::Support
