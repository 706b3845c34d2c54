#pragma once

// What a client is told of a nexthop: the library's status entry, judged by the policy of the
// registration and by what the daemon knows beside it.
//
// The library says resolved or failed. Why something failed, and whether a route is good enough for
// this client, is said here and nowhere else. In order, the first that applies:
//
//   the VRF is not there                                     unknown, vrfGone
//   there is no entry, the kernel's table is being read      unknown, resyncing
//   there is no entry                                        unknown, pending
//   the entry is failed, routing is off for the family       failed, routingOff
//   the entry is failed, the kernel's table is being read    failed, resyncing
//   the entry is failed                                      failed, noRoute
//   the policy refuses the route                             failed, the policy's reason
//   otherwise                                                resolved
//
// A refused route is shown all the same, without its identifier.

#include <cstddef>
#include <cstdint>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopStatus.h"

namespace Routing::Host {

// The numbers of both enumerations are those of the service's messages.
enum class NexthopState : std::uint8_t { unknown = 0, failed = 1, resolved = 2, removed = 3 };
inline constexpr std::size_t nexthopStates = 4;

enum class NexthopReason : std::uint8_t {
  none = 0,
  noRoute = 1,
  routingOff = 2,
  defaultRouteOnly = 3,
  prefixTooShort = 4,
  notConnected = 5,
  blackhole = 6,
  pending = 7,
  resyncing = 8,
  vrfGone = 9,
};
inline constexpr std::size_t nexthopReasons = 10;

// Words for people and metrics: "resolved", "no-route".
const char* nexthopStateName(NexthopState state) noexcept;
const char* nexthopReasonName(NexthopReason reason) noexcept;

// When the covering route counts as none. The default takes every route.
struct Policy {
  std::uint8_t minimumPrefixLength = 0;
  bool refuseDefaultRoute = false;
  bool connectedOnly = false;
  bool refuseBlackhole = false;

  friend constexpr bool operator==(const Policy&, const Policy&) noexcept = default;
};

// Why the policy refuses a route, or none.
NexthopReason refusal(const Policy& policy,
                      const IpGenPrefix& prefix,
                      std::uint8_t routeType) noexcept;

// What the daemon knows of a VRF when it judges.
struct VrfCondition {
  bool present = true;
  // The kernel's tables have been read whole, the VRF's among them.
  bool synced = true;
  bool routing4 = true;
  bool routing6 = true;
};

struct NexthopView {
  // 0 unless resolved.
  std::uint64_t identifier = 0;
  // The covering route: of what is resolved or refused.
  IpGenPrefix prefix;
  std::uint32_t metric = 0;
  std::uint8_t preference = 0;
  std::uint8_t routeType = 0;
  NexthopState state = NexthopState::unknown;
  NexthopReason reason = NexthopReason::pending;

  friend constexpr bool operator==(const NexthopView&, const NexthopView&) noexcept = default;
};

// The entry is null when there is none.
NexthopView judge(const NexthopStatusEntry* entry,
                  AddressFamily family,
                  const Policy& policy,
                  const VrfCondition& vrf) noexcept;

}  // namespace Routing::Host
