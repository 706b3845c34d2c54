#include "host/kernel/Messages.h"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/lwtunnel.h>
#include <linux/mpls.h>
#include <linux/mpls_iptunnel.h>
#include <linux/netconf.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <utility>

namespace Routing::Host {

namespace {

constexpr AddressFamily familyOf(std::uint8_t kernelFamily) noexcept {
  switch (kernelFamily) {
    case AF_INET:
      return AddressFamily::ipv4;
    case AF_INET6:
      return AddressFamily::ipv6;
    default:
      return AddressFamily::unset;
  }
}

bool take(const Attribute& attribute, std::uint32_t& value) noexcept {
  const auto read = attribute.as<std::uint32_t>();
  value = read.value_or(0);
  return read.has_value();
}

bool take(AddressFamily family, const Attribute& attribute, IpGenAddr& address) noexcept {
  const auto read = addressOf(family, attribute.value);
  address = read.value_or(IpGenAddr{});
  return read.has_value();
}

// RTA_VIA: a gateway of another family than the route's.
bool takeVia(const Attribute& attribute, IpGenAddr& address) noexcept {
  const auto kernelFamily = headOf<std::uint16_t>(attribute.value);
  if (!kernelFamily) {
    return false;
  }
  const AddressFamily family = familyOf(static_cast<std::uint8_t>(*kernelFamily));
  const auto read = addressOf(family, attribute.value.subspan(sizeof *kernelFamily));
  address = read.value_or(IpGenAddr{});
  return family != AddressFamily::unset && read.has_value();
}

// The label stack of an MPLS encapsulation, outermost first, each label in the upper 20 bits.
bool takeLabels(Bytes encapsulation, FibGen::Via& via, std::uint32_t& deepLabelStacks) {
  return forEachAttribute(encapsulation, [&](const Attribute& attribute) {
    if (attribute.type != MPLS_IPTUNNEL_DST) {
      return true;
    }
    const auto outermost = headOf<std::uint32_t>(attribute.value);
    if (!outermost || attribute.value.size() % sizeof *outermost != 0) {
      return false;
    }
    via.labelAndAction.labelIs(ntohl(*outermost) >> MPLS_LS_LABEL_SHIFT);
    via.labelAndAction.actionIs(labelPush);
    deepLabelStacks += attribute.value.size() > sizeof *outermost ? 1U : 0U;
    return true;
  });
}

// What a hop is told with, in a route, in one entry of a list of hops and in a nexthop object.
struct HopReader {
  AddressFamily family;
  Hop hop{};
  std::uint32_t deepLabelStacks = 0;
  std::uint16_t encapsulationType = 0;
  Bytes encapsulation{};

