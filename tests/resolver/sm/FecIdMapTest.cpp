#include <gtest/gtest.h>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using FecIdMap = ResolverFixture;

TEST_F(FecIdMap, AnAppearingIdentifierWritesTheWaitingEntriesAtOnce) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  EXPECT_EQ(run(), Events{});
  traces.emplace(log, "NexthopResolverSm", traceLevelBit(8));
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  EXPECT_EQ(log.take(),
            (Events{
                resolverLine(8,
                             "handleFecIdMap process nexthop 10.0.0.1 (fecId 7 "
                             "removed)"),
                "status 10.0.0.1 resolved 4 by 10.0.0.0/8",
                resolverLine(8,
                             "handleFecIdMap process nexthop 10.0.0.2 (fecId 7 "
                             "removed)"),
                "status 10.0.0.2 resolved 4 by 10.0.0.0/8",
            }));
}

TEST_F(FecIdMap, AChangedIdentifierRewritesTheEntries) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  log.take();
  map->fecIdToResolverIdMapIs(7, ResolverId(5));
  EXPECT_EQ(log.take(), (Events{"status 10.0.0.1 resolved 5 by 10.0.0.0/8"}));
}

TEST_F(FecIdMap, ARemovedIdentifierReprocessesNothing) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  log.take();
  traced();
  map->fecIdToResolverIdMapDel(7);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdMap, EachClientReprocessesExactlyItsOwnNexthops) {
  start(NexthopStatusFecIdType::resolverId);
  const auto config2 = makeEntity<NexthopVrfConfig>("v1", NexthopStatusFecIdType::resolverId);
  const auto status2 = makeEntity<NexthopVrfStatus>("v1", NexthopStatusFecIdType::resolverId);
  config2->nexthopIs({addr("10.0.0.2")});
  const auto resolver2 = nexthopResolverSmFactory("v1",
                                                  "c2",
                                                  config2,
                                                  status2,
                                                  world.trie4,
                                                  world.trie6,
                                                  world.routes4,
                                                  world.routes6,
                                                  world.routing4,
                                                  world.routing6,
                                                  references,
                                                  map,
                                                  world.scheduler);
  const Watcher watcher(*status2, [&](FieldId, const void* key) {
    log.add("c2 " + statusLine(*status2, keyOf<IpGenAddr>(key)));
  });
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  run();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 resolved 4 by 10.0.0.0/8",
                    "c2 status 10.0.0.2 resolved 4 by 10.0.0.0/8"}));
}

TEST_F(FecIdMap, AFecThatOnlyOthersReferenceIsIgnoredWithoutATrace) {
  start(NexthopStatusFecIdType::resolverId);
  references->addReference(7, "other", addr("10.0.0.1"));
  traced();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdMap, AClientOfFibIdentifiersIgnoresTheMapEvenWithoutReferences) {
  start(NexthopStatusFecIdType::fibFecId);
  traced();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdMap, AMappedFecWithoutReferencesEndsTheProcess) {
  start(NexthopStatusFecIdType::resolverId);
  EXPECT_DEATH(map->fecIdToResolverIdMapIs(7, ResolverId(4)),
               "Assertion \"fecIdRef && \"fecId in fecIdToResolverId does not have any "
               "reference\"\" failed\\.");
}

// The route points elsewhere by the time the identifier appears: every nexthop moves away from
// under the walk.
TEST_F(FecIdMap, AnIdentifierThatAppearsWhileTheNexthopsMoveAwayDrainsTheSetThatIsWalked) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  run();
  const ReferenceWatch watch(*references, log);
  references->addReference(8, "other", addr("10.9.9.9"));
  map->fecIdToResolverIdMapIs(8, ResolverId(4));
  world.routes4->routeIs(Prefix(prefix("10.0.0.0/8")), {8, 0, 1, 0});
  log.take();
  map->fecIdToResolverIdMapIs(7, ResolverId(5));
  EXPECT_EQ(log.take(),
            (Events{
                "clientRef 8 c1 added, nexthops: 0",
                "key c1 10.0.0.1 removed",
                "key c1 10.0.0.1 -> 8",
                "status 10.0.0.1 resolved 4 by 10.0.0.0/8",
                "key c1 10.0.0.2 removed",
                "fecIdRef 7 removed",
                "key c1 10.0.0.2 -> 8",
                "status 10.0.0.2 resolved 4 by 10.0.0.0/8",
            }));
}

}  // namespace
}  // namespace Routing::Support
