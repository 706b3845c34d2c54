#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class ManagerStart : public ManagerFixture {
 protected:
  // Logs the start of everything, and what it writes.
  Events startWatched() {
    const TraceLog fibVia(log, "NexthopResolverFibViaSm");
    const TraceLog resolvers(log, "NexthopResolverSm");
    const Watcher forwarding(*world.forwarding, [this](FieldId, const void* key) {
      log.add("forwarding " + keyOf<VrfName>(key));
    });
    const Watcher context(*world.context, [this](FieldId, const void*) {
      log.add("context " + std::to_string(world.context->firstUnAllocatedNexthopResolverId()));
    });
    return start();
  }
};

TEST_F(ManagerStart, WithEmptyDirectoriesMakesTheVrfsObjectsAndNoResolver) {
  start();
  EXPECT_TRUE(world.forwarding->vrfHas("v1"));
  ASSERT_TRUE(manager->fecIdToClientHop());
  EXPECT_EQ(manager->fecIdToClientHop()->vrfName(), "v1");
  ASSERT_TRUE(manager->fecIdToResolverId());
  EXPECT_EQ(manager->fecIdToResolverId()->vrfName(), "v1");
  EXPECT_TRUE(manager->nexthopResolverFibViaSm());
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_TRUE(manager->nexthopConfigPtr().empty());
  EXPECT_TRUE(manager->nexthopStatusPtr().empty());
  EXPECT_TRUE(manager->nexthopConfig().empty());
  EXPECT_TRUE(manager->nexthopStatus().empty());
  EXPECT_TRUE(manager->initialized());
  EXPECT_FALSE(manager->isZombie());
}

TEST_F(ManagerStart, MachineWorksOnTheManagersObjects) {
  start();
  const Ptr<NexthopResolverFibViaSm>& machine = manager->nexthopResolverFibViaSm();
  EXPECT_EQ(machine->vrfName(), "v1");
  EXPECT_EQ(machine->forwardingGenStatus(), world.fecs);
  EXPECT_EQ(machine->nhResolverVrfFs(), world.forwarding->vrf("v1"));
  EXPECT_EQ(machine->fecIdToClientHop(), manager->fecIdToClientHop());
  EXPECT_EQ(machine->fecIdToResolverId(), manager->fecIdToResolverId());
  EXPECT_EQ(machine->nhResFibViaContext(), world.context);
}

TEST_F(ManagerStart, ResolverWorksOnTheManagersObjects) {
  client("c1", resolverId);
  start();
  const Ptr<NexthopResolverSm> made = resolver("c1");
  ASSERT_TRUE(made);
  EXPECT_EQ(made->vrfName(), "v1");
  EXPECT_EQ(made->name(), "c1");
  EXPECT_EQ(made->nexthopVrfConfig(), config("c1")->vrf("v1"));
  EXPECT_EQ(made->nexthopVrfStatus(), world.status("c1")->vrf("v1"));
  EXPECT_EQ(made->trie4(), world.trie4);
  EXPECT_EQ(made->trie6(), world.trie6);
  EXPECT_EQ(made->routeStatus(), world.routes4);
  EXPECT_EQ(made->route6Status(), world.routes6);
  EXPECT_EQ(made->vrfRoutingInfo(), world.routing4);
  EXPECT_EQ(made->vrfRouting6Info(), world.routing6);
  EXPECT_EQ(made->fecIdToClientHop(), manager->fecIdToClientHop());
  EXPECT_EQ(made->fecIdToResolverId(), manager->fecIdToResolverId());
  EXPECT_EQ(made->scheduler(), world.scheduler);
}

TEST_F(ManagerStart, HoldsItsFourteenInputs) {
  start();
  EXPECT_EQ(manager->vrfName(), "v1");
  EXPECT_EQ(manager->nexthopConfigDir(), world.configDir);
  EXPECT_EQ(manager->nexthopStatusDir(), world.statusDir);
  EXPECT_EQ(manager->nexthopCellSpecificStatusDir(), world.cellStatusDir);
  EXPECT_EQ(manager->trie4(), world.trie4);
  EXPECT_EQ(manager->trie6(), world.trie6);
  EXPECT_EQ(manager->routeStatus(), world.routes4);
  EXPECT_EQ(manager->route6Status(), world.routes6);
  EXPECT_EQ(manager->forwardingGenStatus(), world.fecs);
  EXPECT_EQ(manager->nexthopForwardingStatus(), world.forwarding);
  EXPECT_EQ(manager->nexthopFibViaContext(), world.context);
  EXPECT_EQ(manager->routingInfoDir(), world.routing4Dir);
  EXPECT_EQ(manager->routing6InfoDir(), world.routing6Dir);
  EXPECT_EQ(manager->scheduler(), world.scheduler);
}

