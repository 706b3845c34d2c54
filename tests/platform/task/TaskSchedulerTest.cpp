#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <stdexcept>

#include "platform/entity/Exceptions.h"
#include "platform/entity/TypeData.h"
#include "platform/task/TaskScheduler.h"
#include "tests/platform/task/TaskFixture.h"

namespace Routing {
namespace {

using Support::Events;
using Support::ordinary;
using Support::Worker;
using testing::HasSubstr;
using testing::KilledBySignal;

class TaskSchedulerTest : public Support::TaskFixture {
 protected:
  Events walked() const {
    Events names;
    scheduler->walkTasks([&](const Task& task) { names.push_back(task.taskName()); });
    return names;
  }
};
using TaskSchedulerDeathTest = TaskSchedulerTest;

TEST_F(TaskSchedulerTest, RunsByPriorityThenInOrderOfScheduling) {
  const Worker a{scheduler, log, "a", TaskPriority{5}};
  const Worker b{scheduler, log, "b", TaskPriority{3}};
  const Worker c{scheduler, log, "c", TaskPriority{5}};
  const Worker d{scheduler, log, "d", TaskPriority{3}};
  c->scheduleTask();
  d->scheduleTask();
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"d", "b", "c", "a"}));
}

TEST_F(TaskSchedulerTest, EveryPriorityFromZeroToSevenHasItsTurn) {
  const Worker tasks[] = {{scheduler, log, "7", TaskPriority{7}},
                          {scheduler, log, "4", TaskPriority{4}},
                          {scheduler, log, "2", TaskPriority{2}},
                          {scheduler, log, "0", TaskPriority{0}},
                          {scheduler, log, "6", TaskPriority{6}},
                          {scheduler, log, "1", TaskPriority{1}},
                          {scheduler, log, "5", TaskPriority{5}},
                          {scheduler, log, "3", TaskPriority{3}}};
  for (const Worker& task : tasks) {
    task->scheduleTask();
  }

  EXPECT_EQ(run(), (Events{"0", "1", "2", "3", "4", "5", "6", "7"}));
}

TEST_F(TaskSchedulerTest, ATaskScheduledTwiceRunsOnceInItsFirstPlace) {
  const Worker a{scheduler, log, "a"};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  b->scheduleTask();
  a->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "b"}));
  EXPECT_EQ(run(), Events{});
}

TEST_F(TaskSchedulerTest, ATaskThatSchedulesItselfRunsAfterThoseThatWait) {
  int runsLeft = 2;
  Ptr<Task> self;
  const Worker a{scheduler, log, "a", ordinary, [&] {
                   if (runsLeft-- > 0) {
                     self->scheduleTask();
                   }
                 }};
  self = a.task;
  const Worker b{scheduler, log, "b"};
  const Worker lessUrgent{scheduler, log, "less urgent", TaskPriority{4}};
  a->scheduleTask();
  lessUrgent->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "b", "a", "a", "less urgent"}));
}

TEST_F(TaskSchedulerTest, AMoreUrgentTaskScheduledInARunWaitsForItsEndAndRunsNext) {
  const Worker urgent{scheduler, log, "urgent", TaskPriority::mostUrgent};
  const Worker a{scheduler, log, "a", ordinary, [&] {
                   urgent->scheduleTask();
                   log.add("a goes on");
                 }};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "a goes on", "urgent", "b"}));
}