  bool takeRouteAttribute(const Attribute& attribute) {
    switch (attribute.type) {
      case RTA_GATEWAY:
        return take(family, attribute, hop.via.hop);
      case RTA_VIA:
        return takeVia(attribute, hop.via.hop);
      case RTA_OIF:
        return take(attribute, hop.via.intfId.value);
      case RTA_ENCAP_TYPE:
        encapsulationType = attribute.as<std::uint16_t>().value_or(0);
        return true;
      case RTA_ENCAP:
        encapsulation = attribute.value;
        return true;
      default:
        return true;
    }
  }
  // The type of the encapsulation may come behind it.
  bool finish() {
    return encapsulationType != LWTUNNEL_ENCAP_MPLS ||
           takeLabels(encapsulation, hop.via, deepLabelStacks);
  }
};

bool takeHopList(AddressFamily family, Bytes bytes, RouteMessage& route) {
  while (bytes.size() >= sizeof(rtnexthop)) {
    const auto head = *headOf<rtnexthop>(bytes);
    if (head.rtnh_len < sizeof head || head.rtnh_len > bytes.size()) {
      return false;
    }
    HopReader reader{family};
    if (!forEachAttribute(
            tailOf<rtnexthop>(bytes.first(head.rtnh_len)),
            [&](const Attribute& attribute) { return reader.takeRouteAttribute(attribute); }) ||
        !reader.finish()) {
      return false;
    }
    reader.hop.via.intfId.value = static_cast<std::uint32_t>(head.rtnh_ifindex);
    reader.hop.via.weight = std::uint32_t{head.rtnh_hops} + 1;
    reader.hop.dead = (head.rtnh_flags & RTNH_F_DEAD) != 0;
    route.hops.push_back(reader.hop);
    route.deepLabelStacks += reader.deepLabelStacks;
    const std::size_t step = NLMSG_ALIGN(std::size_t{head.rtnh_len});
    bytes = bytes.subspan(std::min(step, bytes.size()));
  }
  return bytes.empty();
}

// The type of a route of this kernel type; none when it is passed over.
constexpr RouteType refusalOf(std::uint8_t kernelType) noexcept {
  switch (kernelType) {
    case RTN_LOCAL:
    case RTN_ANYCAST:
      return RouteType::local;
    case RTN_BLACKHOLE:
      return RouteType::blackhole;
    case RTN_UNREACHABLE:
    case RTN_THROW:
      return RouteType::unreachable;
    case RTN_PROHIBIT:
      return RouteType::prohibit;
    default:
      return RouteType::none;
  }
}

// A route to a link: of the kernel's own, or announced by a router of that link, without a gateway.
RouteType unicastType(const RouteMessage& route) noexcept {
  const bool onLink = std::all_of(route.hops.begin(), route.hops.end(), [](const Hop& hop) {
    return !hop.via.hop && hop.via.labelAndAction == MplsLabelAndAction();
  });
  if (onLink && route.object == 0 &&
      (route.protocol == RTPROT_KERNEL || route.protocol == RTPROT_RA)) {
    return RouteType::connected;
  }
  return routeTypeOfProtocol(route.protocol);
}

void clear(RouteMessage& route) noexcept {
  Hops hops = std::move(route.hops);
  hops.clear();
  route = RouteMessage{};
  route.hops = std::move(hops);
}

// What the attributes of a route say, besides what a hop's do.
struct RouteReader {
  RouteMessage& route;
  HopReader hop;
  IpGenAddr destination{};

  bool takeAttribute(const Attribute& attribute) {
    switch (attribute.type) {
      case RTA_DST:
        return take(hop.family, attribute, destination);
      case RTA_PRIORITY:
        return take(attribute, route.metric);
      case RTA_TABLE:
        return take(attribute, route.table);
      case RTA_NH_ID:
        return take(attribute, route.object);
      case RTA_PREFSRC:
        return take(hop.family, attribute, route.preferredSource);
      case RTA_MULTIPATH:
        route.multipath = true;
        return takeHopList(hop.family, attribute.value, route);
      default:
        return hop.takeRouteAttribute(attribute);
    }
  }
};

IpGenAddr anyAddress(AddressFamily family) noexcept {
  return family == AddressFamily::ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{});
}

// The hop of a route that does not list its hops.
void takeSingleHop(const rtmsg& head, const HopReader& reader, RouteMessage& route) {
  route.deepLabelStacks += reader.deepLabelStacks;
  if (!route.multipath && (reader.hop.via.intfId.value != 0 || reader.hop.via.hop)) {
    route.hops.push_back(reader.hop);
    route.hops.back().dead = (head.rtm_flags & RTNH_F_DEAD) != 0;
  }
}

bool isTracked(const rtmsg& head, AddressFamily family) noexcept {
  return family != AddressFamily::unset && (head.rtm_flags & RTM_F_CLONED) == 0 &&
         head.rtm_tos == 0 && head.rtm_src_len == 0 &&
         (head.rtm_type == RTN_UNICAST || refusalOf(head.rtm_type) != RouteType::none);
}

}  // namespace

