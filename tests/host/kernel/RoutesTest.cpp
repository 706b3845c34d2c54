// Routes of the real kernel, as ip changes them, in a namespace of the test's own.

#include "tests/host/kernel/KernelWorld.h"

namespace Routing::Host::Testing {
namespace {

class KernelRoutesInNamespace : public KernelTest {};

TEST_F(KernelRoutesInNamespace, TheFirstReadingHasWhatWasThereBefore) {
  net_.link("v0", "10.0.0.1/24");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 metric 7");
  net_.ip("route add blackhole 198.51.100.0/24 proto static");
  net_.ip("route add unreachable 198.51.101.0/24");
  net_.ip("route add prohibit 198.51.102.0/24");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 7 via 10.0.0.2");
  EXPECT_EQ(shown("10.0.0.0/24"), "connected metric 0 via link");
  EXPECT_EQ(shown("10.0.0.1/32"), "local metric 0");
  EXPECT_EQ(shown("127.0.0.0/8"), "local metric 0");
  EXPECT_EQ(shown("198.51.100.0/24"), "blackhole metric 0");
  EXPECT_EQ(shown("198.51.101.0/24"), "unreachable metric 0");
  EXPECT_EQ(shown("198.51.102.0/24"), "prohibit metric 0");
  EXPECT_EQ(shown("10.0.0.255/32"), "absent") << "broadcast";
  EXPECT_EQ(ready_, std::vector<VrfName>{"default"});
}

TEST_F(KernelRoutesInNamespace, TheFirstReadingHasIpv6RoutesToo) {
  net_.link("v0", "2001:db8::1/64");
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::2");
  net_.ip("-6 route add 2001:db8:2::/48 nexthop via 2001:db8::2 weight 3 nexthop via 2001:db8::3");
  net_.ip("-6 route add blackhole 2001:db8:3::/48 metric 5");
  follow();
  EXPECT_EQ(shown("2001:db8:1::/48"), "boot metric 1024 via 2001:db8::2");
  EXPECT_EQ(shown("2001:db8:2::/48"), "boot metric 1024 via 2001:db8::2 weight 3, 2001:db8::3");
  EXPECT_EQ(shown("2001:db8:3::/48"), "blackhole metric 5");
  EXPECT_EQ(shown("2001:db8::/64"), "connected metric 256 via link");
  EXPECT_EQ(shown("2001:db8::1/128"), "local metric 0");
  EXPECT_EQ(shown("ff00::/8"), "absent") << "multicast";
}

TEST_F(KernelRoutesInNamespace, RoutesAreAddedChangedReplacedAndRemoved) {
  net_.link("v0", "10.0.0.1/24");
  follow();
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 proto static");
  expectShown("192.0.2.0/24", "static metric 0 via 10.0.0.2");
  net_.ip("route change 192.0.2.0/24 via 10.0.0.3 proto static");
  expectShown("192.0.2.0/24", "static metric 0 via 10.0.0.3");
  net_.ip("route replace 192.0.2.0/24 via 10.0.0.4 proto bgp");
  expectShown("192.0.2.0/24", "bgp metric 0 via 10.0.0.4");
  net_.ip("route del 192.0.2.0/24");
  expectShown("192.0.2.0/24", "absent");
  EXPECT_EQ(routes_->counters().resyncs, 0U);
  EXPECT_EQ(routes_->counters().checks, 0U);
}

TEST_F(KernelRoutesInNamespace, TheLowestMetricWinsAndTheOthersTakeOver) {
  net_.link("v0", "10.0.0.1/24");
  follow();
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 metric 20");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.3 metric 10");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.4 metric 30");
  expectShown("192.0.2.0/24", "boot metric 10 via 10.0.0.3");
  net_.ip("route del 192.0.2.0/24 metric 10");
  expectShown("192.0.2.0/24", "boot metric 20 via 10.0.0.2");
  net_.ip("route del 192.0.2.0/24 metric 20");
  expectShown("192.0.2.0/24", "boot metric 30 via 10.0.0.4");
  net_.ip("route del 192.0.2.0/24");
  expectShown("192.0.2.0/24", "absent");
}

TEST_F(KernelRoutesInNamespace, AppendKeepsTheOldAndPrependTakesItsPlace) {
  net_.link("v0", "10.0.0.1/24");
  follow();
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  net_.ip("route append 192.0.2.0/24 via 10.0.0.3");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  net_.ip("route prepend 192.0.2.0/24 via 10.0.0.4");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.4");
  net_.ip("route del 192.0.2.0/24 via 10.0.0.4");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  net_.ip("route replace 192.0.2.0/24 via 10.0.0.5");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.5");
  net_.ip("route del 192.0.2.0/24 via 10.0.0.5");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.3");
}

TEST_F(KernelRoutesInNamespace, MultipathRoutesKeepTheirWeightsInBothFamilies) {
  net_.link("v0", "10.0.0.1/24");
  net_.ip("addr add 2001:db8::1/64 dev v0 nodad");
  follow();
  net_.ip("route add 192.0.2.0/24 nexthop via 10.0.0.2 weight 2 nexthop via 10.0.0.3");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2 weight 2, 10.0.0.3");
  net_.ip("-6 route add 2001:db8:1::/48 nexthop via 2001:db8::2 nexthop via 2001:db8::3 weight 5");
  expectShown("2001:db8:1::/48", "boot metric 1024 via 2001:db8::2, 2001:db8::3 weight 5");
}

TEST_F(KernelRoutesInNamespace, Ipv6MultipathGrowsAndShrinksHopByHop) {
  net_.link("v0", "2001:db8::1/64");
  follow();
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::2");
  net_.ip("-6 route append 2001:db8:1::/48 via 2001:db8::3");
  expectShown("2001:db8:1::/48", "boot metric 1024 via 2001:db8::2, 2001:db8::3");
  net_.ip("-6 route append 2001:db8:1::/48 via 2001:db8::4");
  expectShown("2001:db8:1::/48", "boot metric 1024 via 2001:db8::2, 2001:db8::3, 2001:db8::4");
  net_.ip("-6 route del 2001:db8:1::/48 via 2001:db8::3");
  expectShown("2001:db8:1::/48", "boot metric 1024 via 2001:db8::2, 2001:db8::4");
  net_.ip("-6 route replace 2001:db8:1::/48 via 2001:db8::5");
  expectShown("2001:db8:1::/48", "boot metric 1024 via 2001:db8::5");
  net_.ip("-6 route del 2001:db8:1::/48");
  expectShown("2001:db8:1::/48", "absent");
  EXPECT_EQ(routes_->counters().resyncs, 0U);
}

TEST_F(KernelRoutesInNamespace, AWholeIpv6MultipathRouteGoesAtOnce) {
  net_.link("v0", "2001:db8::1/64");
  net_.ip("-6 route add 2001:db8:1::/48 nexthop via 2001:db8::2 nexthop via 2001:db8::3");
  follow();
  EXPECT_EQ(shown("2001:db8:1::/48"), "boot metric 1024 via 2001:db8::2, 2001:db8::3");
  net_.ip("-6 route del 2001:db8:1::/48");
  expectShown("2001:db8:1::/48", "absent");
}

TEST_F(KernelRoutesInNamespace, Ipv6MetricsTakeOverToo) {
  net_.link("v0", "2001:db8::1/64");
  follow();
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::2 metric 20");
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::3 metric 10");
  expectShown("2001:db8:1::/48", "boot metric 10 via 2001:db8::3");
  net_.ip("-6 route del 2001:db8:1::/48 metric 10");
  expectShown("2001:db8:1::/48", "boot metric 20 via 2001:db8::2");
}

TEST_F(KernelRoutesInNamespace, ARouteForOneTypeOfServiceIsNoRouteForTracking) {
  net_.link("v0", "10.0.0.1/24");
  follow();
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 tos 0x10");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.3");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.3");
  net_.ip("route del 192.0.2.0/24 tos 0x10");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.3");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.0.0.3");
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.0.0.3");
}

