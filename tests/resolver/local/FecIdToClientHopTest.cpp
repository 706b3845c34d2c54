#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>
#include <string_view>

#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"
#include "tests/support/EventLog.h"
#include "tests/support/ReferenceWatch.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;
using Key = NexthopResolverClientNexthopKey;
using testing::HasSubstr;
using testing::KilledBySignal;

class FecIdToClientHopTest : public testing::Test {
 protected:
  Events add(FecId fecId, const String& client, std::string_view nexthop) {
    references->addReference(fecId, client, addr(nexthop));
    return log.take();
  }
  Events remove(FecId fecId, const String& client, std::string_view nexthop) {
    references->deleteReference(fecId, client, addr(nexthop));
    return log.take();
  }
  Events removeFor(const String& client, std::string_view nexthop) {
    references->deleteReferenceForClientNexthop(client, addr(nexthop));
    return log.take();
  }
  bool references12(const String& client, std::string_view nexthop) const {
    const auto record = references->fecIdRef(12);
    const auto clientRef = record ? record->clientRef(client) : nullptr;
    return clientRef && clientRef->nexthopRef().has(addr(nexthop));
  }

  Support::EventLog log;
  Ptr<FecIdToClientHop> references = FecIdToClientHop::FecIdToClientHopIs("v1");
  std::optional<Support::ReferenceWatch> watch{std::in_place, *references, log};
};

using FecIdToClientHopDeathTest = FecIdToClientHopTest;

TEST_F(FecIdToClientHopTest, StartsWithItsVrfAndEmpty) {
  EXPECT_EQ(references->vrfName(), "v1");
  EXPECT_TRUE(references->fecIdRef().empty());
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
  EXPECT_EQ(fecIdToClientHopFactory("v2")->vrfName(), "v2");
}

TEST_F(FecIdToClientHopTest, AskingForAFecMakesItsRecordOnceAndPublishesOnce) {
  const auto made = references->fecIdRefIs(12);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->fecId(), 12U);
  EXPECT_EQ(references->fecIdRefIs(12), made);
  EXPECT_EQ(references->fecIdRef(12), made);
  EXPECT_EQ(log.take(), (Events{"fecIdRef 12 added, clients: 0"}));
}

TEST_F(FecIdToClientHopTest, TellsWhetherAFecHasARecordAndAKeyAFec) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_TRUE(references->fecIdRefHas(12));
  EXPECT_FALSE(references->fecIdRefHas(13));
  EXPECT_TRUE(references->clientNexthopToFecIdHas(Key("bgp", addr("10.0.0.1"))));
  EXPECT_FALSE(references->clientNexthopToFecIdHas(Key("ospf", addr("10.0.0.1"))));
}

TEST_F(FecIdToClientHopTest, RemovingAFecReturnsItsRecordAndPublishesOnce) {
  const auto made = references->fecIdRefIs(12);
  log.take();
  EXPECT_EQ(references->fecIdRefDel(12), made);
  EXPECT_EQ(references->fecIdRefDel(12), nullptr);
  EXPECT_EQ(references->fecIdRef(12), nullptr);
  EXPECT_EQ(log.take(), (Events{"fecIdRef 12 removed"}));
}

TEST_F(FecIdToClientHopTest, RemovingAllFecsPublishesEach) {
  references->fecIdRefIs(12);
  references->fecIdRefIs(13);
  log.take();
  references->fecIdRefDelAll();
  EXPECT_EQ(log.take(), (Events{"fecIdRef 12 removed", "fecIdRef 13 removed"}));
  EXPECT_TRUE(references->fecIdRef().empty());
}

TEST_F(FecIdToClientHopTest, AKeyIsPublishedWhenItsFecBecomesAnother) {
  const Key key("bgp", addr("10.0.0.1"));
  references->clientNexthopToFecIdIs(key, 12);
  references->clientNexthopToFecIdIs(key, 12);
  references->clientNexthopToFecIdIs(key, 13);
  EXPECT_EQ(log.take(), (Events{"key bgp 10.0.0.1 -> 12", "key bgp 10.0.0.1 -> 13"}));
  EXPECT_EQ(references->clientNexthopToFecId(key), 13U);
}

