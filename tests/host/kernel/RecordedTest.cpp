// Messages that a kernel sent (recorded.txt), whole and cut off.

#include <fstream>
#include <random>
#include <set>

#include "host/kernel/Messages.h"
#include "tests/host/kernel/StateFixture.h"
#include "tests/support/Seed.h"

namespace Routing::Host::Testing {
namespace {

struct Recorded {
  // What was done; the first word of the message's line.
  std::string command;
  std::string kind;
  std::vector<std::byte> bytes;

  Message message() const {
    Bytes whole(bytes);
    const auto taken = takeMessage(whole);
    EXPECT_TRUE(taken && whole.empty()) << command;
    return taken.value_or(Message{});
  }
};

std::vector<std::byte> bytesOf(const std::string& hexadecimal) {
  std::vector<std::byte> bytes;
  for (std::size_t index = 0; index + 1 < hexadecimal.size(); index += 2) {
    bytes.push_back(static_cast<std::byte>(std::stoi(hexadecimal.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

std::vector<Recorded> recorded() {
  std::ifstream file("tests/host/kernel/recorded.txt");
  std::vector<Recorded> all;
  std::string command;
  for (std::string line; std::getline(file, line);) {
    const std::size_t space = line.find(' ');
    if (line.rfind("# ip ", 0) == 0) {
      command = line.substr(5);
    } else if (!line.empty() && line[0] != '#') {
      all.push_back({command, line.substr(0, space), bytesOf(line.substr(space + 1))});
    }
  }
  return all;
}

std::string text(const Hop& hop) {
  std::string text = hop.via.hop ? hop.via.hop.stringValue() : std::string("link");
  text += "@" + std::to_string(hop.via.intfId.value);
  text += hop.via.weight == 1 ? "" : "*" + std::to_string(hop.via.weight);
  return text + (hop.dead ? " dead" : "");
}

std::string text(const RouteMessage& route) {
  std::string text = route.prefix.stringValue() + " table " + std::to_string(route.table) + " " +
                     routeTypeName(route.type) + " metric " + std::to_string(route.metric);
  text += route.object == 0 ? "" : " object " + std::to_string(route.object);
  text += route.interface == 0 ? "" : " of " + std::to_string(route.interface);
  text += route.preferredSource ? " src " + route.preferredSource.stringValue() : "";
  for (const Hop& hop : route.hops) {
    text += " " + Testing::text(hop);
  }
  return text;
}

std::string text(const NexthopMessage& nexthop) {
  std::string text = std::to_string(nexthop.object);
  for (const NexthopMessage::Member& member : nexthop.group) {
    text += " " + std::to_string(member.object) + "*" + std::to_string(member.weight);
  }
  if (nexthop.blackhole) {
    return text + " blackhole";
  }
  return nexthop.group.empty() ? text + " " + Testing::text(nexthop.hop) : text;
}

std::string text(const LinkMessage& link) {
  return std::to_string(link.interface) + " " + link.name + (link.up ? " up" : " down") +
         (link.running ? " running" : "");
}

std::string text(const AddressMessage& address) {
  return address.address.stringValue() + "/" + std::to_string(address.length) + " peer " +
         address.peer.stringValue() + " on " + std::to_string(address.interface);
}

template <class T>
std::pair<Parsed, std::string> read(Parsed (*parse)(Bytes, T&), Bytes body) {
  T value;
  const Parsed parsed = parse(body, value);
  return {parsed, parsed == Parsed::value ? text(value) : std::string()};
}

std::pair<Parsed, std::string> read(std::uint16_t type, Bytes body) {
  switch (type) {
    case RTM_NEWROUTE:
    case RTM_DELROUTE:
      return read(&parseRoute, body);
    case RTM_NEWNEXTHOP:
    case RTM_DELNEXTHOP:
      return read(&parseNexthop, body);
    case RTM_NEWLINK:
    case RTM_DELLINK:
      return read(&parseLink, body);
    default:
      return read(&parseAddress, body);
  }
}

struct Row {
  const char* command;
  // Of each message, in order.
  std::vector<std::string> meaning;
};

const std::vector<Row> rows{
    {"link set v0 up", {"newlink 3 v0 up running"}},
    {"addr add 10.0.0.1/24 dev v0",
     {"newaddr 10.0.0.1/24 peer 10.0.0.1 on 3",
      "newroute 10.0.0.1/32 table 255 local metric 0 of 3 src 10.0.0.1"}},
    {"addr add 10.9.0.1 peer 10.9.0.2/32 dev v0", {"newaddr 10.9.0.1/32 peer 10.9.0.2 on 3"}},
    {"addr add 2001:db8::1/64 dev v0 nodad",
     {"newroute 2001:db8::1/128 table 255 local metric 0 of 3"}},
    {"route add 192.0.2.0/24 via 10.0.0.2 metric 7 proto static",
     {"newroute 192.0.2.0/24 table 254 static metric 7 10.0.0.2@3"}},
    {"route replace 192.0.2.0/24 via 10.0.0.3 metric 7 proto bgp src 10.0.0.1 mtu 1400",
     {"newroute 192.0.2.0/24 table 254 bgp metric 7 src 10.0.0.1 10.0.0.3@3"}},
    {"route del 192.0.2.0/24 via 10.0.0.3 metric 7",
     {"delroute 192.0.2.0/24 table 254 bgp metric 7 src 10.0.0.1 10.0.0.3@3"}},
    {"route add 192.0.2.0/24 via 10.0.0.2 table 1000",
     {"newroute 192.0.2.0/24 table 1000 boot metric 0 10.0.0.2@3"}},
    {"route add 192.0.2.0/24 via inet6 fe80::2 dev v0",
     {"newroute 192.0.2.0/24 table 254 boot metric 0 fe80::2@3"}},
    {"route add 192.0.3.0/24 nexthop via 10.0.0.2 weight 2 nexthop via 10.1.0.2 nexthop dev v1 "
     "weight 5",
     {"newroute 192.0.3.0/24 table 254 boot metric 0 10.0.0.2@3*2 10.1.0.2@5 link@5*5"}},
    {"-6 route add 2001:db8:1::/48 via 2001:db8::2",
     {"newroute 2001:db8:1::/48 table 254 boot metric 1024 2001:db8::2@3"}},
    {"-6 route append 2001:db8:1::/48 via 2001:db8:f::2",
     {"newroute 2001:db8:1::/48 table 254 boot metric 1024 2001:db8:f::2@5 2001:db8::2@3"}},
    {"-6 route del 2001:db8:1::/48 via 2001:db8::2",
     {"delroute 2001:db8:1::/48 table 254 boot metric 1024 2001:db8::2@3"}},
    {"-6 route add 2001:db8:2::/48 nexthop via 2001:db8::2 weight 3 nexthop via 2001:db8:f::2",
     {"newroute 2001:db8:2::/48 table 254 boot metric 1024 2001:db8::2@3*3 2001:db8:f::2@5"}},
    {"-6 route add default via fe80::2 dev v0 proto bird metric 20",
     {"newroute ::/0 table 254 bird metric 20 fe80::2@3"}},
    {"route add blackhole 198.51.100.0/24",
     {"newroute 198.51.100.0/24 table 254 blackhole metric 0"}},
    {"-6 route add prohibit 2001:db8:3::/48 metric 5",
     {"newroute 2001:db8:3::/48 table 254 prohibit metric 5"}},
    {"nexthop add id 1 via 10.0.0.2 dev v0", {"newnexthop 1 10.0.0.2@3"}},
    {"nexthop add id 2 via 2001:db8:f::2 dev v1", {"newnexthop 2 2001:db8:f::2@5"}},
    {"nexthop add id 3 via 10.1.0.2 dev v1", {"newnexthop 3 10.1.0.2@5"}},
    {"nexthop add id 4 blackhole", {"newnexthop 4 blackhole"}},
    {"nexthop add id 10 group 1,3/3,200", {"newnexthop 10 1*3 3*200"}},
    {"route add 192.0.4.0/24 nhid 10",
     {"newroute 192.0.4.0/24 table 254 boot metric 0 object 10 10.0.0.2@3*3 10.1.0.2@5*200"}},
    {"-6 route add 2001:db8:4::/48 nhid 2",
     {"newroute 2001:db8:4::/48 table 254 boot metric 1024 object 2 2001:db8:f::2@5"}},
    {"nexthop del id 1", {"delnexthop 1 10.0.0.2@3", "newnexthop 10 3*200"}},
    {"addr del 10.9.0.1 peer 10.9.0.2/32 dev v0", {"deladdr 10.9.0.1/32 peer 10.9.0.2 on 3"}},
    {"link set v0 down", {"newlink 3 v0 down"}},
    {"link del v0", {"dellink 3 v0 down"}},
};

TEST(RecordedMessages, MeanWhatWasDone) {
  std::vector<Recorded> all = recorded();
  auto next = all.begin();
  for (const Row& row : rows) {
    for (const std::string& meaning : row.meaning) {
      ASSERT_NE(next, all.end()) << row.command;
      EXPECT_EQ(next->command, row.command);
      const Message message = next->message();
      EXPECT_EQ(next->kind + " " + read(message.type, message.body).second, meaning);
      ++next;
    }
  }
  EXPECT_EQ(next, all.end()) << next->command;
}

// What this kernel could not make is composed: labels, in both families, and a VRF device.
std::vector<MessageBuilder> composed() {
  std::vector<MessageBuilder> all;
  all.push_back(routeMessage({.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2", 3, 1, 0, {100}}}}));
  all.push_back(
      routeMessage({.prefix = "2001:db8::/32", .hops = {{"fe80::2", 3, 1, 0, {100, 200}}}}));
  all.push_back(routeMessage(
      {.prefix = "2001:db8::/32", .hops = {{"fe80::2", 3}, {"fe80::3", 4, 9, 0, {1, 2}}}}));
  all.push_back(routeMessage(
      {.prefix = "2001:db8::1/128", .hops = {{"", 7}}, .table = 1000, .type = RTN_LOCAL}));
  all.push_back(linkMessage(7, "red", IFF_UP, 1000));
  return all;
}

// Where the attributes behind the message's own structure end, and their padding.
std::set<std::size_t> boundaries(std::size_t structure, Bytes body) {
  std::set<std::size_t> ends{structure};
  std::size_t offset = structure;
  forEachAttribute(body.subspan(structure), [&](const Attribute& attribute) {
    offset += sizeof(nlattr) + attribute.value.size();
    for (ends.insert(offset); offset % NLA_ALIGNTO != 0;) {
      ends.insert(++offset);
    }
    return true;
  });
  return ends;
}

std::size_t structureOf(std::uint16_t type) {
  switch (type) {
    case RTM_NEWROUTE:
    case RTM_DELROUTE:
      return sizeof(rtmsg);
    case RTM_NEWNEXTHOP:
    case RTM_DELNEXTHOP:
      return sizeof(nhmsg);
    case RTM_NEWLINK:
    case RTM_DELLINK:
      return sizeof(ifinfomsg);
    default:
      return sizeof(ifaddrmsg);
  }
}

// In memory of its exact size, so that a sanitizer sees a read beyond it.
void expectDamagedWhereverCut(const Message& message, const std::string& what) {
  const std::set<std::size_t> ends = boundaries(structureOf(message.type), message.body);
  for (std::size_t size = 0; size < message.body.size(); ++size) {
    const std::vector<std::byte> cut(message.body.begin(),
                                     message.body.begin() + static_cast<std::ptrdiff_t>(size));
    const Parsed parsed = read(message.type, cut).first;
    if (ends.count(size) == 0) {
      EXPECT_EQ(parsed, Parsed::damaged) << what << " cut off at " << size;
    }
  }
}

TEST(RecordedMessages, AreDamagedWhereverAnAttributeIsCutOff) {
  for (const Recorded& one : recorded()) {
    expectDamagedWhereverCut(one.message(), one.command);
  }
}

TEST(ComposedMessages, AreDamagedWhereverAnAttributeIsCutOff) {
  for (MessageBuilder& builder : composed()) {
    const Message message = builder.message();
    ASSERT_EQ(read(message.type, message.body).first, Parsed::value);
    expectDamagedWhereverCut(message, read(message.type, message.body).second);
  }
}

// ---- in large numbers
// ------------------------------------------------------------------------------

class DamagedTraffic : public StateTest {
 protected:
  // Everything that a reading of the VRF asks for, and nothing is there; the first takes nothing
  // away.
  void dumpNothing(const Vrf& vrf) {
    for (int times = 0; times < 2; ++times) {
      for (const DumpRequest& request : state_->routesOf(vrf, 0)) {
        dump(request, {});
      }
    }
  }
};

TEST_F(DamagedTraffic, LeavesTablesTriesAndFecsOfOneMind) {
  const Support::SeedTrace trace(Support::seed());
  std::mt19937_64 random(Support::seed());
  const std::vector<Recorded> kernels = recorded();
  ASSERT_FALSE(kernels.empty());
  for (int round = 0; round < 20'000; ++round) {
    Message message = kernels[random() % kernels.size()].message();
    std::vector<std::byte> damaged(message.body.begin(), message.body.end());
    for (std::uint64_t changes = random() % 4; changes > 0; --changes) {
      damaged[random() % damaged.size()] = static_cast<std::byte>(random() & 0xffU);
    }
    message.body = damaged;
    state_->notification(message);
    if (round % 8 == 0) {
      state_->batchEnd();
    }
  }
  EXPECT_GT(state_->counters().damaged, 1'000U);
  EXPECT_GT(state_->counters().applied, 1'000U);
  for (const Vrf* vrf : {vrf_, blue_}) {
    EXPECT_EQ(vrf->trie4()->routeCount(), vrf->routes4()->routeCount());
    EXPECT_EQ(vrf->trie6()->routeCount(), vrf->routes6()->routeCount());
    dumpNothing(*vrf);
    runUntilIdle(*scheduler_);
    EXPECT_EQ(state_->routes(*vrf)->feed().routeCount(), 0U);
    EXPECT_EQ(vrf->fecs()->fecCount(), 0U);
  }
}

}  // namespace
}  // namespace Routing::Host::Testing
