#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/FibViaWatch.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/ReferenceWatch.h"

namespace Routing::Support {
namespace {

class ManagerCleanup : public ManagerFixture {
 protected:
  // Two clients with a kept entry each; c2 has lost the VRF's configuration while nobody looked.
  void startWithAnUnconfiguredClient() {
    client("c1");
    client("c2");
    keptStatus("c1");
    keptStatus("c2");
    watch("c1");
    watch("c2");
    start();
    manager->hasNotificationActiveIs(false);
    config("c2")->vrfDel("v1");
  }
  Events cleared(const std::vector<String>& clients) const {
    Events expected{managerLine(8, "handleCleanup")};
    for (const String& name : clients) {
      expected.push_back(managerLine(1, "clearVrfStatus clear status for " + name));
      expected.push_back(name + " v1: status 10.0.0.9 removed");
      expected.push_back(name + ": v1 removed");
    }
    return expected;
  }
};

TEST_F(ManagerCleanup, KeepsTheStatusOfClientsThatConfigureTheVrfAndClearsThatOfOthers) {
  startWithAnUnconfiguredClient();
  EXPECT_EQ(stop(), cleared({"c2"}));
  EXPECT_EQ(world.status("c1")->vrf("v1")->nexthop().size(), 1U);
}

TEST_F(ManagerCleanup, AClientWithoutAnyConfigurationLosesItsStatus) {
  client("c1");
  keptStatus("c1");
  watch("c1");
  start();
  manager->hasNotificationActiveIs(false);
  world.configDir->entityDel("c1");
  manager->handleClientConfigDir("c1");
  keptStatus("c1");
  log.take();
  EXPECT_EQ(stop(), cleared({"c1"}));
}

TEST_F(ManagerCleanup, WithoutIpv4RoutingInformationClearsEveryClientOnce) {
  startWithAnUnconfiguredClient();
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(), cleared({"c1", "c2"}));
}

TEST_F(ManagerCleanup, WithoutIpv6RoutingInformationClearsEveryClientOnce) {
  startWithAnUnconfiguredClient();
  world.routing6Dir->entityDel("v1");
  EXPECT_EQ(stop(), cleared({"c1", "c2"}));
}

TEST_F(ManagerCleanup, WithoutBothClearsEveryClientOnce) {
  startWithAnUnconfiguredClient();
  world.routing4Dir->entityDel("v1");
  world.routing6Dir->entityDel("v1");
  EXPECT_EQ(stop(), cleared({"c1", "c2"}));
}

TEST_F(ManagerCleanup, RoutingInformationOfTheWrongFamilyCountsAsAbsent) {
  client("c1");
  start();
  world.routing6Dir->entityIs("v1", world.routing4);
  stop();
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerCleanup, RoutingThatIsSwitchedOffIsThereAllTheSame) {
  clientWithNexthop("c1");
  startQuietly();
  run();
  world.routing4->routingEnabledIs(false);
  world.routing6->routingEnabledIs(false);
  stop();
  EXPECT_EQ(world.status("c1")->vrf("v1")->nexthop().size(), 1U);
}

TEST_F(ManagerCleanup, AVrfWithoutRoutingDirectoriesIsGone) {
  client("c1");
  ManagerInputs inputs(world);
  inputs.routing4Dir = nullptr;
  inputs.routing6Dir = nullptr;
  manager = inputs.make();
  stop();
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerCleanup, AClientWithoutStatusOfTheVrfTracesNothing) {
  world.status("c1");
  start();
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(), cleared({}));
}

TEST_F(ManagerCleanup, NeverTouchesTheStatusOfOtherVrfs) {
  client("c1");
  const Ptr<NexthopVrfStatus> other = keptStatus("c1", fibFecId, "v2");
  startQuietly();
  world.routing4Dir->entityDel("v1");
  stop();
  EXPECT_EQ(keysOf(world.status("c1")->vrf()), (std::vector<String>{"v2"}));
  EXPECT_EQ(world.status("c1")->vrf("v2"), other);
  EXPECT_EQ(other->nexthop().size(), 1U);
}