TEST_F(TaskSchedulerTest, RunTaskRunsOneAndTellsWhetherThereWasOne) {
  const Worker a{scheduler, log, "a"};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_TRUE(scheduler->runTask());
  EXPECT_EQ(log.take(), Events{"a"});
  EXPECT_TRUE(scheduler->hasRunnable());
  EXPECT_TRUE(scheduler->runTask());
  EXPECT_EQ(log.take(), Events{"b"});
  EXPECT_FALSE(scheduler->hasRunnable());
  EXPECT_FALSE(scheduler->runTask());
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(TaskSchedulerTest, ATurnRunsOneTask) {
  const Worker a{scheduler, log, "a"};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_TRUE(scheduler->runTurn());
  EXPECT_EQ(log.take(), Events{"a"});
  EXPECT_TRUE(scheduler->runTurn());
  EXPECT_FALSE(scheduler->runTurn());
}

TEST_F(TaskSchedulerTest, ARunThatNobodySubscribesToIsLostButCounted) {
  const auto task = makeEntity<Task>(scheduler, ordinary, "t");
  task->scheduleTask();
  EXPECT_TRUE(scheduler->runTask());
  EXPECT_EQ(task->taskRunCount(), 1U);

  const Support::Watcher late(*task, [&](FieldId, const void*) { log.add("late"); });
  EXPECT_EQ(run(), Events{});
}

TEST_F(TaskSchedulerTest, ARunIsPublishedAsRunFieldWithoutAKey) {
  const auto task = makeEntity<Task>(scheduler, ordinary, "t");
  const Support::Watcher watcher(*task, [&](FieldId field, const void* key) {
    log.add(field == Task::runField && key == nullptr ? "run" : "other");
  });
  task->scheduleTask();

  EXPECT_EQ(run(), Events{"run"});
}

TEST_F(TaskSchedulerTest, TheRunningTaskKnowsThatItRunsAndIsNoLongerRunnable) {
  Ptr<Task> self;
  const Worker other{scheduler, log, "other"};
  const Worker a{scheduler, log, "a", ordinary, [&] {
                   EXPECT_TRUE(self->taskIsRunning());
                   EXPECT_FALSE(self->taskIsRunnable());
                   EXPECT_FALSE(other->taskIsRunning());
                   EXPECT_EQ(scheduler->runningTask(), self.get());
                 }};
  self = a.task;
  a->scheduleTask();
  EXPECT_TRUE(a->taskIsRunnable());
  EXPECT_FALSE(a->taskIsRunning());

  EXPECT_EQ(run(), Events{"a"});
  EXPECT_FALSE(a->taskIsRunning());
  EXPECT_EQ(scheduler->runningTask(), nullptr);
}

TEST_F(TaskSchedulerTest, ARunnableTaskGivenAnotherPriorityGoesToTheEndOfThatQueue) {
  const Worker a{scheduler, log, "a", TaskPriority{2}};
  const Worker b{scheduler, log, "b", TaskPriority{2}};
  const Worker c{scheduler, log, "c", TaskPriority{4}};
  const Worker d{scheduler, log, "d", TaskPriority{4}};
  c->scheduleTask();
  a->scheduleTask();
  b->scheduleTask();
  a->taskPriorityIs(TaskPriority{4});
  d->scheduleTask();

  EXPECT_EQ(a->taskPriority(), TaskPriority{4});
  EXPECT_EQ(run(), (Events{"b", "c", "a", "d"}));
}

TEST_F(TaskSchedulerTest, ARunnableTaskGivenTheSamePriorityKeepsItsPlace) {
  const Worker a{scheduler, log, "a"};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  b->scheduleTask();
  a->taskPriorityIs(ordinary);

  EXPECT_EQ(run(), (Events{"a", "b"}));
}

TEST_F(TaskSchedulerTest, APriorityGivenToAnIdleTaskHoldsFromItsNextScheduling) {
  const Worker a{scheduler, log, "a"};
  const Worker b{scheduler, log, "b"};
  b->taskPriorityIs(TaskPriority::mostUrgent);
  EXPECT_FALSE(b->taskIsRunnable());
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"b", "a"}));
}

TEST_F(TaskSchedulerTest, APriorityChangedInTheTasksOwnRunMovesItsNextRun) {
  int runsLeft = 1;
  Ptr<Task> self;
  const Worker a{scheduler, log, "a", ordinary, [&] {
                   if (runsLeft-- > 0) {
                     self->scheduleTask();
                     self->taskPriorityIs(TaskPriority{1});
                   }
                 }};
  self = a.task;
  const Worker b{scheduler, log, "b", TaskPriority{2}};
  a->scheduleTask();
  EXPECT_TRUE(scheduler->runTask());
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "a", "b"}));
}

TEST_F(TaskSchedulerTest, ADestroyedTaskLeavesTheQueueInOrder) {
  const Worker a{scheduler, log, "a"};
  std::optional<Worker> b(std::in_place, scheduler, log, "b");
  const Worker c{scheduler, log, "c"};
  a->scheduleTask();
  (*b)->scheduleTask();
  c->scheduleTask();
  b.reset();

  EXPECT_EQ(run(), (Events{"a", "c"}));
}

