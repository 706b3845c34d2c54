#include <gtest/gtest.h>

#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class NotificationSwitch : public ManagerFixture {
 protected:
  // Every directory and record that the manager watches has somebody subscribed, or none has.
  void expectSubscribed(bool subscribed) {
    EXPECT_EQ(world.configDir->hasSubscribers(), subscribed);
    EXPECT_EQ(world.statusDir->hasSubscribers(), subscribed);
    EXPECT_EQ(world.cellStatusDir->hasSubscribers(), subscribed);
    EXPECT_EQ(config("c1")->hasSubscribers(), subscribed);
    EXPECT_EQ(world.status("c1")->hasSubscribers(), subscribed);
    EXPECT_EQ(config("c1")->vrf("v1")->hasSubscribers(), subscribed);
    EXPECT_EQ(world.fecs->hasSubscribers(), subscribed);
  }
  // A change of everything that the manager watches.
  void changeEverything() {
    client("c2");
    world.cellStatusDir->entityIs("c3", makeEntity<NexthopStatus>("c3"));
    config("c1")->vrfIs("v2", fibFecId);
    world.status("c1")->vrfIs("v2", fibFecId);
  }
};

TEST_F(NotificationSwitch, OffUnsubscribesFromEverythingBelowToo) {
  client("c1");
  startQuietly();
  expectSubscribed(true);
  manager->hasNotificationActiveIs(false);
  expectSubscribed(false);
  EXPECT_FALSE(manager->hasNotificationActive());
  EXPECT_FALSE(resolver("c1")->hasNotificationActive());
  EXPECT_FALSE(manager->nexthopResolverFibViaSm()->hasNotificationActive());
  manager->hasNotificationActiveIs(true);
  expectSubscribed(true);
  EXPECT_TRUE(resolver("c1")->hasNotificationActive());
  EXPECT_TRUE(manager->nexthopResolverFibViaSm()->hasNotificationActive());
}

TEST_F(NotificationSwitch, OffAndOnKeepsTheResolversAndCallsNoHandler) {
  client("c1");
  client("c2");
  start();
  const Ptr<NexthopResolverSm> first = resolver("c1");
  const Ptr<NexthopResolverSm> second = resolver("c2");
  manager->hasNotificationActiveIs(false);
  manager->hasNotificationActiveIs(true);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(resolver("c1"), first);
  EXPECT_EQ(resolver("c2"), second);
  EXPECT_EQ(manager->resolverSm().size(), 2U);
}

TEST_F(NotificationSwitch, TheSameValueTwiceIsHarmless) {
  client("c1");
  start();
  manager->hasNotificationActiveIs(true);
  expectSubscribed(true);
  manager->hasNotificationActiveIs(false);
  manager->hasNotificationActiveIs(false);
  expectSubscribed(false);
  manager->hasNotificationActiveIs(true);
  manager->hasNotificationActiveIs(true);
  world.configDir->entityAnnounce("c1");
  EXPECT_EQ(log.take(), (Events{managerLine(8, "handleClientConfigDir c1")}));
}

TEST_F(NotificationSwitch, TheSameValueDoesNotReachWhatIsBelow) {
  client("c1");
  startQuietly();
  resolver("c1")->hasNotificationActiveIs(false);
  manager->hasNotificationActiveIs(true);
  EXPECT_FALSE(resolver("c1")->hasNotificationActive());
}

TEST_F(NotificationSwitch, ChangesWhileOffAreNotMadeUpForOnResuming) {
  client("c1");
  start();
  manager->hasNotificationActiveIs(false);
  changeEverything();
  manager->hasNotificationActiveIs(true);
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(keysOf(manager->resolverSm()), (std::vector<String>{"c1"}));
  world.configDir->entityAnnounce("c2");
  world.statusDir->entityAnnounce("c2");
  EXPECT_TRUE(resolver("c2"));
}

TEST_F(NotificationSwitch, WithoutAMachineSwitchesTheRest) {
  client("c1");
  startQuietly();
  manager->nexthopResolverFibViaSmDel();
  manager->hasNotificationActiveIs(false);
  EXPECT_FALSE(resolver("c1")->hasNotificationActive());
  manager->hasNotificationActiveIs(true);
  EXPECT_TRUE(resolver("c1")->hasNotificationActive());
}