TEST_F(ManagerStart, ForwardingEntryThenMachineThenConfigurationsThenStatusesThenCellStatuses) {
  world.config("c1", resolverId);
  world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1"));
  world.config("c2", fibFecId);
  world.status("c3");
  EXPECT_EQ(startWatched(),
            (Events{
                managerLine(8, "handleInitialized"),
                "forwarding v1",
                "2 NexthopResolverFibViaSm: [v1] handleInitialized ResolverId reset from 4 as no "
                "ResolverId is presently allocated",
                "context 4",
                "2 NexthopResolverFibViaSm: [v1] handleInitialized resolverId starting at 3",
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(1, "handleClientConfigDir add config for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(8, "handleClientConfigDir c2"),
                managerLine(1, "handleClientConfigDir add config for c2"),
                managerLine(8, "handleClientEntry c2"),
                managerLine(8, "handleClient c2 vrf v1"),
                managerLine(8, "handleClientStatusDir c3"),
                managerLine(1, "handleClientStatusDir add status for c3"),
                managerLine(8, "handleClientEntry c3"),
                managerLine(8, "handleClient c3 vrf v1"),
                managerLine(8, "handleCellSpecificClientStatusDir c1"),
                managerLine(1, "handleCellSpecificClientStatusDir add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                resolverLine(8, "handleInitialized fecIdtype: resolverId"),
            }));
  EXPECT_EQ(keysOf(manager->resolverSm()), (std::vector<String>{"c1"}));
}

// The status of the VRF is made inside handleClient: its appearance comes back through the status
// watcher, which makes the resolver there.
TEST_F(ManagerStart, WithAFreshStatusTracesTheCreationTwiceAndMakesTheResolverInside) {
  client("c1");
  watch("c1");
  const TraceLog resolvers(log, "NexthopResolverSm");
  EXPECT_EQ(start(),
            (Events{
                managerLine(8, "handleInitialized"),
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(1, "handleClientConfigDir add config for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(8, "handleClientStatusDir c1"),
                managerLine(1, "handleClientStatusDir add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                "c1: v1 added, entries: 0",
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                resolverLine(8, "handleInitialized fecIdtype: fibFecId"),
            }));
}

TEST_F(ManagerStart, WithAKeptStatusTracesTheCreationOnce) {
  client("c1");
  const Ptr<NexthopVrfStatus> kept = keptStatus("c1");
  watch("c1");
  EXPECT_EQ(start(),
            (Events{
                managerLine(8, "handleInitialized"),
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(1, "handleClientConfigDir add config for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(8, "handleClientStatusDir c1"),
                managerLine(1, "handleClientStatusDir add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
            }));
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), kept);
  EXPECT_EQ(kept->nexthop().size(), 1U);
}

TEST_F(ManagerStart, AClientThatIsOnlyConfiguredGetsNoResolverAndNoStatus) {
  world.config("c1", fibFecId);
  start();
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_EQ(keysOf(manager->nexthopConfigPtr()), (std::vector<String>{"c1"}));
  EXPECT_TRUE(world.statusDir->entry().empty());
}

TEST_F(ManagerStart, ClientsAreVisitedInTheDirectorysOrder) {
  for (const char* name : {"c3", "c1", "c2"}) {
    client(name);
  }
  start();
  EXPECT_EQ(keysOf(manager->nexthopConfigPtr()), (std::vector<String>{"c3", "c1", "c2"}));
  EXPECT_EQ(keysOf(manager->resolverSm()), (std::vector<String>{"c3", "c1", "c2"}));
}

TEST_F(ManagerStart, NothingIsResolvedBeforeTheSchedulerRuns) {
  clientWithNexthop("c1");
  watch("c1");
  startQuietly();
  EXPECT_EQ(log.take(), (Events{"c1: v1 added, entries: 0"}));
  EXPECT_EQ(run(), (Events{"c1 v1: status 10.0.0.1 resolved 4 by 10.0.0.0/8"}));
}

TEST_F(ManagerStart, FindsTheForwardingEntryOfAnEarlierRun) {
  const Ptr<NexthopResolverVrfForwardingStatus> kept = world.forwarding->vrfIs("v1");
  startQuietly();
  EXPECT_EQ(world.forwarding->vrf("v1"), kept);
  EXPECT_EQ(manager->nexthopResolverFibViaSm()->nhResolverVrfFs(), kept);
}

TEST_F(ManagerStart, FactoryAndIsSwitchEverythingOn) {
  client("c1");
  const ManagerInputs in(world);
  manager = NexthopResolverManagerSm::NexthopResolverManagerSmIs(in.vrfName,
                                                                 in.configDir,
                                                                 in.statusDir,
                                                                 in.cellStatusDir,
                                                                 in.trie4,
                                                                 in.trie6,
                                                                 in.routes4,
                                                                 in.routes6,
                                                                 in.fecs,
                                                                 in.forwarding,
                                                                 in.context,
                                                                 in.routing4Dir,
                                                                 in.routing6Dir,
                                                                 in.scheduler);
  EXPECT_TRUE(manager->hasNotificationActive());
  manager = nullptr;
  manager = in.make();
  EXPECT_TRUE(manager->hasNotificationActive());
  EXPECT_TRUE(resolver("c1")->hasNotificationActive());
  EXPECT_TRUE(manager->nexthopResolverFibViaSm()->hasNotificationActive());
}

TEST_F(ManagerStart, ConstructorAloneReactsAlready) {
  manager = ManagerInputs(world).construct();
  EXPECT_FALSE(manager->hasNotificationActive());
  client("c1");
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(ManagerStart, ConstructionAndSwitchingOnSubscribeOnce) {
  start();
  world.configDir->entityAnnounce("none");
  world.statusDir->entityAnnounce("none");
  world.cellStatusDir->entityAnnounce("none");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir none"),
                managerLine(8, "handleClientStatusDir none"),
                managerLine(8, "handleCellSpecificClientStatusDir none"),
            }));
}

TEST_F(ManagerStart, WithoutACellDirectoryServesTheGlobalOne) {
  client("c1");
  ManagerInputs inputs(world);
  inputs.cellStatusDir = nullptr;
  manager = inputs.make();
  EXPECT_TRUE(resolver("c1"));
  client("c2");
  EXPECT_TRUE(resolver("c2"));
  manager->hasNotificationActiveIs(false);
  manager->hasNotificationActiveIs(true);
  client("c3");
  EXPECT_TRUE(resolver("c3"));
  EXPECT_FALSE(world.cellStatusDir->hasSubscribers());
}

// The directories are subscribed to before they are walked.
TEST_F(ManagerStart, AClientThatAppearsDuringStartUpIsRecordedOnce) {
  client("c1");
  const Watcher host(*world.status("c1"), [this](FieldId, const void*) { client("c2"); });
  startQuietly();
  EXPECT_EQ(keysOf(manager->resolverSm()), (std::vector<String>{"c2", "c1"}));
  EXPECT_EQ(keysOf(manager->nexthopConfigPtr()), (std::vector<String>{"c1", "c2"}));
}

TEST_F(ManagerStart, AClientThatLeavesDuringStartUpIsNotRecorded) {
  client("c1");
  client("c2");
  const Watcher host(*world.status("c1"), [this](FieldId, const void*) {
    world.configDir->entityDel("c2");
    world.statusDir->entityDel("c2");
  });
  startQuietly();
  EXPECT_EQ(keysOf(manager->resolverSm()), (std::vector<String>{"c1"}));
  EXPECT_EQ(keysOf(manager->nexthopStatusPtr()), (std::vector<String>{"c1"}));
}

TEST_F(ManagerStart, WithoutAConfigurationDirectoryEndsTheProcess) {
  ManagerInputs inputs(world);
  inputs.configDir = nullptr;
  EXPECT_DEATH(inputs.make(), "nexthopConfigDir_ && \"nexthopConfigDir must be there\"");
}

TEST_F(ManagerStart, WithoutAStatusDirectoryEndsTheProcess) {
  ManagerInputs inputs(world);
  inputs.statusDir = nullptr;
  EXPECT_DEATH(inputs.make(), "nexthopStatusDir_ && \"nexthopStatusDir must be there\"");
}

TEST_F(ManagerStart, WithoutAForwardingStatusEndsTheProcess) {
  ManagerInputs inputs(world);
  inputs.forwarding = nullptr;
  EXPECT_DEATH(inputs.make(),
               "nexthopForwardingStatus_ && \"nexthopForwardingStatus must be there");
}

TEST_F(ManagerStart, TracesGoToTheTextTraceOnly) {
  EXPECT_TRUE(facilityOf("NexthopResolverManager").textOnly());
}

}  // namespace
}  // namespace Routing::Support
