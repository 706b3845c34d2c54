// What messages of the kernel add up to.

#include "host/kernel/KernelState.h"
#include "tests/host/kernel/StateFixture.h"

namespace Routing::Host::Testing {
namespace {

class KernelStateTest : public StateTest {};

TEST_F(KernelStateTest, AReplaceNamesOnlyTheNewRoute) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), replace);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 1U);
  remove(via("192.0.2.0/24", "10.0.0.3"));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(KernelStateTest, AReplaceTakesThePlaceOfTheFirstOfItsMetric) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  add(via("192.0.2.0/24", "10.0.0.9", 5));
  add(via("192.0.2.0/24", "10.0.0.4"), replace);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.4");
  remove(via("192.0.2.0/24", "10.0.0.4"));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
  remove(via("192.0.2.0/24", "10.0.0.3"));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.9");
}

TEST_F(KernelStateTest, AReplaceByARouteThatStandsBehindBringsItToTheFront) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  add(via("192.0.2.0/24", "10.0.0.3"), replace);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 1U);
}

TEST_F(KernelStateTest, AppendStandsBehindAndPrependBefore) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  add(via("192.0.2.0/24", "10.0.0.4"), prepend);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.4");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 3U);
}

TEST_F(KernelStateTest, WhatIsToldTwiceIsThereOnce) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  watch();
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  add(via("192.0.2.0/24", "10.0.0.2"), 0);
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 2U);
  EXPECT_EQ(events_, 0);
}

TEST_F(KernelStateTest, ARemovalThatFitsNothingChangesNothingAndAsksForAReading) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  remove(via("192.0.2.0/24", "10.0.0.9"));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  EXPECT_EQ(state_->counters().doubtful, 1U);
  EXPECT_TRUE(state_->takeRecheck().everything);
  remove(via("192.0.2.0/24", "10.0.0.2", 7));
  remove(via("198.51.100.0/24", "10.0.0.2"));
  EXPECT_FALSE(state_->takeRecheck().any()) << "what is not there needs no removal";
}

TEST_F(KernelStateTest, TableLocalIsMergedIntoTheVrfOfMainAndComesFirst) {
  const TestRoute own{.prefix = "10.0.0.1/32", .table = 255, .type = RTN_LOCAL};
  add(via("10.0.0.1/32", "10.0.0.2"));
  add(own);
  EXPECT_EQ(shown("10.0.0.1/32"), "local");
  remove(own);
  EXPECT_EQ(shown("10.0.0.1/32"), "10.0.0.2");
  EXPECT_EQ(shown(*blue_, "10.0.0.1/32"), "absent");
}

TEST_F(KernelStateTest, AnAddressOfTwoLinksIsLocalUntilItHasLeftBoth) {
  const TestRoute one{.prefix = "fe80::/128", .hops = {{"", 1}}, .table = 255, .type = RTN_ANYCAST};
  const TestRoute two{.prefix = "fe80::/128", .hops = {{"", 2}}, .table = 255, .type = RTN_ANYCAST};
  add(one);
  add(two, prepend);
  remove(two);
  EXPECT_EQ(shown("fe80::/128"), "local");
  remove(one);
  EXPECT_EQ(shown("fe80::/128"), "absent");
  EXPECT_EQ(state_->counters().doubtful, 0U);
}

TEST_F(KernelStateTest, ALinkOfALocalRouteAloneIsReadAgainWhenItGoes) {
  add({.prefix = "192.0.2.0/24", .hops = {{"", 2}}, .table = 255, .type = RTN_LOCAL});
  tell(linkMessage(2, "v2", 0, 0, RTM_DELLINK));
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{2});
  tell(linkMessage(2, "v2", 0, 0, RTM_DELLINK));
  EXPECT_FALSE(state_->takeRecheck().any()) << "it is forgotten";
}

TEST_F(KernelStateTest, ALocalRouteOfAVrfStandsInItsOwnTable) {
  add({.prefix = "10.0.0.1/32", .table = 1000, .type = RTN_LOCAL});
  EXPECT_EQ(shown(*blue_, "10.0.0.1/32"), "local");
  EXPECT_EQ(shown("10.0.0.1/32"), "absent");
}

