#include "host/service/NexthopView.h"

#include <array>

#include "host/feed/RouteType.h"

namespace Routing::Host {

const char* nexthopStateName(NexthopState state) noexcept {
  static constexpr std::array<const char*, nexthopStates> names{"unknown",
                                                                "failed",
                                                                "resolved",
                                                                "removed"};
  return names[static_cast<std::size_t>(state)];
}

const char* nexthopReasonName(NexthopReason reason) noexcept {
  static constexpr std::array<const char*, nexthopReasons> names{"none",
                                                                 "no-route",
                                                                 "routing-off",
                                                                 "default-route-only",
                                                                 "prefix-too-short",
                                                                 "not-connected",
                                                                 "blackhole",
                                                                 "pending",
                                                                 "resyncing",
                                                                 "vrf-gone"};
  return names[static_cast<std::size_t>(reason)];
}

NexthopReason refusal(const Policy& policy,
                      const IpGenPrefix& prefix,
                      std::uint8_t routeType) noexcept {
  if (policy.refuseDefaultRoute && prefix.length() == 0) {
    return NexthopReason::defaultRouteOnly;
  }
  if (prefix.length() < policy.minimumPrefixLength) {
    return NexthopReason::prefixTooShort;
  }
  const auto type = static_cast<RouteType>(routeType);
  if (policy.refuseBlackhole && isBlackhole(type)) {
    return NexthopReason::blackhole;
  }
  if (policy.connectedOnly && !isConnected(type)) {
    return NexthopReason::notConnected;
  }
  return NexthopReason::none;
}

namespace {

NexthopView viewOf(NexthopState state, NexthopReason reason) noexcept {
  NexthopView view;
  view.state = state;
  view.reason = reason;
  return view;
}

}  // namespace

NexthopView judge(const NexthopStatusEntry* entry,
                  AddressFamily family,
                  const Policy& policy,
                  const VrfCondition& vrf) noexcept {
  if (!vrf.present) {
    return viewOf(NexthopState::unknown, NexthopReason::vrfGone);
  }
  if (entry == nullptr || entry->resolutionState == NexthopResolutionState::unknown) {
    return viewOf(NexthopState::unknown,
                  vrf.synced ? NexthopReason::pending : NexthopReason::resyncing);
  }
  if (entry->resolutionState == NexthopResolutionState::failed) {
    const bool routing = family == AddressFamily::ipv4 ? vrf.routing4 : vrf.routing6;
    if (!routing) {
      return viewOf(NexthopState::failed, NexthopReason::routingOff);
    }
    return viewOf(NexthopState::failed,
                  vrf.synced ? NexthopReason::noRoute : NexthopReason::resyncing);
  }
  NexthopView view;
  view.prefix = entry->prefix;
  view.metric = entry->metric;
  view.preference = entry->preference;
  view.routeType = family == AddressFamily::ipv4 ? entry->routeType : entry->route6Type;
  view.reason = refusal(policy, view.prefix, view.routeType);
  view.state = view.reason == NexthopReason::none ? NexthopState::resolved : NexthopState::failed;
  view.identifier = view.state == NexthopState::resolved ? entry->fecId : 0;
  return view;
}

}  // namespace Routing::Host
