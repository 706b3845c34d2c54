#pragma once

// What the kernel's routing messages say, as values. Pure functions from bytes to values: nothing
// is remembered, and no lengths in the message are believed before they are checked.
//
// A message is a value, or is passed over (it says nothing about forwarding that is tracked here),
// or is damaged (its lengths do not fit; the sender is the kernel, so something was lost on the
// way and whoever reads has to ask again).
//
//   route      RTM_NEWROUTE, RTM_DELROUTE     passed over: cloned and cached routes, routes for one
//              TOS or source only, broadcast and multicast, those that lead nowhere known, families
//                                             other than IPv4 and IPv6
//   nexthop    RTM_NEWNEXTHOP, RTM_DELNEXTHOP passed over: forwarding database entries of bridges
//   link       RTM_NEWLINK, RTM_DELLINK       passed over: what bridges say of their ports
//   address    RTM_NEWADDR, RTM_DELADDR       passed over: other than IPv4 and IPv6
//   setting    RTM_NEWNETCONF, RTM_DELNETCONF passed over: all but ignore_routes_with_linkdown
//
// Anycast addresses are local ones here. A route of type throw ends the search in its table, which
// is what an unreachable one does for who sees one table, so it is one.

#include <linux/netlink.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/feed/Hop.h"
#include "host/feed/RouteType.h"
#include "host/kernel/Attributes.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Host {

enum class Parsed : std::uint8_t { value, passedOver, damaged };

// A message that the kernel sent, behind its header.
struct Message {
  std::uint16_t type = 0;
  // NLM_F_...
  std::uint16_t flags = 0;
  // Of the request that it answers, or that made the change that it tells of.
  std::uint32_t sequence = 0;
  std::uint32_t port = 0;
  Bytes body;
};

struct RouteMessage {
  IpGenPrefix prefix;
  std::uint32_t table = 0;
  std::uint32_t metric = 0;
  std::uint8_t protocol = 0;
  RouteType type = RouteType::none;
  // The kernel's nexthop object, or 0. The hops are told beside it by some kernels.
  std::uint32_t object = 0;
  // The link of a local route, which has no hops: one address may be on several.
  std::uint32_t interface = 0;
  // The hops came as a list, which is all of them.
  bool multipath = false;
  Hops hops;
  // The address that the kernel uses as source; unset when the route names none.
  IpGenAddr preferredSource;
  // Hops with more than one label, of which the outermost is kept.
  std::uint32_t deepLabelStacks = 0;
};

struct NexthopMessage {
  struct Member {
    std::uint32_t object = 0;
    std::uint32_t weight = 1;
  };
  std::uint32_t object = 0;
  bool blackhole = false;
  // Of a group; no hop then.
  std::vector<Member> group;
  Hop hop;
  std::uint32_t deepLabelStacks = 0;
};

struct LinkMessage {
  std::uint32_t interface = 0;
  std::string name;
  // The interface is administratively up.
  bool up = false;
  // It has a carrier as well.
  bool running = false;
  // The table, if it is a VRF device; 0 otherwise.
  std::uint32_t vrfTable = 0;
};

struct AddressMessage {
  std::uint32_t interface = 0;
  IpGenAddr address;
  // Of its network: an interface may have an address in several, and with several peers.
  std::uint8_t length = 0;
  // The other end's on a point-to-point link, or the address itself.
  IpGenAddr peer;

  friend bool operator==(const AddressMessage&, const AddressMessage&) noexcept = default;
};

// Whether the kernel uses routes on an interface without a carrier is another thing now.
struct SettingMessage {
  // 0: of all interfaces.
  std::uint32_t interface = 0;
};

// They fill in the whole value, whatever it was before; it is unspecified unless Parsed::value.
Parsed parseRoute(Bytes body, RouteMessage& route);
Parsed parseNexthop(Bytes body, NexthopMessage& nexthop);
Parsed parseLink(Bytes body, LinkMessage& link);
Parsed parseAddress(Bytes body, AddressMessage& address);
Parsed parseSetting(Bytes body, SettingMessage& setting);

// Takes the first message off the bytes. Nothing when there is none, or what is there is damaged:
// then bytes are left.
std::optional<Message> takeMessage(Bytes& bytes) noexcept;

}  // namespace Routing::Host