// The machine is off and released before the resolvers take their references back, so what it
// published, the map and the context stay.
TEST_F(ManagerCleanup, ReleasesTheMachineBeforeTheResolvers) {
  clientWithNexthop("c1");
  watch("c1");
  start();
  run();
  const TraceLog resolvers(log, "NexthopResolverSm");
  const TraceLog fibVia(log, "NexthopResolverFibViaSm");
  const ReferenceWatch references(*manager->fecIdToClientHop(), log);
  const Ptr<FecIdToResolverId> map = manager->fecIdToResolverId();
  const FibViaWatch outputs(*world.context, *world.forwarding->vrf("v1"), *map, log);
  EXPECT_EQ(stop(),
            (Events{
                managerLine(8, "handleCleanup"),
                resolverLine(8, "handleCleanup"),
                "key c1 10.0.0.1 removed",
                "fecIdRef 12 removed",
            }));
  EXPECT_TRUE(world.forwarding->vrf("v1")->nexthopResolverIdViaHas(ResolverId(4)));
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(4));
  EXPECT_EQ(world.context->firstUnAllocatedNexthopResolverId(), 5U);
}

TEST_F(ManagerCleanup, ClearsTheStatusBeforeTheResolversGo) {
  clientWithNexthop("c1");
  watch("c1");
  start();
  run();
  world.routing6Dir->entityDel("v1");
  const TraceLog resolvers(log, "NexthopResolverSm");
  EXPECT_EQ(stop(),
            (Events{
                managerLine(8, "handleCleanup"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.1 removed",
                "c1: v1 removed",
                resolverLine(8, "handleCleanup"),
            }));
}

TEST_F(ManagerCleanup, EverythingIsSilentBeforeAnyStatusIsCleared) {
  client("c1");
  keptStatus("c1");
  startQuietly();
  const Ptr<NexthopResolverFibViaSm> machine = manager->nexthopResolverFibViaSm();
  const Ptr<NexthopResolverSm> kept = resolver("c1");
  const Ptr<NestedSm_NexthopStatus> watcher = memberOf(manager->nexthopStatus(), "c1");
  world.routing4Dir->entityDel("v1");
  const Watcher host(*world.status("c1"), [&](FieldId, const void*) {
    EXPECT_FALSE(world.configDir->hasSubscribers());
    EXPECT_FALSE(machine->hasNotificationActive());
    EXPECT_FALSE(kept->hasNotificationActive());
    EXPECT_FALSE(watcher->subscribed());
    log.add("cleared");
  });
  EXPECT_EQ(stop(), (Events{"cleared"}));
}

TEST_F(ManagerCleanup, WhatTheHostStillHoldsIsOffAndDetached) {
  client("c1");
  start();
  const Ptr<NexthopResolverFibViaSm> machine = manager->nexthopResolverFibViaSm();
  const Ptr<NestedSm_NexthopConfig> configWatcher = memberOf(manager->nexthopConfig(), "c1");
  const Ptr<NestedSm_NexthopStatus> statusWatcher = memberOf(manager->nexthopStatus(), "c1");
  stop();
  EXPECT_FALSE(machine->hasNotificationActive());
  EXPECT_FALSE(configWatcher->hasOwner());
  EXPECT_FALSE(statusWatcher->hasOwner());
  EXPECT_TRUE(configWatcher->isZombie());
  EXPECT_TRUE(statusWatcher->isZombie());
  // Not even a notification that comes all the same reaches the manager that is gone.
  configWatcher->doZombieReactors(false);
  statusWatcher->doZombieReactors(false);
  config("c1")->vrfIs("v2", fibFecId);
  world.status("c1")->vrfIs("v2", fibFecId);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(ManagerCleanup, LeavesNothingAliveAndNothingSubscribed) {
  clientWithNexthop("c1");
  client("c2");
  // What a manager writes into shared state outlives it.
  startQuietly();
  run();
  stop();
  const std::uint64_t live = TypeData::liveEntities();
  startQuietly();
  run();
  stop();
  EXPECT_EQ(TypeData::liveEntities(), live);
  EXPECT_FALSE(world.configDir->hasSubscribers());
  EXPECT_FALSE(world.statusDir->hasSubscribers());
  EXPECT_FALSE(world.cellStatusDir->hasSubscribers());
  EXPECT_FALSE(config("c1")->hasSubscribers());
  EXPECT_FALSE(world.status("c1")->hasSubscribers());
  EXPECT_FALSE(world.fecs->hasSubscribers());
  EXPECT_FALSE(world.trie4->hasSubscribers());
  EXPECT_FALSE(world.scheduler->hasRunnable());
}

TEST_F(ManagerCleanup, TheForwardingEntryStays) {
  startQuietly();
  const Ptr<NexthopResolverVrfForwardingStatus> entry = world.forwarding->vrf("v1");
  world.routing4Dir->entityDel("v1");
  stop();
  EXPECT_EQ(world.forwarding->vrf("v1"), entry);
}

TEST_F(ManagerCleanup, AManagerThatIsOffIsCleanedUpAllTheSame) {
  client("c1");
  start();
  manager->hasNotificationActiveIs(false);
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(),
            (Events{managerLine(8, "handleCleanup"),
                    managerLine(1, "clearVrfStatus clear status for c1")}));
}

// Its constructor has subscribed to everything.
TEST_F(ManagerCleanup, AManagerThatWasNeverSwitchedOnIsSilentBeforeItsStatusIsCleared) {
  client("c1");
  traced();
  manager = ManagerInputs(world).construct();
  log.take();
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(),
            (Events{managerLine(8, "handleCleanup"),
                    managerLine(1, "clearVrfStatus clear status for c1")}));
  EXPECT_FALSE(world.configDir->hasSubscribers());
}

