#pragma once

// The task runtime of an agent's event loop.
//
// A TaskScheduler runs one task at a time: the runnable task of the most urgent priority, among
// equals the one that was scheduled first. It never blocks. A host asks for the next deadline,
// waits as it likes, and runs one turn:
//
//   while (scheduler->runTurn()) {}          // or one turn, then the host's own work
//   wait until scheduler->nextDeadline();    // nothing: until a task is scheduled
//
// A task that has much to do asks taskShouldYield() between two pieces of work and, when told to,
// schedules itself again and returns. The answer comes from the scheduler's budget: a time slice
// (10 ms unless set otherwise), or a number of questions, which makes slices the same in every run.
//
// Tasks hold their scheduler; the scheduler knows its tasks by plain pointers, which they take back
// when they are destroyed. A timer (TimerTask) becomes a runnable task when its time has come.
//
// Invariants:
//   1. A task is in at most one queue, at most once.
//   2. A task that schedules itself while it runs runs again after those that wait already.
//   3. Timers fire in order of expiry, among equals in order of arming.
//   4. A task that runs is held, so its notifiee may release it.
// An exception that leaves a task's run ends the process: there is nobody to hand it to.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/task/Clock.h"

namespace Routing {

class Task;
class TimerTask;

// 0 is the most urgent, 7 the least.
enum class TaskPriority : std::uint8_t { mostUrgent = 0, leastUrgent = 7 };

class TaskScheduler final : public Entity {
 public:
  static constexpr Nanoseconds defaultTimeBudget = std::chrono::milliseconds(10);

  explicit TaskScheduler(const Ptr<Clock>& clock);
  ~TaskScheduler() override;

  const Ptr<Clock>& clock() const noexcept { return clock_; }

  // From now on a task should yield once its run has taken this long. A task that asks often is
  // answered without a look at the clock now and then in the first half of the budget, as its pace
  // so far leaves room.
  void timeBudgetIs(Nanoseconds budget) noexcept;
  // From now on a task should yield from the budget-th question of its run on; 0: never.
  void workBudgetIs(std::uint64_t budget) noexcept;

  // Fires every timer that is due, then runs one task. False when no task was runnable.
  bool runTurn();
  // Runs one task. False when none was runnable. Requires: not called from a task.
  bool runTask();
  // Fires the timer that is due first. False when none is due.
  bool fireDueTimer();

  bool hasRunnable() const noexcept;
  // When the next turn has something to do: now when a task is runnable, else the expiry of the
  // next timer, else nothing.
  std::optional<Nanoseconds> nextDeadline() const;
  // The expiry of the next timer.
  std::optional<Nanoseconds> nextTimer() const;
  // The task that runs, or null.
  const Task* runningTask() const noexcept { return running_; }
  // Every task, in order of creation.
  void walkTasks(const std::function<void(const Task&)>& visit) const;

  const TypeData& typeData() const override;

 private:
  friend class Task;
  friend class TimerTask;
  static constexpr std::size_t priorityCount = 8;

  struct Queue {
    Task* first = nullptr;
    Task* last = nullptr;
  };

  Queue& queueOf(TaskPriority priority) noexcept {
    return queues_[static_cast<std::size_t>(priority)];
  }
  void taskAdd(Task& task) noexcept;
  void taskRemove(Task& task) noexcept;
  void enqueue(Task& task) noexcept;
  void dequeue(Task& task) noexcept;
  Task* mostUrgentTask() const noexcept;
  bool shouldYield() noexcept;
  bool timeIsUp() noexcept;

  static bool firesBefore(const TimerTask& left, const TimerTask& right) noexcept;
  void timerAdd(TimerTask& timer);
  void timerRemove(TimerTask& timer) noexcept;
  void timerPlaceIs(std::size_t place, TimerTask* timer) noexcept;
  void timerUp(std::size_t place) noexcept;
  void timerDown(std::size_t place) noexcept;

  Ptr<Clock> clock_;
  std::array<Queue, priorityCount> queues_{};
  Task* firstTask_ = nullptr;
  Task* lastTask_ = nullptr;
  Task* running_ = nullptr;

  bool budgetIsTime_ = true;
  Nanoseconds timeBudget_ = defaultTimeBudget;
  std::uint64_t workBudget_ = 0;
  // Of the present run.
  Nanoseconds runStart_{0};
  std::uint64_t questions_ = 0;
  // The question at which the clock is read next.
  std::uint64_t nextReading_ = 0;

  // A binary heap by (expiry, order of arming).
  std::vector<TimerTask*> timers_;
  std::uint64_t armings_ = 0;
};

// The scheduler that a process shares. Made with the real clock when it is first asked for; a host
// or a test that wants another one installs it before.
class TaskSchedulerRoot {
 public:
  static Ptr<TaskScheduler> findOrCreateScheduler();
  // Null drops the present one; the next question makes a new one.
  static void schedulerIs(const Ptr<TaskScheduler>& scheduler);
};

}  // namespace Routing
