#pragma once

// Netlink messages as the kernel lays them out, for what the kernel of a test machine may lack, and
// for orders of events that no command brings about.
//
//   routeMessage("192.0.2.0/24").gateway("10.0.0.2", 1).metric(7).sent(RTM_NEWROUTE)

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/lwtunnel.h>
#include <linux/mpls_iptunnel.h>
#include <linux/netconf.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/Messages.h"
#include "tests/support/Addresses.h"

namespace Routing::Host::Testing {

// One message, header and all. Built in place, in bytes that are large enough for any test.
class MessageBuilder {
 public:
  explicit MessageBuilder(std::uint16_t type, std::uint16_t flags = 0) : bytes_(8192) {
    nlmsghdr* head = mnl_nlmsg_put_header(bytes_.data());
    head->nlmsg_type = type;
    head->nlmsg_flags = flags;
  }

  template <class T>
  void body(const T& value) {
    std::memcpy(mnl_nlmsg_put_extra_header(head(), sizeof value), &value, sizeof value);
  }
  void number(std::uint16_t type, std::uint32_t value) { mnl_attr_put_u32(head(), type, value); }
  void shortNumber(std::uint16_t type, std::uint16_t value) {
    mnl_attr_put_u16(head(), type, value);
  }
  void text(std::uint16_t type, const std::string& value) {
    mnl_attr_put_strz(head(), type, value.c_str());
  }
  void bytes(std::uint16_t type, const void* data, std::size_t size) {
    mnl_attr_put(head(), type, size, data);
  }
  void address(std::uint16_t type, const std::string& value) {
    const IpGenAddr address = Support::addr(value);
    bytes(type, address.bytes().data(), addressBits(address.family()) / 8U);
  }
  // The attributes that `fill` puts are inside this one.
  template <class Fill>
  void nested(std::uint16_t type, Fill fill) {
    nlattr* start = mnl_attr_nest_start(head(), type);
    fill();
    mnl_attr_nest_end(head(), start);
  }
  nlmsghdr* head() { return reinterpret_cast<nlmsghdr*>(bytes_.data()); }

  // The whole message, and what follows its header.
  Bytes whole() { return Bytes(bytes_).first(head()->nlmsg_len); }
  Message message() {
    Bytes bytes = whole();
    return *takeMessage(bytes);
  }

 private:
  std::vector<std::byte> bytes_;
};

struct TestHop {
  std::string gateway;
  int interface = 1;
  std::uint8_t weight = 1;
  std::uint8_t flags = 0;
  // Outermost first.
  std::vector<std::uint32_t> labels{};
};

struct TestRoute {
  std::string prefix;
  std::vector<TestHop> hops{};
  std::uint32_t metric = 0;
  std::uint32_t table = 254;
  std::uint8_t protocol = RTPROT_STATIC;
  std::uint8_t type = RTN_UNICAST;
  std::uint8_t tos = 0;
  std::uint32_t flags = 0;
  std::uint32_t object = 0;
  // A list of hops even for one.
  bool list = false;

