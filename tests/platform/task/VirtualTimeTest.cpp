#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "platform/task/VirtualTime.h"
#include "tests/platform/task/TaskFixture.h"

namespace Routing {
namespace {

using std::chrono::seconds;
using Support::Events;
using Support::ordinary;
using Support::TimedWorker;
using Support::Worker;
using testing::HasSubstr;
using testing::KilledBySignal;
using Seconds = TimerTask::Seconds;

class VirtualTime : public Support::TaskFixture {
 protected:
  // What a worker does to log when it ran.
  Worker::Work logTime() {
    return [this] {
      log.add("at " + std::to_string(std::chrono::duration_cast<seconds>(clock->now()).count()));
    };
  }
};
using VirtualTimeDeathTest = VirtualTime;

TEST_F(VirtualTime, RunUntilIdleLeavesTheClockAndTheTimersAlone) {
  const Worker a{scheduler, log, "a"};
  const TimedWorker due{scheduler, log, "due"};
  due->scheduleTaskLowestDelay(Seconds(0));
  a->scheduleTask();

  runUntilIdle(*scheduler);
  EXPECT_EQ(log.take(), Events{"a"});
  EXPECT_EQ(clock->now(), seconds(0));
  EXPECT_FALSE(due->taskIsRunnable());
}

TEST_F(VirtualTime, AdvanceRunsWhatIsRunnableThenEachTimerWithAllThatFollowsIt) {
  const Worker follow{scheduler, log, "follow", TaskPriority{7}, logTime()};
  const Worker runnable{scheduler, log, "runnable", ordinary, logTime()};
  const TimedWorker first{scheduler, log, "first", ordinary, [&] {
                            logTime()();
                            follow->scheduleTask();
                          }};
  const TimedWorker second{scheduler, log, "second", TaskPriority{0}, logTime()};
  const TimedWorker sameMoment{scheduler, log, "same moment", ordinary, logTime()};
  runnable->scheduleTask();
  sameMoment->scheduleTaskLowestDelay(Seconds(2));
  second->scheduleTaskLowestDelay(Seconds(2));
  first->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(5)),
            (Events{"runnable",
                    "at 0",
                    "first",
                    "at 1",
                    "follow",
                    "at 1",
                    "same moment",
                    "at 2",
                    "second",
                    "at 2"}));
  EXPECT_EQ(clock->now(), seconds(5));
}

TEST_F(VirtualTime, AdvanceReachesTimersArmedOnTheWay) {
  const TimedWorker late{scheduler, log, "late", ordinary, logTime()};
  const TimedWorker tooLate{scheduler, log, "too late", ordinary, logTime()};
  const TimedWorker arming{scheduler, log, "arming", ordinary, [&] {
                             late->scheduleTaskLowestDelay(Seconds(2));
                             tooLate->scheduleTaskLowestDelay(Seconds(3));
                           }};
  arming->scheduleTaskLowestDelay(Seconds(1));

  EXPECT_EQ(advance(seconds(3)), (Events{"arming", "late", "at 3"}));
  EXPECT_EQ(tooLate->expiry(), seconds(4));
}

TEST_F(VirtualTime, AdvanceFiresATimerArmedByWhatWasRunnable) {
  const TimedWorker timer{scheduler, log, "timer", ordinary, logTime()};
  const Worker arming{scheduler, log, "arming", ordinary, [&] {
                        timer->scheduleTaskLowestDelay(Seconds(1));
                      }};
  arming->scheduleTask();

  EXPECT_EQ(advance(seconds(1)), (Events{"arming", "timer", "at 1"}));
}

TEST_F(VirtualTime, AdvanceByNothingRunsAndFiresWhatIsDue) {
  const Worker a{scheduler, log, "a"};
  const TimedWorker due{scheduler, log, "due"};
  due->scheduleTaskLowestDelay(Seconds(0));
  a->scheduleTask();

  EXPECT_EQ(advance(Nanoseconds(0)), (Events{"a", "due"}));
  EXPECT_EQ(clock->now(), seconds(0));
}

TEST_F(VirtualTime, AnOverdueTimerFiresWithoutTimeRunningBackwards) {
  const TimedWorker overdue{scheduler, log, "overdue", ordinary, logTime()};
  overdue->scheduleTaskLowestDelay(Seconds(1));
  clock->nowIs(seconds(4));

  EXPECT_EQ(advance(seconds(2)), (Events{"overdue", "at 4"}));
  EXPECT_EQ(clock->now(), seconds(6));
}

TEST_F(VirtualTime, ATaskMayTakeMoreTimeThanTheAdvance) {
  const TimedWorker slow{scheduler, log, "slow", ordinary, [&] {
                           clock->nowIs(clock->now() + seconds(10));
                         }};
  const TimedWorker afterTarget{scheduler, log, "after the target", ordinary, logTime()};
  slow->scheduleTaskLowestDelay(Seconds(1));
  afterTarget->scheduleTaskLowestDelay(Seconds(3));

  EXPECT_EQ(advance(seconds(2)), Events{"slow"});
  EXPECT_EQ(clock->now(), seconds(11));
  EXPECT_EQ(advance(seconds(0)), (Events{"after the target", "at 11"}));
}

TEST_F(VirtualTimeDeathTest, AnotherClockAsserts) {
  const auto other = makeEntity<VirtualClock>();
  EXPECT_EXIT(advanceTime(*scheduler, *other, seconds(1)),
              KilledBySignal(SIGABRT),
              HasSubstr("the scheduler runs on this clock"));
}

TEST_F(VirtualTimeDeathTest, GoingBackAsserts) {
  clock->nowIs(seconds(5));
  EXPECT_EXIT(advanceTime(*scheduler, *clock, seconds(-1)),
              KilledBySignal(SIGABRT),
              HasSubstr("time goes forward, within the clock's range"));
}

TEST_F(VirtualTimeDeathTest, GoingBeyondTheClocksRangeAsserts) {
  clock->nowIs(seconds(5));
  EXPECT_EXIT(advanceTime(*scheduler, *clock, Nanoseconds::max()),
              KilledBySignal(SIGABRT),
              HasSubstr("time goes forward, within the clock's range"));
}

TEST(VirtualClockTest, StartsAtZeroAndStandsStill) {
  const auto clock = makeEntity<VirtualClock>();
  EXPECT_EQ(clock->now(), Nanoseconds(0));
  clock->nowIs(seconds(3));
  EXPECT_EQ(clock->now(), seconds(3));
  EXPECT_EQ(clock->now(), seconds(3));
  clock->nowIs(seconds(3));
  EXPECT_EQ(clock->now(), seconds(3));
}

TEST(VirtualClockDeathTest, DoesNotRunBackwards) {
  const auto clock = makeEntity<VirtualClock>();
  clock->nowIs(seconds(3));
  EXPECT_EXIT(clock->nowIs(seconds(2)),
              KilledBySignal(SIGABRT),
              HasSubstr("time does not run backwards"));
}

TEST(RealClockTest, NeverRunsBackwards) {
  const auto clock = makeEntity<RealClock>();
  Nanoseconds before = clock->now();
  for (int i = 0; i < 1000; ++i) {
    const Nanoseconds now = clock->now();
    ASSERT_GE(now, before);
    before = now;
  }
}

}  // namespace
}  // namespace Routing
