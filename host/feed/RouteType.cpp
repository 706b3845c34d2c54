#include "host/feed/RouteType.h"

#include <array>

namespace Routing::Host {

namespace {

struct Named {
  RouteType type;
  const char* name;
  // Of the protocol with this number. The types beyond the protocols have none of their own.
  std::uint8_t preference;
};

// Of a protocol that is not in the table.
constexpr std::uint8_t unknownPreference = 200;
// Of a routing daemon that puts the routes of all its protocols into the kernel under one number.
constexpr std::uint8_t daemonPreference = 150;

constexpr std::array table{
    Named{RouteType::none, "none", unknownPreference},
    Named{RouteType::redirect, "redirect", 1},
    Named{RouteType::connected, "connected", 0},
    Named{RouteType::boot, "boot", 1},
    Named{RouteType::staticRoute, "static", 1},
    Named{RouteType::gated, "gated", daemonPreference},
    Named{RouteType::routerAdvertisement, "ra", 10},
    Named{RouteType::mrt, "mrt", daemonPreference},
    Named{RouteType::zebra, "zebra", daemonPreference},
    Named{RouteType::bird, "bird", daemonPreference},
    Named{RouteType::dnrouted, "dnrouted", daemonPreference},
    Named{RouteType::xorp, "xorp", daemonPreference},
    Named{RouteType::ntk, "ntk", daemonPreference},
    Named{RouteType::dhcp, "dhcp", 10},
    Named{RouteType::mrouted, "mrouted", daemonPreference},
    Named{RouteType::keepalived, "keepalived", 1},
    Named{RouteType::babel, "babel", 130},
    Named{RouteType::bgp, "bgp", 20},
    Named{RouteType::isis, "isis", 115},
    Named{RouteType::ospf, "ospf", 110},
    Named{RouteType::rip, "rip", 120},
    Named{RouteType::eigrp, "eigrp", 90},
    Named{RouteType::local, "local", unknownPreference},
    Named{RouteType::blackhole, "blackhole", unknownPreference},
    Named{RouteType::unreachable, "unreachable", unknownPreference},
    Named{RouteType::prohibit, "prohibit", unknownPreference},
    Named{RouteType::other, "other", unknownPreference},
};

constexpr const Named* find(RouteType type) noexcept {
  for (const Named& named : table) {
    if (named.type == type) {
      return &named;
    }
  }
  return nullptr;
}

// By protocol number: asked for every route of a dump.
constexpr auto preferences = [] {
  std::array<std::uint8_t, 256> byProtocol{};
  byProtocol.fill(unknownPreference);
  for (const Named& named : table) {
    byProtocol.at(static_cast<std::uint8_t>(named.type)) = named.preference;
  }
  return byProtocol;
}();

}  // namespace

const char* routeTypeName(RouteType type) noexcept {
  const Named* named = find(type);
  return named == nullptr ? "protocol" : named->name;
}

std::uint8_t preferenceOf(std::uint8_t protocol) noexcept { return preferences[protocol]; }

}  // namespace Routing::Host
