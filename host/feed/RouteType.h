#pragma once

// What kind of route resolves a nexthop: the value of Fib::Route::routeType, which comes back in
// NexthopStatusEntry::routeType and route6Type.
//
// An ordinary route's type is the number of the protocol that put it into the kernel, as the kernel
// and rt_protos know it; a number that has no name here is kept all the same. Types that say more
// than the protocol stand where the kernel assigns no protocols:
//
//   none          0          no route (a failed entry)
//   connected     2          the kernel's own route to a link: the address is on it
//   local         251        an address of this machine, or one that it delivers to itself
//   blackhole     252        packets vanish
//   unreachable   253        packets are refused: host unreachable
//   prohibit      254        packets are refused: administratively prohibited
//   other         255        an ordinary route whose protocol is 0 or beyond 250, or one of
//   protocol
//                            "kernel" through a gateway
//
// The preference of a route follows from its protocol alone (preferenceOf): the smaller, the more
// it is trusted. docs/kernel-routes.md shows both tables.

#include <cstdint>

namespace Routing::Host {

enum class RouteType : std::uint8_t {
  none = 0,
  redirect = 1,
  connected = 2,
  boot = 3,
  staticRoute = 4,
  gated = 8,
  routerAdvertisement = 9,
  mrt = 10,
  zebra = 11,
  bird = 12,
  dnrouted = 13,
  xorp = 14,
  ntk = 15,
  dhcp = 16,
  mrouted = 17,
  keepalived = 18,
  babel = 42,
  bgp = 186,
  isis = 187,
  ospf = 188,
  rip = 189,
  eigrp = 192,
  local = 251,
  blackhole = 252,
  unreachable = 253,
  prohibit = 254,
  other = 255,
};

// The type of an ordinary route that leads somewhere, connected ones apart.
constexpr RouteType routeTypeOfProtocol(std::uint8_t protocol) noexcept {
  constexpr std::uint8_t kernel = 2;
  constexpr std::uint8_t last = 250;
  return protocol == 0 || protocol == kernel || protocol > last ? RouteType::other
                                                                : static_cast<RouteType>(protocol);
}

// The name in lower case; "protocol" for a number without one.
const char* routeTypeName(RouteType type) noexcept;

// The preference (administrative distance) of routes of a kernel protocol.
std::uint8_t preferenceOf(std::uint8_t protocol) noexcept;

// The address is on a link of this machine, or is the machine's own.
constexpr bool isConnected(RouteType type) noexcept {
  return type == RouteType::connected || type == RouteType::local;
}

// The route says that its packets go nowhere.
constexpr bool isBlackhole(RouteType type) noexcept {
  return type == RouteType::blackhole || type == RouteType::unreachable ||
         type == RouteType::prohibit;
}

}  // namespace Routing::Host
