#include "platform/task/TaskScheduler.h"

#include <algorithm>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/TypeData.h"
#include "platform/task/Task.h"

namespace Routing {

TaskScheduler::TaskScheduler(const Ptr<Clock>& clock) : clock_(clock) {
  if (!clock) {
    throw NullArgumentError("Routing::TaskScheduler", "clock");
  }
}

TaskScheduler::~TaskScheduler() {
  ROUTING_ASSERT(firstTask_ == nullptr && "tasks hold their scheduler");
}

void TaskScheduler::timeBudgetIs(Nanoseconds budget) noexcept {
  budgetIsTime_ = true;
  timeBudget_ = budget;
  nextReading_ = 0;
}

void TaskScheduler::workBudgetIs(std::uint64_t budget) noexcept {
  budgetIsTime_ = false;
  workBudget_ = budget;
}

bool TaskScheduler::shouldYield() noexcept {
  ++questions_;
  if (budgetIsTime_) {
    return questions_ >= nextReading_ && timeIsUp();
  }
  return workBudget_ != 0 && questions_ >= workBudget_;
}

// Reading the clock costs as much as a good part of what small pieces of work take. How many
// questions may pass without is told by the pace of this run, once there is one. In the second half
// of the budget it is read at every question: by then pieces may take longer than those before.
bool TaskScheduler::timeIsUp() noexcept {
  constexpr std::uint64_t mostSkipped = 8;
  constexpr std::uint64_t questionsOfAPace = 8;
  constexpr std::int64_t shareOfBudget = 64;
  const Nanoseconds elapsed = clock_->now() - runStart_;
  if (elapsed >= timeBudget_) {
    return true;
  }
  const Nanoseconds piece = elapsed / questions_;
  const bool early = elapsed < timeBudget_ / 2;
  std::uint64_t skipped = early ? std::min(mostSkipped, questions_ / questionsOfAPace) : 0;
  while (skipped > 0 && piece * skipped > timeBudget_ / shareOfBudget) {
    skipped /= 2;
  }
  nextReading_ = questions_ + 1 + skipped;
  return false;
}

bool TaskScheduler::runTurn() {
  while (fireDueTimer()) {
  }
  return runTask();
}

bool TaskScheduler::runTask() {
  ROUTING_ASSERT(running_ == nullptr && "one task runs at a time");
  Task* const next = mostUrgentTask();
  if (next == nullptr) {
    return false;
  }
  // The work may release the task, and with it the last hold on this scheduler.
  const Ptr<TaskScheduler> self(this);
  const Ptr<Task> task(next);
  dequeue(*task);
  running_ = next;
  questions_ = 0;
  nextReading_ = 0;
  runStart_ = clock_->now();
  task->run();
  running_ = nullptr;
  return true;
}

bool TaskScheduler::fireDueTimer() {
  if (timers_.empty() || timers_.front()->expiry_ > clock_->now()) {
    return false;
  }
  TimerTask& timer = *timers_.front();
  timerRemove(timer);
  timer.scheduleTask();
  return true;
}

bool TaskScheduler::hasRunnable() const noexcept { return mostUrgentTask() != nullptr; }

std::optional<Nanoseconds> TaskScheduler::nextDeadline() const {
  return hasRunnable() ? std::optional(clock_->now()) : nextTimer();
}

std::optional<Nanoseconds> TaskScheduler::nextTimer() const {
  return timers_.empty() ? std::nullopt : std::optional(timers_.front()->expiry_);
}

void TaskScheduler::walkTasks(const std::function<void(const Task&)>& visit) const {
  for (const Task* task = firstTask_; task != nullptr; task = task->nextTask_) {
    visit(*task);
  }
}

void TaskScheduler::taskAdd(Task& task) noexcept {
  task.previousTask_ = lastTask_;
  (lastTask_ == nullptr ? firstTask_ : lastTask_->nextTask_) = &task;
  lastTask_ = &task;
}

void TaskScheduler::taskRemove(Task& task) noexcept {
  if (task.queued_) {
    dequeue(task);
  }
  (task.previousTask_ == nullptr ? firstTask_ : task.previousTask_->nextTask_) = task.nextTask_;
  (task.nextTask_ == nullptr ? lastTask_ : task.nextTask_->previousTask_) = task.previousTask_;
}

void TaskScheduler::enqueue(Task& task) noexcept {
  Queue& queue = queueOf(task.taskPriority_);
  task.queued_ = true;
  task.previousQueued_ = queue.last;
  task.nextQueued_ = nullptr;
  (queue.last == nullptr ? queue.first : queue.last->nextQueued_) = &task;
  queue.last = &task;
}

void TaskScheduler::dequeue(Task& task) noexcept {
  Queue& queue = queueOf(task.taskPriority_);
  (task.previousQueued_ == nullptr ? queue.first : task.previousQueued_->nextQueued_) =
      task.nextQueued_;
  (task.nextQueued_ == nullptr ? queue.last : task.nextQueued_->previousQueued_) =
      task.previousQueued_;
  task.queued_ = false;
  task.previousQueued_ = nullptr;
  task.nextQueued_ = nullptr;
}

Task* TaskScheduler::mostUrgentTask() const noexcept {
  for (const Queue& queue : queues_) {
    if (queue.first != nullptr) {
      return queue.first;
    }
  }
  return nullptr;
}

bool TaskScheduler::firesBefore(const TimerTask& left, const TimerTask& right) noexcept {
  return left.expiry_ != right.expiry_ ? left.expiry_ < right.expiry_
                                       : left.arming_ < right.arming_;
}

void TaskScheduler::timerAdd(TimerTask& timer) {
  timers_.push_back(&timer);
  timer.armed_ = true;
  timer.arming_ = ++armings_;
  timer.place_ = timers_.size() - 1;
  timerUp(timer.place_);
}

void TaskScheduler::timerRemove(TimerTask& timer) noexcept {
  const std::size_t place = timer.place_;
  TimerTask* const last = timers_.back();
  timers_.pop_back();
  timer.armed_ = false;
  if (last == &timer) {
    return;
  }
  timerPlaceIs(place, last);
  timerUp(place);
  timerDown(last->place_);
}

void TaskScheduler::timerPlaceIs(std::size_t place, TimerTask* timer) noexcept {
  timers_[place] = timer;
  timer->place_ = place;
}

void TaskScheduler::timerUp(std::size_t place) noexcept {
  TimerTask* const timer = timers_[place];
  while (place > 0) {
    TimerTask* const parent = timers_[(place - 1) / 2];
    if (!firesBefore(*timer, *parent)) {
      break;
    }
    timerPlaceIs(place, parent);
    place = (place - 1) / 2;
  }
  timerPlaceIs(place, timer);
}

void TaskScheduler::timerDown(std::size_t place) noexcept {
  TimerTask* const timer = timers_[place];
  while (2 * place + 1 < timers_.size()) {
    std::size_t child = 2 * place + 1;
    if (child + 1 < timers_.size() && firesBefore(*timers_[child + 1], *timers_[child])) {
      ++child;
    }
    if (!firesBefore(*timers_[child], *timer)) {
      break;
    }
    timerPlaceIs(place, timers_[child]);
    place = child;
  }
  timerPlaceIs(place, timer);
}

const TypeData& TaskScheduler::typeData() const {
  static const TypeData type("Routing::TaskScheduler");
  return type;
}

namespace {

Ptr<TaskScheduler>& processScheduler() {
  static Ptr<TaskScheduler> scheduler;
  return scheduler;
}

}  // namespace

Ptr<TaskScheduler> TaskSchedulerRoot::findOrCreateScheduler() {
  Ptr<TaskScheduler>& scheduler = processScheduler();
  if (!scheduler) {
    scheduler = makeEntity<TaskScheduler>(makeEntity<RealClock>());
  }
  return scheduler;
}

void TaskSchedulerRoot::schedulerIs(const Ptr<TaskScheduler>& scheduler) {
  processScheduler() = scheduler;
}

}  // namespace Routing
