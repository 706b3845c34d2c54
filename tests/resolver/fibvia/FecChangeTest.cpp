#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using Support::Events;
using Support::fecOf;
using Support::fibViaLine;

using FibViaFecChange = Support::FibViaFixture;

TEST_F(FibViaFecChange, OfAFecThatNobodyReferencesDoesNothingAndTracesNothing) {
  start();
  EXPECT_EQ(writeFec(fecOf(12)), Events{});
  EXPECT_EQ(writeFec(fecOf(12, 2)), Events{});
  EXPECT_EQ(removeFec(12), Events{});
}

TEST_F(FibViaFecChange, FirstPublicationIsContextThenRecordThenMapEntry) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(writeFec(fecOf(12, 3)),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 12"),
                    fibViaLine(2, "handleGenFecId resId: 4 allocated for fecId: 12"),
                    "context 5",
                    fibViaLine(2, "createNhResIdVia first via out of 3: hop=192.0.2.1, intfId=1"),
                    "record 4, vias: 3",
                    "map 12 -> 4"}));
}

TEST_F(FibViaFecChange, TheStateSeenFromInsideEachOutputIsThatOfItsStep) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  Support::EventLog seen;
  const auto look = [&] {
    seen.add("context " + std::to_string(firstUnallocated()) + ", record " +
             (record(4) == nullptr ? "no" : "yes") + ", map " +
             (map->fecIdToResolverIdMapHas(12) ? "yes" : "no"));
  };
  const Support::Watcher onContext(*context, [&](FieldId, const void*) { look(); });
  const Support::Watcher onRecord(*records, [&](FieldId, const void*) { look(); });
  const Support::Watcher onMap(*map, [&](FieldId, const void*) { look(); });
  writeFec(fecOf(12));
  EXPECT_EQ(seen.take(),
            (Events{"context 5, record no, map no",
                    "context 5, record yes, map no",
                    "context 5, record yes, map yes"}));
}

TEST_F(FibViaFecChange, OfAFecWithAResolverIdRepublishesTheRecordAndTouchesNothingElse) {
  firstUnallocated(7);
  published({6});
  start();
  table->fecIs(fecOf(12));
  addReference(12, "bgp", "10.0.0.1");
  ASSERT_EQ(map->fecIdToResolverIdMap(12), ResolverId(7));
  EXPECT_EQ(writeFec(fecOf(12, 2)),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 12"),
                    fibViaLine(2, "createNhResIdVia first via out of 2: hop=192.0.2.1, intfId=1"),
                    "record 7, vias: 2"}));
  EXPECT_EQ(firstUnallocated(), 8U);
}

TEST_F(FibViaFecChange, AnnouncedWithoutAChangeRepublishesTheRecord) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  table->fecAnnounce(12);
  EXPECT_EQ(log.take(),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 12"),
                    fibViaLine(2, "createNhResIdVia first via out of 1: hop=192.0.2.1, intfId=1"),
                    "record 4, vias: 1"}));
}

TEST_F(FibViaFecChange, AFecThatDisappearsTakesItsReferencesThenRecordThenMapEntry) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(removeFec(12),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fecId removed from ForwardingStatus: 12"),
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 12 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
                    fibViaLine(2,
                               "removeResolverIdForFecId clients no longer interested in fecId: 12 "
                               "(resId: 4)"),
                    "record 4 removed",
                    "map 12 removed"}));
}

TEST_F(FibViaFecChange, AFecOfTwoClientsWithTwoNexthopsEachIsWithdrawnOnce) {
  table->fecIs(fecOf(12));
  start();
  for (const auto* client : {"bgp", "ospf"}) {
    addReference(12, client, "10.0.0.1");
    addReference(12, client, "10.0.0.2");
  }
  traces.reset();
  EXPECT_EQ(removeFec(12),
            (Events{"key bgp 10.0.0.1 removed",
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.2 removed",
                    "key ospf 10.0.0.1 removed",
                    "clientRef 12 ospf removed",
                    "key ospf 10.0.0.2 removed",
                    "fecIdRef 12 removed",
                    "record 4 removed",
                    "map 12 removed"}));
}

