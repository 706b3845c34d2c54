#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "platform/entity/Inspection.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using std::chrono::seconds;
using Support::Events;
using Support::fecOf;
using Support::fibViaLine;

class FibViaStartUp : public Support::FibViaFixture {
 protected:
  void expectStartsAt(std::uint64_t currentId) const {
    EXPECT_TRUE(machine->initialized());
    EXPECT_EQ(machine->currentId(), ResolverId(currentId));
    ASSERT_NE(machine->resIdAllocator(), nullptr);
    EXPECT_EQ(machine->resIdAllocator()->currentId(), ResolverId(currentId));
  }
  void expectNoTimer() const {
    EXPECT_EQ(machine->cleanupNhResVrfFsTimer(), nullptr);
    EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
  }
  void expectTimer() const {
    ASSERT_NE(machine->cleanupNhResVrfFsTimer(), nullptr);
    EXPECT_EQ(machine->cleanupNhResVrfFsTimer()->expiry(), seconds(300));
  }
  void startWithTracesOff() {
    machine = NexthopResolverFibViaSm::NexthopResolverFibViaSmIs("v1",
                                                                 table,
                                                                 records,
                                                                 references,
                                                                 map,
                                                                 context);
  }
};

TEST_F(FibViaStartUp, NothingPublishedResetsTheContextWithoutACleanup) {
  firstUnallocated(57);
  EXPECT_EQ(start(),
            (Events{fibViaLine(2,
                               "handleInitialized ResolverId reset from 4 as no "
                               "ResolverId is presently allocated"),
                    "context 4",
                    fibViaLine(2, "handleInitialized resolverId starting at 3")}));
  expectStartsAt(3);
  expectNoTimer();
}

TEST_F(FibViaStartUp, TheVeryFirstRunStartsAtTheFirstCounterValue) {
  start();
  EXPECT_EQ(firstUnallocated(), 4U);
  expectStartsAt(3);
  expectNoTimer();
}

TEST_F(FibViaStartUp, OnlyReservedRecordsResetTheContextAndScheduleACleanup) {
  published({0, 2});
  firstUnallocated(57);
  EXPECT_EQ(start(),
            (Events{fibViaLine(4,
                               "handleInitialized ResolverId reset from 57 to 4 as no ResolverId "
                               "is presently allocated except for FecIdConstants"),
                    "context 4",
                    fibViaLine(2, "handleInitialized cleanup of older resolverIds scheduled"),
                    fibViaLine(2, "handleInitialized resolverId starting at 3")}));
  expectStartsAt(3);
  expectTimer();
  EXPECT_EQ(publishedIds(), (std::vector<std::uint64_t>{0, 2}));
}

TEST_F(FibViaStartUp, AllFourReservedRecordsAreStillOnlyReservedOnes) {
  published({0, 1, 2, 3});
  firstUnallocated(1);
  start();
  EXPECT_EQ(firstUnallocated(), 4U);
  expectTimer();
  EXPECT_EQ(publishedIds(), (std::vector<std::uint64_t>{0, 1, 2, 3}));
}

Events clearAll(std::uint64_t first, const Events& removals) {
  Events events{fibViaLine(4,
                           "handleInitialized NexthopResolverForwardingStatus populated without "
                           "allocating ResolverIds. Clear all ResolverIds")};
  events.insert(events.end(), removals.begin(), removals.end());
  events.push_back(fibViaLine(4,
                              "handleInitialized Reset firstUnAllocatedNexthopResolverId from " +
                                  std::to_string(first) + " to 4"));
  events.emplace_back("context 4");
  events.push_back(fibViaLine(2, "handleInitialized cleanup of older resolverIds scheduled"));
  events.push_back(fibViaLine(2, "handleInitialized resolverId starting at 3"));
  return events;
}

TEST_F(FibViaStartUp, RecordsThatTheContextKnowsNothingOfAreAllDeleted) {
  published({9});
  firstUnallocated(4);
  EXPECT_EQ(start(), clearAll(4, {"record 9 removed"}));
  expectStartsAt(3);
  expectTimer();
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaStartUp, AContextMovedDownByAReservedFecIsRepaired) {
  published({9});
  firstUnallocated(2);
  EXPECT_EQ(start(), clearAll(2, {"record 9 removed"}));
  EXPECT_EQ(firstUnallocated(), 4U);
  expectTimer();
}

TEST_F(FibViaStartUp, ReservedRecordsAreDeletedTooWhenTheContextKnowsNothing) {
  published({1, 9, 0});
  EXPECT_EQ(start(), clearAll(0, {"record 1 removed", "record 9 removed", "record 0 removed"}));
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaStartUp, AfterAnOrdinaryRestartCountingGoesOn) {
  published({5, 6, 7, 8, 9});
  firstUnallocated(10);
  EXPECT_EQ(start(),
            (Events{fibViaLine(2, "handleInitialized cleanup of older resolverIds scheduled"),
                    fibViaLine(2, "handleInitialized resolverId starting at 9")}));
  expectStartsAt(9);
  expectTimer();
  EXPECT_EQ(firstUnallocated(), 10U);
  EXPECT_EQ(publishedIds(), (std::vector<std::uint64_t>{5, 6, 7, 8, 9}));
  writeFec(fecOf(12));
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(10));
  EXPECT_EQ(firstUnallocated(), 11U);
}

