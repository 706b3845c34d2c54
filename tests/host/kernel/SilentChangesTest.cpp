// What the real kernel changes without telling of the routes: links, addresses, nexthop objects.

#include <algorithm>

#include "tests/host/kernel/KernelWorld.h"

namespace Routing::Host::Testing {
namespace {

class SilentChanges : public KernelTest {
 protected:
  // Two links, each with both families.
  void SetUp() override {
    KernelTest::SetUp();
    if (IsSkipped()) {
      return;
    }
    net_.link("v0", "10.0.0.1/24");
    net_.link("v1", "10.1.0.1/24");
    net_.ip("addr add 2001:db8::1/64 dev v0 nodad");
    net_.ip("addr add 2001:db8:f::1/64 dev v1 nodad");
  }
  // Turns until the check that a silent change asks for is over, one more than there were.
  void expectChecked(std::uint64_t before = 0) {
    EXPECT_TRUE(until([this, before] { return routes_->counters().checks > before; }));
    turnFor(0.2);
  }
};

TEST_F(SilentChanges, RoutesOverALinkThatGoesDownAreGoneWithinASecond) {
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::2");
  follow();
  net_.ip("link set v0 down");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 1));
  EXPECT_TRUE(until([this] { return shown("2001:db8:1::/48") == "absent"; }, 1));
  EXPECT_EQ(shown("10.0.0.0/24"), "absent");
  EXPECT_EQ(shown("10.1.0.0/24"), "connected metric 0 via link");
  expectChecked();
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("10.0.0.1/32"), "local metric 0") << "the kernel keeps it";
}

TEST_F(SilentChanges, AMultipathRouteLosesTheHopsOfALinkAndGetsThemBackInItsFec) {
  net_.ip("route add 192.0.2.0/24 nexthop via 10.0.0.2 nexthop via 10.1.0.2");
  follow();
  const FecId fec = route("192.0.2.0/24").fecId();
  net_.ip("link set v1 down");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  EXPECT_EQ(route("192.0.2.0/24").fecId(), fec);
  expectChecked();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.0.0.2");
  net_.ip("link set v1 up");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2, 10.1.0.2");
  EXPECT_EQ(route("192.0.2.0/24").fecId(), fec);
}

TEST_F(SilentChanges, ARouteBehindAHiddenOneTakesOverWhenALinkTakesTheBestAway) {
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 metric 1");
  net_.ip("route add 192.0.2.0/24 via 10.1.0.2 metric 2");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 1 via 10.0.0.2");
  net_.ip("link set v0 down");
  expectShown("192.0.2.0/24", "boot metric 2 via 10.1.0.2");
}

TEST_F(SilentChanges, RoutesGoWithTheLastAddressOfTheirLink) {
  net_.ip("addr add 10.9.0.1/24 dev v0");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  net_.ip("route add 192.0.3.0/24 dev v0");
  net_.ip("-6 route add 2001:db8:1::/48 via 2001:db8::2");
  follow();
  net_.ip("addr del 10.9.0.1/24 dev v0");
  expectShown("10.9.0.0/24", "absent");
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.0.0.2") << "one address is left";
  const std::uint64_t checks = routes_->counters().checks;
  net_.ip("addr del 10.0.0.1/24 dev v0");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 1));
  EXPECT_EQ(shown("192.0.3.0/24"), "absent");
  expectChecked(checks);
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("2001:db8:1::/48"), "boot metric 1024 via 2001:db8::2");
}

TEST_F(SilentChanges, AnAddressOfTwoLinksStaysLocalWhenOneLosesIt) {
  net_.ip("addr add 10.9.0.1/32 dev v0");
  net_.ip("addr add 10.9.0.1/32 dev v1");
  follow();
  net_.ip("addr del 10.9.0.1/32 dev v1");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  EXPECT_EQ(shown("10.9.0.1/32"), "local metric 0");
  net_.ip("addr del 10.9.0.1/32 dev v0");
  expectShown("10.9.0.1/32", "absent");
}

TEST_F(SilentChanges, ALocalRouteOfANetworkGoesWithItsLinkOrItsLastAddress) {
  net_.ip("route add local 192.0.2.0/24 dev v0");
  net_.ip("route add local 192.0.3.0/24 dev v1");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "local metric 0");
  net_.ip("addr del 10.1.0.1/24 dev v1");
  net_.ip("link del v0");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 1));
  EXPECT_TRUE(until([this] { return shown("192.0.3.0/24") == "absent"; }, 1));
}

