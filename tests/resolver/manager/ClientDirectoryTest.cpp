// The configuration directory, and what holds for both status directories together. What each
// status directory does on its own stands in StatusDirectoryTest.cpp.

#include <gtest/gtest.h>

#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

using ClientDirectory = ManagerFixture;

TEST_F(ClientDirectory, AConfigurationOfAClientWithStatusMakesItsResolver) {
  watch("c1");
  start();
  const Ptr<NexthopConfig> record = makeEntity<NexthopConfig>("c1");
  record->vrfIs("v1", resolverId);
  world.configDir->entityIs("c1", record);
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(1, "handleClientConfigDir add config for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                "c1: v1 added, entries: 0",
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
            }));
  EXPECT_TRUE(resolver("c1"));
  EXPECT_EQ(memberOf(manager->nexthopConfigPtr(), "c1"), record);
  EXPECT_EQ(memberOf(manager->nexthopConfig(), "c1")->notifier(), record);
}

TEST_F(ClientDirectory, ARemovedConfigurationTakesTheResolverThenTheEntriesThenTheStatus) {
  client("c1");
  keptStatus("c1");
  watch("c1");
  start();
  world.configDir->entityDel("c1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(1, "handleClientConfigDir delete config for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for c1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.9 removed",
                "c1: v1 removed",
                managerLine(8, "handleClient c1 vrf v1"),
            }));
  EXPECT_FALSE(resolver("c1"));
  EXPECT_FALSE(manager->nexthopConfigPtr().has("c1"));
  EXPECT_FALSE(manager->nexthopConfig().has("c1"));
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ClientDirectory, TheSameConfigurationAgainIsNotEvaluated) {
  client("c1");
  start();
  world.configDir->entityAnnounce("c1");
  world.configDir->entityIs("c1", config("c1"));
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(8, "handleClientConfigDir c1"),
            }));
}

TEST_F(ClientDirectory, RemovalOfAConfigurationThatIsNotRecordedDoesNothing) {
  client("c1");
  start();
  world.configDir->entityAnnounce("other");
  EXPECT_EQ(log.take(), (Events{managerLine(8, "handleClientConfigDir other")}));
}

TEST_F(ClientDirectory, AConfigurationOfAnotherTypeEndsTheProcess) {
  startQuietly();
  EXPECT_DEATH(
      world.configDir->entityIs("c1", makeEntity<NexthopStatus>("c1")),
      "handleClientConfigDir: Assertion \"nhc && \"NexthopConfig must exist\"\" failed\\.");
}

// Only a configuration without the VRF can replace one while the resolver is there.
TEST_F(ClientDirectory, AReplacedConfigurationIsWatchedInPlaceOfTheOldOne) {
  client("c1");
  start();
  const Ptr<NexthopConfig> before = config("c1");
  const Ptr<NestedSm_NexthopConfig> watcher = memberOf(manager->nexthopConfig(), "c1");
  const Ptr<NexthopConfig> after = makeEntity<NexthopConfig>("c1");
  world.configDir->entityIs("c1", after);
  EXPECT_FALSE(resolver("c1"));
  EXPECT_EQ(memberOf(manager->nexthopConfig(), "c1"), watcher);
  EXPECT_EQ(watcher->notifier(), after);
  EXPECT_FALSE(before->hasSubscribers());
  after->vrfIs("v1", fibFecId);
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(ClientDirectory, ANameInBothStatusDirectoriesEndsTheProcessInTheGlobalHandler) {
  world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1"));
  startQuietly();
  EXPECT_DEATH(
      world.status("c1"),
      "handleClientStatusDir: Assertion \"!perCellEntPtr && \"Client must not exist in per "
      "cell status dir\"\" failed\\.");
}

TEST_F(ClientDirectory, ANameInBothStatusDirectoriesEndsTheProcessInTheCellHandler) {
  world.status("c1");
  startQuietly();
  EXPECT_DEATH(
      world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1")),
      "handleCellSpecificClientStatusDir: Assertion \"!entPtr && \"Client must not exist in "
      "global status dir\"\" failed\\.");
}

TEST_F(ClientDirectory, ANameInBothStatusDirectoriesEndsTheProcessAtStartUp) {
  world.status("c1");
  world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1"));
  EXPECT_DEATH(startQuietly(), "Client must not exist in per cell status dir");
}

TEST_F(ClientDirectory, ExclusivityIsCheckedBeforeTheType) {
  world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1"));
  startQuietly();
  EXPECT_DEATH(world.statusDir->entityIs("c1", makeEntity<NexthopConfig>("c1")),
               "Client must not exist in per cell status dir");
}

TEST_F(ClientDirectory, WithoutACellDirectoryTheGlobalHandlerNeverChecksOne) {
  world.cellStatusDir->entityIs("c1", makeEntity<NexthopStatus>("c1"));
  ManagerInputs inputs(world);
  inputs.cellStatusDir = nullptr;
  manager = inputs.make();
  client("c1");
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(ClientDirectory, WithoutACellDirectoryItsHandlerDoesNothing) {
  client("c1");
  traced();
  ManagerInputs inputs(world);
  inputs.cellStatusDir = nullptr;
  manager = inputs.make();
  log.take();
  manager->handleCellSpecificClientStatusDir("c1");
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(resolver("c1"));
}

// On removal nobody asks where the record came from.
TEST_F(ClientDirectory, ARemovalSeenInTheOtherDirectoryRemovesTheStatusToo) {
  client("c1");
  start();
  world.cellStatusDir->entityAnnounce("c1");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleCellSpecificClientStatusDir c1"),
                managerLine(1, "handleCellSpecificClientStatusDir delete status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for c1"),
            }));
  EXPECT_FALSE(manager->nexthopStatusPtr().has("c1"));
}

TEST_F(ClientDirectory, AStatusThatMovesToTheCellDirectoryIsServedThere) {
  client("c1");
  startQuietly();
  world.statusDir->entityDel("c1");
  EXPECT_FALSE(resolver("c1"));
  const Ptr<NexthopStatus> moved = makeEntity<NexthopStatus>("c1");
  world.cellStatusDir->entityIs("c1", moved);
  ASSERT_TRUE(resolver("c1"));
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), moved->vrf("v1"));
}

}  // namespace
}  // namespace Routing::Support
