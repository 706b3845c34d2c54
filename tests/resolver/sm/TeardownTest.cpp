#include <gtest/gtest.h>

#include <cstdint>

#include "platform/entity/TypeData.h"
#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using Teardown = ResolverFixture;

TEST_F(Teardown, RemovesTheReferencesOfConfiguredNexthopsAndKeepsThoseOfOthers) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  world.route("10.1.0.0/16", {8, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.1.0.1");
  nexthop("192.0.2.1");
  run();
  references->addReference(8, "other", addr("10.1.0.9"));
  log.take();
  const ReferenceWatch watch(*references, log);
  traced();
  resolver = nullptr;
  EXPECT_EQ(log.take(),
            (Events{
                resolverLine(8, "handleCleanup"),
                "key c1 10.0.0.1 removed",
                "fecIdRef 7 removed",
                "key c1 10.1.0.1 removed",
            }));
  EXPECT_EQ(referenced("10.1.0.9", "other"), 8U);
}

TEST_F(Teardown, OfAClientOfFibIdentifiersDoesNothing) {
  start(NexthopStatusFecIdType::fibFecId);
  references->addReference(8, "c1", addr("10.0.0.1"));
  nexthop("10.0.0.1");
  run();
  traced();
  resolver = nullptr;
  EXPECT_EQ(log.take(), (Events{resolverLine(8, "handleCleanup")}));
  EXPECT_EQ(referenced("10.0.0.1"), 8U);
}

// Cleanup walks the configuration: what was unconfigured and not yet reviewed keeps its reference.
TEST_F(Teardown, ANexthopUnconfiguredButNotYetReviewedKeepsItsReference) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  run();
  nexthopDel("10.0.0.1");
  resolver = nullptr;
  EXPECT_EQ(referenced("10.0.0.1"), 7U);
  EXPECT_EQ(referenced("10.0.0.2"), 0U);
}

TEST_F(Teardown, TouchesNoStatusEntry) {
  start(NexthopStatusFecIdType::resolverId);
  nexthop("10.0.0.1");
  run();
  resolver = nullptr;
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(status->nexthop().size(), 1U);
}

TEST_F(Teardown, UnsubscribesFromEveryInputAndReleasesIt) {
  const std::uint64_t live = TypeData::liveEntities();
  start(NexthopStatusFecIdType::resolverId);
  nexthop("10.0.0.1");
  run();
  statusWatch.reset();
  resolver = nullptr;
  EXPECT_FALSE(config->hasSubscribers());
  EXPECT_FALSE(world.trie4->hasSubscribers());
  EXPECT_FALSE(world.trie6->hasSubscribers());
  EXPECT_FALSE(world.routing4->hasSubscribers());
  EXPECT_FALSE(world.routing6->hasSubscribers());
  EXPECT_FALSE(map->hasSubscribers());
  config = nullptr;
  status = nullptr;
  EXPECT_EQ(TypeData::liveEntities(), live);
}

TEST_F(Teardown, AResolverWhoseNotificationsWereNeverSwitchedOnUnsubscribesToo) {
  configure(NexthopStatusFecIdType::resolverId);
  auto machine = makeEntity<NexthopResolverSm>("v1",
                                               "c1",
                                               config,
                                               status,
                                               world.trie4,
                                               world.trie6,
                                               world.routes4,
                                               world.routes6,
                                               world.routing4,
                                               world.routing6,
                                               references,
                                               map,
                                               world.scheduler);
  EXPECT_TRUE(config->hasSubscribers());
  machine = nullptr;
  EXPECT_FALSE(config->hasSubscribers());
  EXPECT_FALSE(world.trie4->hasSubscribers());
}

TEST_F(Teardown, TheReviewTaskLeavesTheScheduler) {
  start();
  nexthop("10.0.0.1");
  EXPECT_TRUE(world.scheduler->hasRunnable());
  resolver = nullptr;
  EXPECT_FALSE(world.scheduler->hasRunnable());
}

TEST_F(Teardown, AResolverReleasedByTheNotificationOfItsOwnStatusEndsItsRunUnharmed) {
  start(NexthopStatusFecIdType::fibFecId);
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  const Watcher releaser(*status, [&](FieldId, const void*) { resolver = nullptr; });
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed", "status 10.0.0.2 failed"}));
  EXPECT_FALSE(config->hasSubscribers());
}

TEST_F(Teardown, AResolverReleasedByTheStatusThatAnIdentifierBringsEndsItsWalkUnharmed) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  run();
  const Watcher releaser(*status, [&](FieldId, const void*) { resolver = nullptr; });
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  EXPECT_EQ(log.take(),
            (Events{"status 10.0.0.1 resolved 4 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 4 by 10.0.0.0/8"}));
  EXPECT_FALSE(config->hasSubscribers());
  EXPECT_EQ(references->fecIdRef(7), nullptr);
}

// Its last references go, and with them identifiers are withdrawn, and given anew.
TEST_F(Teardown, AResolverThatEndsHearsNothingOfItsOwnReferences) {
  start(NexthopStatusFecIdType::resolverId);
  world.route("10.0.0.0/8", {7, 0, 1, 0});
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  run();
  map->fecIdToResolverIdMapIs(7, ResolverId(4));
  log.take();
  std::uint64_t next = 5;
  const Watcher allocator(*references, [&](FieldId, const void*) {
    map->fecIdToResolverIdMapIs(7, ResolverId(next++));
  });
  resolver = nullptr;
  EXPECT_GT(next, 5U);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(references->fecIdRef(7), nullptr);
}

}  // namespace
}  // namespace Routing::Support