TEST_F(TaskSchedulerTest, ATaskMayReleaseAnotherThatIsRunnable) {
  std::optional<Worker> victim(std::in_place, scheduler, log, "victim");
  const Worker a{scheduler, log, "a", ordinary, [&] { victim.reset(); }};
  const Worker b{scheduler, log, "b"};
  a->scheduleTask();
  (*victim)->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "b"}));
}

TEST_F(TaskSchedulerTest, ATaskReleasedInItsOwnRunLivesToTheEndOfTheRun) {
  const TypeData& type = makeEntity<Task>(scheduler, ordinary, "any")->typeData();
  const std::uint64_t before = type.live();
  Ptr<Task> task = makeEntity<Task>(scheduler, ordinary, "t");
  Task* const plain = task.get();
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    task = nullptr;
    EXPECT_EQ(plain->taskName(), "t");
    EXPECT_EQ(type.live(), before + 1);
  });
  task->scheduleTask();

  EXPECT_TRUE(scheduler->runTask());
  EXPECT_EQ(type.live(), before);
  EXPECT_FALSE(watcher.subscribed());
}

TEST_F(TaskSchedulerTest, ATaskReleasedInItsOwnRunAfterSchedulingItselfDoesNotRunAgain) {
  Ptr<Task> task = makeEntity<Task>(scheduler, ordinary, "t");
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    log.add("run");
    task->scheduleTask();
    task = nullptr;
  });
  task->scheduleTask();

  EXPECT_EQ(run(), Events{"run"});
  EXPECT_FALSE(scheduler->hasRunnable());
}

// Runs a task that drops every hold on itself and on its scheduler, driven by `drive`.
template <class Drive>
void releaseSchedulerInARun(Drive drive) {
  const auto clock = makeEntity<VirtualClock>();
  auto scheduler = makeEntity<TaskScheduler>(clock);
  const TypeData& type = scheduler->typeData();
  const std::uint64_t before = type.live();
  auto task = makeEntity<Task>(scheduler, ordinary, "t");
  bool ran = false;
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    ran = true;
    task = nullptr;
    scheduler = nullptr;
    EXPECT_EQ(type.live(), before);
  });
  task->scheduleTask();

  drive(*scheduler, *clock);
  EXPECT_TRUE(ran);
  EXPECT_EQ(type.live(), before - 1);
}

TEST(TaskSchedulerRelease, TheLastHoldMayGoInARunOfRunTask) {
  releaseSchedulerInARun(
      [](TaskScheduler& scheduler, VirtualClock&) { EXPECT_TRUE(scheduler.runTask()); });
}

TEST(TaskSchedulerRelease, TheLastHoldMayGoInARunOfRunTurn) {
  releaseSchedulerInARun(
      [](TaskScheduler& scheduler, VirtualClock&) { EXPECT_TRUE(scheduler.runTurn()); });
}

TEST(TaskSchedulerRelease, TheLastHoldMayGoInARunOfRunUntilIdle) {
  releaseSchedulerInARun([](TaskScheduler& scheduler, VirtualClock&) { runUntilIdle(scheduler); });
}

TEST(TaskSchedulerRelease, TheLastHoldMayGoInARunOfAdvanceTime) {
  releaseSchedulerInARun([](TaskScheduler& scheduler, VirtualClock& clock) {
    advanceTime(scheduler, clock, std::chrono::seconds(1));
  });
}

TEST_F(TaskSchedulerTest, TasksHoldTheirScheduler) {
  const auto task = makeEntity<Task>(scheduler, ordinary, "t");
  EXPECT_EQ(task->taskScheduler(), scheduler);
  const TypeData& type = scheduler->typeData();
  const std::uint64_t before = type.live();
  scheduler = nullptr;

  EXPECT_EQ(type.live(), before);
  EXPECT_FALSE(task->taskScheduler()->runTask());
}

TEST_F(TaskSchedulerTest, ATaskMayRunATaskOfAnotherScheduler) {
  const auto inner = makeEntity<TaskScheduler>(clock);
  const Worker b{inner, log, "b"};
  const Worker a{scheduler, log, "a", ordinary, [&] { EXPECT_TRUE(inner->runTask()); }};
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_EQ(run(), (Events{"a", "b"}));
}

