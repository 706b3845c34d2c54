#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "resolver/NexthopResolverLocal.h"
#include "tests/support/Addresses.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;
using Support::keyOf;

TEST(ClientRef, StartsWithItsNameAndNoNexthops) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  EXPECT_EQ(record->clientName(), "bgp");
  EXPECT_TRUE(record->nexthopRef().empty());
}

TEST(ClientRef, InsertingAMemberAgainChangesNothing) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  record->nexthopRefIs(addr("10.0.0.1"));
  record->nexthopRefIs(addr("10.0.0.1"));
  EXPECT_EQ(record->nexthopRef().size(), 1U);
  EXPECT_TRUE(record->nexthopRef().has(addr("10.0.0.1")));
}

TEST(ClientRef, RemovingTellsWhetherItWasAMember) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  record->nexthopRefIs(addr("10.0.0.1"));
  EXPECT_FALSE(record->nexthopRefDel(addr("10.0.0.2")));
  EXPECT_TRUE(record->nexthopRefDel(addr("10.0.0.1")));
  EXPECT_FALSE(record->nexthopRefDel(addr("10.0.0.1")));
  EXPECT_TRUE(record->nexthopRef().empty());
}

TEST(ClientRef, TellsWhetherANexthopIsAMember) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  record->nexthopRefIs(addr("10.0.0.1"));
  EXPECT_TRUE(record->nexthopRefHas(addr("10.0.0.1")));
  EXPECT_FALSE(record->nexthopRefHas(addr("10.0.0.2")));
}

TEST(ClientRef, RemovingAllLeavesNoMember) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  record->nexthopRefIs(addr("10.0.0.1"));
  record->nexthopRefIs(addr("2001:db8::1"));
  record->nexthopRefDelAll();
  EXPECT_TRUE(record->nexthopRef().empty());
}

TEST(ClientRef, DescribesItsAttributesInDeclarationOrder) {
  const auto record = makeEntity<NexthopResolverClientRef>("bgp");
  record->nexthopRefIs(addr("10.0.0.1"));
  const TypeData& type = record->typeData();
  EXPECT_EQ(type.name(), "Routing::NexthopResolverClientRef");
  ASSERT_EQ(type.attributes().size(), 2U);
  EXPECT_EQ(type.attributes()[0].name, "clientName");
  EXPECT_EQ(type.attributes()[0].value(*record), "bgp");
  EXPECT_EQ(type.attributes()[1].name, "nexthopRef");
  EXPECT_EQ(type.attributes()[1].value(*record), "{10.0.0.1}");
}

class FecIdRef : public testing::Test {
 protected:
  // Lets the record go while its watcher still looks on.
  void release() { record = nullptr; }
  bool holds(const String& client, std::string_view nexthop) const {
    const auto clientRef = record->clientRef(client);
    return clientRef && clientRef->nexthopRef().has(addr(nexthop));
  }

  Support::EventLog log;
  Ptr<NexthopResolverFecIdRef> record = makeEntity<NexthopResolverFecIdRef>(FecId{42});
  NexthopResolverFecIdRef* watched = record.get();
  Support::Watcher watcher{*record, [this](FieldId field, const void* key) {
                             EXPECT_EQ(field, NexthopResolverFecIdRef::clientRefField);
                             const auto& client = keyOf<String>(key);
                             const auto clientRef = watched->clientRef(client);
                             log.add(
                                 client + (clientRef ? " added, nexthops: " : " removed") +
                                 (clientRef ? std::to_string(clientRef->nexthopRef().size()) : ""));
                           }};
};

TEST_F(FecIdRef, StartsWithItsFecAndNoClients) {
  EXPECT_EQ(record->fecId(), 42U);
  EXPECT_TRUE(record->clientRef().empty());
  EXPECT_EQ(record->clientRef("bgp"), nullptr);
}

TEST_F(FecIdRef, AskingForAClientMakesItsRecordOnceAndPublishesOnce) {
  const auto made = record->clientRefIs("bgp");
  ASSERT_TRUE(made);
  EXPECT_EQ(made->clientName(), "bgp");
  EXPECT_EQ(record->clientRefIs("bgp"), made);
  EXPECT_EQ(record->clientRef("bgp"), made);
  EXPECT_EQ(log.take(), (Events{"bgp added, nexthops: 0"}));
}

TEST_F(FecIdRef, TellsWhetherAClientHasARecord) {
  record->clientRefIs("bgp");
  EXPECT_TRUE(record->clientRefHas("bgp"));
  EXPECT_FALSE(record->clientRefHas("ospf"));
}