std::optional<Message> takeMessage(Bytes& bytes) noexcept {
  const auto head = headOf<nlmsghdr>(bytes);
  if (!head || head->nlmsg_len < sizeof *head || head->nlmsg_len > bytes.size()) {
    return std::nullopt;
  }
  const Message message{head->nlmsg_type,
                        head->nlmsg_flags,
                        head->nlmsg_seq,
                        head->nlmsg_pid,
                        bytes.subspan(sizeof *head, head->nlmsg_len - sizeof *head)};
  const std::size_t step = NLMSG_ALIGN(std::size_t{head->nlmsg_len});
  bytes = bytes.subspan(std::min(step, bytes.size()));
  return message;
}

Parsed parseRoute(Bytes body, RouteMessage& route) {
  const auto head = headOf<rtmsg>(body);
  if (!head) {
    return Parsed::damaged;
  }
  const AddressFamily family = familyOf(head->rtm_family);
  if (!isTracked(*head, family)) {
    return Parsed::passedOver;
  }
  clear(route);
  route.table = head->rtm_table;
  route.protocol = head->rtm_protocol;
  RouteReader reader{route, HopReader{family}, anyAddress(family)};
  if (head->rtm_dst_len > addressBits(family) ||
      !forEachAttribute(
          tailOf<rtmsg>(body),
          [&](const Attribute& attribute) { return reader.takeAttribute(attribute); }) ||
      !reader.hop.finish()) {
    return Parsed::damaged;
  }
  route.prefix = IpGenPrefix(reader.destination, head->rtm_dst_len);
  route.type = refusalOf(head->rtm_type);
  if (route.type != RouteType::none) {
    if (route.type == RouteType::local) {
      route.interface = reader.hop.hop.via.intfId.value;
    }
    route.hops.clear();
    route.object = 0;
    return Parsed::value;
  }
  takeSingleHop(*head, reader.hop, route);
  if (route.hops.empty() && route.object == 0) {
    return Parsed::passedOver;
  }
  route.type = unicastType(route);
  return Parsed::value;
}

namespace {

bool takeGroup(Bytes bytes, std::vector<NexthopMessage::Member>& group) {
  if (bytes.size() % sizeof(nexthop_grp) != 0) {
    return false;
  }
  while (const auto entry = headOf<nexthop_grp>(bytes)) {
    // The second byte of the weight is where older headers have a reserved one.
    const std::uint32_t weight = std::uint32_t{entry->resvd1} << 8U | entry->weight;
    group.push_back({entry->id, weight + 1});
    bytes = bytes.subspan(sizeof *entry);
  }
  return true;
}

struct NexthopReader {
  NexthopMessage& nexthop;
  HopReader hop;
  bool bridges = false;

  bool takeAttribute(const Attribute& attribute) {
    switch (attribute.type) {
      case NHA_ID:
        return take(attribute, nexthop.object);
      case NHA_GROUP:
        return takeGroup(attribute.value, nexthop.group);
      case NHA_BLACKHOLE:
        nexthop.blackhole = true;
        return true;
      case NHA_OIF:
        return take(attribute, hop.hop.via.intfId.value);
      case NHA_GATEWAY:
        return take(hop.family, attribute, hop.hop.via.hop);
      case NHA_ENCAP_TYPE:
        hop.encapsulationType = attribute.as<std::uint16_t>().value_or(0);
        return true;
      case NHA_ENCAP:
        hop.encapsulation = attribute.value;
        return true;
      case NHA_FDB:
        bridges = true;
        return true;
      default:
        return true;
    }
  }
};

// The table of a VRF device among what a link says of its kind.
bool takeVrf(Bytes information, std::uint32_t& table) {
  bool isVrf = false;
  Bytes data;
  const bool whole = forEachAttribute(information, [&](const Attribute& attribute) {
    if (attribute.type == IFLA_INFO_KIND) {
      isVrf = attribute.text() == "vrf";
    } else if (attribute.type == IFLA_INFO_DATA) {
      data = attribute.value;
    }
    return true;
  });
  return whole && (!isVrf || forEachAttribute(data, [&table](const Attribute& attribute) {
           return attribute.type != IFLA_VRF_TABLE || take(attribute, table);
         }));
}

}  // namespace