TEST_F(SilentChanges, ARouteGoesWithTheSourceAddressThatItNames) {
  net_.ip("addr add 10.9.0.1/32 dev v1");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 src 10.9.0.1");
  follow();
  net_.ip("addr del 10.9.0.1/32 dev v1");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 2));
}

TEST_F(SilentChanges, ALinkThatIsDeletedTakesItsRoutesAlong) {
  net_.ip("route add 192.0.2.0/24 nexthop via 10.0.0.2 nexthop via 10.1.0.2");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.2");
  follow();
  net_.ip("link del v0");
  EXPECT_TRUE(until([this] { return shown("192.0.3.0/24") == "absent"; }, 1));
  expectChecked();
  expectShown("192.0.2.0/24",
              net_.ipTry("route get fibmatch 192.0.2.1") ? "boot metric 0 via 10.1.0.2" : "absent");
  EXPECT_EQ(shown("10.0.0.1/32"), "absent");
}

TEST_F(SilentChanges, RoutesGoWithTheirNexthopObject) {
  net_.ip("nexthop add id 1 via 10.0.0.2 dev v0");
  net_.ip("nexthop add id 2 via 2001:db8::2 dev v0");
  net_.ip("route add 192.0.2.0/24 nhid 1");
  net_.ip("-6 route add 2001:db8:1::/48 nhid 2");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.0.0.2");
  EXPECT_EQ(shown("2001:db8:1::/48"), "boot metric 1024 via 2001:db8::2");
  net_.ip("nexthop del id 1");
  net_.ip("nexthop del id 2");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 1));
  EXPECT_TRUE(until([this] { return shown("2001:db8:1::/48") == "absent"; }, 1));
  expectChecked();
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(SilentChanges, AnObjectThatChangesChangesTheFecOfItsRoutesInPlace) {
  net_.ip("nexthop add id 1 via 10.0.0.2 dev v0");
  net_.ip("nexthop add id 2 via 10.1.0.2 dev v1");
  net_.ip("nexthop add id 10 group 1,3/2");
  net_.ip("route add 192.0.2.0/24 nhid 1");
  net_.ip("route add 192.0.3.0/24 nhid 10");
  follow();
  EXPECT_EQ(shown("192.0.3.0/24"), "boot metric 0 via 10.0.0.2 weight 3, 10.1.0.2");
  const FecId fec = route("192.0.3.0/24").fecId();
  net_.ip("nexthop replace id 1 via 10.0.0.9 dev v0");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.9");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.0.0.9 weight 3, 10.1.0.2");
  net_.ip("nexthop replace id 10 group 2,7");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.1.0.2 weight 7");
  EXPECT_EQ(route("192.0.3.0/24").fecId(), fec);
}

TEST_F(SilentChanges, AGroupLosesTheMemberThatIsDeletedAndGoesWithTheLast) {
  net_.ip("nexthop add id 1 via 10.0.0.2 dev v0");
  net_.ip("nexthop add id 2 via 10.1.0.2 dev v1");
  net_.ip("nexthop add id 10 group 1/2");
  net_.ip("route add 192.0.2.0/24 nhid 10");
  follow();
  net_.ip("nexthop del id 1");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.1.0.2");
  net_.ip("nexthop del id 2");
  expectShown("192.0.2.0/24", "absent");
  EXPECT_EQ(routes_->state().nexthopObjects().count(), 0U);
}

TEST_F(SilentChanges, ObjectsGoWithTheirLink) {
  net_.ip("nexthop add id 1 via 10.0.0.2 dev v0");
  net_.ip("nexthop add id 2 via 10.1.0.2 dev v1");
  net_.ip("nexthop add id 10 group 1/2");
  net_.ip("route add 192.0.2.0/24 nhid 10");
  net_.ip("route add 192.0.3.0/24 nhid 1");
  follow();
  net_.ip("link set v0 down");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.1.0.2");
  expectShown("192.0.3.0/24", "absent");
  expectChecked();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.1.0.2");
}

TEST_F(SilentChanges, ABlackholeObjectMakesBlackholeRoutes) {
  net_.ip("nexthop add id 1 blackhole");
  net_.ip("route add 192.0.2.0/24 nhid 1");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "blackhole metric 0");
  net_.ip("nexthop add id 2 via 10.0.0.2 dev v0");
  net_.ip("route replace 192.0.2.0/24 nhid 2");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
}

