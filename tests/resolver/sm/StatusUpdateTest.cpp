#include <gtest/gtest.h>

#include <new>
#include <string>

#include "platform/entity/Exceptions.h"
#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using StatusUpdate = ResolverFixture;

void expectFailedEntry(const NexthopVrfStatus& status, const IpGenAddr& address) {
  const NexthopStatusEntry* entry = status.nexthop(address);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->fecId, 0U);
  EXPECT_EQ(entry->metric, 0U);
  EXPECT_EQ(entry->preference, 1U);
  EXPECT_EQ(entry->prefix, IpGenPrefix());
  EXPECT_EQ(entry->addr, address);
  EXPECT_EQ(entry->routeType, 0U);
  EXPECT_EQ(entry->route6Type, 0U);
  EXPECT_EQ(entry->resolutionState, NexthopResolutionState::failed);
}

TEST_F(StatusUpdate, AResolvedIpv4EntryCarriesTheRoute) {
  start();
  world.route("10.0.0.0/8", {12, 77, 110, 9});
  nexthop("10.0.0.1");
  run();
  const NexthopStatusEntry& entry = *status->nexthop(addr("10.0.0.1"));
  EXPECT_EQ(entry.fecId, 12U);
  EXPECT_EQ(entry.metric, 77U);
  EXPECT_EQ(entry.preference, 110U);
  EXPECT_EQ(entry.prefix, prefix("10.0.0.0/8"));
  EXPECT_EQ(entry.addr, addr("10.0.0.1"));
  EXPECT_EQ(entry.routeType, 9U);
  EXPECT_EQ(entry.route6Type, 0U);
  EXPECT_EQ(entry.resolutionState, NexthopResolutionState::resolved);
}

TEST_F(StatusUpdate, AResolvedIpv6EntryHasItsTypeInRoute6Type) {
  start();
  world.route("2001:db8::/32", {12, 0xffffffff, 255, 9});
  nexthop("2001:db8::1");
  run();
  const NexthopStatusEntry& entry = *status->nexthop(addr("2001:db8::1"));
  EXPECT_EQ(entry.metric, 0xffffffffU);
  EXPECT_EQ(entry.preference, 255U);
  EXPECT_EQ(entry.routeType, 0U);
  EXPECT_EQ(entry.route6Type, 9U);
}

TEST_F(StatusUpdate, WithRoutingDisabledTheEntryFailsAlthoughARouteMatches) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {12, 77, 110, 9});
  world.routing4->routingEnabledIs(false);
  nexthop("10.0.0.1");
  traced();
  EXPECT_EQ(run(),
            (Events{
                resolverLine(8, "handleNexthopReview"),
                resolverLine(2,
                             "processNexthop add nexthopVrfStatusEntry for addr "
                             "10.0.0.1"),
                resolverLine(7,
                             "updateNexthopStatus update resolution state for addr "
                             "10.0.0.1 to failed (routing is disabled)"),
                "7 NexthopResolverSm: Setting entry with failed resolution status: "
                "addr=10.0.0.1 state=failed fecId=0 prefix=- metric=0 preference=1 "
                "routeType=0 route6Type=0",
                "status 10.0.0.1 failed",
                resolverLine(1, "handleNexthopReview finished processing 1"),
            }));
  expectFailedEntry(*status, addr("10.0.0.1"));
  EXPECT_EQ(referenced("10.0.0.1"), 0U);
}

TEST_F(StatusUpdate, RoutingIsReadOfTheNexthopsOwnFamily) {
  start();
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.route("2001:db8::/32", {13, 0, 1, 0});
  world.routing4->routingEnabledIs(false);
  nexthop("10.0.0.1");
  nexthop("2001:db8::1");
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 failed", "status 2001:db8::1 resolved 13 by 2001:db8::/32"}));
}

TEST_F(StatusUpdate, WithoutARouteTheEntryFailsAndTheTraceNamesTheEmptyPrefix) {
  start();
  nexthop("10.0.0.1");
  traced();
  const Events events = run();
  ASSERT_EQ(events.size(), 6U);
  EXPECT_EQ(events[2],
            resolverLine(7,
                         "updateNexthopStatus update resolution state for addr "
                         "10.0.0.1 to failed (no route for prefix -)"));
  expectFailedEntry(*status, addr("10.0.0.1"));
}

