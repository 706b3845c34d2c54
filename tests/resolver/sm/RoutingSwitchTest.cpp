#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using Strings = std::vector<std::string>;

// Three IPv4 and two IPv6 nexthops, all resolved.
class RoutingSwitch : public ResolverFixture {
 protected:
  RoutingSwitch() {
    start(NexthopStatusFecIdType::resolverId);
    references->addReference(12, "other", addr("10.9.9.9"));
    map->fecIdToResolverIdMapIs(12, ResolverId(4));
    world.route("0.0.0.0/0", {12, 0, 1, 0});
    world.route("::/0", {12, 0, 1, 0});
    for (const char* text : {"10.0.0.1", "10.0.0.2", "10.0.0.3", "2001:db8::1", "2001:db8::2"}) {
      nexthop(text);
    }
    run();
  }
};

TEST_F(RoutingSwitch, OffFailsEveryNexthopOfTheFamilyAtOnceAndSchedulesNothing) {
  world.routing4->routingEnabledIs(false);
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 failed", "status 10.0.0.2 failed", "status 10.0.0.3 failed"}));
  EXPECT_EQ(statusLine(*status, addr("2001:db8::1")), "status 2001:db8::1 resolved 4 by ::/0");
  EXPECT_FALSE(scheduled());
  EXPECT_TRUE(queued().empty());
}

TEST_F(RoutingSwitch, OffTracesWhole) {
  traces.emplace(log, "NexthopResolverSm", static_cast<TraceLevelMask>(traceLevelBit(8)));
  world.routing6->routingEnabledIs(false);
  EXPECT_EQ(log.take(),
            (Events{
                resolverLine(8, "handleRouting6 IPv6 routing: false"),
                resolverLine(8,
                             "handlePrefix update resolution state for hop  2001:db8::1 to "
                             "failed "),
                "status 2001:db8::1 failed",
                resolverLine(8,
                             "handlePrefix update resolution state for hop  2001:db8::2 to "
                             "failed "),
                "status 2001:db8::2 failed",
            }));
  traces.reset();
  traces.emplace(log, "NexthopResolverSm", static_cast<TraceLevelMask>(traceLevelBit(7)));
  world.routing4->routingEnabledIs(false);
  EXPECT_EQ(log.take().back(),
            resolverLine(7, "handleRoutingGen routing disabled, affected 3 entries"));
}

TEST_F(RoutingSwitch, OffKeepsQueueTrackingAndReferences) {
  nexthop("10.0.0.2");
  world.routing4->routingEnabledIs(false);
  EXPECT_EQ(queued(), Strings{"10.0.0.2"});
  EXPECT_TRUE(tracked("10.0.0.1"));
  EXPECT_EQ(referenced("10.0.0.1"), 12U);
}

TEST_F(RoutingSwitch, OnQueuesEveryNexthopOfTheFamilyAndSchedulesOnce) {
  world.routing4->routingEnabledIs(false);
  log.take();
  traced();
  world.routing4->routingEnabledIs(true);
  EXPECT_EQ(log.take(),
            (Events{
                resolverLine(8, "handleRouting4 IPv4 routing: true"),
                resolverLine(8, "handlePrefix add nexthop to review: 10.0.0.1"),
                resolverLine(8, "handlePrefix add nexthop to review: 10.0.0.2"),
                resolverLine(8, "handlePrefix add nexthop to review: 10.0.0.3"),
                resolverLine(7, "handleRoutingGen routing enabled, affected 3 entries"),
            }));
  EXPECT_EQ(queued(), (Strings{"10.0.0.1", "10.0.0.2", "10.0.0.3"}));
  EXPECT_TRUE(scheduled());
  traces.reset();
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 4 by 0.0.0.0/0",
                    "status 10.0.0.2 resolved 4 by 0.0.0.0/0",
                    "status 10.0.0.3 resolved 4 by 0.0.0.0/0"}));
}

TEST_F(RoutingSwitch, OnOfIpv6QueuesTheIpv6NexthopsAlone) {
  world.routing6->routingEnabledIs(false);
  log.take();
  traced();
  world.routing6->routingEnabledIs(true);
  EXPECT_EQ(log.take(),
            (Events{
                resolverLine(8, "handleRouting6 IPv6 routing: true"),
                resolverLine(8, "handlePrefix add nexthop to review: 2001:db8::1"),
                resolverLine(8, "handlePrefix add nexthop to review: 2001:db8::2"),
                resolverLine(7, "handleRoutingGen routing enabled, affected 2 entries"),
            }));
  EXPECT_EQ(queued(), (Strings{"2001:db8::1", "2001:db8::2"}));
  EXPECT_TRUE(scheduled());
}

TEST_F(RoutingSwitch, OnWithoutNexthopsOfTheFamilySchedulesNothing) {
  for (const char* text : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) {
    nexthopDel(text);
  }
  run();
  traced();
  world.routing4->routingEnabledIs(true);
  EXPECT_EQ(log.take(),
            (Events{resolverLine(8, "handleRouting4 IPv4 routing: true"),
                    resolverLine(7, "handleRoutingGen routing enabled, affected 0 entries")}));
  EXPECT_FALSE(scheduled());
}

TEST_F(RoutingSwitch, ARepeatedNoticeRepeatsTheWholeWalk) {
  world.routing4->routingEnabledIs(false);
  log.take();
  world.routing4->routingEnabledIs(false);
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 failed", "status 10.0.0.2 failed", "status 10.0.0.3 failed"}));
  world.routing4->routingEnabledIs(true);
  world.routing4->routingEnabledIs(true);
  EXPECT_EQ(queued(), (Strings{"10.0.0.1", "10.0.0.2", "10.0.0.3"}));
}

TEST_F(RoutingSwitch, AResolverReleasedByTheEntriesThatOffWritesEndsItsWalkUnharmed) {
  const Watcher releaser(*status, [&](FieldId, const void*) { resolver = nullptr; });
  world.routing4->routingEnabledIs(false);
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 failed", "status 10.0.0.2 failed", "status 10.0.0.3 failed"}));
  EXPECT_FALSE(world.routing4->hasSubscribers());
  EXPECT_EQ(referenced("10.0.0.1"), 0U);
}

TEST_F(RoutingSwitch, AReviewWhileRoutingIsOffAgreesWithTheSwitch) {
  world.routing4->routingEnabledIs(false);
  log.take();
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
}

TEST_F(RoutingSwitch, AnIdentifierThatChangesWhileRoutingIsOffWritesAFailedEntryAgain) {
  world.routing4->routingEnabledIs(false);
  log.take();
  map->fecIdToResolverIdMapIs(12, ResolverId(5));
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 failed",
                    "status 10.0.0.2 failed",
                    "status 10.0.0.3 failed",
                    "status 2001:db8::1 resolved 5 by ::/0",
                    "status 2001:db8::2 resolved 5 by ::/0"}));
}

}  // namespace
}  // namespace Routing::Support