  TestRoute with(void (*change)(TestRoute&)) const {
    TestRoute route = *this;
    change(route);
    return route;
  }
};

inline void putHop(MessageBuilder& builder, const TestHop& hop) {
  if (!hop.gateway.empty()) {
    builder.address(RTA_GATEWAY, hop.gateway);
  }
  if (!hop.labels.empty()) {
    builder.nested(RTA_ENCAP, [&] {
      std::vector<std::uint32_t> stack;
      for (const std::uint32_t label : hop.labels) {
        const std::uint32_t last = stack.size() + 1 == hop.labels.size() ? 0x100U : 0U;
        stack.push_back(__builtin_bswap32(label << 12U | last));
      }
      builder.bytes(MPLS_IPTUNNEL_DST, stack.data(), stack.size() * sizeof stack[0]);
    });
    builder.shortNumber(RTA_ENCAP_TYPE, LWTUNNEL_ENCAP_MPLS);
  }
}

inline void putHopList(MessageBuilder& builder, const std::vector<TestHop>& hops) {
  builder.nested(RTA_MULTIPATH, [&] {
    for (const TestHop& hop : hops) {
      auto* entry =
          static_cast<rtnexthop*>(mnl_nlmsg_put_extra_header(builder.head(), sizeof(rtnexthop)));
      entry->rtnh_ifindex = hop.interface;
      entry->rtnh_hops = static_cast<unsigned char>(hop.weight - 1);
      entry->rtnh_flags = hop.flags;
      putHop(builder, hop);
      const auto* end = static_cast<const char*>(mnl_nlmsg_get_payload_tail(builder.head()));
      entry->rtnh_len = static_cast<unsigned short>(end - reinterpret_cast<const char*>(entry));
    }
  });
}

inline MessageBuilder routeMessage(const TestRoute& route,
                                   std::uint16_t type = RTM_NEWROUTE,
                                   std::uint16_t flags = NLM_F_CREATE | NLM_F_EXCL) {
  MessageBuilder builder(type, flags);
  const IpGenPrefix prefix = Support::prefix(route.prefix);
  rtmsg body{};
  body.rtm_family = prefix.family() == AddressFamily::ipv4 ? AF_INET : AF_INET6;
  body.rtm_dst_len = prefix.length();
  body.rtm_tos = route.tos;
  // Larger tables stand in the attribute alone.
  body.rtm_table = static_cast<unsigned char>(route.table < 256 ? route.table : RT_TABLE_COMPAT);
  body.rtm_protocol = route.protocol;
  body.rtm_type = route.type;
  body.rtm_flags = route.flags;
  if (route.hops.size() == 1 && !route.list) {
    body.rtm_flags |= route.hops[0].flags;
  }
  builder.body(body);
  builder.number(RTA_TABLE, route.table);
  if (prefix.length() != 0) {
    builder.address(RTA_DST, prefix.address().stringValue());
  }
  if (route.metric != 0) {
    builder.number(RTA_PRIORITY, route.metric);
  }
  if (route.object != 0) {
    builder.number(RTA_NH_ID, route.object);
  }
  if (route.hops.size() > 1 || route.list) {
    putHopList(builder, route.hops);
  } else if (!route.hops.empty()) {
    putHop(builder, route.hops[0]);
    builder.number(RTA_OIF, static_cast<std::uint32_t>(route.hops[0].interface));
  }
  return builder;
}

inline MessageBuilder linkMessage(int interface,
                                  const std::string& name,
                                  unsigned flags,
                                  std::uint32_t vrfTable = 0,
                                  std::uint16_t type = RTM_NEWLINK) {
  MessageBuilder builder(type);
  ifinfomsg body{};
  body.ifi_index = interface;
  body.ifi_flags = flags;
  builder.body(body);
  builder.text(IFLA_IFNAME, name);
  if (vrfTable != 0) {
    builder.nested(IFLA_LINKINFO, [&] {
      builder.text(IFLA_INFO_KIND, "vrf");
      builder.nested(IFLA_INFO_DATA, [&] { builder.number(IFLA_VRF_TABLE, vrfTable); });
    });
  }
  return builder;
}

inline MessageBuilder addressMessage(int interface,
                                     const std::string& address,
                                     std::uint16_t type = RTM_NEWADDR,
                                     const std::string& peer = {}) {
  MessageBuilder builder(type);
  ifaddrmsg body{};
  body.ifa_family = Support::addr(address).family() == AddressFamily::ipv4 ? AF_INET : AF_INET6;
  body.ifa_prefixlen = 24;
  body.ifa_index = static_cast<std::uint32_t>(interface);
  builder.body(body);
  builder.address(IFA_ADDRESS, peer.empty() ? address : peer);
  builder.address(IFA_LOCAL, address);
  return builder;
}

// Whether routes without a carrier are ignored; the interface or one of NETCONFA_IFINDEX_....
inline MessageBuilder settingMessage(std::int32_t interface,
                                     std::uint16_t setting = NETCONFA_IGNORE_ROUTES_WITH_LINKDOWN) {
  MessageBuilder builder(RTM_NEWNETCONF);
  builder.body(netconfmsg{AF_INET});
  builder.number(NETCONFA_IFINDEX, static_cast<std::uint32_t>(interface));
  builder.number(setting, 1);
  return builder;
}

inline MessageBuilder nexthopMessage(std::uint32_t object,
                                     const std::string& gateway,
                                     std::uint32_t interface,
                                     std::uint16_t type = RTM_NEWNEXTHOP) {
  MessageBuilder builder(type);
  nhmsg body{};
  body.nh_family = AF_INET;
  builder.body(body);
  builder.number(NHA_ID, object);
  builder.number(NHA_OIF, interface);
  builder.address(NHA_GATEWAY, gateway);
  return builder;
}

inline MessageBuilder blackholeMessage(std::uint32_t object) {
  MessageBuilder builder(RTM_NEWNEXTHOP);
  builder.body(nhmsg{});
  builder.number(NHA_ID, object);
  builder.bytes(NHA_BLACKHOLE, nullptr, 0);
  return builder;
}

// Members and their weights.
inline MessageBuilder groupMessage(std::uint32_t object,
                                   const std::vector<std::pair<std::uint32_t, unsigned>>& members) {
  MessageBuilder builder(RTM_NEWNEXTHOP);
  builder.body(nhmsg{});
  builder.number(NHA_ID, object);
  std::vector<nexthop_grp> entries;
  for (const auto& [member, weight] : members) {
    nexthop_grp entry{};
    entry.id = member;
    entry.weight = static_cast<std::uint8_t>((weight - 1) & 0xffU);
    entry.resvd1 = static_cast<std::uint8_t>((weight - 1) >> 8U);
    entries.push_back(entry);
  }
  builder.bytes(NHA_GROUP, entries.data(), entries.size() * sizeof entries[0]);
  return builder;
}

}  // namespace Routing::Host::Testing
