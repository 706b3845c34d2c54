#pragma once

// Task: a piece of work that the scheduler runs when it is scheduled. TimerTask: one that schedules
// itself when a delay has passed.
//
// Publishes: runField, without a key, each time the scheduler runs it. Whoever is to do the work
// subscribes. A run that nobody is subscribed for is lost.

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/net/IpGenAddr.h"
#include "platform/task/TaskScheduler.h"

namespace Routing {

class Task : public Entity, public Publisher {
 public:
  static constexpr FieldId runField{1};

  // Throws: NullArgumentError without a scheduler.
  Task(const Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority, String taskName);
  ~Task() override;

  const Ptr<TaskScheduler>& taskScheduler() const noexcept { return taskScheduler_; }
  TaskPriority taskPriority() const noexcept { return taskPriority_; }
  // A runnable task goes to the end of its new queue.
  void taskPriorityIs(TaskPriority taskPriority) noexcept;
  const String& taskName() const noexcept { return taskName_; }

  // Makes the task runnable; no effect when it is.
  void scheduleTask() noexcept;
  // Requires: called from this task's run.
  bool taskShouldYield() const noexcept;
  // Reports units of work done.
  void taskWorkCountInc(std::uint64_t units) noexcept { workCount_ += units; }

  bool taskIsRunnable() const noexcept { return queued_; }
  bool taskIsRunning() const noexcept { return taskScheduler_->runningTask() == this; }
  std::uint64_t taskRunCount() const noexcept { return runCount_; }
  std::uint64_t taskWorkCount() const noexcept { return workCount_; }

  const TypeData& typeData() const override;

 private:
  friend class TaskScheduler;
  // An exception of the work ends the process here.
  void run() noexcept;

  Ptr<TaskScheduler> taskScheduler_;
  TaskPriority taskPriority_;
  bool queued_ = false;
  String taskName_;
  std::uint64_t runCount_ = 0;
  std::uint64_t workCount_ = 0;

  // The scheduler's lists.
  Task* previousQueued_ = nullptr;
  Task* nextQueued_ = nullptr;
  Task* previousTask_ = nullptr;
  Task* nextTask_ = nullptr;
};

class TimerTask final : public Task {
 public:
  using Seconds = std::chrono::duration<double>;

  TimerTask(const Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority, String taskName)
      : Task(taskScheduler, taskPriority, std::move(taskName)) {}
  ~TimerTask() override;

  // Arms the timer to fire once, that long from now, to the nearest nanosecond; at the latest at
  // the end of the clock's range. An armed timer keeps the earlier expiry of the two.
  // Requires: not negative; at most 100 years.
  void scheduleTaskLowestDelay(Seconds delay);
  // Disarms the timer; no effect when it is not armed. A run that is due already is not taken back.
  void stopTimerTask() noexcept;

  // When it will fire; nothing when it is stopped.
  std::optional<Nanoseconds> expiry() const noexcept;

  const TypeData& typeData() const override;

 private:
  friend class TaskScheduler;

  bool armed_ = false;
  Nanoseconds expiry_{0};
  std::uint64_t arming_ = 0;
  std::size_t place_ = 0;
};

}  // namespace Routing
