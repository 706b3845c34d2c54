#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/trace/TraceSink.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using Support::Events;
using Support::fecOf;
using Support::fibViaLine;
using Ids = std::vector<std::uint64_t>;

constexpr nanoseconds gracePeriod = seconds(300);

// An earlier run has handed out the counter values up to 9.
class FibViaCleanup : public Support::FibViaFixture {
 protected:
  FibViaCleanup() { firstUnallocated(10); }
  // References the FEC, which then has a ResolverId.
  void take(FecId fecId) {
    table->fecIs(fecOf(fecId));
    addReference(fecId, "bgp", "10.0.0." + std::to_string(fecId % 100));
  }
};

TEST_F(FibViaCleanup, RemovesWhatIsOldOneGracePeriodAfterStartAndNotBefore) {
  published({5, 9});
  start();
  EXPECT_EQ(advance(gracePeriod - nanoseconds(1)), Events{});
  EXPECT_EQ(publishedIds(), (Ids{5, 9}));
  EXPECT_EQ(advance(nanoseconds(1)),
            (Events{fibViaLine(9, "cleanupNhResVrfFs"),
                    fibViaLine(2, "cleanupNhResVrfFs cleanup resId entries older than 10"),
                    "record 5 removed",
                    "record 9 removed",
                    fibViaLine(2, "cleanupNhResVrfFs cleanup complete.")}));
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaCleanup, KeepsWhatThisRunHasNumbered) {
  published({3, 5, 9, 10, 14});
  start();
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{10, 14}));
}

TEST_F(FibViaCleanup, KeepsAReservedRecordWhoseFecThisRunHasMapped) {
  published({3, 5, 9, 10, 14});
  start();
  take(3);
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{3, 10, 14}));
}

TEST_F(FibViaCleanup, KeepsTheRecordOfReservedFecZeroWhenItIsMapped) {
  published({0, 1});
  table->fecIs(fecOf(0));
  start();
  references->fecIdRefIs(0);
  log.take();
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{0}));
}

TEST_F(FibViaCleanup, JudgesAnIdentifierByItsCounterPart) {
  published({0x1200000000000007, 0x120000000000000c, 0xff00000000000009, 0x1200000000000003});
  start();
  take(3);
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{0x120000000000000c, 3}));
}

// Its counter part alone would make it one of a reserved FEC that this run has mapped.
TEST_F(FibViaCleanup, AnIdentifierWithInformationBitsIsNoReservedOne) {
  published({0x1200000000000003});
  start();
  take(0x1200000000000003);
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{0x120000000000000a}));
}

TEST_F(FibViaCleanup, LeavesTheRecordsThatThisRunPublishedInTheMeantime) {
  published({5, 6});
  start();
  take(12);
  take(13);
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{10, 11}));
}

TEST_F(FibViaCleanup, RunsOnceAndLeavesAStoppedTimer) {
  published({5});
  start();
  advance(gracePeriod);
  ASSERT_NE(machine->cleanupNhResVrfFsTimer(), nullptr);
  EXPECT_EQ(machine->cleanupNhResVrfFsTimer()->expiry(), std::nullopt);
  published({6});
  log.take();
  EXPECT_EQ(advance(2 * gracePeriod), Events{});
  EXPECT_EQ(publishedIds(), (Ids{6}));
}

TEST_F(FibViaCleanup, RunsAgainWhenItsTimerIsArmedAgain) {
  published({5});
  start();
  advance(gracePeriod);
  published({6});
  machine->cleanupNhResVrfFsTimer()->scheduleTaskLowestDelay(seconds(1));
  advance(seconds(1));
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaCleanup, StopsATimerThatWasArmedAgainDuringTheWalk) {
  published({5});
  start();
  const Support::Watcher watcher(*records, [this](FieldId, const void*) {
    machine->cleanupNhResVrfFsTimer()->scheduleTaskLowestDelay(seconds(1));
  });
  advance(gracePeriod);
  EXPECT_EQ(machine->cleanupNhResVrfFsTimer()->expiry(), std::nullopt);
}

TEST_F(FibViaCleanup, AfterAResetRemovesWhatIsReservedAndNotMapped) {
  published({0, 1, 2, 3});
  start();
  ASSERT_EQ(machine->currentId(), ResolverId(3));
  take(2);
  advance(gracePeriod);
  EXPECT_EQ(publishedIds(), (Ids{2}));
}

TEST_F(FibViaCleanup, WithNothingLeftToRemoveIsStillTraced) {
  published({5});
  start();
  records->nexthopResolverIdViaDelAll();
  log.take();
  EXPECT_EQ(advance(gracePeriod),
            (Events{fibViaLine(9, "cleanupNhResVrfFs"),
                    fibViaLine(2, "cleanupNhResVrfFs cleanup resId entries older than 10"),
                    fibViaLine(2, "cleanupNhResVrfFs cleanup complete.")}));
}