TEST_F(KernelStateTest, ALocalRouteInTableMainIsRemovedFromThere) {
  const TestRoute route{.prefix = "10.9.0.0/16", .table = 254, .type = RTN_LOCAL};
  add(route);
  dump(local4(), {});
  dump(local4(), {});
  EXPECT_EQ(shown("10.9.0.0/16"), "local") << "it is not of table local";
  remove(route);
  EXPECT_EQ(shown("10.9.0.0/16"), "absent");
}

TEST_F(KernelStateTest, TablesOfNoVrfAreCountedOnly) {
  add({.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2"}}, .table = 77});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(state_->counters().otherTables, 1U);
}

TEST_F(KernelStateTest, Ipv6HopsThatArriveOneByOneBecomeOneRoute) {
  add(via("2001:db8::/32", "fe80::2", 1024), prepend);
  add(via("2001:db8::/32", "fe80::3", 1024), append);
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::2 fe80::3");
  remove(via("2001:db8::/32", "fe80::2", 1024));
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::3");
  remove(via("2001:db8::/32", "fe80::3", 1024));
  EXPECT_EQ(shown("2001:db8::/32"), "absent");
}

TEST_F(KernelStateTest, Ipv6HopsThatAreListedStandInPlaceOfTheOldOnes) {
  const TestRoute both{.prefix = "2001:db8::/32",
                       .hops = {{"fe80::2"}, {"fe80::3"}},
                       .metric = 1024};
  const TestRoute others{.prefix = "2001:db8::/32",
                         .hops = {{"fe80::3"}, {"fe80::4"}},
                         .metric = 1024};
  add(via("2001:db8::/32", "fe80::2", 1024));
  add(both, append);
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::2 fe80::3");
  add(others, replace);
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::3 fe80::4");
  remove(others);
  EXPECT_EQ(shown("2001:db8::/32"), "absent");
}

TEST_F(KernelStateTest, Ipv6RoutesWithoutAGatewayStayApart) {
  const TestRoute one{.prefix = "fe80::/64", .hops = {{"", 1}}, .metric = 256, .protocol = 2};
  const TestRoute two{.prefix = "fe80::/64", .hops = {{"", 2}}, .metric = 256, .protocol = 2};
  add(one);
  add(two, prepend);
  EXPECT_EQ(alternatives("fe80::/64").size(), 2U);
  remove(one);
  ASSERT_EQ(alternatives("fe80::/64").size(), 1U);
  remove(two);
  EXPECT_EQ(shown("fe80::/64"), "absent");
}

TEST_F(KernelStateTest, DefaultRoutesOfSeveralRoutersStayApart) {
  TestRoute one = via("::/0", "fe80::2", 1024);
  one.protocol = RTPROT_RA;
  TestRoute two = via("::/0", "fe80::3", 1024);
  two.protocol = RTPROT_RA;
  add(one);
  add(two, prepend);
  EXPECT_EQ(shown("::/0"), "fe80::2");
  remove(one);
  EXPECT_EQ(shown("::/0"), "fe80::3");
}

// ---- links, addresses, objects
// -------------------------------------------------------------------

TEST_F(KernelStateTest, ALinkThatGoesDownTakesItsRoutesInBothFamilies) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("2001:db8::/32", "fe80::2", 1024));
  add({.prefix = "192.0.3.0/24", .hops = {{"10.0.0.2", 1}, {"10.1.0.2", 2}}});
  add({.prefix = "10.0.0.1/32", .table = 255, .type = RTN_LOCAL});
  tell(linkMessage(1, "v1", 0));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("2001:db8::/32"), "absent");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.1.0.2");
  EXPECT_EQ(shown("10.0.0.1/32"), "local");
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{1});
}

TEST_F(KernelStateTest, AMessageThatWasOnItsWayDoesNotReviveALinkThatIsDown) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  tell(linkMessage(1, "v1", 0));
  dump(main4(), {via("192.0.2.0/24", "10.0.0.2")});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  tell(linkMessage(1, "v1", IFF_UP | IFF_RUNNING));
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{1});
  dump(main4(), {via("192.0.2.0/24", "10.0.0.2")});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
}

