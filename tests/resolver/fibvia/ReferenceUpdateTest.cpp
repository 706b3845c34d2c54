#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <iostream>
#include <vector>

#include "platform/trace/TraceSink.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using Support::Events;
using Support::fecOf;
using Support::fibViaLine;

class FibViaReferences : public Support::FibViaFixture {
 protected:
  FibViaReferences() { table->fecIs(fecOf(12, 2)); }
};

using FibViaReferencesDeathTest = FibViaReferences;

TEST_F(FibViaReferences, TheFirstReferencePublishesContextThenRecordThenMapEntry) {
  start();
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 12 added, clients: 0",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
                    fibViaLine(9, "allocateResolverIdForGenFecId fecId: 12"),
                    fibViaLine(2, "allocateResolverIdForGenFecId resId: 4 allocated for fecId: 12"),
                    "context 5",
                    fibViaLine(2, "createNhResIdVia first via out of 2: hop=192.0.2.1, intfId=1"),
                    "record 4, vias: 2",
                    "map 12 -> 4",
                    "clientRef 12 bgp added, nexthops: 0",
                    "key bgp 10.0.0.1 -> 12"}));
}

TEST_F(FibViaReferences, TheStateSeenFromInsideEachOutputIsThatOfItsStep) {
  start();
  Support::EventLog seen;
  const auto look = [&] {
    seen.add("context " + std::to_string(firstUnallocated()) + ", record " +
             (record(4) == nullptr ? "no" : "yes") + ", map " +
             (map->fecIdToResolverIdMapHas(12) ? "yes" : "no") + ", clients " +
             std::to_string(references->fecIdRef(12)->clientRef().size()) + ", key " +
             std::to_string(references->clientNexthopToFecId().size()));
  };
  const Support::Watcher onContext(*context, [&](FieldId, const void*) { look(); });
  const Support::Watcher onRecord(*records, [&](FieldId, const void*) { look(); });
  const Support::Watcher onMap(*map, [&](FieldId, const void*) { look(); });
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(seen.take(),
            (Events{"context 5, record no, map no, clients 0, key 0",
                    "context 5, record yes, map no, clients 0, key 0",
                    "context 5, record yes, map yes, clients 0, key 0"}));
}

TEST_F(FibViaReferences, AFurtherReferenceToTheFecWritesNothing) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(addReference(12, "ospf", "10.0.0.1"),
            (Events{"clientRef 12 ospf added, nexthops: 0", "key ospf 10.0.0.1 -> 12"}));
  EXPECT_EQ(deleteReference("bgp", "10.0.0.1"),
            (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.1 removed"}));
}

TEST_F(FibViaReferences, TheLastReferenceRemovesRecordThenMapEntry) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(deleteReference("bgp", "10.0.0.1"),
            (Events{"clientRef 12 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 12 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
                    fibViaLine(2,
                               "removeResolverIdForFecId clients no longer interested in fecId: 12 "
                               "(resId: 4)"),
                    "record 4 removed",
                    "map 12 removed"}));
  EXPECT_EQ(firstUnallocated(), 5U);
}

TEST_F(FibViaReferences, TheRecordIsGoneAndTheMapEntryStillThereWhenTheRecordsRemovalIsTold) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  bool looked = false;
  const Support::Watcher watcher(*records, [&](FieldId, const void*) {
    looked = true;
    EXPECT_EQ(record(4), nullptr);
    EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(4));
    EXPECT_EQ(references->fecIdRef(12), nullptr);
  });
  deleteReference("bgp", "10.0.0.1");
  EXPECT_TRUE(looked);
}

TEST_F(FibViaReferences, AMovePublishesAllOfTheNewFecBeforeAnyOfTheOld) {
  table->fecIs(fecOf(13));
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(addReference(13, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 13 added, clients: 0",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 13"),
                    fibViaLine(9, "allocateResolverIdForGenFecId fecId: 13"),
                    fibViaLine(2, "allocateResolverIdForGenFecId resId: 5 allocated for fecId: 13"),
                    "context 6",
                    fibViaLine(2, "createNhResIdVia first via out of 1: hop=192.0.2.1, intfId=1"),
                    "record 5, vias: 1",
                    "map 13 -> 5",
                    "clientRef 13 bgp added, nexthops: 0",
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 12 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
                    fibViaLine(2,
                               "removeResolverIdForFecId clients no longer interested in fecId: 12 "
                               "(resId: 4)"),
                    "record 4 removed",
                    "map 12 removed",
                    "key bgp 10.0.0.1 -> 13"}));
}

TEST_F(FibViaReferences, AReferenceToAMissingFecIsTracedAndAllocatesNothing) {
  start();
  EXPECT_EQ(
      addReference(99, "bgp", "10.0.0.1"),
      (Events{
          "fecIdRef 99 added, clients: 0",
          fibViaLine(9, "handleFecIdReferenceUpdate fecId: 99"),
          fibViaLine(9, "allocateResolverIdForGenFecId fecId: 99"),
          fibViaLine(2, "allocateResolverIdForGenFecId fecId 99 missing from forwarding status."),
          "clientRef 99 bgp added, nexthops: 0",
          "key bgp 10.0.0.1 -> 99"}));
  EXPECT_EQ(machine->resIdAllocator()->currentId(), ResolverId(3));
  EXPECT_EQ(deleteReference("bgp", "10.0.0.1"),
            (Events{"clientRef 99 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 99 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 99"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 99"),
                    fibViaLine(2,
                               "removeResolverIdForFecId received request to remove untracked "
                               "fecId: 99")}));
}

