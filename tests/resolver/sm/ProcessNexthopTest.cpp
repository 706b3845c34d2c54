#include <gtest/gtest.h>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using ProcessNexthop = ResolverFixture;

TEST_F(ProcessNexthop, TakesTheLongestMatch) {
  start();
  world.route("0.0.0.0/0", {5, 0, 1, 0});
  world.route("10.0.0.0/8", {6, 0, 1, 0});
  world.route("10.1.0.0/16", {7, 0, 1, 0});
  nexthop("10.1.2.3");
  EXPECT_EQ(run(), (Events{"status 10.1.2.3 resolved 7 by 10.1.0.0/16"}));
}

TEST_F(ProcessNexthop, ResolvesThroughItsOwnHostRouteAndThroughTheDefaultRoute) {
  start();
  world.route("0.0.0.0/0", {5, 0, 1, 0});
  world.route("10.1.2.3/32", {6, 0, 1, 0});
  nexthop("10.1.2.3");
  nexthop("10.1.2.4");
  EXPECT_EQ(run(),
            (Events{"status 10.1.2.3 resolved 6 by 10.1.2.3/32",
                    "status 10.1.2.4 resolved 5 by 0.0.0.0/0"}));
}

TEST_F(ProcessNexthop, TracksANexthopWhetherOrNotARouteWasFound) {
  start();
  nexthop("10.0.0.1");
  nexthop("2001:db8::1");
  run();
  EXPECT_TRUE(tracked("10.0.0.1"));
  EXPECT_TRUE(tracked("2001:db8::1"));
}

TEST_F(ProcessNexthop, TwiceWithUnchangedInputsLeavesTheSameState) {
  start();
  world.route("10.0.0.0/8", {6, 20, 110, 2});
  nexthop("10.0.0.1");
  run();
  const NexthopStatusEntry before = *status->nexthop(addr("10.0.0.1"));
  resolver->processNexthop(addr("10.0.0.1"));
  EXPECT_EQ(*status->nexthop(addr("10.0.0.1")), before);
  EXPECT_EQ(resolver->nexthopTrie4()->routeCount(), 1U);
}

