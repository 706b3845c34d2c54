#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <optional>

#include "platform/entity/TypeData.h"
#include "tests/platform/task/TaskFixture.h"

namespace Routing {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Support::Events;
using Support::ordinary;
using Support::TimedWorker;
using testing::HasSubstr;
using testing::KilledBySignal;
using Seconds = TimerTask::Seconds;

class TimerTaskTest : public Support::TaskFixture {
 protected:
  TimedWorker timer{scheduler, log, "timer"};
};
using TimerTaskDeathTest = TimerTaskTest;

TEST_F(TimerTaskTest, FiresWhenTheDelayHasPassedNotBefore) {
  timer->scheduleTaskLowestDelay(Seconds(300.0));
  EXPECT_EQ(timer->expiry(), seconds(300));
  EXPECT_EQ(advance(seconds(300) - Nanoseconds(1)), Events{});
  EXPECT_EQ(advance(Nanoseconds(1)), Events{"timer"});
}

TEST_F(TimerTaskTest, FiresOnce) {
  timer->scheduleTaskLowestDelay(Seconds(1));
  EXPECT_EQ(advance(seconds(1)), Events{"timer"});
  EXPECT_EQ(timer->expiry(), std::nullopt);
  EXPECT_EQ(advance(seconds(10)), Events{});
}

TEST_F(TimerTaskTest, TheDelayCountsFromWhenItIsArmed) {
  clock->nowIs(seconds(1000));
  timer->scheduleTaskLowestDelay(Seconds(2));
  EXPECT_EQ(timer->expiry(), seconds(1002));
}

TEST_F(TimerTaskTest, NoDelayOfWholeMillisecondsIsShortened) {
  for (int count = 0; count < 10'000; ++count) {
    timer->scheduleTaskLowestDelay(Seconds(count / 1000.0));
    ASSERT_EQ(timer->expiry(), milliseconds(count));
    timer->stopTimerTask();
  }
}

TEST_F(TimerTaskTest, ADelayOfNothingFiresAtOnceButNotInsideTheCall) {
  timer->scheduleTaskLowestDelay(Seconds(0));
  EXPECT_EQ(log.take(), Events{});
  EXPECT_FALSE(timer->taskIsRunnable());
  EXPECT_TRUE(scheduler->runTurn());
  EXPECT_EQ(log.take(), Events{"timer"});
}

TEST_F(TimerTaskTest, TimersFireInOrderOfExpiryAmongEqualsInOrderOfArming) {
  const TimedWorker a{scheduler, log, "a"};
  const TimedWorker b{scheduler, log, "b"};
  const TimedWorker c{scheduler, log, "c"};
  const TimedWorker d{scheduler, log, "d"};
  c->scheduleTaskLowestDelay(Seconds(2));
  a->scheduleTaskLowestDelay(Seconds(3));
  d->scheduleTaskLowestDelay(Seconds(1));
  b->scheduleTaskLowestDelay(Seconds(2));
  timer->scheduleTaskLowestDelay(Seconds(2));

  EXPECT_EQ(advance(seconds(3)), (Events{"d", "c", "b", "timer", "a"}));
}

TEST_F(TimerTaskTest, AnArmedTimerKeepsTheEarlierOfTwoExpiries) {
  timer->scheduleTaskLowestDelay(Seconds(10));
  timer->scheduleTaskLowestDelay(Seconds(20));
  EXPECT_EQ(timer->expiry(), seconds(10));
  timer->scheduleTaskLowestDelay(Seconds(5));
  EXPECT_EQ(timer->expiry(), seconds(5));
  EXPECT_EQ(advance(seconds(4)), Events{});
  timer->scheduleTaskLowestDelay(Seconds(2));
  EXPECT_EQ(timer->expiry(), seconds(5));

  EXPECT_EQ(advance(seconds(30)), Events{"timer"});
}

TEST_F(TimerTaskTest, ArmingAgainForTheSameMomentKeepsThePlaceAmongEquals) {
  const TimedWorker other{scheduler, log, "other"};
  timer->scheduleTaskLowestDelay(Seconds(1));
  other->scheduleTaskLowestDelay(Seconds(1));
  timer->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(1)), (Events{"timer", "other"}));
}

TEST_F(TimerTaskTest, AnEarlierExpiryIsANewArming) {
  const TimedWorker other{scheduler, log, "other"};
  timer->scheduleTaskLowestDelay(Seconds(2));
  other->scheduleTaskLowestDelay(Seconds(1));
  timer->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(2)), (Events{"other", "timer"}));
}

TEST_F(TimerTaskTest, AStoppedTimerDoesNotFire) {
  timer->scheduleTaskLowestDelay(Seconds(1));
  timer->stopTimerTask();
  EXPECT_EQ(timer->expiry(), std::nullopt);
  EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
  EXPECT_EQ(advance(seconds(2)), Events{});
}

