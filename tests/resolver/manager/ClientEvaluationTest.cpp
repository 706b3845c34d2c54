#include <gtest/gtest.h>

#include <utility>

#include "tests/support/FibViaWatch.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/ReferenceWatch.h"

namespace Routing::Support {
namespace {

class ClientEvaluation : public ManagerFixture {
 protected:
  // Everything that goes when a client of resolver identifiers goes.
  struct TeardownWatch {
    TeardownWatch(const NexthopResolverManagerSm& manager, const VrfWorld& world, EventLog& log)
        : resolvers(log, "NexthopResolverSm", traceLevelBit(8)),
          references(*manager.fecIdToClientHop(), log),
          outputs(*world.context, *world.forwarding->vrf("v1"), *manager.fecIdToResolverId(), log) {
    }
    TraceLog resolvers;
    ReferenceWatch references;
    FibViaWatch outputs;
  };
};

TEST_F(ClientEvaluation, StatusBeforeConfigurationIsClearedAndTheConfigurationMakesTheResolver) {
  keptStatus("c1");
  startQuietly();
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
  EXPECT_TRUE(manager->resolverSm().empty());
  world.config("c1", fibFecId);
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(ClientEvaluation, AConfigurationOfOtherVrfsAloneYieldsNoResolverAndClearsTheStatus) {
  const Ptr<NexthopConfig> record = makeEntity<NexthopConfig>("c1");
  record->vrfIs("v2", fibFecId);
  world.configDir->entityIs("c1", record);
  keptStatus("c1", fibFecId, "v2");
  keptStatus("c1");
  startQuietly();
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
  EXPECT_EQ(world.status("c1")->vrf("v2")->nexthop().size(), 1U);
}

TEST_F(ClientEvaluation, AChangeForAnotherVrfIsIgnored) {
  client("c1");
  start();
  const Ptr<NexthopResolverSm> before = resolver("c1");
  config("c1")->vrfIs("v2", fibFecId);
  config("c1")->vrfDel("v2");
  world.status("c1")->vrfIs("v2", fibFecId);
  const Events ignored{managerLine(8, "handleClient c1 vrf v2"),
                       managerLine(8, "handleClient c1 ignore update for vrf v2")};
  Events expected;
  for (int change = 0; change < 3; ++change) {
    expected.insert(expected.end(), ignored.begin(), ignored.end());
  }
  EXPECT_EQ(log.take(), expected);
  EXPECT_EQ(resolver("c1"), before);
  EXPECT_TRUE(world.status("c1")->vrfHas("v2"));
}

TEST_F(ClientEvaluation, TheVrfAddedToAConfigurationMakesTheResolver) {
  const Ptr<NexthopConfig> record = makeEntity<NexthopConfig>("c1");
  world.configDir->entityIs("c1", record);
  watch("c1");
  start();
  record->vrfIs("v1", fibFecId);
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                "c1: v1 added, entries: 0",
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
            }));
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(ClientEvaluation, TheVrfRemovedFromAConfigurationTakesTheResolverAndTheStatus) {
  client("c1");
  keptStatus("c1");
  watch("c1");
  start();
  config("c1")->vrfDel("v1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for c1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.9 removed",
                "c1: v1 removed",
                managerLine(8, "handleClient c1 vrf v1"),
            }));
  EXPECT_FALSE(resolver("c1"));
}

// References, record and map entry are gone before anything of the status is. The machine was told
// of the lost reference before this test's watch.
TEST_F(ClientEvaluation, TheResolverIsDestroyedBeforeItsStatusIsCleared) {
  clientWithNexthop("c1");
  watch("c1");
  start();
  run();
  const TeardownWatch teardown(*manager, world, log);
  config("c1")->vrfDel("v1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for c1"),
                resolverLine(8, "handleCleanup"),
                "key c1 10.0.0.1 removed",
                "record 4 removed",
                "map 12 removed",
                "fecIdRef 12 removed",
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.1 removed",
                "c1: v1 removed",
                managerLine(8, "handleClient c1 vrf v1"),
            }));
}

TEST_F(ClientEvaluation, AClientEvaluatedAgainKeepsItsResolverAndTracesTheCreationAgain) {
  client("c1");
  start();
  const Ptr<NexthopResolverSm> before = resolver("c1");
  manager->handleClientEntry("c1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
            }));
  EXPECT_EQ(resolver("c1"), before);
}

TEST_F(ClientEvaluation, AnUnknownClientHasNothingToClear) {
  start();
  manager->handleClientEntry("nobody");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientEntry nobody"),
                managerLine(8, "handleClient nobody vrf v1"),
            }));
}

TEST_F(ClientEvaluation, TheStatusIsMadeWithTheKindThatTheClientAskedFor) {
  client("c1", resolverId);
  client("c2", fibFecId);
  startQuietly();
  EXPECT_EQ(world.status("c1")->vrf("v1")->fecIdType(), resolverId);
  EXPECT_EQ(world.status("c2")->vrf("v1")->fecIdType(), fibFecId);
}

TEST_F(ClientEvaluation, AKeptStatusKeepsItsKind) {
  client("c1", resolverId);
  const Ptr<NexthopVrfStatus> kept = keptStatus("c1", fibFecId);
  startQuietly();
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), kept);
  EXPECT_EQ(kept->fecIdType(), fibFecId);
}

