#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using Strings = std::vector<std::string>;

// Three nexthops of each family under review and done, nothing queued.
class RouteChange : public ResolverFixture {
 protected:
  RouteChange() {
    start();
    for (const char* text :
         {"10.1.2.3", "10.2.0.1", "192.0.2.1", "2001:db8:1::1", "2001:db8:2::1", "2001:db9::1"}) {
      nexthop(text);
    }
    run();
    traced();
  }
};

TEST_F(RouteChange, QueuesExactlyTheNexthopsInsideTheChangedPrefix) {
  world.route("10.1.0.0/16", {12, 0, 1, 0});
  EXPECT_EQ(log.take(),
            (Events{resolverLine(8, "handlePrefix add nexthop to review: 10.1.2.3"),
                    resolverLine(8, "handle4ChangedRoute prefix 10.1.0.0/16 affected 1 entries")}));
  EXPECT_EQ(queued(), Strings{"10.1.2.3"});
  EXPECT_TRUE(scheduled());
}

TEST_F(RouteChange, OfIpv6QueuesExactlyTheNexthopsInsideTheChangedPrefix) {
  world.route("2001:db8::/32", {12, 0, 1, 0});
  EXPECT_EQ(
      log.take(),
      (Events{resolverLine(8, "handlePrefix add nexthop to review: 2001:db8:1::1"),
              resolverLine(8, "handlePrefix add nexthop to review: 2001:db8:2::1"),
              resolverLine(8, "handle6ChangedRoute prefix 2001:db8::/32 affected 2 entries")}));
  EXPECT_EQ(queued(), (Strings{"2001:db8:1::1", "2001:db8:2::1"}));
}

TEST_F(RouteChange, OfTheDefaultRouteQueuesEveryNexthopOfItsFamilyOnly) {
  world.route("0.0.0.0/0", {12, 0, 1, 0});
  EXPECT_EQ(log.take().back(),
            resolverLine(8, "handle4ChangedRoute prefix 0.0.0.0/0 affected 3 entries"));
  EXPECT_EQ(queued(), (Strings{"10.1.2.3", "10.2.0.1", "192.0.2.1"}));
  resolver->reviewNexthopDelAll();
  world.route("::/0", {12, 0, 1, 0});
  EXPECT_EQ(log.take().back(),
            resolverLine(8, "handle6ChangedRoute prefix ::/0 affected 3 entries"));
  EXPECT_EQ(queued(), (Strings{"2001:db8:1::1", "2001:db8:2::1", "2001:db9::1"}));
}

TEST_F(RouteChange, OfTheUnsetPrefixIsIgnored) {
  world.trie4->changedPrefixIs(IpGenPrefix());
  world.trie6->changedPrefixIs(IpGenPrefix());
  EXPECT_EQ(log.take(),
            (Events{resolverLine(8, "handle4ChangedRoute prefix - (ignored)"),
                    resolverLine(8, "handle6ChangedRoute prefix - (ignored)")}));
  EXPECT_TRUE(queued().empty());
  EXPECT_FALSE(scheduled());
}

TEST_F(RouteChange, OfTheUnsetPrefixIsIgnoredAlsoWithTracesOff) {
  traces.reset();
  world.trie4->changedPrefixIs(IpGenPrefix());
  EXPECT_TRUE(queued().empty());
  EXPECT_FALSE(scheduled());
}

TEST_F(RouteChange, WithoutATrackedNexthopInsideIsIgnoredAndSchedulesNothing) {
  world.route("172.16.0.0/12", {12, 0, 1, 0});
  world.route("2001:dba::/32", {12, 0, 1, 0});
  EXPECT_EQ(
      log.take(),
      (Events{resolverLine(8, "handle4ChangedRoute prefix 172.16.0.0/12 ignored (no match)"),
              resolverLine(8, "handle6ChangedRoute prefix 2001:dba::/32 ignored (no match)")}));
  EXPECT_FALSE(scheduled());
}

TEST_F(RouteChange, OfTheHostRouteOfATrackedNexthopQueuesIt) {
  world.route("10.1.2.3/32", {12, 0, 1, 0});
  EXPECT_EQ(queued(), Strings{"10.1.2.3"});
  EXPECT_EQ(log.take().back(),
            resolverLine(8, "handle4ChangedRoute prefix 10.1.2.3/32 affected 1 entries"));
}

TEST_F(RouteChange, OfTheHostRouteOfAConfiguredButUnreviewedNexthopAffectsNothing) {
  nexthop("10.7.7.7");
  resolver->reviewNexthopDelAll();
  run();
  world.route("10.7.7.7/32", {12, 0, 1, 0});
  EXPECT_EQ(log.take(),
            (Events{resolverLine(8, "handle4ChangedRoute prefix 10.7.7.7/32 affected 0 entries")}));
  EXPECT_FALSE(scheduled());
}

TEST_F(RouteChange, OfTwoPrefixesBeforeTheReviewQueuesTheUnionOnce) {
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.route("10.1.0.0/16", {13, 0, 1, 0});
  EXPECT_EQ(queued(), (Strings{"10.1.2.3", "10.2.0.1"}));
  traces.reset();
  log.take();
  EXPECT_EQ(run(),
            (Events{"status 10.1.2.3 resolved 13 by 10.1.0.0/16",
                    "status 10.2.0.1 resolved 12 by 10.0.0.0/8"}));
}

TEST_F(RouteChange, OfARouteThatOnlyChangedItsMetricReachesTheEntry) {
  world.route("10.1.0.0/16", {12, 5, 1, 0});
  run();
  world.route("10.1.0.0/16", {12, 6, 1, 0});
  run();
  EXPECT_EQ(status->nexthop(addr("10.1.2.3"))->metric, 6U);
}

TEST_F(RouteChange, OfARemovedRouteLetsTheCoveringOneTakeOver) {
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.route("10.1.0.0/16", {13, 0, 1, 0});
  run();
  traces.reset();
  world.routeDel("10.1.0.0/16");
  EXPECT_EQ(run(), (Events{"status 10.1.2.3 resolved 12 by 10.0.0.0/8"}));
}

TEST_F(RouteChange, ResolvesNothingInline) {
  traces.reset();
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(RouteChange, CallbacksCountWhatTheyHandledAndKnowTheirResolver) {
  const auto queue = nexthopTrieCallbackFactory(resolver);
  EXPECT_EQ(queue->nexthopResolverSm(), resolver);
  EXPECT_EQ(queue->count(), 0U);
  EXPECT_EQ(queue->countInc(2), 2U);
  EXPECT_TRUE(queue->handlePrefix(prefix("10.1.2.3/32")));
  EXPECT_EQ(queue->count(), 3U);
  const auto fail = removeStatusCallbackFactory(resolver);
  EXPECT_EQ(fail->nexthopResolverSm(), resolver);
  EXPECT_TRUE(fail->handlePrefix(prefix("10.1.2.3/32")));
  EXPECT_EQ(fail->count(), 1U);
  EXPECT_EQ(queue->typeData().name(), "Routing::NexthopTrieCallback");
  EXPECT_EQ(fail->typeData().name(), "Routing::RemoveStatusCallback");
}

}  // namespace
}  // namespace Routing::Support