TEST_F(FibViaFecChange, AFecWithoutAResolverIdThatIsRemovedTakesItsReferences) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  table->fecAnnounce(12);
  EXPECT_EQ(
      log.take(),
      (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
              fibViaLine(2, "handleGenFecId fecId removed from ForwardingStatus: 12"),
              "clientRef 12 bgp removed",
              "key bgp 10.0.0.1 removed",
              "fecIdRef 12 removed",
              fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
              fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
              fibViaLine(2,
                         "removeResolverIdForFecId received request to remove untracked fecId: "
                         "12")}));
}

TEST_F(FibViaFecChange, AFecThatComesBackGetsAFreshCounterValue) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  removeFec(12);
  addReference(12, "bgp", "10.0.0.1");
  writeFec(fecOf(12));
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(5));
  EXPECT_EQ(record(4), nullptr);
}

TEST_F(FibViaFecChange, AReservedFecKeepsItsNumberOnAnUpdate) {
  table->fecIs(fecOf(2));
  start();
  addReference(2, "bgp", "10.0.0.1");
  EXPECT_EQ(writeFec(fecOf(2, 2)),
            (Events{fibViaLine(9, "handleGenFecId fecId: 2"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 2"),
                    fibViaLine(2, "createNhResIdVia first via out of 2: hop=192.0.2.1, intfId=1"),
                    "record 2, vias: 2"}));
}

TEST_F(FibViaFecChange, FecZeroTakesANewResolverIdOnEveryUpdate) {
  start();
  references->fecIdRefIs(0);
  log.take();
  const Events publication{
      fibViaLine(9, "handleGenFecId fecId: 0"),
      fibViaLine(2, "handleGenFecId fec added/updated for fecId: 0"),
      fibViaLine(2, "handleGenFecId resId: 0 allocated for fecId: 0"),
      "context 1",
      fibViaLine(2, "createNhResIdVia first via out of 1: hop=192.0.2.1, intfId=1"),
      "record 0, vias: 1"};
  Events first = publication;
  first.emplace_back("map 0 -> 0");
  EXPECT_EQ(writeFec(fecOf(0)), first);
  EXPECT_EQ(writeFec(fecOf(0)), publication);
  EXPECT_EQ(machine->resIdAllocator()->currentId(), ResolverId(3));
}

TEST_F(FibViaFecChange, AnEmptyFecZeroIsAnAbsentOne) {
  start();
  references->fecIdRefIs(0);
  log.take();
  EXPECT_EQ(writeFec(FibGen::Fec(0)),
            (Events{fibViaLine(9, "handleGenFecId fecId: 0"),
                    fibViaLine(2, "handleGenFecId fecId removed from ForwardingStatus: 0")}));
  EXPECT_FALSE(map->fecIdToResolverIdMapHas(0));
}

TEST_F(FibViaFecChange, AFecWithoutViasPublishesAnEmptyRecord) {
  start();
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(writeFec(FibGen::Fec(12)),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 12"),
                    fibViaLine(2, "handleGenFecId resId: 4 allocated for fecId: 12"),
                    "context 5",
                    "record 4, vias: 0",
                    "map 12 -> 4"}));
}

TEST_F(FibViaFecChange, TheContextTakesTheCounterValueWithoutInformationBits) {
  constexpr FecId fecId = 0x1200000000000009;
  start();
  addReference(fecId, "bgp", "10.0.0.1");
  writeFec(fecOf(fecId));
  EXPECT_EQ(map->fecIdToResolverIdMap(fecId), ResolverId(0x1200000000000004));
  EXPECT_EQ(firstUnallocated(), 5U);
}

TEST_F(FibViaFecChange, OnlyTheFieldOfFecsIsListenedTo) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  const FecId fecId = 12;
  table->publish(FieldId{77}, &fecId);
  EXPECT_EQ(log.take(), Events{});
}

}  // namespace
}  // namespace Routing
