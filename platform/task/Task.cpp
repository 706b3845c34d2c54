#include "platform/task/Task.h"

#include <algorithm>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing {

namespace {

const Ptr<TaskScheduler>& required(const Ptr<TaskScheduler>& scheduler) {
  if (!scheduler) {
    throw NullArgumentError("Routing::Task", "taskScheduler");
  }
  return scheduler;
}

}  // namespace

Task::Task(const Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority, String taskName)
    : taskScheduler_(required(taskScheduler)),
      taskPriority_(taskPriority),
      taskName_(std::move(taskName)) {
  ROUTING_ASSERT(taskPriority <= TaskPriority::leastUrgent && "a task has one of the priorities");
  taskScheduler_->taskAdd(*this);
}

Task::~Task() { taskScheduler_->taskRemove(*this); }

void Task::taskPriorityIs(TaskPriority taskPriority) noexcept {
  ROUTING_ASSERT(taskPriority <= TaskPriority::leastUrgent && "a task has one of the priorities");
  if (taskPriority == taskPriority_) {
    return;
  }
  const bool queued = queued_;
  if (queued) {
    taskScheduler_->dequeue(*this);
  }
  taskPriority_ = taskPriority;
  if (queued) {
    taskScheduler_->enqueue(*this);
  }
}

void Task::scheduleTask() noexcept {
  if (!queued_) {
    taskScheduler_->enqueue(*this);
  }
}

bool Task::taskShouldYield() const noexcept {
  ROUTING_ASSERT(taskIsRunning() && "only a task that runs can yield");
  return taskScheduler_->shouldYield();
}

void Task::run() noexcept {
  ++runCount_;
  publish(runField);
}

const TypeData& Task::typeData() const {
  static constexpr std::array attributes{attribute<&Task::taskName>("taskName"),
                                         attribute<&Task::taskPriority>("taskPriority"),
                                         attribute<&Task::taskIsRunnable>("runnable"),
                                         attribute<&Task::taskRunCount>("runs"),
                                         attribute<&Task::taskWorkCount>("work")};
  static const TypeData type("Routing::Task", attributes);
  return type;
}

TimerTask::~TimerTask() { stopTimerTask(); }

void TimerTask::scheduleTaskLowestDelay(Seconds delay) {
  constexpr Seconds longestDelay = std::chrono::hours(24 * 366 * 100);
  ROUTING_ASSERT(delay >= Seconds(0) && delay <= longestDelay &&
                 "a delay is between 0 and 100 years");
  const Nanoseconds now = taskScheduler()->clock()->now();
  const Nanoseconds expiry =
      now + std::min(std::chrono::round<Nanoseconds>(delay), Nanoseconds::max() - now);
  if (armed_ && expiry_ <= expiry) {
    return;
  }
  stopTimerTask();
  expiry_ = expiry;
  taskScheduler()->timerAdd(*this);
}

void TimerTask::stopTimerTask() noexcept {
  if (armed_) {
    taskScheduler()->timerRemove(*this);
  }
}

std::optional<Nanoseconds> TimerTask::expiry() const noexcept {
  return armed_ ? std::optional(expiry_) : std::nullopt;
}

const TypeData& TimerTask::typeData() const {
  static constexpr std::array attributes{attribute<&Task::taskName>("taskName"),
                                         attribute<&Task::taskPriority>("taskPriority"),
                                         attribute<&Task::taskIsRunnable>("runnable"),
                                         attribute<&Task::taskRunCount>("runs"),
                                         attribute<&Task::taskWorkCount>("work")};
  static const TypeData type("Routing::TimerTask", attributes);
  return type;
}

}  // namespace Routing