TEST_F(ManagerCleanup, AWatcherMadeWhileOffIsSilentBeforeItsStatusIsCleared) {
  client("c1");
  start();
  manager->hasNotificationActiveIs(false);
  client("c2");
  manager->handleClientConfigDir("c2");
  manager->handleClientStatusDir("c2");
  log.take();
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(),
            (Events{managerLine(8, "handleCleanup"),
                    managerLine(1, "clearVrfStatus clear status for c1"),
                    managerLine(1, "clearVrfStatus clear status for c2")}));
}

TEST_F(ManagerCleanup, ChangesThatTheHostMakesMeanwhileReachNobody) {
  client("c1");
  start();
  world.routing4Dir->entityDel("v1");
  const Watcher host(*world.status("c1"), [this](FieldId, const void*) {
    client("c2");
    world.configDir->entityDel("c1");
  });
  EXPECT_EQ(stop(),
            (Events{managerLine(8, "handleCleanup"),
                    managerLine(1, "clearVrfStatus clear status for c1")}));
}

TEST_F(ManagerCleanup, AfterACleanupByNameRunsAgain) {
  client("c1");
  start();
  manager->handleCleanup();
  EXPECT_EQ(log.take(), (Events{managerLine(8, "handleCleanup")}));
  EXPECT_EQ(stop(), (Events{managerLine(8, "handleCleanup")}));
  EXPECT_TRUE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerCleanup, AnExceptionEndsTheProcess) {
  client("c1");
  startQuietly();
  world.routing4Dir->entityDel("v1");
  const Watcher host(*world.status("c1"), [](FieldId, const void*) {
    throw std::runtime_error("a subscriber's trouble");
  });
  EXPECT_DEATH(stop(), "a subscriber's trouble");
}

// Inputs that tell of their end. What no class can be derived from is told by its live count.
class MortalDir final : public Dir {
 public:
  MortalDir(const String& name, std::function<void(const String&)> atEnd)
      : Dir(name), atEnd_(std::move(atEnd)) {}
  ~MortalDir() override { atEnd_(name()); }

 private:
  std::function<void(const String&)> atEnd_;
};

TEST_F(ManagerCleanup, ReleasesTheInputsInReverseOrderOfDeclaration) {
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("a", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("b", AddressFamily::ipv6);
  const auto tries = trie4->typeData().live();
  const TypeData& trieType = trie4->typeData();
  const auto atEnd = [&](const String& name) {
    log.add(name + ", tries: " + std::to_string(trieType.live() + 2 - tries));
  };
  ManagerInputs inputs(world);
  inputs.trie4 = trie4;
  inputs.trie6 = trie6;
  inputs.configDir = makeEntity<MortalDir>("configs", atEnd);
  inputs.statusDir = makeEntity<MortalDir>("statuses", atEnd);
  inputs.cellStatusDir = makeEntity<MortalDir>("cellStatuses", atEnd);
  inputs.routing4Dir = makeEntity<MortalDir>("routing4", atEnd);
  inputs.routing6Dir = makeEntity<MortalDir>("routing6", atEnd);
  manager = inputs.make();
  trie4 = nullptr;
  trie6 = nullptr;
  inputs = ManagerInputs(world);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(stop(),
            (Events{"routing6, tries: 2",
                    "routing4, tries: 2",
                    "cellStatuses, tries: 0",
                    "statuses, tries: 0",
                    "configs, tries: 0"}));
}

}  // namespace
}  // namespace Routing::Support