TEST_F(StatusUpdate, APrefixInTheTrieWithoutARouteInTheTableFails) {
  start();
  world.trie4->routeIs(prefix("10.0.0.0/8"), true);
  nexthop("10.0.0.1");
  traced();
  EXPECT_EQ(run()[2],
            resolverLine(7,
                         "updateNexthopStatus update resolution state for addr "
                         "10.0.0.1 to failed (no route for prefix 10.0.0.0/8)"));
}

TEST_F(StatusUpdate, NoMatchFindsNoRouteEvenWhenTheTableHoldsADefaultRoute) {
  start();
  world.routes4->routeIs(Prefix(prefix("0.0.0.0/0")), {12, 0, 1, 0});
  world.routes6->routeIs(Ip6Prefix(prefix("::/0")), {12, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("2001:db8::1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed", "status 2001:db8::1 failed"}));
}

TEST_F(StatusUpdate, ARouteEqualToTheDefaultValueCountsAsAbsent) {
  start();
  world.route("10.0.0.0/8", Fib::Route());
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
}

TEST_F(StatusUpdate, AnUnchangedRouteRewritesTheSameEntry) {
  start();
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 resolved 12 by 10.0.0.0/8"}));
}

TEST_F(StatusUpdate, WithoutAnIdentifierTheReferenceIsRecordedAndNothingIsWritten) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), Events{});
  EXPECT_EQ(referenced("10.0.0.1"), 12U);
  EXPECT_TRUE(status->nexthop().empty());
}

TEST_F(StatusUpdate, WithoutAnIdentifierAnEarlierEntryStaysAsItIs) {
  start(NexthopStatusFecIdType::resolverId);
  nexthop("10.0.0.1");
  run();
  const NexthopStatusEntry before = *status->nexthop(addr("10.0.0.1"));
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  EXPECT_EQ(run(), Events{});
  EXPECT_EQ(*status->nexthop(addr("10.0.0.1")), before);
}

TEST_F(StatusUpdate, ReportsTheMappedIdentifier) {
  start(NexthopStatusFecIdType::resolverId);
  references->addReference(12, "other", addr("10.9.9.9"));
  map->fecIdToResolverIdMapIs(12, ResolverId(0x1200000000000004));
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 resolved 1297036692682702852 by 10.0.0.0/8"}));
}

TEST_F(StatusUpdate, PresenceOfTheIdentifierDecidesNotItsValue) {
  start(NexthopStatusFecIdType::resolverId);
  references->addReference(5, "other", addr("10.9.9.9"));
  map->fecIdToResolverIdMapIs(5, ResolverId(0));
  world.route("10.0.0.0/8", {5, 0, 1, 0});
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 resolved 0 by 10.0.0.0/8"}));
}

TEST_F(StatusUpdate, AFailureKeepsTheReferenceOfTheLastSuccess) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  world.routeDel("10.0.0.0/8");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
  EXPECT_EQ(referenced("10.0.0.1"), 12U);
  nexthopDel("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 removed"}));
  EXPECT_EQ(referenced("10.0.0.1"), 0U);
}

TEST_F(StatusUpdate, AnotherFecMovesTheReferenceNewBeforeOld) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  const ReferenceWatch watch(*references, log);
  world.route("10.0.0.0/8", {13, 0, 1, 0});
  EXPECT_EQ(run(),
            (Events{
                "fecIdRef 13 added, clients: 0",
                "clientRef 13 c1 added, nexthops: 0",
                "key c1 10.0.0.1 removed",
                "fecIdRef 12 removed",
                "key c1 10.0.0.1 -> 13",
            }));
}

TEST_F(StatusUpdate, ACorruptRouteIsReportedWithItsMessageAndReadAsNoRoute) {
  start();
  std::string reported;
  world.routes4->corruptionHookIs([&](const String& message) { reported += message + "\n"; });
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.routes4->corruptIs(Prefix(prefix("10.0.0.0/8")));
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
  EXPECT_EQ(reported, "route 10.0.0.0/8 is corrupt\n");
}