TEST_F(FibViaCleanup, WalksOverManyRecords) {
  for (std::uint64_t id = 4; id < 2000; ++id) {
    published({id});
  }
  firstUnallocated(1000);
  start();
  advance(gracePeriod);
  EXPECT_EQ(publishedIds().size(), 1000U);
  EXPECT_EQ(record(999), nullptr);
  EXPECT_NE(record(1000), nullptr);
}

TEST_F(FibViaCleanup, OutsideOfItsTimerDoesNothing) {
  published({5});
  start();
  machine->cleanupNhResVrfFs();
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(publishedIds(), (Ids{5}));
}

TEST_F(FibViaCleanup, WithoutATimerDoesNothing) {
  start();
  ASSERT_EQ(machine->cleanupNhResVrfFsTimer(), nullptr);
  published({5});
  log.take();
  machine->cleanupNhResVrfFs();
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FibViaCleanup, FromAnotherTaskDoesNothing) {
  published({5});
  start();
  const auto task = makeEntity<Task>(scheduler, TaskPriority{3}, "another");
  const Support::Watcher watcher(*task,
                                 [this](FieldId, const void*) { machine->cleanupNhResVrfFs(); });
  task->scheduleTask();
  EXPECT_EQ(advance(seconds(0)), Events{});
  EXPECT_EQ(publishedIds(), (Ids{5}));
}

TEST_F(FibViaCleanup, BeforeStartUpIsCompleteDoesNothing) {
  published({5});
  bool advanced = false;
  CallbackTraceSink sink([&](const TraceMessage& message) {
    // Written after the timer was armed, before start-up is complete.
    if (message.text == "[v1] handleInitialized resolverId starting at 9") {
      advanced = true;
      advanceTime(*scheduler, *clock, gracePeriod);
    }
  });
  sink.attachedIs(true);
  start();
  EXPECT_TRUE(advanced);
  EXPECT_EQ(machine->cleanupNhResVrfFsTimer()->taskRunCount(), 1U);
  EXPECT_EQ(publishedIds(), (Ids{5}));
}

TEST_F(FibViaCleanup, AsksForATimerOfTheSameKindAndKeepsIt) {
  published({5});
  start();
  const auto timer = machine->cleanupNhResVrfFsTimer();
  EXPECT_EQ(
      machine->cleanupNhResVrfFsTimerIs(scheduler, TaskPriority{3}, "NexthopResolverFibViaSmTimer"),
      timer);
  EXPECT_EQ(timer->expiry(), gracePeriod);
}

TEST_F(FibViaCleanup, AnotherSchedulerPriorityOrNameMakesANewTimer) {
  published({5});
  start();
  auto last = machine->cleanupNhResVrfFsTimer();
  const auto other = makeEntity<TaskScheduler>(clock);
  const auto expectNew = [&](const Ptr<TaskScheduler>& owner, int priority, const char* name) {
    const auto made = machine->cleanupNhResVrfFsTimerIs(owner, TaskPriority(priority), name);
    EXPECT_NE(made, last);
    EXPECT_EQ(machine->cleanupNhResVrfFsTimer(), made);
    EXPECT_EQ(made->taskScheduler(), owner);
    EXPECT_EQ(made->taskPriority(), TaskPriority(priority));
    EXPECT_EQ(made->taskName(), name);
    EXPECT_EQ(made->expiry(), std::nullopt);
    EXPECT_TRUE(made->hasSubscribers());
    EXPECT_FALSE(last->hasSubscribers());
    last = made;
  };
  expectNew(other, 3, "NexthopResolverFibViaSmTimer");
  expectNew(other, 4, "NexthopResolverFibViaSmTimer");
  expectNew(other, 4, "another");
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(publishedIds(), (Ids{5}));
}

TEST_F(FibViaCleanup, ANewTimerCleansUpWhenItFires) {
  published({5});
  start();
  machine->cleanupNhResVrfFsTimerIs(scheduler, TaskPriority{3}, "another")
      ->scheduleTaskLowestDelay(seconds(1));
  advance(seconds(1));
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaCleanup, ATimerThatIsDroppedDoesNotFire) {
  published({5});
  start();
  machine->cleanupNhResVrfFsTimerDel();
  EXPECT_EQ(machine->cleanupNhResVrfFsTimer(), nullptr);
  EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
  EXPECT_EQ(advance(2 * gracePeriod), Events{});
  EXPECT_EQ(publishedIds(), (Ids{5}));
}

TEST_F(FibViaCleanup, GoesOnWhenItsTimerIsDroppedDuringTheWalk) {
  published({5, 6});
  start();
  const Support::Watcher watcher(*records, [this](FieldId, const void*) {
    machine->cleanupNhResVrfFsTimerDel();
  });
  EXPECT_EQ(advance(gracePeriod),
            (Events{fibViaLine(9, "cleanupNhResVrfFs"),
                    fibViaLine(2, "cleanupNhResVrfFs cleanup resId entries older than 10"),
                    "record 5 removed",
                    "record 6 removed",
                    fibViaLine(2, "cleanupNhResVrfFs cleanup complete.")}));
}

}  // namespace
}  // namespace Routing