TEST_F(TimerTaskTest, StoppingATimerThatIsNotArmedDoesNothing) {
  timer->stopTimerTask();
  timer->scheduleTaskLowestDelay(Seconds(1));
  EXPECT_EQ(advance(seconds(1)), Events{"timer"});
  timer->stopTimerTask();
  EXPECT_EQ(advance(seconds(1)), Events{});
}

TEST_F(TimerTaskTest, AStoppedTimerTakesALaterExpiry) {
  timer->scheduleTaskLowestDelay(Seconds(1));
  timer->stopTimerTask();
  timer->scheduleTaskLowestDelay(Seconds(3));
  EXPECT_EQ(advance(seconds(2)), Events{});
  EXPECT_EQ(advance(seconds(1)), Events{"timer"});
}

TEST_F(TimerTaskTest, StoppingDoesNotTakeBackARunThatIsDue) {
  timer->scheduleTaskLowestDelay(Seconds(0));
  EXPECT_TRUE(scheduler->fireDueTimer());
  timer->stopTimerTask();
  EXPECT_EQ(run(), Events{"timer"});
}

TEST_F(TimerTaskTest, ATimerScheduledByHandRunsAndStaysArmed) {
  timer->scheduleTaskLowestDelay(Seconds(1));
  timer->scheduleTask();
  EXPECT_EQ(run(), Events{"timer"});
  EXPECT_EQ(timer->expiry(), seconds(1));
  EXPECT_EQ(advance(seconds(1)), Events{"timer"});
}

TEST_F(TimerTaskTest, ATimerMayArmItselfInItsRun) {
  Ptr<TimerTask> self;
  const TimedWorker beat{scheduler, log, "beat", ordinary, [&] {
                           self->scheduleTaskLowestDelay(Seconds(1));
                         }};
  self = beat.task;
  beat->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(3)), (Events{"beat", "beat", "beat"}));
  EXPECT_EQ(beat->expiry(), seconds(4));
}

TEST_F(TimerTaskTest, ATimerKnowsThatItRuns) {
  Ptr<TimerTask> self;
  const TimedWorker asking{scheduler, log, "asking", ordinary, [&] {
                             log.add(self->taskIsRunning() ? "running" : "not running");
                           }};
  self = asking.task;
  asking->scheduleTaskLowestDelay(Seconds(1));
  EXPECT_FALSE(asking->taskIsRunning());
  EXPECT_EQ(advance(seconds(1)), (Events{"asking", "running"}));
  EXPECT_FALSE(asking->taskIsRunning());
}

TEST_F(TimerTaskTest, ATimerDestroyedWhileArmedLeavesTheOthersInOrder) {
  std::optional<TimedWorker> a(std::in_place, scheduler, log, "a");
  std::optional<TimedWorker> b(std::in_place, scheduler, log, "b");
  const TimedWorker c{scheduler, log, "c"};
  std::optional<TimedWorker> d(std::in_place, scheduler, log, "d");
  (*a)->scheduleTaskLowestDelay(Seconds(1));
  (*b)->scheduleTaskLowestDelay(Seconds(2));
  c->scheduleTaskLowestDelay(Seconds(3));
  (*d)->scheduleTaskLowestDelay(Seconds(4));
  timer->scheduleTaskLowestDelay(Seconds(2.5));
  a.reset();
  b.reset();
  d.reset();

  EXPECT_EQ(advance(seconds(5)), (Events{"timer", "c"}));
}

TEST_F(TimerTaskTest, ATimerDestroyedWhenItsRunIsDueDoesNotRun) {
  std::optional<TimedWorker> due(std::in_place, scheduler, log, "due");
  (*due)->scheduleTaskLowestDelay(Seconds(0));
  EXPECT_TRUE(scheduler->fireDueTimer());
  due.reset();
  EXPECT_EQ(run(), Events{});
}

TEST_F(TimerTaskTest, ATimerMayReleaseAnotherThatIsDueAtTheSameMoment) {
  std::optional<TimedWorker> victim(std::in_place, scheduler, log, "victim");
  const TimedWorker killer{scheduler, log, "killer", ordinary, [&] { victim.reset(); }};
  killer->scheduleTaskLowestDelay(Seconds(1));
  (*victim)->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(1)), Events{"killer"});
}