TEST_F(FibViaStartUp, FiveIsTheSmallestContextThatGoesOn) {
  published({4});
  firstUnallocated(5);
  start();
  expectStartsAt(4);
  expectTimer();
  EXPECT_EQ(firstUnallocated(), 5U);
  EXPECT_EQ(publishedIds(), (std::vector<std::uint64_t>{4}));
}

TEST_F(FibViaStartUp, ARecordWithInformationBitsIsNotAReservedOne) {
  published({0x1200000000000002, 2});
  firstUnallocated(57);
  start();
  expectStartsAt(56);
  EXPECT_EQ(firstUnallocated(), 57U);
}

TEST_F(FibViaStartUp, AUsedUpCounterStartsOverWithNothingPublishedAndNoCleanup) {
  published({9, 1});
  firstUnallocated(0x0100000000000000);
  EXPECT_EQ(
      start(),
      (Events{fibViaLine(2, "handleInitialized ResolverId reset because maxResId was reached"),
              "context 4",
              "record 9 removed",
              "record 1 removed",
              fibViaLine(2, "handleInitialized resolverId starting at 3")}));
  expectStartsAt(3);
  expectNoTimer();
}

TEST_F(FibViaStartUp, AUsedUpCounterIsNamedEvenWhenNothingIsPublished) {
  firstUnallocated(0x0100000000000000);
  EXPECT_EQ(
      start(),
      (Events{fibViaLine(2, "handleInitialized ResolverId reset because maxResId was reached"),
              "context 4",
              fibViaLine(2, "handleInitialized resolverId starting at 3")}));
}

TEST_F(FibViaStartUp, AUsedUpCounterStartsOverAlsoWithTracesOff) {
  published({9, 1});
  firstUnallocated(0x0100000000000000);
  startWithTracesOff();
  EXPECT_EQ(firstUnallocated(), 4U);
  EXPECT_TRUE(publishedIds().empty());
  expectNoTimer();
}

TEST_F(FibViaStartUp, OnlyReservedRecordsResetTheContextAlsoWithTracesOff) {
  published({0, 2});
  firstUnallocated(57);
  startWithTracesOff();
  EXPECT_EQ(firstUnallocated(), 4U);
  expectTimer();
}

TEST_F(FibViaStartUp, OnlyTheValueBehindTheLastCounterValueMarksTheCounterUsedUp) {
  firstUnallocated(0x0100000000000001);
  EXPECT_EQ(start(),
            (Events{fibViaLine(2,
                               "handleInitialized ResolverId reset from 4 as no ResolverId is "
                               "presently allocated"),
                    "context 4",
                    fibViaLine(2, "handleInitialized resolverId starting at 3")}));
}

TEST_F(FibViaStartUp, TheLastCounterValueIsStillHandedOutAndMarksTheCounterUsedUp) {
  published({9});
  firstUnallocated(0x00ffffffffffffff);
  start();
  writeFec(fecOf(12));
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(0x00ffffffffffffff));
  EXPECT_EQ(firstUnallocated(), 0x0100000000000000U);
}

TEST_F(FibViaStartUp, TheCleanupTimerIsTheProcesssOwnOfPriorityThree) {
  published({2});
  start();
  const auto& timer = machine->cleanupNhResVrfFsTimer();
  ASSERT_NE(timer, nullptr);
  EXPECT_EQ(timer->taskScheduler(), scheduler);
  EXPECT_EQ(timer->taskPriority(), TaskPriority{3});
  EXPECT_EQ(timer->taskName(), "NexthopResolverFibViaSmTimer");
}

TEST_F(FibViaStartUp, ReservedRecordsAreCountedByTheirWholeIdentifier) {
  start();
  EXPECT_EQ(machine->numResIdsForReservedFecIds(), 0U);
  published({4, 0x1200000000000001});
  EXPECT_EQ(machine->numResIdsForReservedFecIds(), 0U);
  published({3});
  EXPECT_EQ(machine->numResIdsForReservedFecIds(), 1U);
  published({0, 1, 2});
  EXPECT_EQ(machine->numResIdsForReservedFecIds(), 4U);
}

TEST_F(FibViaStartUp, RunAgainByNameItKeepsAllocatorAndTimerAndGoesOnCounting) {
  published({5});
  firstUnallocated(6);
  writeFec(fecOf(12));
  start();
  const auto allocator = machine->resIdAllocator();
  const auto timer = machine->cleanupNhResVrfFsTimer();
  advance(seconds(100));
  addReference(12, "bgp", "10.0.0.1");
  callOperation(*machine, "handleInitialized", {});
  EXPECT_EQ(log.take(),
            (Events{fibViaLine(2, "handleInitialized cleanup of older resolverIds scheduled"),
                    fibViaLine(2, "handleInitialized resolverId starting at 6")}));
  EXPECT_EQ(machine->resIdAllocator(), allocator);
  EXPECT_EQ(machine->cleanupNhResVrfFsTimer(), timer);
  EXPECT_EQ(timer->expiry(), seconds(300));
  expectStartsAt(6);
}

}  // namespace
}  // namespace Routing