TEST_F(NotificationSwitch, RestoresTheZombieMarkThatItFound) {
  client("c1");
  start();
  manager->hasNotificationActiveIs(false);
  EXPECT_FALSE(manager->isZombie());
  manager->doZombieReactors(true);
  manager->hasNotificationActiveIs(true);
  EXPECT_TRUE(manager->isZombie());
  manager->hasNotificationActiveIs(false);
  EXPECT_TRUE(manager->isZombie());
  manager->hasNotificationActiveIs(true);
  changeEverything();
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NotificationSwitch, AZombieDropsEveryNotification) {
  client("c1");
  start();
  manager->doZombieReactors(true);
  EXPECT_TRUE(world.configDir->hasSubscribers());
  changeEverything();
  world.cellStatusDir->entityDel("c3");
  world.configDir->entityDel("c1");
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(resolver("c1"));
}

TEST_F(NotificationSwitch, AZombieMarksEveryWatcherAndTheyReactAgainAfterwards) {
  client("c1");
  start();
  const Ptr<NestedSm_NexthopConfig> configWatcher = memberOf(manager->nexthopConfig(), "c1");
  const Ptr<NestedSm_NexthopStatus> statusWatcher = memberOf(manager->nexthopStatus(), "c1");
  manager->doZombieReactors(true);
  EXPECT_TRUE(configWatcher->isZombie());
  EXPECT_TRUE(statusWatcher->isZombie());
  EXPECT_FALSE(configWatcher->subscribed());
  EXPECT_FALSE(statusWatcher->subscribed());
  manager->doZombieReactors(false);
  EXPECT_FALSE(configWatcher->isZombie());
  EXPECT_FALSE(statusWatcher->isZombie());
  config("c1")->vrfIs("v2", fibFecId);
  EXPECT_EQ(log.take(),
            (Events{managerLine(8, "handleClient c1 vrf v2"),
                    managerLine(8, "handleClient c1 ignore update for vrf v2")}));
}

// Whatever else a directory may come to publish is not an entry.
TEST_F(NotificationSwitch, DispatchersReactToEntriesAlone) {
  start();
  const String name = "c1";
  const FieldId another{99};
  world.configDir->publish(another, &name);
  world.statusDir->publish(another, &name);
  world.cellStatusDir->publish(another, &name);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NotificationSwitch, WatchersReactToTheVrfsAlone) {
  client("c1");
  start();
  const VrfName vrf = "v1";
  const FieldId another{99};
  config("c1")->publish(another, &vrf);
  world.status("c1")->publish(another, &vrf);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NotificationSwitch, EachDirectoryReachesItsHandlerWithTheEntrysName) {
  start();
  world.configDir->entityIs("a", makeEntity<NexthopConfig>("a"));
  world.configDir->entityIs("a", makeEntity<NexthopConfig>("a"));
  world.configDir->entityDel("a");
  EXPECT_EQ(log.take(),
            (Events{
                managerLine(8, "handleClientConfigDir a"),
                managerLine(1, "handleClientConfigDir add config for a"),
                managerLine(8, "handleClientEntry a"),
                managerLine(8, "handleClient a vrf v1"),
                managerLine(8, "handleClientConfigDir a"),
                managerLine(1, "handleClientConfigDir add config for a"),
                managerLine(8, "handleClientEntry a"),
                managerLine(8, "handleClient a vrf v1"),
                managerLine(8, "handleClientConfigDir a"),
                managerLine(1, "handleClientConfigDir delete config for a"),
                managerLine(8, "handleClientEntry a"),
                managerLine(8, "handleClient a vrf v1"),
            }));
}

TEST_F(NotificationSwitch, HandlersDoNothingAfterCleanup) {
  client("c1");
  start();
  manager->handleCleanup();
  log.take();
  client("c2");
  world.cellStatusDir->entityIs("c3", makeEntity<NexthopStatus>("c3"));
  world.configDir->entityDel("c1");
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(resolver("c1"));
}

}  // namespace
}  // namespace Routing::Support
