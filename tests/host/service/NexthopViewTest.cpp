// How a status entry, a policy and the condition of the VRF become what a client is told.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/feed/RouteType.h"
#include "host/service/NexthopView.h"

namespace Routing::Host {
namespace {

NexthopStatusEntry resolvedOver(const char* prefix, RouteType type) {
  NexthopStatusEntry entry;
  entry.addr = *IpGenAddr::parse("10.1.2.3");
  entry.prefix = *IpGenPrefix::parse(prefix);
  entry.fecId = 12;
  entry.metric = 20;
  entry.preference = 1;
  entry.routeType = static_cast<std::uint8_t>(type);
  entry.resolutionState = NexthopResolutionState::resolved;
  return entry;
}

NexthopStatusEntry failedEntry() {
  NexthopStatusEntry entry;
  entry.addr = *IpGenAddr::parse("10.1.2.3");
  entry.resolutionState = NexthopResolutionState::failed;
  return entry;
}

struct Row {
  const char* name;
  std::optional<NexthopStatusEntry> entry;
  Policy policy;
  VrfCondition vrf;
  NexthopState state;
  NexthopReason reason;
};

Policy policyOf(std::uint8_t length, bool noDefault, bool connected, bool noBlackhole) {
  return {length, noDefault, connected, noBlackhole};
}

const VrfCondition ready;
const VrfCondition gone{false, true, false, false};
const VrfCondition resync{true, false, true, true};
const VrfCondition routing4Off{true, true, false, true};
const VrfCondition routing6Off{true, true, true, false};
const NexthopStatusEntry host = resolvedOver("10.1.2.3/32", RouteType::bgp);
const NexthopStatusEntry byDefault = resolvedOver("0.0.0.0/0", RouteType::bgp);

const std::vector<Row> rows{
    {"NoEntryYet", {}, {}, ready, NexthopState::unknown, NexthopReason::pending},
    {"NoEntryWhileReading", {}, {}, resync, NexthopState::unknown, NexthopReason::resyncing},
    {"VrfGone", host, {}, gone, NexthopState::unknown, NexthopReason::vrfGone},
    {"NoRoute", failedEntry(), {}, ready, NexthopState::failed, NexthopReason::noRoute},
    {"NoRouteYet", failedEntry(), {}, resync, NexthopState::failed, NexthopReason::resyncing},
    {"RoutingOff", failedEntry(), {}, routing4Off, NexthopState::failed, NexthopReason::routingOff},
    {"OtherFamilyOff",
     failedEntry(),
     {},
     routing6Off,
     NexthopState::failed,
     NexthopReason::noRoute},
    {"Resolved", host, {}, ready, NexthopState::resolved, NexthopReason::none},
    {"ResolvedWhileReading", host, {}, resync, NexthopState::resolved, NexthopReason::none},
    {"DefaultRouteWillDo", byDefault, {}, ready, NexthopState::resolved, NexthopReason::none},
    {"DefaultRouteRefused",
     byDefault,
     policyOf(0, true, false, false),
     ready,
     NexthopState::failed,
     NexthopReason::defaultRouteOnly},
    {"PrefixTooShort",
     resolvedOver("10.1.0.0/16", RouteType::bgp),
     policyOf(17, false, false, false),
     ready,
     NexthopState::failed,
     NexthopReason::prefixTooShort},
    {"PrefixJustLongEnough",
     resolvedOver("10.1.0.0/16", RouteType::bgp),
     policyOf(16, true, false, false),
     ready,
     NexthopState::resolved,
     NexthopReason::none},
    {"NotConnected",
     host,
     policyOf(0, false, true, false),
     ready,
     NexthopState::failed,
     NexthopReason::notConnected},
    {"Connected",
     resolvedOver("10.1.2.0/24", RouteType::connected),
     policyOf(0, false, true, true),
     ready,
     NexthopState::resolved,
     NexthopReason::none},
    {"Blackhole",
     resolvedOver("10.1.0.0/16", RouteType::unreachable),
     policyOf(0, false, true, true),
     ready,
     NexthopState::failed,
     NexthopReason::blackhole},
    {"BlackholeWillDo",
     resolvedOver("10.1.0.0/16", RouteType::blackhole),
     {},
     ready,
     NexthopState::resolved,
     NexthopReason::none},
};

class Judgement : public ::testing::TestWithParam<Row> {};

TEST_P(Judgement, FollowsTheFirstRuleThatApplies) {
  const Row& row = GetParam();
  const NexthopView view =
      judge(row.entry ? &*row.entry : nullptr, AddressFamily::ipv4, row.policy, row.vrf);
  EXPECT_STREQ(nexthopStateName(view.state), nexthopStateName(row.state));
  EXPECT_STREQ(nexthopReasonName(view.reason), nexthopReasonName(row.reason));
}

INSTANTIATE_TEST_SUITE_P(Rows, Judgement, ::testing::ValuesIn(rows), [](const auto& row) {
  return std::string(row.param.name);
});

TEST(NexthopView, ARefusedRouteIsShownWithoutItsIdentifier) {
  const NexthopView view =
      judge(&byDefault, AddressFamily::ipv4, policyOf(0, true, false, false), ready);
  EXPECT_EQ(view.identifier, 0U);
  EXPECT_EQ(view.prefix, byDefault.prefix);
  EXPECT_EQ(view.metric, 20U);
}

TEST(NexthopView, TheRouteTypeIsThatOfTheNexthopsFamily) {
  NexthopStatusEntry entry = host;
  entry.routeType = 0;
  entry.route6Type = static_cast<std::uint8_t>(RouteType::bgp);
  const NexthopView view = judge(&entry, AddressFamily::ipv6, {}, ready);
  EXPECT_EQ(view.routeType, static_cast<std::uint8_t>(RouteType::bgp));
}

}  // namespace
}  // namespace Routing::Host
