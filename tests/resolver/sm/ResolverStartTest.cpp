#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/entity/Inspection.h"
#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using ResolverStart = ResolverFixture;

TEST_F(ResolverStart, WithoutNexthopsTheTaskIsMadeButNotScheduled) {
  start();
  ASSERT_TRUE(resolver->reviewNexthopTask());
  EXPECT_FALSE(scheduled());
  EXPECT_TRUE(resolver->initialized());
}

TEST_F(ResolverStart, TheTaskIsNamedAfterVrfAndClientAndHasPriority3) {
  start();
  EXPECT_EQ(resolver->reviewNexthopTask()->taskName(), "NexthopReview-v1-c1");
  EXPECT_EQ(resolver->reviewNexthopTask()->taskPriority(), TaskPriority{3});
  EXPECT_EQ(resolver->reviewNexthopTask()->taskScheduler(), world.scheduler);
}

TEST_F(ResolverStart, QueuesConfiguredThenReportedNexthopsEachOnce) {
  configure(NexthopStatusFecIdType::fibFecId);
  nexthop("10.0.0.2");
  nexthop("10.0.0.1");
  addFailedResolutionStatusEntry(status, addr("10.0.0.9"));
  addFailedResolutionStatusEntry(status, addr("10.0.0.1"));
  start();
  EXPECT_EQ(queued(), (std::vector<std::string>{"10.0.0.2", "10.0.0.1", "10.0.0.9"}));
  EXPECT_TRUE(scheduled());
}

TEST_F(ResolverStart, ResolvesNothingBeforeTheTaskRuns) {
  configure(NexthopStatusFecIdType::fibFecId);
  nexthop("10.0.0.1");
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  start();
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 resolved 12 by 10.0.0.0/8"}));
}

TEST_F(ResolverStart, ANexthopConfiguredWhileItStartsIsQueuedByTheStart) {
  configure(NexthopStatusFecIdType::fibFecId);
  CallbackTraceSink sink([this](const TraceMessage& message) {
    if (message.text == "[v1:c1] handleInitialized fecIdtype: fibFecId") {
      nexthop("10.0.0.1");
    }
  });
  sink.attachedIs(true);
  traced();
  start();
  EXPECT_EQ(log.take(), (Events{resolverLine(8, "handleInitialized fecIdtype: fibFecId")}));
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  EXPECT_TRUE(scheduled());
}

TEST_F(ResolverStart, FirstReviewRemovesEntriesThatAreNoLongerConfigured) {
  configure(NexthopStatusFecIdType::fibFecId);
  addFailedResolutionStatusEntry(status, addr("10.0.0.9"));
  start();
  EXPECT_EQ(run(), (Events{"status 10.0.0.9 removed"}));
  EXPECT_TRUE(status->nexthop().empty());
}

TEST_F(ResolverStart, BothNexthopTriesStartEmptyUnnamedAndOfTheirFamily) {
  start();
  EXPECT_EQ(resolver->nexthopTrie4()->name(), "");
  EXPECT_EQ(resolver->nexthopTrie4()->addressFamily(), AddressFamily::ipv4);
  EXPECT_EQ(resolver->nexthopTrie4()->routeCount(), 0U);
  EXPECT_EQ(resolver->nexthopTrie6()->name(), "");
  EXPECT_EQ(resolver->nexthopTrie6()->addressFamily(), AddressFamily::ipv6);
  EXPECT_EQ(resolver->nexthopTrie6()->routeCount(), 0U);
}

TEST_F(ResolverStart, NexthopTrieIsKeptWhenNameAndFamilyAreTheSameAndReplacedOtherwise) {
  start();
  const Ptr<TrieGen> trie4 = resolver->nexthopTrie4();
  EXPECT_EQ(resolver->nexthopTrie4Is("", AddressFamily::ipv4), trie4);
  EXPECT_NE(resolver->nexthopTrie4Is("other", AddressFamily::ipv4), trie4);
  EXPECT_NE(resolver->nexthopTrie4Is("other", AddressFamily::ipv6)->addressFamily(),
            AddressFamily::ipv4);
  const Ptr<TrieGen> trie6 = resolver->nexthopTrie6();
  EXPECT_EQ(resolver->nexthopTrie6Is("", AddressFamily::ipv6), trie6);
  EXPECT_NE(resolver->nexthopTrie6Is("x", AddressFamily::ipv6), trie6);
  resolver->nexthopTrie4Del();
  resolver->nexthopTrie6Del();
  EXPECT_FALSE(resolver->nexthopTrie4());
  EXPECT_FALSE(resolver->nexthopTrie6());
  resolver->nexthopTrie4Is("", AddressFamily::ipv4);
  resolver->nexthopTrie6Is("", AddressFamily::ipv6);
}

TEST_F(ResolverStart, TracesTheIdentifierKindByName) {
  traced();
  start(NexthopStatusFecIdType::resolverId);
  EXPECT_EQ(log.take(), (Events{resolverLine(8, "handleInitialized fecIdtype: resolverId")}));
}