TEST_F(KernelStateTest, ALinkThatWentDownAndUpInOneBatchHasLostItsRoutes) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  tellMore(linkMessage(1, "v1", 0));
  tell(linkMessage(1, "v1", IFF_UP | IFF_RUNNING));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent") << "the kernel tells of those that it adds again";
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{1});
}

TEST_F(KernelStateTest, ALinkOfNoRouteNeedsNoReading) {
  tell(linkMessage(2, "v2", 0));
  tell(linkMessage(2, "v2", IFF_UP));
  tell(linkMessage(2, "v2", 0, 0, RTM_DELLINK));
  EXPECT_FALSE(state_->takeRecheck().any());
}

TEST_F(KernelStateTest, WhetherACarrierCountsPutsTheRoutesOfItsInterfaceInDoubt) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  tell(settingMessage(2));
  EXPECT_FALSE(state_->takeRecheck().any()) << "no route uses it";
  tell(settingMessage(1));
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{1});
  tell(settingMessage(NETCONFA_IFINDEX_ALL));
  EXPECT_TRUE(state_->takeRecheck().everything);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
}

TEST_F(KernelStateTest, OnlyTheLastIpv4AddressTakesRoutesAlong) {
  tell(addressMessage(1, "10.0.0.1"));
  tell(addressMessage(1, "10.9.0.1"));
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("2001:db8::/32", "fe80::2", 1024));
  tell(addressMessage(1, "10.9.0.1", RTM_DELADDR));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  tell(addressMessage(1, "10.0.0.1", RTM_DELADDR));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::2");
}