TEST_F(FibViaReferences, ACounterValueThatWasGivenUpIsNotHandedOutAgain) {
  table->fecIs(fecOf(13));
  start();
  addReference(12, "bgp", "10.0.0.1");
  deleteReference("bgp", "10.0.0.1");
  addReference(13, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(13), ResolverId(5));
  addReference(12, "bgp", "10.0.0.2");
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(6));
}

TEST_F(FibViaReferences, AReservedFecTakesItsOwnNumberAndMovesTheContextDown) {
  for (const FecId reserved : {1U, 2U, 3U}) {
    table->fecIs(fecOf(reserved));
  }
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(firstUnallocated(), 5U);
  for (const FecId reserved : {3U, 1U, 2U}) {
    addReference(reserved, "bgp", "10.0.1." + std::to_string(reserved));
    EXPECT_EQ(map->fecIdToResolverIdMap(reserved), ResolverId(reserved));
    EXPECT_NE(record(reserved), nullptr);
    EXPECT_EQ(firstUnallocated(), reserved + 1);
  }
  EXPECT_EQ(machine->resIdAllocator()->currentId(), ResolverId(4));
}

TEST_F(FibViaReferences, ReservedFecZeroGetsResolverIdZeroAndAMapEntry) {
  table->fecIs(fecOf(0));
  start();
  references->fecIdRefIs(0);
  EXPECT_TRUE(map->fecIdToResolverIdMapHas(0));
  EXPECT_NE(record(0), nullptr);
  EXPECT_EQ(firstUnallocated(), 1U);
  log.take();
  references->fecIdRefDel(0);
  EXPECT_EQ(log.take(),
            (Events{"fecIdRef 0 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 0"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 0"),
                    fibViaLine(2,
                               "removeResolverIdForFecId clients no longer interested in fecId: 0 "
                               "(resId: 0)"),
                    "record 0 removed",
                    "map 0 removed"}));
}

TEST_F(FibViaReferences, TheFecIdsInformationBitsStandInTheResolverIdAndNotInTheContext) {
  constexpr FecId fecId = 0x1200000000000003;
  table->fecIs(fecOf(fecId));
  start();
  addReference(fecId, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(fecId), ResolverId(0x1200000000000004));
  EXPECT_NE(record(0x1200000000000004), nullptr);
  EXPECT_EQ(firstUnallocated(), 5U);
}

TEST_F(FibViaReferences, AFecWithoutViasIsPresentByItsKeyAndPublishesAnEmptyRecord) {
  table->fecIs(FibGen::Fec(13));
  start();
  EXPECT_EQ(addReference(13, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 13 added, clients: 0",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 13"),
                    fibViaLine(9, "allocateResolverIdForGenFecId fecId: 13"),
                    fibViaLine(2, "allocateResolverIdForGenFecId resId: 4 allocated for fecId: 13"),
                    "context 5",
                    "record 4, vias: 0",
                    "map 13 -> 4",
                    "clientRef 13 bgp added, nexthops: 0",
                    "key bgp 10.0.0.1 -> 13"}));
}

TEST_F(FibViaReferences, RemovingAnUntrackedFecIsTracedAndIgnored) {
  start();
  machine->removeResolverIdForFecId(12);
  EXPECT_EQ(log.take(),
            (Events{fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
                    fibViaLine(2,
                               "removeResolverIdForFecId received request to remove "
                               "untracked fecId: 12")}));
}

// A trace's line in what a death test's child writes.
void traceToStandardError(const TraceMessage& message) {
  std::cerr << Support::TraceLog::lineOf(message) << "\n";
}

TEST_F(FibViaReferencesDeathTest, AllocatingTwiceIsTracedAndStopsTheProcess) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  CallbackTraceSink sink(traceToStandardError);
  sink.attachedIs(true);
  EXPECT_EXIT(
      machine->allocateResolverIdForGenFecId(12),
      testing::KilledBySignal(SIGABRT),
      testing::AllOf(
          testing::HasSubstr(
              "2 NexthopResolverFibViaSm: [v1] allocateResolverIdForGenFecId resId already "
              "allocated for fecId: 12 (resId: )4\n"),
          testing::HasSubstr(": allocateResolverIdForGenFecId: Assertion \"0 && \"resId already "
                             "allocated for fecId\"\" failed.\n")));
}

TEST_F(FibViaReferencesDeathTest, AllocatingTwiceForFecZeroStopsTheProcessTooWithoutATrace) {
  table->fecIs(fecOf(0));
  start();
  references->fecIdRefIs(0);
  traces.reset();
  EXPECT_EXIT(machine->allocateResolverIdForGenFecId(0),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr("Assertion \"0 && \"resId already allocated for fecId\"\""));
}

TEST_F(FibViaReferencesDeathTest, AUsedUpCounterStopsTheProcess) {
  start();
  machine->resIdAllocatorIs(ResolverId(ResolverId::maxResId));
  EXPECT_EXIT(addReference(12, "bgp", "10.0.0.1"),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr("Assertion \"0 && \"ran out of ResolverId space\"\" failed."));
}

}  // namespace
}  // namespace Routing