TEST_F(ResolverStart, ConstructionAndSwitchingOnSubscribeOnce) {
  traced();
  start();
  log.take();
  nexthop("10.0.0.1");
  EXPECT_EQ(log.take(), (Events{resolverLine(8, "handleNexthopConfig 10.0.0.1")}));
}

TEST_F(ResolverStart, AbsentInputsAreNotSubscribedTo) {
  configure(NexthopStatusFecIdType::fibFecId);
  nexthop("10.0.0.1");
  nexthop("2001:db8::1");
  // More than a review looks ahead.
  for (int host = 2; host < 20; ++host) {
    nexthop("10.0.0." + std::to_string(host));
  }
  resolver = nexthopResolverSmFactory("v1",
                                      "c1",
                                      config,
                                      status,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      world.scheduler);
  resolver->hasNotificationActiveIs(false);
  resolver->hasNotificationActiveIs(true);
  world.runUntilIdle();
  // No routing information reads as routing disabled.
  EXPECT_EQ(statusLine(*status, addr("10.0.0.1")), "status 10.0.0.1 failed");
  EXPECT_EQ(statusLine(*status, addr("10.0.0.19")), "status 10.0.0.19 failed");
  EXPECT_EQ(statusLine(*status, addr("2001:db8::1")), "status 2001:db8::1 failed");
}

TEST_F(ResolverStart, ConfigurationChangesWhileNotificationsAreOffHaveNoEffect) {
  start();
  resolver->hasNotificationActiveIs(false);
  nexthop("10.0.0.1");
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.routing4->routingEnabledIs(false);
  EXPECT_TRUE(queued().empty());
  resolver->hasNotificationActiveIs(true);
  EXPECT_TRUE(queued().empty());
  nexthop("10.0.0.1");
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
}

TEST_F(ResolverStart, ARunThatComesWhileNotificationsAreOffIsLostAndTheSetStays) {
  configure(NexthopStatusFecIdType::fibFecId);
  nexthop("10.0.0.1");
  start();
  resolver->hasNotificationActiveIs(false);
  EXPECT_EQ(run(), Events{});
  resolver->hasNotificationActiveIs(true);
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  EXPECT_FALSE(scheduled());
}

TEST_F(ResolverStart, AZombieIgnoresEveryNotification) {
  configure(NexthopStatusFecIdType::resolverId);
  nexthop("10.0.0.1");
  start();
  run();
  resolver->doZombieReactors(true);
  nexthop("10.0.0.2");
  world.route("10.0.0.0/8", {12, 0, 1, 0});
  world.route("2001:db8::/32", {12, 0, 1, 0});
  world.routing4->routingEnabledIs(false);
  world.routing6->routingEnabledIs(false);
  map->fecIdToResolverIdMapIs(99, ResolverId(4));
  resolver->reviewNexthopIs(addr("10.0.0.1"));
  resolver->reviewNexthopTask()->scheduleTask();
  EXPECT_EQ(run(), Events{});
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  resolver->doZombieReactors(false);
  nexthop("10.0.0.2");
  EXPECT_EQ(queued(), (std::vector<std::string>{"10.0.0.1", "10.0.0.2"}));
}

TEST_F(ResolverStart, FibTrieIsByFamily) {
  start();
  EXPECT_EQ(resolver->fibTrie(AddressFamily::ipv4), world.trie4);
  EXPECT_EQ(resolver->fibTrie(AddressFamily::ipv6), world.trie6);
}

TEST_F(ResolverStart, FibTrieOfAnotherFamilyEndsTheProcess) {
  start();
  EXPECT_DEATH(static_cast<void>(resolver->fibTrie(AddressFamily::unset)),
               "Assertion \"!\"invalid address family\"\" failed\\.");
}

TEST_F(ResolverStart, InspectionShowsInputsInOrderAndCallsOperationsByName) {
  start();
  const TypeData& type = resolver->typeData();
  EXPECT_EQ(type.name(), "Routing::NexthopResolverSm");
  std::vector<std::string> names;
  for (const AttributeData& attribute : type.attributes()) {
    names.emplace_back(attribute.name);
    EXPECT_FALSE(attribute.value(*resolver).empty()) << attribute.name;
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"vrfName",
                                      "name",
                                      "nexthopVrfConfig",
                                      "nexthopVrfStatus",
                                      "trie4",
                                      "trie6",
                                      "routeStatus",
                                      "route6Status",
                                      "vrfRoutingInfo",
                                      "vrfRouting6Info",
                                      "fecIdToClientHop",
                                      "fecIdToResolverId",
                                      "scheduler",
                                      "nexthopTrie4",
                                      "nexthopTrie6",
                                      "reviewNexthop",
                                      "reviewNexthopBookmark",
                                      "reviewNexthopTask",
                                      "initialized"}));
  callOperation(*resolver, "handleNexthopConfig", std::vector<std::string>{"10.0.0.1"});
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
}

}  // namespace
}  // namespace Routing::Support
