// Every invariant notices when it is broken, and only then: each test has a world where all is
// well, breaks one thing, and asks the one checker. What the library never does is done to its
// records behind its back, or told as an event that never was.

#include <gtest/gtest.h>

#include <string>

#include "tests/invariant/IdentifierInvariants.h"
#include "tests/invariant/IndexInvariants.h"
#include "tests/invariant/Lifetime.h"
#include "tests/invariant/StatusInvariants.h"
#include "tests/property/LiveWorld.h"
#include "tests/support/Addresses.h"
#include "tests/support/Allocations.h"

namespace Routing::Support {
namespace {

using Kind = OutputEvent::Kind;

constexpr FecId fecId = 6;
// The first counter value.
constexpr std::uint64_t resolverId = 4;

// Client c of VRF v1 has resolved one nexthop through FEC 6, which has identifier 4.
class InvariantTest : public testing::Test {
 protected:
  InvariantTest() {
    world.routing("v1", AddressFamily::ipv4, true);
    world.routing("v1", AddressFamily::ipv6, true);
    world.fec(FibGen::Fec(fecId));
    world.route("v1", prefix("10.0.0.0/8"), {fecId, 0, 2, 0});
    world.manager("v1", true);
    world.status("c", false);
    world.configVrf("c", "v1", NexthopStatusFecIdType::resolverId);
    world.nexthop("c", "v1", nexthop);
    world.run();
  }

  NexthopResolverManagerSm& manager() const { return *world.managerOf("v1"); }
  FecIdToClientHop& index() const { return *manager().fecIdToClientHop(); }
  FecIdToResolverId& map() const { return *manager().fecIdToResolverId(); }
  NexthopResolverSm& resolver() const { return *manager().resolverSm().find("c")->value; }

  // True when the checker has nothing to say of the world as it stands.
  template <class Checker>
  bool holds() const {
    return Checker().afterStep(manager(), world).empty();
  }
  template <class Checker>
  bool holdsDuring(const OutputEvent& event) const {
    return Checker().duringDelivery(world, event).empty();
  }