TEST_F(KernelRoutesInNamespace, TwoTablesAreTwoVrfs) {
  net_.link("v0", "10.0.0.1/24");
  Vrf& blue = vrfs_.vrfIs("blue", 1000);
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 table 1000");
  follow();
  net_.ip("route add 192.0.3.0/24 via 10.0.0.3 table 1000");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.4");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.5 table 77");
  expectShown(blue, "192.0.3.0/24", "boot metric 0 via 10.0.0.3");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.4");
  EXPECT_EQ(shown(blue, "192.0.2.0/24"), "boot metric 0 via 10.0.0.2");
  EXPECT_EQ(shown(blue, "127.0.0.0/8"), "absent") << "table local is the default VRF's";
  EXPECT_EQ(ready_, (std::vector<VrfName>{"blue", "default"}));
}

TEST_F(KernelRoutesInNamespace, AVrfThatComesLaterIsReadAndThenReady) {
  net_.link("v0", "10.0.0.1/24");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 table 1000");
  follow();
  ready_.clear();
  Vrf& blue = vrfs_.vrfIs("blue", 1000);
  EXPECT_TRUE(until([this] { return !ready_.empty(); }));
  EXPECT_EQ(shown(blue, "192.0.2.0/24"), "boot metric 0 via 10.0.0.2");
  vrfs_.vrfDel("blue");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.2 table 1000");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.2");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.0.0.2");
}

}  // namespace
}  // namespace Routing::Host::Testing