TEST_F(ProcessNexthop, RemovalTakesEntryTrackingAndReferenceInThisOrder) {
  start(NexthopStatusFecIdType::resolverId);
  const ReferenceWatch watch(*references, log);
  world.route("10.0.0.0/8", {6, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  map->fecIdToResolverIdMapIs(6, ResolverId(4));
  const Watcher tracking(*resolver->nexthopTrie4(), [&](FieldId, const void* key) {
    log.add("no longer tracked: " + keyOf<IpGenPrefix>(key).stringValue());
  });
  nexthopDel("10.0.0.1");
  log.take();
  traced();
  EXPECT_EQ(run(),
            (Events{
                resolverLine(8, "handleNexthopReview"),
                resolverLine(2,
                             "processNexthop remove nexthopVrfStatusEntry for addr "
                             "10.0.0.1"),
                "status 10.0.0.1 removed",
                "no longer tracked: 10.0.0.1/32",
                resolverLine(7, "processNexthop remove fecId ref for addr 10.0.0.1"),
                "clientRef 6 c1 removed",
                "key c1 10.0.0.1 removed",
                "fecIdRef 6 removed",
                resolverLine(1, "handleNexthopReview finished processing 1"),
            }));
  EXPECT_FALSE(tracked("10.0.0.1"));
}

TEST_F(ProcessNexthop, RemovalOfANexthopThatWasNeverResolvedIsHarmless) {
  start(NexthopStatusFecIdType::resolverId);
  traced();
  resolver->processNexthop(addr("10.0.0.1"));
  EXPECT_EQ(log.take(),
            (Events{resolverLine(2,
                                 "processNexthop remove nexthopVrfStatusEntry for addr "
                                 "10.0.0.1"),
                    resolverLine(7, "processNexthop remove fecId ref for addr 10.0.0.1")}));
}

TEST_F(ProcessNexthop, AClientOfFibIdentifiersNeverHasAReference) {
  start(NexthopStatusFecIdType::fibFecId);
  const ReferenceWatch watch(*references, log);
  world.route("10.0.0.0/8", {6, 0, 1, 0});
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8"}));
  nexthopDel("10.0.0.1");
  traced();
  EXPECT_EQ(run(),
            (Events{
                resolverLine(8, "handleNexthopReview"),
                resolverLine(2,
                             "processNexthop remove nexthopVrfStatusEntry for addr "
                             "10.0.0.1"),
                "status 10.0.0.1 removed",
                resolverLine(1, "handleNexthopReview finished processing 1"),
            }));
}

TEST_F(ProcessNexthop, AnEntryWithTheUnsetAddressCountsAsNotConfigured) {
  start();
  config->nexthopIs({IpGenAddr()});
  EXPECT_EQ(run(), Events{});
  EXPECT_TRUE(status->nexthop().empty());
  EXPECT_EQ(resolver->nexthopTrie6()->routeCount(), 0U);
}

TEST_F(ProcessNexthop, FindsFromTheConfigurationWhetherItWasAddedOrRemoved) {
  start();
  nexthop("10.0.0.1");
  nexthopDel("10.0.0.1");
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
}

TEST_F(ProcessNexthop, TracesAdditionWhole) {
  start();
  world.route("10.0.0.0/8", {6, 20, 110, 2});
  nexthop("10.0.0.1");
  traced();
  EXPECT_EQ(run(),
            (Events{
                resolverLine(8, "handleNexthopReview"),
                resolverLine(2, "processNexthop add nexthopVrfStatusEntry for addr 10.0.0.1"),
                resolverLine(7, "updateNexthopStatus add / replace status 10.0.0.1( fecId: 6)"),
                resolverLine(7,
                             "updateNexthopStatus addr=10.0.0.1 state=resolved fecId=6 "
                             "prefix=10.0.0.0/8 metric=20 preference=110 routeType=2 route6Type=0"),
                "status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                resolverLine(1, "handleNexthopReview finished processing 1"),
            }));
}

TEST_F(ProcessNexthop, IgnoresAHostRouteUnlessItIsAConfiguredNexthop) {
  start();
  nexthop("10.0.0.1");
  run();
  EXPECT_FALSE(resolver->isIgnoredRoute(resolver->nexthopTrie4(), prefix("10.0.0.1/32")));
  EXPECT_TRUE(resolver->isIgnoredRoute(resolver->nexthopTrie4(), prefix("10.0.0.2/32")));
}

TEST_F(ProcessNexthop, IgnoresAPrefixWithoutANexthopStrictlyInsideIt) {
  start();
  nexthop("10.1.0.1");
  nexthop("2001:db8::1");
  run();
  const Ptr<TrieGen> trie4 = resolver->nexthopTrie4();
  const Ptr<TrieGen> trie6 = resolver->nexthopTrie6();
  EXPECT_FALSE(resolver->isIgnoredRoute(trie4, prefix("10.1.0.0/16")));
  EXPECT_TRUE(resolver->isIgnoredRoute(trie4, prefix("10.2.0.0/16")));
  EXPECT_FALSE(resolver->isIgnoredRoute(trie6, prefix("2001:db8::/32")));
  EXPECT_TRUE(resolver->isIgnoredRoute(trie6, prefix("2001:db9::/32")));
  EXPECT_FALSE(resolver->isIgnoredRoute(trie6, prefix("2001:db8::1/128")));
  EXPECT_TRUE(resolver->isIgnoredRoute(trie6, prefix("2001:db8::2/128")));
}

TEST_F(ProcessNexthop, NeverIgnoresTheDefaultRouteEvenWithNothingTracked) {
  start();
  EXPECT_FALSE(resolver->isIgnoredRoute(resolver->nexthopTrie4(), prefix("0.0.0.0/0")));
  EXPECT_FALSE(resolver->isIgnoredRoute(resolver->nexthopTrie6(), prefix("::/0")));
}

}  // namespace
}  // namespace Routing::Support
