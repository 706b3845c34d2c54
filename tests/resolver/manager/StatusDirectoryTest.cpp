// What holds for the global and for the per-cell status directory alike.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

struct StatusDirectoryRow {
  const char* name;
  Ptr<Dir> VrfWorld::*dir;
  const char* handler;
};

class StatusDirectory : public ManagerFixture,
                        public testing::WithParamInterface<StatusDirectoryRow> {
 protected:
  const Ptr<Dir>& dir() const { return world.*GetParam().dir; }
  std::string handlerLine(int level, const std::string& text) const {
    return managerLine(level, GetParam().handler + (" " + text));
  }
  // The client's record, with one entry for the VRF if it is to be stale.
  Ptr<NexthopStatus> record(bool stale) {
    Ptr<NexthopStatus> made = makeEntity<NexthopStatus>("c1");
    if (stale) {
      addFailedResolutionStatusEntry(made->vrfIs("v1", fibFecId), addr("10.0.0.9"));
    }
    statusWatches.emplace_back(*made, log);
    return made;
  }
};

INSTANTIATE_TEST_SUITE_P(
    ,
    StatusDirectory,
    testing::Values(StatusDirectoryRow{"Global", &VrfWorld::statusDir, "handleClientStatusDir"},
                    StatusDirectoryRow{"PerCell",
                                       &VrfWorld::cellStatusDir,
                                       "handleCellSpecificClientStatusDir"}),
    [](const testing::TestParamInfo<StatusDirectoryRow>& row) { return row.param.name; });

TEST_P(StatusDirectory, AStatusOfAConfiguredClientMakesItsResolver) {
  world.config("c1", resolverId);
  start();
  const Ptr<NexthopStatus> status = record(false);
  dir()->entityIs("c1", status);
  EXPECT_EQ(log.take(),
            (Events{
                handlerLine(8, "c1"),
                handlerLine(1, "add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
                "c1: v1 added, entries: 0",
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient create NexthopResolverSm for c1"),
            }));
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), status->vrf("v1"));
  EXPECT_EQ(status->vrf("v1")->fecIdType(), resolverId);
  EXPECT_EQ(memberOf(manager->nexthopStatusPtr(), "c1"), status);
  EXPECT_EQ(memberOf(manager->nexthopStatus(), "c1")->notifier(), status);
}

TEST_P(StatusDirectory, AStatusBeforeItsConfigurationIsClearedAndWaitsForIt) {
  start();
  const Ptr<NexthopStatus> status = record(true);
  dir()->entityIs("c1", status);
  EXPECT_EQ(log.take(),
            (Events{
                handlerLine(8, "c1"),
                handlerLine(1, "add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.9 removed",
                "c1: v1 removed",
                managerLine(8, "handleClient c1 vrf v1"),
            }));
  EXPECT_FALSE(resolver("c1"));
  world.config("c1", fibFecId);
  EXPECT_TRUE(resolver("c1"));
}

TEST_P(StatusDirectory, AStatusWithoutTheVrfAndWithoutConfigurationHasNothingToClear) {
  start();
  dir()->entityIs("c1", record(false));
  EXPECT_EQ(log.take(),
            (Events{
                handlerLine(8, "c1"),
                handlerLine(1, "add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
            }));
}

// The record has left the directory: it is no longer the manager's to clear.
TEST_P(StatusDirectory, ARemovedStatusTakesTheResolverAndIsLeftAsItIs) {
  world.config("c1", fibFecId);
  const Ptr<NexthopStatus> status = record(true);
  dir()->entityIs("c1", status);
  start();
  dir()->entityDel("c1");
  EXPECT_EQ(log.take(),
            (Events{
                handlerLine(8, "c1"),
                handlerLine(1, "delete status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for c1"),
            }));
  EXPECT_FALSE(resolver("c1"));
  EXPECT_FALSE(manager->nexthopStatusPtr().has("c1"));
  EXPECT_FALSE(manager->nexthopStatus().has("c1"));
  EXPECT_EQ(status->vrf("v1")->nexthop().size(), 1U);
}

TEST_P(StatusDirectory, TheSameStatusAgainIsNotEvaluated) {
  world.config("c1", fibFecId);
  const Ptr<NexthopStatus> status = record(true);
  dir()->entityIs("c1", status);
  start();
  dir()->entityAnnounce("c1");
  dir()->entityIs("c1", status);
  EXPECT_EQ(log.take(), (Events{handlerLine(8, "c1"), handlerLine(8, "c1")}));
}

TEST_P(StatusDirectory, RemovalOfAStatusThatIsNotRecordedDoesNothing) {
  start();
  dir()->entityAnnounce("c1");
  EXPECT_EQ(log.take(), (Events{handlerLine(8, "c1")}));
}

TEST_P(StatusDirectory, AnEntryOfAnotherTypeEndsTheProcess) {
  startQuietly();
  EXPECT_DEATH(dir()->entityIs("c1", makeEntity<NexthopConfig>("c1")),
               "Assertion \"nhs && \"NexthopStatus must exist\"\" failed\\.");
}

TEST_P(StatusDirectory, AReplacedStatusOfAClientWithoutResolverIsWatchedInPlaceOfTheOldOne) {
  const Ptr<NexthopStatus> before = record(false);
  dir()->entityIs("c1", before);
  start();
  const Ptr<NexthopStatus> after = record(true);
  dir()->entityIs("c1", after);
  EXPECT_EQ(log.take(),
            (Events{
                handlerLine(8, "c1"),
                handlerLine(1, "add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                "c1 v1: status 10.0.0.9 removed",
                "c1: v1 removed",
                managerLine(8, "handleClient c1 vrf v1"),
            }));
  before->vrfIs("v2", fibFecId);
  EXPECT_EQ(log.take(), (Events{"c1: v2 added, entries: 0"}));
  after->vrfIs("v2", fibFecId);
  EXPECT_EQ(log.take(),
            (Events{
                "c1: v2 added, entries: 0",
                managerLine(8, "handleClient c1 vrf v2"),
                managerLine(8, "handleClient c1 ignore update for vrf v2"),
            }));
}

}  // namespace
}  // namespace Routing::Support