TEST_F(TimerTaskTest, TheNextDeadlineIsNowThenTheNextTimerThenNothing) {
  clock->nowIs(seconds(5));
  EXPECT_EQ(scheduler->nextDeadline(), std::nullopt);
  timer->scheduleTaskLowestDelay(Seconds(2));
  EXPECT_EQ(scheduler->nextDeadline(), seconds(7));
  const Support::Worker runnable{scheduler, log, "runnable"};
  runnable->scheduleTask();
  EXPECT_EQ(scheduler->nextDeadline(), seconds(5));
  EXPECT_EQ(scheduler->nextTimer(), seconds(7));
  run();
  EXPECT_EQ(scheduler->nextDeadline(), seconds(7));
  timer->stopTimerTask();
  EXPECT_EQ(scheduler->nextDeadline(), std::nullopt);
}

TEST_F(TimerTaskTest, AnOverdueTimerIsADeadlineInThePast) {
  timer->scheduleTaskLowestDelay(Seconds(2));
  clock->nowIs(seconds(9));
  EXPECT_EQ(scheduler->nextDeadline(), seconds(2));
  EXPECT_TRUE(scheduler->runTurn());
  EXPECT_EQ(log.take(), Events{"timer"});
}

TEST_F(TimerTaskTest, ATurnFiresEveryDueTimerThenRunsTheMostUrgentTask) {
  const TimedWorker urgent{scheduler, log, "urgent", TaskPriority{1}};
  const TimedWorker notYet{scheduler, log, "not yet", TaskPriority{0}};
  const Support::Worker waiting{scheduler, log, "waiting"};
  timer->scheduleTaskLowestDelay(Seconds(1));
  urgent->scheduleTaskLowestDelay(Seconds(2));
  notYet->scheduleTaskLowestDelay(Seconds(3));
  waiting->scheduleTask();
  clock->nowIs(seconds(2));

  EXPECT_TRUE(scheduler->runTurn());
  EXPECT_EQ(log.take(), Events{"urgent"});
  EXPECT_TRUE(timer->taskIsRunnable());
  EXPECT_FALSE(notYet->taskIsRunnable());
  EXPECT_EQ(run(), (Events{"waiting", "timer"}));
}

TEST_F(TimerTaskTest, FireDueTimerMakesOneRunnableAndRunsNothing) {
  const TimedWorker second{scheduler, log, "second"};
  timer->scheduleTaskLowestDelay(Seconds(1));
  second->scheduleTaskLowestDelay(Seconds(2));
  EXPECT_FALSE(scheduler->fireDueTimer());
  clock->nowIs(seconds(2));

  EXPECT_TRUE(scheduler->fireDueTimer());
  EXPECT_TRUE(timer->taskIsRunnable());
  EXPECT_FALSE(second->taskIsRunnable());
  EXPECT_TRUE(scheduler->fireDueTimer());
  EXPECT_TRUE(second->taskIsRunnable());
  EXPECT_FALSE(scheduler->fireDueTimer());
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(TimerTaskTest, ATimerThatIsRunnableAlreadyRunsOnceWhenItFires) {
  timer->scheduleTask();
  timer->scheduleTaskLowestDelay(Seconds(0));
  EXPECT_TRUE(scheduler->fireDueTimer());
  EXPECT_EQ(run(), Events{"timer"});
}

TEST_F(TimerTaskTest, AnExpiryBeyondTheClocksRangeIsTheClocksEnd) {
  clock->nowIs(Nanoseconds::max() - seconds(1));
  timer->scheduleTaskLowestDelay(Seconds(300));
  EXPECT_EQ(timer->expiry(), Nanoseconds::max());
}

TEST_F(TimerTaskTest, TypeDataTellsOfATimerInDeclarationOrder) {
  timer->taskWorkCountInc(9);
  timer->scheduleTask();
  run();
  Events attributes;
  for (const AttributeData& attribute : timer->typeData().attributes()) {
    attributes.push_back(std::string(attribute.name) + "=" + attribute.value(*timer.task));
  }

  EXPECT_EQ(timer->typeData().name(), "Routing::TimerTask");
  EXPECT_EQ(attributes,
            (Events{"taskName=timer", "taskPriority=3", "runnable=false", "runs=1", "work=9"}));
}

TEST_F(TimerTaskDeathTest, ADelayOutsideOfZeroToAHundredYearsAsserts) {
  const auto text = HasSubstr("a delay is between 0 and 100 years");
  const Seconds tooLong = std::chrono::hours(24 * 366 * 100) + seconds(1);
  EXPECT_EXIT(timer->scheduleTaskLowestDelay(Seconds(-1e-9)), KilledBySignal(SIGABRT), text);
  EXPECT_EXIT(timer->scheduleTaskLowestDelay(tooLong), KilledBySignal(SIGABRT), text);
  EXPECT_EXIT(timer->scheduleTaskLowestDelay(Seconds(std::numeric_limits<double>::quiet_NaN())),
              KilledBySignal(SIGABRT),
              text);
}

}  // namespace
}  // namespace Routing
