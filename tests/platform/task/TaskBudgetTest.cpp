// When a task is told to yield: by a time slice, or from the N-th question of a run on.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "tests/platform/task/TaskFixture.h"

namespace Routing {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::KilledBySignal;
using Answers = std::vector<bool>;

class TaskBudget : public Support::TaskFixture {
 protected:
  // Asks once after each step of the clock, in one run of the task.
  Answers askAfter(const std::vector<Nanoseconds>& steps) {
    Answers answers;
    const Support::Watcher watcher(*task, [&](FieldId, const void*) {
      for (const Nanoseconds step : steps) {
        clock->nowIs(clock->now() + step);
        answers.push_back(task->taskShouldYield());
      }
    });
    task->scheduleTask();
    EXPECT_TRUE(scheduler->runTask());
    return answers;
  }
  // Asks that often in one run, time standing still.
  Answers ask(std::size_t questions) {
    return askAfter(std::vector<Nanoseconds>(questions, Nanoseconds(0)));
  }

  Ptr<Task> task = makeEntity<Task>(scheduler, Support::ordinary, "t");
};
using TaskBudgetDeathTest = TaskBudget;

TEST_F(TaskBudget, TheSliceIsTenMillisecondsUnlessSetOtherwise) {
  EXPECT_EQ(askAfter({Nanoseconds(0), Nanoseconds(9'999'999), Nanoseconds(1), Nanoseconds(0)}),
            (Answers{false, false, true, true}));
}

TEST_F(TaskBudget, EachRunHasASliceOfItsOwn) {
  clock->nowIs(std::chrono::hours(1));
  EXPECT_EQ(askAfter({milliseconds(9), milliseconds(1)}), (Answers{false, true}));
  clock->nowIs(clock->now() + milliseconds(50));
  EXPECT_EQ(askAfter({milliseconds(9), milliseconds(1)}), (Answers{false, true}));
}

TEST_F(TaskBudget, TheSliceCanBeSet) {
  scheduler->timeBudgetIs(milliseconds(3));
  EXPECT_EQ(askAfter({milliseconds(2), milliseconds(1)}), (Answers{false, true}));
}

TEST_F(TaskBudget, ASliceOfNothingYieldsAtOnce) {
  scheduler->timeBudgetIs(Nanoseconds(0));
  EXPECT_EQ(ask(2), (Answers{true, true}));
}

TEST_F(TaskBudget, ASliceSetDuringARunCountsFromTheRunsBeginning) {
  bool answer = false;
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    clock->nowIs(clock->now() + milliseconds(5));
    scheduler->timeBudgetIs(milliseconds(5));
    answer = task->taskShouldYield();
  });
  task->scheduleTask();
  EXPECT_TRUE(scheduler->runTask());
  EXPECT_TRUE(answer);
}

TEST_F(TaskBudget, AWorkBudgetOfNYieldsFromTheNthQuestionOn) {
  scheduler->workBudgetIs(1);
  EXPECT_EQ(ask(3), (Answers{true, true, true}));
  scheduler->workBudgetIs(2);
  EXPECT_EQ(ask(4), (Answers{false, true, true, true}));
  scheduler->workBudgetIs(4);
  EXPECT_EQ(ask(5), (Answers{false, false, false, true, true}));
}

TEST_F(TaskBudget, QuestionsAreCountedAnewInEachRun) {
  scheduler->workBudgetIs(3);
  EXPECT_EQ(ask(2), (Answers{false, false}));
  EXPECT_EQ(ask(3), (Answers{false, false, true}));
  EXPECT_EQ(ask(3), (Answers{false, false, true}));
}

TEST_F(TaskBudget, AWorkBudgetOfZeroNeverYields) {
  scheduler->workBudgetIs(0);
  EXPECT_EQ(ask(10'000), Answers(10'000, false));
  EXPECT_EQ(askAfter({std::chrono::hours(1)}), Answers{false});
}

TEST_F(TaskBudget, UnderAWorkBudgetTimeDoesNotMatter) {
  scheduler->workBudgetIs(3);
  EXPECT_EQ(askAfter({milliseconds(20), milliseconds(20), milliseconds(0)}),
            (Answers{false, false, true}));
}

TEST_F(TaskBudget, UnderATimeBudgetQuestionsDoNotMatter) {
  scheduler->workBudgetIs(1);
  scheduler->timeBudgetIs(milliseconds(10));
  EXPECT_EQ(ask(100), Answers(100, false));
}

TEST_F(TaskBudget, WorkThatSlowsDownLengthensTheSliceByOnePieceAtMost) {
  using std::chrono::microseconds;
  for (const std::size_t quick : {100U, 4900U, 9900U}) {
    std::vector<Nanoseconds> steps(quick, microseconds(1));
    steps.insert(steps.end(), 100, microseconds(500));
    const Answers answers = askAfter(steps);
    const auto first = std::find(answers.begin(), answers.end(), true) - answers.begin();
    Nanoseconds slice{0};
    for (std::ptrdiff_t step = 0; step <= first; ++step) {
      slice += steps.at(static_cast<std::size_t>(step));
    }
    EXPECT_GE(slice, milliseconds(10)) << quick;
    EXPECT_LT(slice, microseconds(10500)) << quick;
  }
}

TEST_F(TaskBudget, ReportedWorkDoesNotUseUpTheBudget) {
  scheduler->workBudgetIs(2);
  Answers answers;
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    task->taskWorkCountInc(100);
    answers.push_back(task->taskShouldYield());
    answers.push_back(task->taskShouldYield());
  });
  task->scheduleTask();
  EXPECT_TRUE(scheduler->runTask());
  EXPECT_EQ(answers, (Answers{false, true}));
  EXPECT_EQ(task->taskWorkCount(), 100U);
}

TEST_F(TaskBudget, WorkThatYieldsAndSchedulesItselfAlternatesWithOthers) {
  scheduler->workBudgetIs(2);
  int piecesLeft = 5;
  const Support::Watcher watcher(*task, [&](FieldId, const void*) {
    while (piecesLeft > 0) {
      log.add("piece " + std::to_string(piecesLeft--));
      if (task->taskShouldYield()) {
        task->scheduleTask();
        return;
      }
    }
  });
  Ptr<Task> otherTask;
  const Support::Worker other(scheduler, log, "other", Support::ordinary, [&] {
    if (piecesLeft > 0) {
      otherTask->scheduleTask();
    }
  });
  otherTask = other.task;
  task->scheduleTask();
  other->scheduleTask();

  EXPECT_EQ(run(),
            (Support::Events{"piece 5",
                             "piece 4",
                             "other",
                             "piece 3",
                             "piece 2",
                             "other",
                             "piece 1",
                             "other"}));
}

TEST_F(TaskBudgetDeathTest, AskingOutsideOfARunAsserts) {
  EXPECT_EXIT(static_cast<void>(task->taskShouldYield()),
              KilledBySignal(SIGABRT),
              HasSubstr("only a task that runs can yield"));
}

TEST_F(TaskBudgetDeathTest, AskingInTheRunOfAnotherTaskAsserts) {
  const Support::Worker other(scheduler, log, "other", Support::ordinary, [&] {
    static_cast<void>(task->taskShouldYield());
  });
  other->scheduleTask();
  EXPECT_EXIT(scheduler->runTask(),
              KilledBySignal(SIGABRT),
              HasSubstr("only a task that runs can yield"));
}

}  // namespace
}  // namespace Routing