TEST_F(SilentChanges, RoutesGoWithTheirBlackholeObjectOrGroup) {
  net_.ip("nexthop add id 1 blackhole");
  net_.ip("nexthop add id 2 blackhole");
  net_.ip("nexthop add id 10 group 2");
  net_.ip("route add 192.0.2.0/24 nhid 1");
  net_.ip("route add 192.0.3.0/24 nhid 10");
  follow();
  EXPECT_EQ(shown("192.0.2.0/24"), "blackhole metric 0");
  EXPECT_EQ(shown("192.0.3.0/24"), "blackhole metric 0");
  net_.ip("nexthop del id 1");
  net_.ip("nexthop del id 10");
  EXPECT_TRUE(until([this] { return shown("192.0.2.0/24") == "absent"; }, 1.5));
  EXPECT_TRUE(until([this] { return shown("192.0.3.0/24") == "absent"; }, 1.5));
}

TEST_F(SilentChanges, AGatewayOfTheOtherFamilyIsAViaOfThatFamily) {
  follow();
  net_.ip("route add 192.0.2.0/24 via inet6 fe80::2 dev v0");
  expectShown("192.0.2.0/24", "boot metric 0 via fe80::2");
}

TEST_F(SilentChanges, ALinkWithoutACarrierKeepsItsRoutesUnlessTheKernelIgnoresThem) {
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  net_.ip("route add 192.0.3.0/24 nexthop via 10.0.0.2 nexthop via 10.1.0.2");
  follow();
  net_.ip("link set v0peer down");
  expectChecked();
  EXPECT_EQ(shown("192.0.2.0/24"), "boot metric 0 via 10.0.0.2");
  net_.ip("link set v0peer up");
  net_.sysctl("ipv4/conf/v0/ignore_routes_with_linkdown", "1");
  net_.ip("link set v0peer down");
  expectShown("192.0.2.0/24", "absent");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.1.0.2");
  net_.ip("link set v0peer up");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  expectShown("192.0.3.0/24", "boot metric 0 via 10.0.0.2, 10.1.0.2");
}

TEST_F(SilentChanges, RoutesWithoutACarrierGoAndComeAsTheKernelIsToldToIgnoreThem) {
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2");
  net_.ip("-6 route add 2001:db8:1::/48 via fe80::2 dev v0");
  net_.ip("link set v0peer down");
  follow();
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  net_.sysctl("ipv4/conf/v0/ignore_routes_with_linkdown", "1");
  expectShown("192.0.2.0/24", "absent");
  net_.sysctl("ipv6/conf/v0/ignore_routes_with_linkdown", "1");
  expectShown("2001:db8:1::/48", "absent");
  net_.sysctl("ipv4/conf/v0/ignore_routes_with_linkdown", "0");
  expectShown("192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  net_.sysctl("ipv6/conf/v0/ignore_routes_with_linkdown", "0");
  expectShown("2001:db8:1::/48", "boot metric 1024 via fe80::2");
}

TEST_F(SilentChanges, AVrfDeviceIsAVrfWhileItIsThere) {
  if (!net_.ipTry("link add red type vrf table 10")) {
    GTEST_SKIP() << "needs VRF devices in the kernel (CONFIG_NET_VRF)";
  }
  net_.ip("link set red up");
  net_.ip("route add 192.0.2.0/24 via 10.0.0.2 table 10");
  follow();
  ASSERT_TRUE(until([this] { return vrfs_.vrf("red") != nullptr; }));
  expectShown(*vrfs_.vrf("red"), "192.0.2.0/24", "boot metric 0 via 10.0.0.2");
  net_.ip("link del red");
  EXPECT_TRUE(until([this] { return vrfs_.vrf("red") == nullptr; }));
}

TEST_F(SilentChanges, AnMplsEncapsulationIsALabelOfTheVia) {
  if (!net_.ipTry("route add 192.0.2.0/24 encap mpls 100/200 via 10.0.0.2")) {
    GTEST_SKIP() << "needs MPLS encapsulation in the kernel (CONFIG_MPLS_IPTUNNEL)";
  }
  follow();
  const FibGen::Fec fec = vrf_->fecs()->fec(route("192.0.2.0/24").fecId());
  ASSERT_EQ(fec.viaCount(), 1U);
  EXPECT_EQ(fec.via()[0].mplsLabelAndAction().label(), 100U);
  EXPECT_EQ(routes_->counters().messages.deepLabelStacks, 1U);
}

}  // namespace
}  // namespace Routing::Host::Testing