TEST_F(FecIdToClientHopTest, RemovingAKeyReturnsItsFecAndPublishesOnce) {
  const Key key("bgp", addr("10.0.0.1"));
  references->clientNexthopToFecIdIs(key, 12);
  log.take();
  EXPECT_EQ(references->clientNexthopToFecIdDel(key), 12U);
  EXPECT_EQ(references->clientNexthopToFecIdDel(key), 0U);
  EXPECT_EQ(log.take(), (Events{"key bgp 10.0.0.1 removed"}));
}

TEST_F(FecIdToClientHopTest, AnAbsentKeyReadsAsNoFec) {
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.1"))), 0U);
}

TEST_F(FecIdToClientHopTest, RemovingAllKeysPublishesEach) {
  references->clientNexthopToFecIdIs(Key("bgp", addr("10.0.0.1")), 12);
  references->clientNexthopToFecIdIs(Key("ospf", addr("2001:db8::1")), 13);
  log.take();
  references->clientNexthopToFecIdDelAll();
  EXPECT_EQ(log.take(), (Events{"key bgp 10.0.0.1 removed", "key ospf 2001:db8::1 removed"}));
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
}

TEST_F(FecIdToClientHopTest, RemovingAllKeysWithoutSubscribersClears) {
  references->clientNexthopToFecIdIs(Key("bgp", addr("10.0.0.1")), 12);
  watch.reset();
  log.take();
  references->clientNexthopToFecIdDelAll();
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdToClientHopTest, RoomReservedForMoreKeysPublishesNothingAndSparesTheirWriterGrowth) {
  references->clientNexthopToFecIdIs(Key("bgp", addr("10.0.0.1")), 12);
  log.take();
  references->clientNexthopToFecIdReserve(1000);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.1"))), 12U);
  const std::size_t reserved = references->clientNexthopToFecId().memory();
  for (std::uint32_t i = 0; i < 1000; ++i) {
    references->clientNexthopToFecIdIs(Key("bgp", IpGenAddr::ipv4(i)), 12);
  }
  EXPECT_EQ(references->clientNexthopToFecId().memory(), reserved);
  EXPECT_EQ(references->clientNexthopToFecId().size(), 1001U);
}

TEST_F(FecIdToClientHopTest, TheFirstReferencePublishesTheFecThenTheClientThenTheKey) {
  EXPECT_EQ(add(12, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 12 added, clients: 0",
                    "clientRef 12 bgp added, nexthops: 0",
                    "key bgp 10.0.0.1 -> 12"}));
  EXPECT_TRUE(references12("bgp", "10.0.0.1"));
}

TEST_F(FecIdToClientHopTest, ASecondReferenceToTheFecPublishesNoFec) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EQ(add(12, "bgp", "10.0.0.2"), (Events{"key bgp 10.0.0.2 -> 12"}));
  EXPECT_EQ(add(12, "ospf", "10.0.0.1"),
            (Events{"clientRef 12 ospf added, nexthops: 0", "key ospf 10.0.0.1 -> 12"}));
}

TEST_F(FecIdToClientHopTest, TheReferenceThatIsThereAlreadyPublishesNothing) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EQ(add(12, "bgp", "10.0.0.1"), Events{});
  EXPECT_EQ(references->fecIdRef(12)->clientRef("bgp")->nexthopRef().size(), 1U);
}

TEST_F(FecIdToClientHopTest, MovingTheOnlyReferencePublishesAllOfTheNewFecFirst) {
  add(1, "bgp", "10.0.0.1");
  EXPECT_EQ(add(2, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 2 added, clients: 0",
                    "clientRef 2 bgp added, nexthops: 0",
                    "clientRef 1 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 1 removed",
                    "key bgp 10.0.0.1 -> 2"}));
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.1"))), 2U);
  EXPECT_EQ(references->fecIdRef(1), nullptr);
}