TEST_F(KernelStateTest, AnAddressWithTwoPeersIsTwoAddresses) {
  tell(addressMessage(1, "10.0.0.1", RTM_NEWADDR, "10.0.0.2"));
  tell(addressMessage(1, "10.0.0.1", RTM_NEWADDR, "10.0.0.3"));
  add(via("192.0.2.0/24", "10.0.0.2"));
  tell(addressMessage(1, "10.0.0.1", RTM_DELADDR, "10.0.0.3"));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  tell(addressMessage(1, "10.0.0.1", RTM_DELADDR, "10.0.0.2"));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(KernelStateTest, AnAddressThatRoutesNameAsSourceAsksForAReadingWhenItGoes) {
  tell(addressMessage(1, "10.0.0.1"));
  tell(addressMessage(1, "10.9.0.1"));
  MessageBuilder route = routeMessage(via("192.0.2.0/24", "10.0.0.2"));
  route.address(RTA_PREFSRC, "10.9.0.1");
  tell(std::move(route));
  tell(addressMessage(1, "10.9.0.1", RTM_DELADDR));
  EXPECT_TRUE(state_->takeRecheck().everything);
}

TEST_F(KernelStateTest, AGroupFollowsItsMembers) {
  tell(nexthopMessage(1, "10.0.0.2", 1));
  tell(nexthopMessage(2, "10.1.0.2", 2));
  tell(groupMessage(10, {{1, 1}, {2, 3}}));
  add({.prefix = "192.0.2.0/24", .object = 10});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2 10.1.0.2");
  tell(nexthopMessage(1, "10.0.0.9", 1));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.9 10.1.0.2");
  tell(linkMessage(1, "v1", 0));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.1.0.2");
  tell(nexthopMessage(2, "10.1.0.2", 2, RTM_DELNEXTHOP));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(state_->nexthopObjects().count(), 0U);
}

TEST_F(KernelStateTest, AnObjectMadeAgainInTheBatchOfItsRemovalHasNoneOfItsOldRoutes) {
  tell(nexthopMessage(5, "10.0.0.2", 1));
  add({.prefix = "192.0.2.0/24", .object = 5});
  tellMore(nexthopMessage(5, "10.0.0.2", 1, RTM_DELNEXTHOP));
  tellMore(nexthopMessage(5, "10.1.0.2", 2));
  tell(routeMessage({.prefix = "192.0.3.0/24", .object = 5}));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.1.0.2");
  EXPECT_EQ(state_->takeRecheck().interfaces, std::set<std::uint32_t>{1});
}

TEST_F(KernelStateTest, AGroupThatBecomesABlackholeOrNoneAsksForAReading) {
  tell(blackholeMessage(1));
  tell(nexthopMessage(2, "10.0.0.2", 1));
  tell(nexthopMessage(3, "10.0.0.3", 1));
  tell(groupMessage(10, {{1, 1}}));
  EXPECT_FALSE(state_->takeRecheck().any());
  tell(groupMessage(10, {{2, 1}}));
  EXPECT_TRUE(state_->takeRecheck().everything) << "its routes were of type blackhole";
  tell(groupMessage(10, {{3, 1}}));
  EXPECT_FALSE(state_->takeRecheck().any());
  tell(groupMessage(10, {{1, 1}}));
  EXPECT_TRUE(state_->takeRecheck().everything);
}

TEST_F(KernelStateTest, AnObjectOfNoRouteNeedsNoReadingWhenItGoes) {
  tell(nexthopMessage(1, "10.0.0.2", 1));
  tell(blackholeMessage(2));
  tell(nexthopMessage(1, "10.0.0.2", 1, RTM_DELNEXTHOP));
  tell(nexthopMessage(2, "10.0.0.2", 1, RTM_DELNEXTHOP));
  tell(nexthopMessage(3, "10.0.0.2", 1, RTM_DELNEXTHOP));
  EXPECT_FALSE(state_->takeRecheck().any());
}

TEST_F(KernelStateTest, AMemberThatLeftItsGroupTakesNothingOfItAlong) {
  tell(nexthopMessage(1, "10.0.0.2", 1));
  tell(nexthopMessage(2, "10.1.0.2", 2));
  tell(groupMessage(10, {{1, 1}, {2, 1}}));
  tell(groupMessage(11, {{1, 1}}));
  tell(groupMessage(10, {{2, 1}}));
  add({.prefix = "192.0.2.0/24", .object = 10});
  add({.prefix = "192.0.3.0/24", .object = 11});
  tell(nexthopMessage(1, "10.0.0.2", 1, RTM_DELNEXTHOP));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.1.0.2");
  EXPECT_EQ(shown("192.0.3.0/24"), "absent");
  EXPECT_EQ(state_->nexthopObjects().count(), 2U) << "2 and 10";
}

TEST_F(KernelStateTest, ObjectsOfALinkThatIsDormantStay) {
  tell(nexthopMessage(1, "10.0.0.2", 1));
  add({.prefix = "192.0.2.0/24", .object = 1});
  tell(linkMessage(1, "v1", IFF_UP | IFF_LOWER_UP | IFF_DORMANT));
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  tell(linkMessage(1, "v1", IFF_UP));
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(KernelStateTest, AnObjectThatIsNotKnownYetGoesByTheHopsOfTheRoute) {
  TestRoute route = via("192.0.2.0/24", "10.0.0.2");
  route.object = 7;
  add(route);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  EXPECT_TRUE(state_->takeRecheck().everything);
}

TEST_F(KernelStateTest, AVrfDeviceIsAVrfOfItsNameAndTable) {
  tell(linkMessage(7, "red", IFF_UP, 10));
  ASSERT_NE(vrfs_.vrf("red"), nullptr);
  EXPECT_EQ(vrfs_.vrf("red")->table(), 10U);
  add({.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2"}}, .table = 10});
  EXPECT_EQ(shown(*vrfs_.vrf("red"), "192.0.2.0/24"), "10.0.0.2");
  tell(linkMessage(7, "red", 0, 10, RTM_DELLINK));
  EXPECT_EQ(vrfs_.vrf("red"), nullptr);
}

TEST_F(KernelStateTest, ViasBeyondTheLimitStayCountedWhenTheirVrfHasGone) {
  TestRoute route{.prefix = "192.0.2.0/24", .table = 1000};
  for (int interface = 0; interface < static_cast<int>(FibGen::Fec::maxVias) + 3; ++interface) {
    route.hops.push_back({"", 100 + interface});
  }
  add(route);
  EXPECT_EQ(state_->viasBeyondLimit(), 3U);
  vrfs_.vrfDel("blue");
  EXPECT_EQ(state_->viasBeyondLimit(), 3U);
}

TEST_F(KernelStateTest, ADeepLabelStackIsCountedWhenItsRouteComesAndNotWhenItGoes) {
  const TestRoute route{.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2", 1, 1, 0, {100, 200}}}};
  add(route);
  remove(route);
  EXPECT_EQ(state_->counters().deepLabelStacks, 1U);
}

TEST_F(KernelStateTest, AVrfDeviceHasItsIpv6RoutesAndAddressesInItsOwnTable) {
  tell(linkMessage(7, "red", IFF_UP, 10));
  add({.prefix = "2001:db8::/32", .hops = {{"fe80::2"}}, .metric = 1024, .table = 10});
  add({.prefix = "2001:db8:f::1/128", .hops = {{"", 7}}, .table = 10, .type = RTN_LOCAL});
  const Vrf* const red = vrfs_.vrf("red");
  ASSERT_NE(red, nullptr);
  EXPECT_EQ(shown(*red, "2001:db8::/32"), "fe80::2");
  EXPECT_EQ(shown(*red, "2001:db8:f::1/128"), "local");
  EXPECT_EQ(shown("2001:db8:f::1/128"), "absent");
}

TEST_F(KernelStateTest, AVrfDeviceOfATableThatHasAVrfChangesNothing) {
  tell(linkMessage(7, "red", IFF_UP, 1000));
  EXPECT_EQ(vrfs_.all().size(), 2U);
  tell(linkMessage(7, "red", 0, 1000, RTM_DELLINK));
  EXPECT_EQ(vrfs_.all().size(), 2U);
  tell(linkMessage(8, "blue", IFF_UP, 11));
  EXPECT_EQ(vrfs_.vrfOfTable(11), nullptr) << "its name is another's";
}

TEST_F(KernelStateTest, AVrfDeviceMadeAnewWhileMessagesWereLostKeepsItsVrf) {
  tell(linkMessage(7, "red", IFF_UP, 10));
  const Vrf* const vrf = vrfs_.vrf("red");
  tell(linkMessage(8, "red", IFF_UP, 10));
  tell(linkMessage(7, "red", 0, 10, RTM_DELLINK));
  EXPECT_EQ(vrfs_.vrf("red"), vrf);
  tell(linkMessage(8, "red", 0, 10, RTM_DELLINK));
  EXPECT_EQ(vrfs_.vrf("red"), nullptr);
}

TEST_F(KernelStateTest, ASecondVrfDeviceOfATableIsAVrfWhenTheFirstGoes) {
  tell(linkMessage(7, "red", IFF_UP, 10));
  tell(linkMessage(8, "green", IFF_UP, 10));
  EXPECT_EQ(vrfs_.vrf("green"), nullptr);
  tell(linkMessage(7, "red", 0, 10, RTM_DELLINK));
  EXPECT_EQ(vrfs_.vrf("red"), nullptr);
  ASSERT_NE(vrfs_.vrf("green"), nullptr);
  EXPECT_EQ(vrfs_.vrf("green")->table(), 10U);
}

TEST_F(KernelStateTest, AVrfDeviceThatIsNotFollowedIsSaidOnce) {
  ::testing::internal::CaptureStderr();
  tell(linkMessage(8, "blue", IFF_UP, 11));
  tell(linkMessage(8, "blue", 0, 11));
  const std::string said = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(said.find("VRF device blue"), said.rfind("VRF device blue"));
  EXPECT_NE(said.find("VRF device blue"), std::string::npos);
}

TEST_F(KernelStateTest, ADamagedMessageAsksForAReading) {
  MessageBuilder route = routeMessage(via("192.0.2.0/24", "10.0.0.2"));
  Message message = route.message();
  message.body = message.body.first(message.body.size() - 3);
  state_->notification(message);
  EXPECT_EQ(state_->counters().damaged, 1U);
  EXPECT_TRUE(state_->takeRecheck().damaged);
}

}  // namespace
}  // namespace Routing::Host::Testing
