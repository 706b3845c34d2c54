// Managers of two VRFs on the same directories, managers one after the other, and names of all
// kinds.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class SeveralManagers : public ManagerFixture {
 protected:
  ~SeveralManagers() override { second = nullptr; }
  void startBoth() {
    traced();
    manager = ManagerInputs(world).make();
    ManagerInputs inputs(world, "v2");
    inputs.context = makeEntity<NexthopResolverFibViaContext>();
    second = inputs.make();
    log.take();
  }
  // A client with a configuration of both VRFs.
  void clientOfBoth(const String& name) {
    client(name);
    config(name)->vrfIs("v2", resolverId);
  }

  Ptr<NexthopResolverManagerSm> second;
};

TEST_F(SeveralManagers, OfTwoVrfsServeEachItsOwn) {
  clientOfBoth("c1");
  startBoth();
  EXPECT_EQ(world.status("c1")->vrf("v1")->fecIdType(), fibFecId);
  EXPECT_EQ(world.status("c1")->vrf("v2")->fecIdType(), resolverId);
  EXPECT_EQ(memberOf(second->resolverSm(), "c1")->nexthopVrfStatus(),
            world.status("c1")->vrf("v2"));
  EXPECT_EQ(keysOf(world.forwarding->vrf()), (std::vector<String>{"v1", "v2"}));
}

TEST_F(SeveralManagers, AChangeForOneVrfIsIgnoredByTheOther) {
  client("c1");
  startBoth();
  config("c1")->vrfIs("v2", fibFecId);
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClient c1 vrf v2"),
                managerLine(8, "handleClient c1 ignore update for vrf v2"),
                managerLine(8, "handleClient c1 vrf v2", "v2"),
                managerLine(1, "handleClient create NexthopResolverSm for c1", "v2"),
                managerLine(8, "handleClient c1 vrf v2"),
                managerLine(8, "handleClient c1 ignore update for vrf v2"),
                managerLine(8, "handleClient c1 vrf v2", "v2"),
                managerLine(1, "handleClient create NexthopResolverSm for c1", "v2"),
            }));
}

TEST_F(SeveralManagers, TheEndOfOneLeavesTheOtherAlone) {
  clientOfBoth("c1");
  keptStatus("c1", resolverId, "v2");
  startBoth();
  const Ptr<NexthopResolverSm> resolverOfSecond = memberOf(second->resolverSm(), "c1");
  world.routing4Dir->entityDel("v1");
  EXPECT_EQ(stop(),
            (Events{
                managerLine(8, "handleCleanup"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                managerLine(8, "handleClient c1 vrf v1", "v2"),
                managerLine(8, "handleClient c1 ignore update for vrf v1", "v2"),
            }));
  EXPECT_EQ(keysOf(world.status("c1")->vrf()), (std::vector<String>{"v2"}));
  EXPECT_EQ(world.status("c1")->vrf("v2")->nexthop().size(), 1U);
  EXPECT_EQ(memberOf(second->resolverSm(), "c1"), resolverOfSecond);
  EXPECT_TRUE(resolverOfSecond->hasNotificationActive());
}

TEST_F(SeveralManagers, TheSecondRunStartsFromTheStatusOfTheFirst) {
  clientWithNexthop("c1");
  watch("c1");
  startQuietly();
  run();
  stop();
  const Ptr<NexthopVrfStatus> kept = world.status("c1")->vrf("v1");
  world.config("c1", resolverId)->nexthopDel(addr("10.0.0.1"));
  world.config("c1", resolverId)->nexthopIs({addr("10.0.0.2")});
  startQuietly();
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(resolver("c1")->nexthopVrfStatus(), kept);
  EXPECT_EQ(run(),
            (Events{
                "c1 v1: status 10.0.0.2 resolved 5 by 10.0.0.0/8",
                "c1 v1: status 10.0.0.1 removed",
            }));
}

TEST_F(SeveralManagers, TheSecondRunCleansUpWhatTheFirstPublished) {
  clientWithNexthop("c1");
  startQuietly();
  run();
  stop();
  startQuietly();
  run();
  const Ptr<NexthopResolverVrfForwardingStatus> records = world.forwarding->vrf("v1");
  advanceTime(*world.scheduler, *world.clock, std::chrono::seconds(299));
  EXPECT_TRUE(records->nexthopResolverIdViaHas(ResolverId(4)));
  EXPECT_TRUE(records->nexthopResolverIdViaHas(ResolverId(5)));
  advanceTime(*world.scheduler, *world.clock, std::chrono::seconds(1));
  EXPECT_FALSE(records->nexthopResolverIdViaHas(ResolverId(4)));
  EXPECT_TRUE(records->nexthopResolverIdViaHas(ResolverId(5)));
}

TEST_F(SeveralManagers, TheSecondRunClearsTheStatusOfAClientThatWasUnconfiguredInBetween) {
  clientWithNexthop("c1");
  startQuietly();
  run();
  stop();
  world.configDir->entityDel("c1");
  EXPECT_EQ(start(),
            (Events{
                managerLine(8, "handleInitialized"),
                managerLine(8, "handleClientStatusDir c1"),
                managerLine(1, "handleClientStatusDir add status for c1"),
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(1, "clearVrfStatus clear status for c1"),
                managerLine(8, "handleClient c1 vrf v1"),
            }));
}

struct NameRow {
  const char* name;
  String text;
};

class ManagerNames : public ManagerFixture, public testing::WithParamInterface<NameRow> {};

INSTANTIATE_TEST_SUITE_P(,
                         ManagerNames,
                         testing::Values(NameRow{"Empty", ""},
                                         NameRow{"Blanks", " a b "},
                                         NameRow{"TraceMarks", "v1:c1] {} %s"},
                                         NameRow{"Newline", "v\n1"},
                                         NameRow{"NullByte", String("v\0001", 3)},
                                         NameRow{"NotAscii", "vrf-\xc3\xa9"},
                                         NameRow{"Long", String(4096, 'v')}),
                         [](const testing::TestParamInfo<NameRow>& row) { return row.param.name; });

TEST_P(ManagerNames, AVrfOfAnyNameIsServed) {
  const VrfName vrf = GetParam().text;
  client("c1");
  config("c1")->vrfIs(vrf, fibFecId);
  traced();
  manager = ManagerInputs(world, vrf).make();
  EXPECT_EQ(log.take().front(), managerLine(8, "handleInitialized", vrf));
  EXPECT_TRUE(world.forwarding->vrfHas(vrf));
  ASSERT_TRUE(resolver("c1"));
  EXPECT_EQ(resolver("c1")->vrfName(), vrf);
  EXPECT_TRUE(world.status("c1")->vrfHas(vrf));
  // Its routing information is not there.
  stop();
  EXPECT_FALSE(world.status("c1")->vrfHas(vrf));
}

TEST_P(ManagerNames, AClientOfAnyNameIsServed) {
  const String name = GetParam().text;
  client(name);
  start();
  ASSERT_TRUE(resolver(name));
  EXPECT_EQ(resolver(name)->name(), name);
  world.configDir->entityDel(name);
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir " + name),
                managerLine(1, "handleClientConfigDir delete config for " + name),
                managerLine(8, "handleClientEntry " + name),
                managerLine(8, "handleClient " + name + " vrf v1"),
                managerLine(1, "handleClient remove NexthopResolverSm for " + name),
                managerLine(1, "clearVrfStatus clear status for " + name),
                managerLine(8, "handleClient " + name + " vrf v1"),
            }));
}

}  // namespace
}  // namespace Routing::Support