Parsed parseNexthop(Bytes body, NexthopMessage& nexthop) {
  const auto head = headOf<nhmsg>(body);
  if (!head) {
    return Parsed::damaged;
  }
  nexthop = NexthopMessage{};
  NexthopReader reader{nexthop, HopReader{familyOf(head->nh_family)}};
  if (!forEachAttribute(
          tailOf<nhmsg>(body),
          [&](const Attribute& attribute) { return reader.takeAttribute(attribute); }) ||
      !reader.hop.finish() || nexthop.object == 0) {
    return Parsed::damaged;
  }
  nexthop.hop = reader.hop.hop;
  nexthop.hop.dead = (head->nh_flags & RTNH_F_DEAD) != 0;
  nexthop.deepLabelStacks = reader.hop.deepLabelStacks;
  return reader.bridges ? Parsed::passedOver : Parsed::value;
}

Parsed parseLink(Bytes body, LinkMessage& link) {
  const auto head = headOf<ifinfomsg>(body);
  if (!head || head->ifi_index <= 0) {
    return Parsed::damaged;
  }
  if (head->ifi_family != AF_UNSPEC) {
    return Parsed::passedOver;
  }
  link = LinkMessage{};
  link.interface = static_cast<std::uint32_t>(head->ifi_index);
  link.up = (head->ifi_flags & IFF_UP) != 0;
  link.running = (head->ifi_flags & (IFF_RUNNING | IFF_LOWER_UP)) != 0;
  const bool whole = forEachAttribute(tailOf<ifinfomsg>(body), [&link](const Attribute& attribute) {
    if (attribute.type == IFLA_IFNAME) {
      link.name = attribute.text();
    } else if (attribute.type == IFLA_LINKINFO) {
      return takeVrf(attribute.value, link.vrfTable);
    }
    return true;
  });
  return whole ? Parsed::value : Parsed::damaged;
}

Parsed parseAddress(Bytes body, AddressMessage& address) {
  const auto head = headOf<ifaddrmsg>(body);
  if (!head) {
    return Parsed::damaged;
  }
  const AddressFamily family = familyOf(head->ifa_family);
  if (family == AddressFamily::unset) {
    return Parsed::passedOver;
  }
  address = AddressMessage{head->ifa_index, {}, head->ifa_prefixlen, {}};
  const bool whole = forEachAttribute(tailOf<ifaddrmsg>(body), [&](const Attribute& attribute) {
    switch (attribute.type) {
      case IFA_LOCAL:
        return take(family, attribute, address.address);
      case IFA_ADDRESS:
        return take(family, attribute, address.peer);
      default:
        return true;
    }
  });
  // An IPv6 address without a peer is named once.
  if (!address.address) {
    address.address = address.peer;
  }
  return whole && address.address ? Parsed::value : Parsed::damaged;
}

Parsed parseSetting(Bytes body, SettingMessage& setting) {
  if (!headOf<netconfmsg>(body)) {
    return Parsed::damaged;
  }
  setting = SettingMessage{};
  std::optional<std::int32_t> interface;
  bool tells = false;
  const bool whole = forEachAttribute(tailOf<netconfmsg>(body), [&](const Attribute& attribute) {
    if (attribute.type == NETCONFA_IFINDEX) {
      interface = attribute.as<std::int32_t>();
      return interface.has_value();
    }
    tells = tells || attribute.type == NETCONFA_IGNORE_ROUTES_WITH_LINKDOWN;
    return true;
  });
  if (!whole || !interface) {
    return Parsed::damaged;
  }
  // What interfaces to come begin with is no setting of any that is there.
  if (!tells || *interface == NETCONFA_IFINDEX_DEFAULT) {
    return Parsed::passedOver;
  }
  setting.interface = *interface > 0 ? static_cast<std::uint32_t>(*interface) : 0;
  return Parsed::value;
}

}  // namespace Routing::Host