  const IpGenAddr nexthop = addr("10.0.0.1");
  LiveWorld world;
};

TEST_F(InvariantTest, AllHoldInAWorldThatIsWell) {
  const OutputEvents events = world.takeEvents();
  EXPECT_GT(events.size(), 5U);
  for (const auto& invariant : allInvariants()) {
    EXPECT_EQ(invariant->afterStep(manager(), world), "") << invariant->statement();
    for (const OutputEvent& event : events) {
      EXPECT_EQ(invariant->duringDelivery(world, event), "") << invariant->statement();
    }
  }
}

// ---- the index of references ----

TEST_F(InvariantTest, AKeyThatMapsElsewhereIsNoticed) {
  index().clientNexthopToFecIdIs({"c", nexthop}, 5);
  EXPECT_FALSE(holds<KeyMapsToFecExactlyWhenClientRecordHoldsNexthop>());
  index().clientNexthopToFecIdIs({"c", nexthop}, fecId);
}

TEST_F(InvariantTest, AKeyWithoutAReferenceIsNoticed) {
  index().clientNexthopToFecIdIs({"c", addr("10.0.0.2")}, fecId);
  EXPECT_FALSE(holds<KeyMapsToFecExactlyWhenClientRecordHoldsNexthop>());
}

TEST_F(InvariantTest, AKeyThatIsToldOfAnotherFecIsNoticed) {
  EXPECT_FALSE(holdsDuring<KeyMapsToFecExactlyWhenClientRecordHoldsNexthop>(
      {.kind = Kind::key, .vrf = "v1", .client = "c", .addr = nexthop, .id = 5}));
}

TEST_F(InvariantTest, AKeyThatIsGoneWhileItsReferenceStaysIsNoticed) {
  KeyMapsToFecExactlyWhenClientRecordHoldsNexthop checker;
  const OutputEvent appears{.kind = Kind::key,
                            .vrf = "v1",
                            .client = "c",
                            .addr = nexthop,
                            .id = fecId};
  EXPECT_EQ(checker.duringDelivery(world, appears), "");
  EXPECT_NE(
      checker.duringDelivery(world,
                             {.kind = Kind::keyDel, .vrf = "v1", .client = "c", .addr = nexthop}),
      "");
}

TEST_F(InvariantTest, ANexthopUnderTwoFecsIsNoticed) {
  index().fecIdRefIs(5)->updateClientRef("c", nexthop, true);
  EXPECT_FALSE(holds<ClientNexthopIsUnderAtMostOneFec>());
  EXPECT_FALSE(holdsDuring<ClientNexthopIsUnderAtMostOneFec>(
      {.kind = Kind::key, .vrf = "v1", .client = "c", .addr = nexthop, .id = 5}));
}

TEST_F(InvariantTest, AFecRecordWithoutClientIsNoticed) {
  index().fecIdRefIs(5);
  EXPECT_FALSE(holds<NoReferenceRecordIsEmpty>());
  EXPECT_FALSE(holdsDuring<NoReferenceRecordIsEmpty>(
      {.kind = Kind::status, .vrf = "v1", .client = "c", .addr = nexthop}));
}

TEST_F(InvariantTest, AFecRecordWithoutClientMayOnlyBeAppearing) {
  index().fecIdRefIs(5);
  NoReferenceRecordIsEmpty checker;
  const OutputEvent reaction{.kind = Kind::map, .vrf = "v1", .id = 5, .value = 5};
  const OutputEvent appears{.kind = Kind::reference, .vrf = "v1", .id = 5};
  EXPECT_EQ(checker.duringDelivery(world, reaction), "");
  EXPECT_EQ(checker.duringDelivery(world, appears), "");
  EXPECT_EQ(checker.duringDelivery(world, reaction), "");
  index().fecIdRef(5)->updateClientRef("c", addr("10.0.0.2"), true);
  EXPECT_NE(checker.duringDelivery(world, reaction), "");
}

TEST_F(InvariantTest, AClientRecordWithoutNexthopIsNoticed) {
  index().fecIdRef(fecId)->clientRefIs("b");
  EXPECT_FALSE(holds<NoReferenceRecordIsEmpty>());
  EXPECT_TRUE(holdsDuring<NoReferenceRecordIsEmpty>(
      {.kind = Kind::clientReference, .vrf = "v1", .client = "b", .id = fecId}));
  EXPECT_FALSE(holdsDuring<NoReferenceRecordIsEmpty>(
      {.kind = Kind::clientReference, .vrf = "v1", .client = "c", .id = fecId}));
}

// ---- identifiers ----

TEST_F(InvariantTest, AReferencedFecWithoutRecordIsNoticed) {
  world.forwarding("v1")->nexthopResolverIdViaDel(ResolverId(resolverId));
  EXPECT_FALSE(holds<ReferencedPresentFecHasOneIdentifierWithItsVias>());
}

TEST_F(InvariantTest, ARecordWithOtherViasIsNoticed) {
  NexthopResolverIdVia record{ResolverId(resolverId)};
  record.nexthopResolverViaIs({IntfId{1}, nexthop});
  world.forwarding("v1")->nexthopResolverIdViaIs(record);
  EXPECT_FALSE(holds<ReferencedPresentFecHasOneIdentifierWithItsVias>());
}

TEST_F(InvariantTest, AMapEntryThatIsToldBeforeItsViasIsNoticed) {
  world.forwarding("v1")->nexthopResolverIdViaDel(ResolverId(resolverId));
  EXPECT_FALSE(holdsDuring<ReferencedPresentFecHasOneIdentifierWithItsVias>(
      {.kind = Kind::map, .vrf = "v1", .id = fecId, .value = resolverId}));
}

TEST_F(InvariantTest, AnIdentifierOfAFecThatIsNotReferencedIsNoticed) {
  world.notifications("v1", false);
  map().fecIdToResolverIdMapIs(5, ResolverId(resolverId + 1));
  EXPECT_FALSE(holds<ReferencedPresentFecHasOneIdentifierWithItsVias>());
}

TEST_F(InvariantTest, TwoFecsWithOneIdentifierAreNoticed) {
  world.notifications("v1", false);
  map().fecIdToResolverIdMapIs(5, ResolverId(resolverId));
  EXPECT_FALSE(holdsDuring<IdentifierMapIsInjective>(
      {.kind = Kind::map, .vrf = "v1", .id = 5, .value = resolverId}));
}

TEST_F(InvariantTest, ACounterValueThatGoesDownIsNoticed) {
  CounterValuesOfARunOnlyIncrease checker;
  const auto published = [&](std::uint64_t id) {
    return checker.duringDelivery(world, {.kind = Kind::forwarding, .vrf = "v1", .id = id});
  };
  EXPECT_EQ(published(9), "");
  EXPECT_EQ(published(9), "");
  EXPECT_NE(published(8), "");
}

TEST_F(InvariantTest, ACounterValueThatIsUsedAgainIsNoticed) {
  CounterValuesOfARunOnlyIncrease checker;
  const OutputEvent published{.kind = Kind::forwarding, .vrf = "v1", .id = 9};
  EXPECT_EQ(checker.duringDelivery(world, published), "");
  EXPECT_EQ(checker.duringDelivery(world, {.kind = Kind::forwardingDel, .vrf = "v1", .id = 9}), "");
  EXPECT_NE(checker.duringDelivery(world, published), "");
}

TEST_F(InvariantTest, InformationBitsOfAnotherFecAreNoticed) {
  EXPECT_FALSE(holdsDuring<InformationBitsAreThoseOfTheFec>(
      {.kind = Kind::map, .vrf = "v1", .id = fecId, .value = 0x1200000000000004}));
}

TEST_F(InvariantTest, AReservedFecIdWithAnotherIdentifierIsNoticed) {
  const auto holdsFor = [this](std::uint64_t fec, std::uint64_t identifier) {
    return holdsDuring<ReservedFecIdIsItsOwnIdentifier>(
        {.kind = Kind::map, .vrf = "v1", .id = fec, .value = identifier});
  };
  EXPECT_TRUE(holdsFor(3, 3));
  EXPECT_FALSE(holdsFor(3, resolverId));
  EXPECT_FALSE(holdsFor(fecId, 3));
}

TEST_F(InvariantTest, AMapEntryWithoutRecordIsNoticed) {
  EXPECT_FALSE(holdsDuring<RecordComesBeforeAndGoesBeforeTheMapEntry>(
      {.kind = Kind::map, .vrf = "v1", .id = 5, .value = resolverId + 1}));
}

TEST_F(InvariantTest, ARecordThatOutlivesItsMapEntryIsNoticed) {
  RecordComesBeforeAndGoesBeforeTheMapEntry checker;
  const OutputEvent appears{.kind = Kind::map, .vrf = "v1", .id = fecId, .value = resolverId};
  EXPECT_EQ(checker.duringDelivery(world, appears), "");
  EXPECT_NE(checker.duringDelivery(world, {.kind = Kind::mapDel, .vrf = "v1", .id = fecId}), "");
}

TEST_F(InvariantTest, ARecordAheadOfTheContextIsNoticed) {
  EXPECT_FALSE(holdsDuring<ContextIsWrittenBeforeTheRecord>(
      {.kind = Kind::forwarding, .vrf = "v1", .id = resolverId + 1}));
}

TEST_F(InvariantTest, AnEventForAFecThatNobodyReferencesIsNoticed) {
  UnreferencedFecCausesNoEvent checker;
  checker.beforeStep(world, {.fec = 5});
  EXPECT_NE(checker.duringDelivery(world, {.kind = Kind::forwarding, .vrf = "v1", .id = 9}), "");
  checker.beforeStep(world, {.fec = fecId});
  EXPECT_EQ(checker.duringDelivery(world, {.kind = Kind::forwarding, .vrf = "v1", .id = 9}), "");
}

// ---- resolvers and status ----

TEST_F(InvariantTest, AQueuedNexthopWithoutScheduleIsNoticed) {
  resolver().reviewNexthopIs(nexthop);
  EXPECT_FALSE(holds<ReviewSetHasMembersExactlyWhileTheTaskIsScheduled>());
  EXPECT_FALSE(holdsDuring<ReviewSetHasMembersExactlyWhileTheTaskIsScheduled>(
      {.kind = Kind::status, .vrf = "v1", .client = "c", .addr = nexthop}));
}

TEST_F(InvariantTest, AScheduleWithoutQueuedNexthopIsNoticed) {
  resolver().reviewNexthopTask()->scheduleTask();
  EXPECT_FALSE(holds<ReviewSetHasMembersExactlyWhileTheTaskIsScheduled>());
}

TEST_F(InvariantTest, AFailedEntryThatSaysMoreIsNoticed) {
  OutputEvent event{.kind = Kind::status, .vrf = "v1", .client = "c", .addr = nexthop};
  event.entry.addr = nexthop;
  event.entry.resolutionState = NexthopResolutionState::failed;
  EXPECT_TRUE(holdsDuring<FailedEntrySaysNothingElse>(event));
  event.entry.preference = 0;
  EXPECT_FALSE(holdsDuring<FailedEntrySaysNothingElse>(event));
}

TEST_F(InvariantTest, AnEntryOfAnUnconfiguredNexthopIsNoticed) {
  world.notifications("v1", false);
  world.nexthopDel("c", "v1", nexthop);
  EXPECT_FALSE(holds<UnconfiguredNexthopHasNoEntryOnceReviewed>());
}

TEST_F(InvariantTest, AStatusOfAnotherVrfIsNoticed) {
  StatusOfOtherVrfsIsNotTouched checker;
  checker.beforeStep(world, {.vrf = "v1"});
  EXPECT_EQ(checker.duringDelivery(world, {.kind = Kind::status, .vrf = "v1"}), "");
  EXPECT_NE(checker.duringDelivery(world, {.kind = Kind::status, .vrf = "v2"}), "");
}

TEST_F(InvariantTest, AResolverWithoutConfigurationIsNoticed) {
  world.notifications("v1", false);
  world.configDel("c");
  EXPECT_FALSE(holds<ResolverExistsExactlyWhileConfiguredWithStatus>());
}

TEST_F(InvariantTest, AMissingResolverIsNoticed) {
  world.notifications("v1", false);
  world.status("b", true);
  world.configVrf("b", "v1", NexthopStatusFecIdType::fibFecId);
  EXPECT_FALSE(holds<ResolverExistsExactlyWhileConfiguredWithStatus>());
}

TEST_F(InvariantTest, AnEntryOfAClientWithoutResolverIsNoticed) {
  EXPECT_FALSE(holdsDuring<ResolverExistsExactlyWhileConfiguredWithStatus>(
      {.kind = Kind::status, .vrf = "v1", .client = "b", .addr = nexthop}));
}

// ---- lifetimes ----

TEST(NothingOfTheSystemLivesAfterDestruction, WhatIsStillHeldIsNoticed) {
  const NothingOfTheSystemLivesAfterDestruction checker;
  {
    const auto record = makeEntity<NexthopConfig>("c");
    EXPECT_EQ(checker.broken(), "1 Routing::NexthopConfig ");
  }
  EXPECT_EQ(checker.broken(), "");
}

TEST(NothingOfTheSystemLivesAfterDestruction, AManagerIsMadeOfAllTheMachineTypes) {
  LiveWorld world;
  world.manager("v1", true);
  EXPECT_NE(NothingOfTheSystemLivesAfterDestruction::machinesLeft(), "");
  world.managerDel("v1");
  EXPECT_EQ(NothingOfTheSystemLivesAfterDestruction::machinesLeft(), "");
}

// A world where the start-up of a manager makes resolvers, a status and the cleanup's timer.
void prepare(LiveWorld& world) {
  world.published("v1", 9);
  world.context("v1", 10);
  for (const char* const client : {"a", "b"}) {
    world.configVrf(client, "v1", NexthopStatusFecIdType::resolverId);
    world.nexthop(client, "v1", addr("10.0.0.1"));
    world.status(client, client[0] == 'b');
  }
}

TEST(NothingOfTheSystemLivesAfterDestruction, NorAfterAnExceptionInConstruction) {
  bool made = false;
  std::uint64_t successes = 0;
  for (; !made; ++successes) {
    const NothingOfTheSystemLivesAfterDestruction checker;
    {
      LiveWorld world;
      prepare(world);
      const FailingAllocation failing(successes);
      // Once there is a manager, the failure is that of its observers.
      EXPECT_ANY_THROW(world.manager("v1", true));
      made = world.managerOf("v1") != nullptr;
      const bool left = !NothingOfTheSystemLivesAfterDestruction::machinesLeft().empty();
      ASSERT_EQ(left, made) << successes;
    }
    ASSERT_EQ(checker.broken(), "") << successes;
  }
  EXPECT_GT(successes, 20U);
}

}  // namespace
}  // namespace Routing::Support
