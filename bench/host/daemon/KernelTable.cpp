#include "bench/host/daemon/KernelTable.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>

#include "bench/host/daemon/Rows.h"

namespace Routing::Bench {

using Host::FileDescriptor;
using Host::systemCall;
using Host::SystemError;

namespace {

// More than any message that is put into it.
constexpr std::size_t messageRoom = 128;
constexpr std::size_t receiveRoom = 65536;

FileDescriptor netlinkSocket(std::uint32_t groups) {
  FileDescriptor fd(systemCall(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE),
                               "cannot open a netlink socket"));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  systemCall(::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
             "cannot bind a netlink socket");
  return fd;
}

std::size_t receive(const FileDescriptor& fd, std::vector<std::byte>& room) {
  return static_cast<std::size_t>(
      systemCall(static_cast<int>(::recv(fd.get(), room.data(), room.size(), 0)),
                 "cannot receive from the kernel"));
}

void send(const FileDescriptor& fd, const void* data, std::size_t size) {
  systemCall(static_cast<int>(::send(fd.get(), data, size, 0)), "cannot send to the kernel");
}

// Hands out each message; stops at the first for which `visit` is false. Throws what the kernel
// reports.
template <class Visit>
bool walk(const std::vector<std::byte>& room, std::size_t size, Visit visit) {
  int left = static_cast<int>(size);
  const auto* message = reinterpret_cast<const nlmsghdr*>(room.data());
  for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
    if (message->nlmsg_type == NLMSG_ERROR) {
      const auto* error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(message));
      if (error->error != 0) {
        throw SystemError(-error->error, "the kernel refuses a request for routes");
      }
    }
    if (!visit(*message)) {
      return false;
    }
  }
  return true;
}

void putAddress(nlmsghdr* message, std::uint16_t type, const IpGenAddr& address) {
  mnl_attr_put(message, type, 4, address.bytes().data());
}

nlmsghdr* lookUpMessage(std::byte* room, const IpGenAddr& address) {
  nlmsghdr* message = mnl_nlmsg_put_header(room);
  message->nlmsg_type = RTM_GETROUTE;
  message->nlmsg_flags = NLM_F_REQUEST;
  auto* body = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(message, sizeof(rtmsg)));
  body->rtm_family = AF_INET;
  body->rtm_dst_len = 32;
  putAddress(message, RTA_DST, address);
  return message;
}

}  // namespace

KernelTable::KernelTable() : fd_(netlinkSocket(0)), batch_(batchBytes) {}

void KernelTable::begin(std::uint16_t type, std::uint16_t flags, const IpGenPrefix& prefix) {
  if (used_ + messageRoom > batch_.size()) {
    write();
  }
  nlmsghdr* message = mnl_nlmsg_put_header(batch_.data() + used_);
  message->nlmsg_type = type;
  message->nlmsg_flags = NLM_F_REQUEST | flags;
  message->nlmsg_seq = ++sequence_;
  auto* body = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(message, sizeof(rtmsg)));
  body->rtm_family = AF_INET;
  body->rtm_dst_len = prefix.length();
  body->rtm_table = RT_TABLE_MAIN;
  body->rtm_protocol = RTPROT_BIRD;
  body->rtm_scope = type == RTM_DELROUTE ? RT_SCOPE_NOWHERE : RT_SCOPE_UNIVERSE;
  body->rtm_type = type == RTM_DELROUTE ? RTN_UNSPEC : RTN_UNICAST;
  putAddress(message, RTA_DST, prefix.address());
  last_ = message;
}

void KernelTable::end(const IpGenAddr& gateway) {
  putAddress(last_, RTA_GATEWAY, gateway);
  used_ += last_->nlmsg_len;
}

void KernelTable::add(const IpGenPrefix& prefix, const IpGenAddr& gateway) {
  begin(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, prefix);
  end(gateway);
}

void KernelTable::replace(const IpGenPrefix& prefix, const IpGenAddr& gateway) {
  begin(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, prefix);
  end(gateway);
}

void KernelTable::remove(const IpGenPrefix& prefix) {
  begin(RTM_DELROUTE, 0, prefix);
  used_ += last_->nlmsg_len;
}

// The kernel answers requests that fail, and the last one.
void KernelTable::write() {
  if (last_ == nullptr) {
    return;
  }
  last_->nlmsg_flags = static_cast<std::uint16_t>(last_->nlmsg_flags | NLM_F_ACK);
  const std::size_t size = used_;
  used_ = 0;
  last_ = nullptr;
  send(fd_, batch_.data(), size);
  waitForAcknowledgement();
}

void KernelTable::waitForAcknowledgement() {
  std::vector<std::byte> room(4096);
  bool waiting = true;
  while (waiting) {
    walk(room, receive(fd_, room), [&](const nlmsghdr& message) {
      waiting = message.nlmsg_seq != sequence_;
      return waiting;
    });
  }
}

double KernelTable::dump(std::size_t count) const {
  const FileDescriptor fd = netlinkSocket(0);
  const int strict = 1;
  systemCall(::setsockopt(fd.get(), SOL_NETLINK, NETLINK_GET_STRICT_CHK, &strict, sizeof strict),
             "cannot make the kernel check requests for routes");
  std::vector<std::byte> request(messageRoom);
  nlmsghdr* message = mnl_nlmsg_put_header(request.data());
  message->nlmsg_type = RTM_GETROUTE;
  message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  auto* body = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(message, sizeof(rtmsg)));
  body->rtm_family = AF_INET;
  mnl_attr_put_u32(message, RTA_TABLE, RT_TABLE_MAIN);
  std::vector<std::byte> room(receiveRoom);
  std::size_t routes = 0;
  const double seconds = secondsOf([&] {
    send(fd, message, message->nlmsg_len);
    while (walk(room, receive(fd, room), [&routes](const nlmsghdr& reply) {
      routes += reply.nlmsg_type == RTM_NEWROUTE ? 1U : 0U;
      return reply.nlmsg_type != NLMSG_DONE;
    })) {
    }
  });
  if (routes < count) {
    throw std::runtime_error("the dump has " + std::to_string(routes) + " routes");
  }
  return seconds;
}

double KernelTable::lookUp(std::span<const IpGenAddr> addresses) const {
  constexpr std::size_t atOnce = 32;
  const FileDescriptor fd = netlinkSocket(0);
  std::vector<std::byte> requests(atOnce * messageRoom);
  std::vector<std::byte> room(receiveRoom);
  return secondsOf([&] {
    for (std::size_t first = 0; first < addresses.size(); first += atOnce) {
      const auto some = addresses.subspan(first, std::min(atOnce, addresses.size() - first));
      std::size_t size = 0;
      for (const IpGenAddr& address : some) {
        size += lookUpMessage(requests.data() + size, address)->nlmsg_len;
      }
      send(fd, requests.data(), size);
      std::size_t answers = 0;
      while (answers < some.size()) {
        walk(room, receive(fd, room), [&answers](const nlmsghdr& /*reply*/) {
          ++answers;
          return true;
        });
      }
    }
  });
}

double KernelTable::notified(const IpGenPrefix& prefix, const IpGenAddr& gateway) {
  const FileDescriptor listener = netlinkSocket(RTMGRP_IPV4_ROUTE);
  std::vector<std::byte> room(4096);
  return secondsOf([&] {
    replace(prefix, gateway);
    write();
    receive(listener, room);
  });
}

}  // namespace Routing::Bench