TEST_F(TaskSchedulerTest, WalkTasksGoesInOrderOfCreationWhateverIsRunnable) {
  const Worker a{scheduler, log, "a", TaskPriority{7}};
  std::optional<Worker> b(std::in_place, scheduler, log, "b");
  const auto c = makeEntity<TimerTask>(scheduler, ordinary, "c");
  c->scheduleTask();
  EXPECT_EQ(walked(), (Events{"a", "b", "c"}));

  b.reset();
  EXPECT_EQ(walked(), (Events{"a", "c"}));
  const Worker d{scheduler, log, "d", TaskPriority{0}};
  EXPECT_EQ(walked(), (Events{"a", "c", "d"}));
}

TEST_F(TaskSchedulerTest, WalkTasksOfAnEmptySchedulerVisitsNothing) {
  std::optional<Worker> only(std::in_place, scheduler, log, "only");
  only.reset();
  EXPECT_EQ(walked(), Events{});
}

TEST_F(TaskSchedulerTest, ATaskCountsItsRunsAndTheWorkItReports) {
  Ptr<Task> self;
  const Worker a{scheduler, log, "a", ordinary, [&] { self->taskWorkCountInc(20); }};
  self = a.task;
  EXPECT_EQ(a->taskRunCount(), 0U);
  EXPECT_EQ(a->taskWorkCount(), 0U);
  a->scheduleTask();
  run();
  a->taskWorkCountInc(2);
  a->scheduleTask();
  run();

  EXPECT_EQ(a->taskRunCount(), 2U);
  EXPECT_EQ(a->taskWorkCount(), 42U);
}

TEST_F(TaskSchedulerTest, ATaskNeedsAScheduler) {
  try {
    makeEntity<Task>(nullptr, ordinary, "t");
    FAIL() << "made without a scheduler";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::Task");
    EXPECT_EQ(error.attribute(), "taskScheduler");
  }
}

TEST_F(TaskSchedulerTest, ASchedulerNeedsAClock) {
  try {
    makeEntity<TaskScheduler>(nullptr);
    FAIL() << "made without a clock";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::TaskScheduler");
    EXPECT_EQ(error.attribute(), "clock");
  }
}

TEST_F(TaskSchedulerTest, TypeDataTellsOfATaskInDeclarationOrder) {
  const Worker a{scheduler, log, "a", TaskPriority{5}};
  a->scheduleTask();
  a->taskWorkCountInc(7);
  Events attributes;
  for (const AttributeData& attribute : a->typeData().attributes()) {
    attributes.push_back(std::string(attribute.name) + "=" + attribute.value(*a.task));
  }

  EXPECT_EQ(a->typeData().name(), "Routing::Task");
  EXPECT_EQ(attributes,
            (Events{"taskName=a", "taskPriority=5", "runnable=true", "runs=0", "work=7"}));
}

TEST_F(TaskSchedulerDeathTest, RunningATaskFromATaskAsserts) {
  const Worker b{scheduler, log, "b"};
  const Worker a{scheduler, log, "a", ordinary, [&] { scheduler->runTask(); }};
  a->scheduleTask();
  b->scheduleTask();

  EXPECT_EXIT(scheduler->runTask(),
              KilledBySignal(SIGABRT),
              HasSubstr("runTask: Assertion \"running_ == nullptr && \"one task runs at a time\"\" "
                        "failed."));
}

TEST_F(TaskSchedulerDeathTest, AnExceptionThatLeavesARunEndsTheProcess) {
  const Worker a{scheduler, log, "a", ordinary, [] {
                   throw std::runtime_error("nobody to hand it to");
                 }};
  a->scheduleTask();

  const auto catching = [&] {
    try {
      scheduler->runTask();
    } catch (const std::runtime_error&) {
      std::_Exit(0);
    }
  };
  EXPECT_EXIT(catching(), KilledBySignal(SIGABRT), HasSubstr("nobody to hand it to"));
}

TEST_F(TaskSchedulerDeathTest, APriorityBeyondTheLeastUrgentAsserts) {
  EXPECT_EXIT(makeEntity<Task>(scheduler, TaskPriority{8}, "t"),
              KilledBySignal(SIGABRT),
              HasSubstr("a task has one of the priorities"));
  const auto task = makeEntity<Task>(scheduler, ordinary, "t");
  EXPECT_EXIT(task->taskPriorityIs(TaskPriority{8}),
              KilledBySignal(SIGABRT),
              HasSubstr("a task has one of the priorities"));
}

}  // namespace
}  // namespace Routing