TEST_F(StatusUpdate, ACorruptIpv6RouteIsReportedToItsOwnTable) {
  start();
  std::string reported;
  world.routes4->corruptionHookIs([&](const String&) { reported += "wrong table\n"; });
  world.routes6->corruptionHookIs([&](const String& message) { reported += message + "\n"; });
  world.route("2001:db8::/32", {12, 0, 1, 0});
  world.routes6->corruptIs(Ip6Prefix(prefix("2001:db8::/32")));
  nexthop("2001:db8::1");
  EXPECT_EQ(run(), (Events{"status 2001:db8::1 failed"}));
  EXPECT_EQ(reported, "route 2001:db8::/32 is corrupt\n");
}

// The lookup comes before the question whether routing is enabled.
TEST_F(StatusUpdate, ACorruptRouteIsReportedAlsoWhileRoutingIsDisabled) {
  start();
  int reports = 0;
  world.routes4->corruptionHookIs([&](const String&) { ++reports; });
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.routes4->corruptIs(Prefix(prefix("10.0.0.0/8")));
  world.routing4->routingEnabledIs(false);
  nexthop("10.0.0.1");
  run();
  EXPECT_EQ(reports, 1);
}

// A route table whose reads throw.
template <class Thrown>
class ThrowingTable final : public Fib::RouteStatus {
 public:
  Route route(const Prefix& /*prefix*/) const override { throw Thrown(); }
  void doCorruptionDetected(const String& /*message*/) const override { ++reports; }
  const TypeData& typeData() const override {
    static const TypeData type("ThrowingTable");
    return type;
  }
  mutable int reports = 0;
};

class StatusUpdateThrowingRead : public StatusUpdate {
 protected:
  void updateFrom(const Ptr<const Fib::RouteStatus>& table) {
    updateNexthopStatus("c1",
                        resolver.get(),
                        status,
                        references,
                        Ptr<const FecIdToResolverId>(map),
                        addr("10.0.0.1"),
                        true,
                        table,
                        prefix("10.0.0.0/8"));
  }
};

TEST_F(StatusUpdateThrowingRead, ForLackOfMemoryIsNoCorruptionAndReachesTheCaller) {
  start();
  const auto table = makeEntity<ThrowingTable<std::bad_alloc>>();
  EXPECT_THROW(updateFrom(table), std::bad_alloc);
  EXPECT_EQ(table->reports, 0);
}

TEST_F(StatusUpdateThrowingRead, OfWhatIsNoStandardExceptionReachesTheCaller) {
  struct Foreign {};
  start();
  const auto table = makeEntity<ThrowingTable<Foreign>>();
  EXPECT_THROW(updateFrom(table), Foreign);
  EXPECT_EQ(table->reports, 0);
}

TEST_F(StatusUpdate, TheIpv6InstanceRefusesAPrefixOfTheOtherFamily) {
  start();
  const auto update = [&](const IpGenPrefix& matched) {
    updateNexthopStatus("c1",
                        resolver.get(),
                        status,
                        references,
                        Ptr<const FecIdToResolverId>(map),
                        addr("2001:db8::1"),
                        true,
                        Ptr<const Fib6::RouteStatus>(world.routes6),
                        matched);
  };
  EXPECT_THROW(update(prefix("10.0.0.0/8")), RangeError);
  EXPECT_TRUE(status->nexthop().empty());
  EXPECT_NO_THROW(update(IpGenPrefix()));
  expectFailedEntry(*status, addr("2001:db8::1"));
}

TEST_F(StatusUpdate, AResolvedAddressOfNoFamilyEndsTheProcess) {
  start();
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  EXPECT_DEATH(updateNexthopStatus("c1",
                                   resolver.get(),
                                   status,
                                   references,
                                   Ptr<const FecIdToResolverId>(map),
                                   IpGenAddr(),
                                   true,
                                   Ptr<const Fib::RouteStatus>(world.routes4),
                                   prefix("10.0.0.0/8")),
               "Assertion \"!\"invalid address family\"\" failed\\.");
}

TEST_F(StatusUpdate, EntriesTurnFromResolvedToFailedAndBackWhole) {
  start();
  world.route("10.0.0.0/8", {12, 77, 110, 9});
  nexthop("10.0.0.1");
  run();
  world.routeDel("10.0.0.0/8");
  run();
  expectFailedEntry(*status, addr("10.0.0.1"));
  world.route("10.0.0.0/8", {12, 77, 110, 9});
  run();
  EXPECT_EQ(status->nexthop(addr("10.0.0.1"))->metric, 77U);
}

}  // namespace
}  // namespace Routing::Support