TEST_F(ClientEvaluation, TheKindChangesByRemovingTheVrfAndAddingItAgain) {
  client("c1", fibFecId);
  startQuietly();
  config("c1")->vrfDel("v1");
  config("c1")->vrfIs("v1", resolverId);
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus()->fecIdType(), resolverId);
}

TEST_F(ClientEvaluation, MissingRoutingInformationIsPassedAsNull) {
  client("c1");
  world.routing4Dir->entityDel("v1");
  world.routing6Dir->entityDel("v1");
  startQuietly();
  ASSERT_TRUE(resolver("c1"));
  EXPECT_FALSE(resolver("c1")->vrfRoutingInfo());
  EXPECT_FALSE(resolver("c1")->vrfRouting6Info());
}

TEST_F(ClientEvaluation, RoutingInformationOfTheOtherFamilyCountsAsMissing) {
  client("c1");
  world.routing4Dir->entityIs("v1", world.routing6);
  world.routing6Dir->entityIs("v1", world.routing4);
  startQuietly();
  ASSERT_TRUE(resolver("c1"));
  EXPECT_FALSE(resolver("c1")->vrfRoutingInfo());
  EXPECT_FALSE(resolver("c1")->vrfRouting6Info());
}

TEST_F(ClientEvaluation, MissingRoutingDirectoriesCountAsMissingInformation) {
  client("c1");
  ManagerInputs inputs(world);
  inputs.routing4Dir = nullptr;
  inputs.routing6Dir = nullptr;
  manager = inputs.make();
  ASSERT_TRUE(resolver("c1"));
  EXPECT_FALSE(resolver("c1")->vrfRoutingInfo());
  EXPECT_FALSE(resolver("c1")->vrfRouting6Info());
}

TEST_F(ClientEvaluation, ClearingTakesEveryEntryThenTheVrfAndNothingOfOtherVrfs) {
  watch("c1");
  start();
  manager->hasNotificationActiveIs(false);
  keptStatus("c1", fibFecId, "v2");
  addFailedResolutionStatusEntry(keptStatus("c1"), addr("10.0.0.8"));
  log.take();
  manager->clearVrfStatus("c1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.9 removed",
                "c1 v1: status 10.0.0.8 removed",
                "c1: v1 removed",
            }));
  EXPECT_EQ(world.status("c1")->vrf("v2")->nexthop().size(), 1U);
}

// A VRF that somebody else enters into a status without a configuration does not stay.
TEST_F(ClientEvaluation, AStatusThatAppearsWithoutConfigurationIsClearedAtOnce) {
  world.status("c1");
  start();
  world.status("c1")->vrfIs("v1", fibFecId);
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                managerLine(8, "handleClient c1 vrf v1"),
            }));
  EXPECT_TRUE(world.status("c1")->vrf().empty());
}

TEST_F(ClientEvaluation, ClearingWithoutARecordOrWithoutTheVrfTracesNothing) {
  world.status("c1");
  start();
  manager->clearVrfStatus("c1");
  manager->clearVrfStatus("nobody");
  EXPECT_EQ(log.take(), Events{});
}

// The host reacts to the new status before the manager has made the resolver of it.
TEST_F(ClientEvaluation, AConfigurationThatGoesWhenItsStatusAppearsLeavesNoResolver) {
  world.status("c1");
  startQuietly();
  const Watcher host(*world.status("c1"), [this](FieldId, const void*) {
    if (world.status("c1")->vrfHas("v1")) {
      world.configDir->entityDel("c1");
    }
  });
  world.config("c1", fibFecId);
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_TRUE(world.status("c1")->vrf().empty());
}

TEST_F(ClientEvaluation,
       AConfigurationThatGoesAndComesAgainMeanwhileGetsOneResolverOfTheNewStatus) {
  client("c1");
  startQuietly();
  const Ptr<NexthopConfig> record = config("c1");
  world.configDir->entityDel("c1");
  bool done = false;
  const Watcher host(*world.status("c1"), [&](FieldId, const void*) {
    if (!std::exchange(done, true)) {
      world.configDir->entityDel("c1");
      world.configDir->entityIs("c1", record);
    }
  });
  world.configDir->entityIs("c1", record);
  EXPECT_TRUE(done);
  ASSERT_TRUE(resolver("c1"));
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), world.status("c1")->vrf("v1"));
}

TEST_F(ClientEvaluation, AStatusRecordThatGoesWhenItsVrfAppearsLeavesNoResolver) {
  const Ptr<NexthopStatus> status = world.status("c1");
  startQuietly();
  const Watcher host(*status, [this](FieldId, const void*) { world.statusDir->entityDel("c1"); });
  world.config("c1", fibFecId);
  EXPECT_TRUE(manager->resolverSm().empty());
}

TEST_F(ClientEvaluation, ASecondClientIsNotTouched) {
  client("c1");
  client("c2");
  keptStatus("c2");
  startQuietly();
  const Ptr<NexthopResolverSm> before = resolver("c2");
  world.configDir->entityDel("c1");
  world.statusDir->entityDel("c1");
  EXPECT_EQ(resolver("c2"), before);
  EXPECT_EQ(world.status("c2")->vrf("v1")->nexthop().size(), 1U);
}

}  // namespace
}  // namespace Routing::Support