TEST_F(FecIdToClientHopTest, AMoveBetweenFecsThatStayReferencedPublishesOnlyTheKey) {
  add(1, "bgp", "10.0.0.1");
  add(1, "bgp", "10.0.0.2");
  add(2, "bgp", "10.0.0.3");
  EXPECT_EQ(add(2, "bgp", "10.0.0.1"),
            (Events{"key bgp 10.0.0.1 removed", "key bgp 10.0.0.1 -> 2"}));
  EXPECT_EQ(references->fecIdRef(1)->clientRef("bgp")->nexthopRef().size(), 1U);
  EXPECT_EQ(references->fecIdRef(2)->clientRef("bgp")->nexthopRef().size(), 2U);
}

TEST_F(FecIdToClientHopTest, FecZeroMeansNoFecSoThatAFreshKeyGetsNoReferenceToIt) {
  EXPECT_EQ(add(0, "bgp", "10.0.0.1"), Events{});
  EXPECT_TRUE(references->fecIdRef().empty());
}

TEST_F(FecIdToClientHopTest, TheSameAddressOfTwoClientsIsTwoReferences) {
  add(12, "bgp", "10.0.0.1");
  add(13, "ospf", "10.0.0.1");
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.1"))), 12U);
  EXPECT_EQ(references->clientNexthopToFecId(Key("ospf", addr("10.0.0.1"))), 13U);
}

TEST_F(FecIdToClientHopTest, AddressesThatDifferInFamilyAloneAreTwoReferences) {
  references->addReference(12, "bgp", addr("10.0.0.1"));
  references->addReference(13, "bgp", IpGenAddr::ipv6(addr("10.0.0.1").words()));
  EXPECT_EQ(references->clientNexthopToFecId().size(), 2U);
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.1"))), 12U);
}

