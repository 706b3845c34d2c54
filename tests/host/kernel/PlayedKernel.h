#pragma once

// The other end of a KernelRoutes' socket: a kernel with two links and a table, which answers when
// the test lets it, and as badly as the test wants. Time is virtual.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/kernel/KernelRoutes.h"
#include "platform/task/VirtualTime.h"
#include "tests/host/kernel/MessageBuilder.h"
#include "tests/support/Addresses.h"

namespace Routing::Host::Testing {

// Messages of one datagram.
class Datagram {
 public:
  void add(MessageBuilder message) {
    const Bytes whole = message.whole();
    bytes_.insert(bytes_.end(), whole.begin(), whole.end());
  }
  void cutOff(std::size_t bytes) { bytes_.resize(bytes_.size() - bytes); }
  const std::vector<std::byte>& bytes() const noexcept { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

class ConversationTest : public ::testing::Test {
 protected:
  static constexpr std::uint32_t port = 4711;

  ConversationTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()), 0);
    kernel_ = FileDescriptor(ends[0]);
    vrf_ = &vrfs_.vrfIs("default", 254);
    routes_ = std::make_unique<KernelRoutes>(loop_,
                                             vrfs_,
                                             ids_,
                                             NetlinkSocket(FileDescriptor(ends[1]), port));
    routes_->vrfReadyIs([this](Vrf& /*vrf*/) { ++ready_; });
    routes_->start();
  }

  // What was asked for: the header, and of routes family, table and interface.
  struct Asked {
    nlmsghdr head{};
    std::uint8_t family = AF_UNSPEC;
    std::uint32_t table = 0;
    std::uint32_t interface = 0;

    bool names(const TestRoute& route) const {
      const bool ipv4 = Support::prefix(route.prefix).family() == AddressFamily::ipv4;
      const auto uses = [this](const TestHop& hop) {
        return hop.interface == static_cast<int>(interface);
      };
      return head.nlmsg_type == RTM_GETROUTE && family == (ipv4 ? AF_INET : AF_INET6) &&
             table == route.table &&
             (interface == 0 || std::any_of(route.hops.begin(), route.hops.end(), uses));
    }
  };
  // The oldest request that nobody has answered.
  std::optional<Asked> request() {
    std::array<std::byte, 512> room{};
    const ssize_t size = ::recv(kernel_.get(), room.data(), room.size(), 0);
    if (size < 0) {
      return std::nullopt;
    }
    Asked asked{*headOf<nlmsghdr>(room)};
    if (asked.head.nlmsg_type == RTM_GETROUTE) {
      const Bytes body = Bytes(room).subspan(sizeof(nlmsghdr), asked.head.nlmsg_len - NLMSG_HDRLEN);
      asked.family = headOf<rtmsg>(body)->rtm_family;
      forEachAttribute(tailOf<rtmsg>(body), [&asked](const Attribute& attribute) {
        std::uint32_t& value = attribute.type == RTA_TABLE ? asked.table : asked.interface;
        value = attribute.as<std::uint32_t>().value_or(0);
        return true;
      });
    }
    return asked;
  }
  void send(const Datagram& datagram) {
    const auto& bytes = datagram.bytes();
    EXPECT_EQ(::send(kernel_.get(), bytes.data(), bytes.size(), 0),
              static_cast<ssize_t>(bytes.size()));
    turn();
  }
  void notify(MessageBuilder message) {
    Datagram datagram;
    datagram.add(std::move(message));
    send(datagram);
  }
  // A notification that has no room in the receiver's hands.
  void sendTooLarge() {
    MessageBuilder message(RTM_NEWROUTE);
    Datagram datagram;
    for (int index = 0; index < 3000; ++index) {
      datagram.add(message);
    }
    send(datagram);
  }

  static MessageBuilder answering(const Asked& asked, MessageBuilder message) {
    message.head()->nlmsg_seq = asked.head.nlmsg_seq;
    message.head()->nlmsg_pid = port;
    message.head()->nlmsg_flags |= NLM_F_MULTI;
    return message;
  }
  void refuse(const Asked& asked, int error) {
    MessageBuilder message(NLMSG_ERROR);
    nlmsgerr body{};
    body.error = -error;
    message.body(body);
    notify(answering(asked, std::move(message)));
  }
  // All that the kernel has of what was asked for. `flags` are those of the last message.
  void answer(const Asked& asked, std::uint16_t flags = 0) {
    Datagram datagram;
    if (asked.head.nlmsg_type == RTM_GETLINK) {
      for (int link = 1; link <= links; ++link) {
        datagram.add(answering(asked, linkMessage(link, "v" + std::to_string(link), up_)));
      }
    }
    for (const TestRoute& route : table_) {
      if (asked.names(route)) {
        datagram.add(answering(asked, routeMessage(route)));
      }
    }
    if (damaged_ && asked.table == 254) {
      MessageBuilder message = routeMessage({.prefix = "192.0.9.0/24", .hops = {{"10.0.0.2"}}});
      static_cast<rtmsg*>(mnl_nlmsg_get_payload(message.head()))->rtm_dst_len = 33;
      datagram.add(answering(asked, std::move(message)));
    }
    if (disturbed_ && asked.family == AF_INET6) {
      const TestRoute gone{.prefix = "2001:db8::/32", .hops = {{"fe80::2"}}, .table = asked.table};
      datagram.add(routeMessage(gone, RTM_DELROUTE, 0));
    }
    MessageBuilder done(NLMSG_DONE, flags);
    done.body(int{0});
    datagram.add(answering(asked, std::move(done)));
    send(datagram);
  }
  // As long as anything is asked.
  void answerAll() {
    for (turn(); const auto asked = request();) {
      answer(*asked);
    }
  }
  void turn() {
    for (int turns = 0; turns < 4; ++turns) {
      loop_.runTurn(false);
    }
  }
  void pass(std::chrono::milliseconds time) {
    advanceTime(*scheduler_, *clock_, time);
    turn();
  }
  // Time during which everything is answered at once, and the links' carrier flaps if wanted.
  void passAnswering(std::chrono::milliseconds time, int flapping = 0) {
    constexpr std::chrono::milliseconds step(50);
    for (auto left = time; left > std::chrono::milliseconds(0); left -= step) {
      up_ ^= flapping == 0 ? 0U : unsigned{IFF_RUNNING};
      for (int link = 1; link <= flapping; ++link) {
        notify(linkMessage(link, "v" + std::to_string(link), up_));
      }
      pass(step);
      answerAll();
    }
  }

  bool has(const std::string& prefix) const {
    return vrf_->routes4()->route(Prefix(Support::prefix(prefix))).fecId() != 0;
  }
  KernelRoutes::Counters counters() const { return routes_->counters(); }

  static constexpr int links = 6;
  unsigned up_ = IFF_UP | IFF_RUNNING;
  // Of table main.
  std::vector<TestRoute> table_;
  // Each dump of routes has a message that does not read.
  bool damaged_ = false;
  // During each dump of IPv6 routes a route is removed.
  bool disturbed_ = false;
  FileDescriptor kernel_;
  Ptr<VirtualClock> clock_ = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(clock_);
  EventLoop loop_{scheduler_};
  Vrfs vrfs_{scheduler_};
  FecIdSource ids_;
  Vrf* vrf_ = nullptr;
  std::unique_ptr<KernelRoutes> routes_;
  int ready_ = 0;
};

}  // namespace Routing::Host::Testing