TEST_F(FecIdRef, RemovingAClientReturnsItsRecordAndPublishesOnce) {
  const auto made = record->clientRefIs("bgp");
  log.take();
  EXPECT_EQ(record->clientRefDel("bgp"), made);
  EXPECT_EQ(record->clientRefDel("bgp"), nullptr);
  EXPECT_EQ(log.take(), (Events{"bgp removed"}));
}

TEST_F(FecIdRef, RemovingAnAbsentClientReturnsNullAndPublishesNothing) {
  EXPECT_EQ(record->clientRefDel("bgp"), nullptr);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdRef, RemovingAllClientsPublishesEach) {
  record->clientRefIs("bgp");
  record->clientRefIs("ospf");
  log.take();
  record->clientRefDelAll();
  EXPECT_EQ(log.take(), (Events{"bgp removed", "ospf removed"}));
  EXPECT_TRUE(record->clientRef().empty());
}

TEST_F(FecIdRef, AddingTheSameReferenceTwiceKeepsOneAndPublishesOnce) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  EXPECT_EQ(log.take(), (Events{"bgp added, nexthops: 0"}));
  EXPECT_EQ(record->clientRef("bgp")->nexthopRef().size(), 1U);
  EXPECT_TRUE(holds("bgp", "10.0.0.1"));
}

TEST_F(FecIdRef, ASecondNexthopOfAClientPublishesNothing) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  log.take();
  record->updateClientRef("bgp", addr("10.0.0.2"), true);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(holds("bgp", "10.0.0.2"));
}

TEST_F(FecIdRef, AClientGoesWithItsLastNexthopAndPublishesOnce) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  record->updateClientRef("bgp", addr("10.0.0.2"), true);
  const auto clientRef = record->clientRef("bgp");
  log.take();
  record->updateClientRef("bgp", addr("10.0.0.1"), false);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(record->clientRef("bgp"), clientRef);
  record->updateClientRef("bgp", addr("10.0.0.2"), false);
  EXPECT_EQ(log.take(), (Events{"bgp removed"}));
  EXPECT_EQ(record->clientRef("bgp"), nullptr);
  EXPECT_TRUE(clientRef->nexthopRef().empty());
}

TEST_F(FecIdRef, RemovingANexthopThatIsNotHeldChangesNothing) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  log.take();
  record->updateClientRef("bgp", addr("10.0.0.2"), false);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(holds("bgp", "10.0.0.1"));
}

TEST_F(FecIdRef, AnEmptyClientRecordGoesWithANexthopThatItNeverHeld) {
  record->clientRefIs("bgp");
  log.take();
  record->updateClientRef("bgp", addr("10.0.0.1"), false);
  EXPECT_EQ(log.take(), (Events{"bgp removed"}));
}

using FecIdRefDeathTest = FecIdRef;

TEST_F(FecIdRefDeathTest, RemovingFromAClientThatIsNotTrackedStopsTheProcess) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  EXPECT_EXIT(record->updateClientRef("ospf", addr("10.0.0.1"), false),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr(
                  ": updateClientRef: Assertion \"cr && \"client not being tracked\"\" failed.\n"));
}

TEST_F(FecIdRef, ItsEndPublishesEachClientThatIsLeft) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  record->updateClientRef("ospf", addr("10.0.0.1"), true);
  const auto clientRef = record->clientRef("bgp");
  log.take();
  release();
  EXPECT_EQ(log.take(), (Events{"bgp removed", "ospf removed"}));
  EXPECT_FALSE(watcher.subscribed());
  EXPECT_TRUE(clientRef->nexthopRef().has(addr("10.0.0.1")));
}

TEST_F(FecIdRef, DescribesItsAttributesInDeclarationOrder) {
  record->updateClientRef("bgp", addr("10.0.0.1"), true);
  const TypeData& type = record->typeData();
  EXPECT_EQ(type.name(), "Routing::NexthopResolverFecIdRef");
  ASSERT_EQ(type.attributes().size(), 2U);
  EXPECT_EQ(type.attributes()[0].name, "fecId");
  EXPECT_EQ(type.attributes()[0].value(*record), "42");
  EXPECT_EQ(type.attributes()[1].name, "clientRef");
  EXPECT_EQ(type.attributes()[1].value(*record), "{bgp}");
}

}  // namespace
}  // namespace Routing