TEST_F(FecIdToClientHopTest, TheLastReferenceTakesTheClientThenTheKeyThenTheFec) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EQ(
      remove(12, "bgp", "10.0.0.1"),
      (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.1 removed", "fecIdRef 12 removed"}));
  EXPECT_TRUE(references->fecIdRef().empty());
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
}

TEST_F(FecIdToClientHopTest, AReferenceThatIsNotTheLastTakesNoFec) {
  add(12, "bgp", "10.0.0.1");
  add(12, "bgp", "10.0.0.2");
  add(12, "ospf", "10.0.0.1");
  EXPECT_EQ(remove(12, "bgp", "10.0.0.1"), (Events{"key bgp 10.0.0.1 removed"}));
  EXPECT_EQ(remove(12, "bgp", "10.0.0.2"),
            (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.2 removed"}));
  EXPECT_TRUE(references12("ospf", "10.0.0.1"));
}

TEST_F(FecIdToClientHopTest, RemovingForAClientNexthopFindsItsFec) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EQ(
      removeFor("bgp", "10.0.0.1"),
      (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.1 removed", "fecIdRef 12 removed"}));
}

TEST_F(FecIdToClientHopTest, RemovingForAClientNexthopWithoutAReferenceDoesNothing) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EQ(removeFor("bgp", "10.0.0.2"), Events{});
  EXPECT_EQ(removeFor("ospf", "10.0.0.1"), Events{});
  references->clientNexthopToFecIdIs(Key("isis", addr("10.0.0.1")), 0);
  log.take();
  EXPECT_EQ(removeFor("isis", "10.0.0.1"), Events{});
  EXPECT_TRUE(references12("bgp", "10.0.0.1"));
}

TEST_F(FecIdToClientHopTest, RemovingAllReferencesOfAFecPublishesTheFecOnceAndLast) {
  for (const auto* client : {"bgp", "ospf"}) {
    add(12, client, "10.0.0.1");
    add(12, client, "10.0.0.2");
  }
  add(13, "bgp", "10.0.0.3");
  references->deleteReferenceForFecId(12);
  EXPECT_EQ(log.take(),
            (Events{"key bgp 10.0.0.1 removed",
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.2 removed",
                    "key ospf 10.0.0.1 removed",
                    "clientRef 12 ospf removed",
                    "key ospf 10.0.0.2 removed",
                    "fecIdRef 12 removed"}));
  EXPECT_EQ(references->fecIdRef(12), nullptr);
  EXPECT_EQ(references->clientNexthopToFecId().size(), 1U);
  EXPECT_EQ(references->clientNexthopToFecId(Key("bgp", addr("10.0.0.3"))), 13U);
}

TEST_F(FecIdToClientHopTest, RemovingAllReferencesOfAFecWithManyNexthopsLeavesNone) {
  constexpr std::uint32_t nexthops = 500;
  for (std::uint32_t i = 0; i < nexthops; ++i) {
    references->addReference(12, i % 2 == 0 ? "bgp" : "ospf", IpGenAddr::ipv4(0x0a000000 + i));
  }
  references->deleteReferenceForFecId(12);
  EXPECT_TRUE(references->fecIdRef().empty());
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
}

TEST_F(FecIdToClientHopDeathTest, RemovingAReferenceToAnUntrackedFecStopsTheProcess) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EXIT(references->deleteReference(13, "bgp", addr("10.0.0.1")),
              KilledBySignal(SIGABRT),
              HasSubstr(": deleteReference: Assertion \"fr && \"trying to remove reference for "
                        "untracked fecId\"\" failed.\n"));
}

TEST_F(FecIdToClientHopDeathTest, RemovingAllReferencesOfAnUntrackedFecStopsTheProcess) {
  EXPECT_EXIT(references->deleteReferenceForFecId(13),
              KilledBySignal(SIGABRT),
              HasSubstr(": deleteReferenceForFecId: Assertion \"fr && \"trying to remove reference "
                        "for untracked fecId\"\" failed.\n"));
}

TEST_F(FecIdToClientHopDeathTest, RemovingAReferenceOfAnUntrackedClientStopsTheProcess) {
  add(12, "bgp", "10.0.0.1");
  EXPECT_EXIT(
      references->deleteReference(12, "ospf", addr("10.0.0.1")),
      KilledBySignal(SIGABRT),
      HasSubstr(": updateClientRef: Assertion \"cr && \"client not being tracked\"\" failed.\n"));
}

TEST_F(FecIdToClientHopTest, ItsEndPublishesEachFecThatIsLeft) {
  add(12, "bgp", "10.0.0.1");
  add(13, "ospf", "10.0.0.2");
  references = nullptr;
  EXPECT_EQ(log.take(),
            (Events{"fecIdRef 12 removed",
                    "clientRef 12 bgp removed",
                    "fecIdRef 13 removed",
                    "clientRef 13 ospf removed"}));
}

TEST_F(FecIdToClientHopTest, DescribesItsAttributesInDeclarationOrder) {
  add(12, "bgp", "10.0.0.1");
  const TypeData& type = references->typeData();
  EXPECT_EQ(type.name(), "Routing::FecIdToClientHop");
  ASSERT_EQ(type.attributes().size(), 3U);
  EXPECT_EQ(type.attributes()[0].name, "vrfName");
  EXPECT_EQ(type.attributes()[0].value(*references), "v1");
  EXPECT_EQ(type.attributes()[1].name, "fecIdRef");
  EXPECT_EQ(type.attributes()[1].value(*references), "{12}");
  EXPECT_EQ(type.attributes()[2].name, "clientNexthopToFecId");
  EXPECT_EQ(type.attributes()[2].value(*references), "{clientName=bgp nexthop=10.0.0.1}");
}

}  // namespace
}  // namespace Routing
