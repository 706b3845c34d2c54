#include <gtest/gtest.h>

#include "host/kernel/Messages.h"
#include "tests/host/kernel/MessageBuilder.h"

namespace Routing::Host::Testing {
namespace {

using Support::addr;
using Support::prefix;

RouteMessage parsed(const TestRoute& route) {
  RouteMessage message;
  MessageBuilder builder = routeMessage(route);
  EXPECT_EQ(parseRoute(builder.message().body, message), Parsed::value);
  return message;
}

Parsed outcome(const TestRoute& route) {
  RouteMessage message;
  MessageBuilder builder = routeMessage(route);
  return parseRoute(builder.message().body, message);
}

const TestRoute route4{.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2", 3}}};
const TestRoute route6{.prefix = "2001:db8::/32", .hops = {{"fe80::2", 3}}};

TEST(RouteMessages, ARouteHasPrefixTableMetricProtocolAndHop) {
  const RouteMessage route = parsed(route4.with([](TestRoute& r) {
    r.metric = 7;
    r.table = 1'000'000;
    r.protocol = RTPROT_BGP;
  }));
  EXPECT_EQ(route.prefix, prefix("192.0.2.0/24"));
  EXPECT_EQ(route.table, 1'000'000U) << "beyond 255 it stands in an attribute";
  EXPECT_EQ(route.metric, 7U);
  EXPECT_EQ(route.type, RouteType::bgp);
  ASSERT_EQ(route.hops.size(), 1U);
  EXPECT_EQ(route.hops[0].via.hop, addr("10.0.0.2"));
  EXPECT_EQ(route.hops[0].via.intfId.value, 3U);
  EXPECT_FALSE(route.multipath);
}

TEST(RouteMessages, TheDefaultRouteNamesNoDestination) {
  EXPECT_EQ(parsed(route4.with([](TestRoute& r) { r.prefix = "0.0.0.0/0"; })).prefix,
            prefix("0.0.0.0/0"));
  EXPECT_EQ(parsed(route6.with([](TestRoute& r) { r.prefix = "::/0"; })).prefix, prefix("::/0"));
}

TEST(RouteMessages, AListOfHopsHasWeightsFlagsAndBothFamilies) {
  const RouteMessage route = parsed(
      {.prefix = "2001:db8::/32",
       .hops = {{"fe80::2", 3, 5}, {"fe80::3", 4, 1, RTNH_F_DEAD}, {"", 5, 1, RTNH_F_LINKDOWN}}});
  EXPECT_TRUE(route.multipath);
  ASSERT_EQ(route.hops.size(), 3U);
  EXPECT_EQ(route.hops[0].via.weight, 5U);
  EXPECT_EQ(route.hops[0].via.hop, addr("fe80::2"));
  EXPECT_TRUE(route.hops[1].dead);
  EXPECT_EQ(route.hops[1].via.intfId.value, 4U);
  EXPECT_FALSE(route.hops[2].dead) << "the kernel still uses it";
  EXPECT_FALSE(route.hops[2].via.hop);
}

TEST(RouteMessages, TheOutermostLabelIsKeptAndDeeperStacksAreCounted) {
  const RouteMessage route =
      parsed({.prefix = "192.0.2.0/24",
              .hops = {{"10.0.0.2", 3, 1, 0, {100}}, {"10.0.0.3", 3, 1, 0, {200, 300, 400}}}});
  ASSERT_EQ(route.hops.size(), 2U);
  EXPECT_EQ(route.hops[0].via.mplsLabelAndAction().label(), 100U);
  EXPECT_EQ(route.hops[0].via.mplsLabelAndAction().action(), labelPush);
  EXPECT_EQ(route.hops[1].via.mplsLabelAndAction().label(), 200U);
  EXPECT_EQ(route.deepLabelStacks, 1U);
  for (const TestRoute& one : {route4, route6}) {
    const RouteMessage single = parsed(one.with([](TestRoute& r) { r.hops[0].labels = {16}; }));
    EXPECT_EQ(single.hops[0].via.mplsLabelAndAction().label(), 16U) << one.prefix;
  }
}

TEST(RouteMessages, AnEncapsulationOfAnotherKindIsNoLabel) {
  MessageBuilder builder = routeMessage(route4);
  builder.shortNumber(RTA_ENCAP_TYPE, LWTUNNEL_ENCAP_IP);
  builder.nested(RTA_ENCAP, [&builder] { builder.number(MPLS_IPTUNNEL_DST, 1); });
  RouteMessage route;
  EXPECT_EQ(parseRoute(builder.message().body, route), Parsed::value);
  EXPECT_EQ(route.hops[0].via.mplsLabelAndAction(), MplsLabelAndAction());
}

TEST(RouteMessages, RefusalsHaveATypeAndNoHops) {
  struct Row {
    std::uint8_t kernelType;
    RouteType type;
  };
  for (const Row row : {Row{RTN_LOCAL, RouteType::local},
                        Row{RTN_ANYCAST, RouteType::local},
                        Row{RTN_BLACKHOLE, RouteType::blackhole},
                        Row{RTN_UNREACHABLE, RouteType::unreachable},
                        Row{RTN_THROW, RouteType::unreachable},
                        Row{RTN_PROHIBIT, RouteType::prohibit}}) {
    TestRoute route = route6;
    route.type = row.kernelType;
    const RouteMessage message = parsed(route);
    EXPECT_EQ(message.type, row.type) << int{row.kernelType};
    EXPECT_TRUE(message.hops.empty());
  }
}

TEST(RouteMessages, OnlyRoutesToALinkAreConnected) {
  TestRoute route = route4;
  route.protocol = RTPROT_KERNEL;
  EXPECT_EQ(parsed(route).type, RouteType::other) << "through a gateway";
  route.hops[0].gateway.clear();
  EXPECT_EQ(parsed(route).type, RouteType::connected);
  route.protocol = RTPROT_RA;
  EXPECT_EQ(parsed(route).type, RouteType::connected);
  route.protocol = RTPROT_STATIC;
  EXPECT_EQ(parsed(route).type, RouteType::staticRoute);
}

TEST(RouteMessages, WhatIsNoRouteForTrackingIsPassedOver) {
  EXPECT_EQ(outcome(route6.with([](TestRoute& r) { r.flags = RTM_F_CLONED; })), Parsed::passedOver);
  EXPECT_EQ(outcome(route4.with([](TestRoute& r) { r.tos = 0x10; })), Parsed::passedOver);
  EXPECT_EQ(outcome(route4.with([](TestRoute& r) { r.type = RTN_BROADCAST; })), Parsed::passedOver);
  EXPECT_EQ(outcome(route6.with([](TestRoute& r) { r.type = RTN_MULTICAST; })), Parsed::passedOver);
  EXPECT_EQ(outcome(route4.with([](TestRoute& r) { r.hops.clear(); })), Parsed::passedOver);
  MessageBuilder mpls = routeMessage(route4);
  static_cast<rtmsg*>(mnl_nlmsg_get_payload(mpls.head()))->rtm_family = AF_MPLS;
  RouteMessage route;
  EXPECT_EQ(parseRoute(mpls.message().body, route), Parsed::passedOver);
}

TEST(RouteMessages, ARouteOverAnObjectMayNameNoHops) {
  const RouteMessage route = parsed({.prefix = "192.0.2.0/24", .object = 7});
  EXPECT_EQ(route.object, 7U);
  EXPECT_TRUE(route.hops.empty());
}

TEST(NexthopMessages, AnObjectHasItsHopOrItsMembers) {
  NexthopMessage nexthop;
  ASSERT_EQ(parseNexthop(nexthopMessage(7, "10.0.0.2", 3).message().body, nexthop), Parsed::value);
  EXPECT_EQ(nexthop.object, 7U);
  EXPECT_EQ(nexthop.hop.via.hop, addr("10.0.0.2"));
  EXPECT_EQ(nexthop.hop.via.intfId.value, 3U);
  MessageBuilder group = groupMessage(9, {{7, 1}, {8, 256}, {6, 600}});
  ASSERT_EQ(parseNexthop(group.message().body, nexthop), Parsed::value);
  ASSERT_EQ(nexthop.group.size(), 3U);
  EXPECT_EQ(nexthop.group[1].weight, 256U);
  EXPECT_EQ(nexthop.group[2].weight, 600U) << "the weight has two bytes";
}

TEST(LinkMessages, AVrfDeviceNamesItsTable) {
  LinkMessage link;
  MessageBuilder builder = linkMessage(5, "red", IFF_UP | IFF_RUNNING, 10);
  ASSERT_EQ(parseLink(builder.message().body, link), Parsed::value);
  EXPECT_EQ(link.name, "red");
  EXPECT_EQ(link.vrfTable, 10U);
  EXPECT_TRUE(link.up);
  EXPECT_TRUE(link.running);
}

TEST(LinkMessages, ADormantLinkHasItsCarrier) {
  LinkMessage link;
  MessageBuilder builder = linkMessage(5, "v5", IFF_UP | IFF_LOWER_UP | IFF_DORMANT);
  ASSERT_EQ(parseLink(builder.message().body, link), Parsed::value);
  EXPECT_TRUE(link.running) << "as the kernel sees it";
}

TEST(AddressMessages, TheOwnAddressAndThePeersAreToldApart) {
  MessageBuilder builder(RTM_NEWADDR);
  ifaddrmsg body{};
  body.ifa_family = AF_INET;
  body.ifa_index = 4;
  body.ifa_prefixlen = 32;
  builder.body(body);
  builder.address(IFA_ADDRESS, "10.0.0.2");
  builder.address(IFA_LOCAL, "10.0.0.1");
  AddressMessage address;
  ASSERT_EQ(parseAddress(builder.message().body, address), Parsed::value);
  EXPECT_EQ(address, (AddressMessage{4, addr("10.0.0.1"), 32, addr("10.0.0.2")}));
}

TEST(SettingMessages, NameTheInterfaceOrAllOfThem) {
  SettingMessage setting;
  MessageBuilder one = settingMessage(4);
  ASSERT_EQ(parseSetting(one.message().body, setting), Parsed::value);
  EXPECT_EQ(setting.interface, 4U);
  MessageBuilder all = settingMessage(NETCONFA_IFINDEX_ALL);
  ASSERT_EQ(parseSetting(all.message().body, setting), Parsed::value);
  EXPECT_EQ(setting.interface, 0U);
}

TEST(SettingMessages, WhatMakesNoDifferenceToRoutesIsPassedOver) {
  SettingMessage setting;
  MessageBuilder other = settingMessage(4, NETCONFA_FORWARDING);
  EXPECT_EQ(parseSetting(other.message().body, setting), Parsed::passedOver);
  MessageBuilder interfacesToCome = settingMessage(NETCONFA_IFINDEX_DEFAULT);
  EXPECT_EQ(parseSetting(interfacesToCome.message().body, setting), Parsed::passedOver);
}

// ---- damage
// --------------------------------------------------------------------------------------

// In memory of its exact size, so that a sanitizer sees a read beyond it.
std::vector<std::byte> copyOf(Bytes bytes, std::size_t size) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

TEST(DamagedMessages, ARouteThatIsCutOffInsideAnAttributeIsDamaged) {
  MessageBuilder sample = routeMessage(route4);
  const Bytes body = sample.message().body;
  RouteMessage route;
  EXPECT_EQ(parseRoute(copyOf(body, body.size() - 1), route), Parsed::damaged);
  EXPECT_EQ(parseRoute(copyOf(body, sizeof(rtmsg) - 1), route), Parsed::damaged);
  EXPECT_EQ(parseRoute({}, route), Parsed::damaged);
}

TEST(DamagedMessages, ASettingThatIsCutOffIsDamaged) {
  MessageBuilder sample = settingMessage(4);
  const Bytes body = sample.message().body;
  SettingMessage setting;
  EXPECT_EQ(parseSetting(copyOf(body, body.size() - 1), setting), Parsed::damaged);
  EXPECT_EQ(parseSetting(copyOf(body, sizeof(netconfmsg)), setting), Parsed::damaged);
  EXPECT_EQ(parseSetting({}, setting), Parsed::damaged);
}

TEST(DamagedMessages, AnAddressOfTheWrongSizeIsDamaged) {
  MessageBuilder sample = routeMessage({.prefix = "0.0.0.0/0", .hops = {{"10.0.0.2", 3}}});
  sample.address(RTA_DST, "2001:db8::");
  RouteMessage route;
  EXPECT_EQ(parseRoute(sample.message().body, route), Parsed::damaged);
}

TEST(DamagedMessages, APrefixLongerThanItsFamilyIsDamaged) {
  MessageBuilder sample = routeMessage(route4);
  static_cast<rtmsg*>(mnl_nlmsg_get_payload(sample.head()))->rtm_dst_len = 33;
  RouteMessage route;
  EXPECT_EQ(parseRoute(sample.message().body, route), Parsed::damaged);
}

TEST(DamagedMessages, ABufferOfMessagesEndsWhereALengthDoesNotFit) {
  MessageBuilder first = routeMessage(route4);
  MessageBuilder second = routeMessage(route6);
  std::vector<std::byte> both = copyOf(first.whole(), first.whole().size());
  both.insert(both.end(), second.whole().begin(), second.whole().end());
  Bytes bytes(both);
  EXPECT_TRUE(takeMessage(bytes).has_value());
  EXPECT_TRUE(takeMessage(bytes).has_value());
  EXPECT_TRUE(bytes.empty());
  bytes = Bytes(both).first(both.size() - 1);
  EXPECT_TRUE(takeMessage(bytes).has_value());
  EXPECT_FALSE(takeMessage(bytes).has_value());
  EXPECT_FALSE(bytes.empty());
}

}  // namespace
}  // namespace Routing::Host::Testing
