#include "host/kernel/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <linux/if_addr.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace Routing::Host {

namespace {

unsigned char kernelFamily(AddressFamily family) noexcept {
  switch (family) {
    case AddressFamily::ipv4:
      return AF_INET;
    case AddressFamily::ipv6:
      return AF_INET6;
    case AddressFamily::unset:
      break;
  }
  return AF_UNSPEC;
}

// Lack of memory, for which nobody should end.
bool passes(int error) noexcept {
  return error == ENOBUFS || error == ENOMEM || error == EAGAIN || error == EINTR;
}

template <class T>
bool optionIs(int fd, int level, int name, const T& value) noexcept {
  return ::setsockopt(fd, level, name, &value, sizeof value) == 0;
}

// A request with the filter that strict checking demands: fields that are no filter are zero.
nlmsghdr* compose(void* buffer, const DumpRequest& dump) {
  nlmsghdr* head = mnl_nlmsg_put_header(buffer);
  head->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  switch (dump.kind) {
    case DumpRequest::Kind::links:
      head->nlmsg_type = RTM_GETLINK;
      mnl_nlmsg_put_extra_header(head, sizeof(ifinfomsg));
      break;
    case DumpRequest::Kind::addresses: {
      head->nlmsg_type = RTM_GETADDR;
      auto* body = static_cast<ifaddrmsg*>(mnl_nlmsg_put_extra_header(head, sizeof(ifaddrmsg)));
      body->ifa_family = AF_INET;
      break;
    }
    case DumpRequest::Kind::nexthops:
      head->nlmsg_type = RTM_GETNEXTHOP;
      mnl_nlmsg_put_extra_header(head, sizeof(nhmsg));
      break;
    case DumpRequest::Kind::routes: {
      head->nlmsg_type = RTM_GETROUTE;
      auto* body = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(head, sizeof(rtmsg)));
      body->rtm_family = kernelFamily(dump.family);
      mnl_attr_put_u32(head, RTA_TABLE, dump.table);
      if (dump.interface != 0) {
        mnl_attr_put_u32(head, RTA_OIF, dump.interface);
      }
      break;
    }
  }
  return head;
}

}  // namespace

NetlinkSocket::NetlinkSocket(FileDescriptor fd, std::uint32_t port)
    : fd_(std::move(fd)), port_(port), rooms_(roomSize * batchSize) {}

NetlinkSocket::NetlinkSocket(std::size_t receiveBuffer) : rooms_(roomSize * batchSize) {
  open();
  receiveBufferIs(receiveBuffer);
  subscribe();
}

// An older kernel does not filter dumps; it sends more then, and what was not asked for is passed
// over.
void NetlinkSocket::open() {
  fd_ = FileDescriptor(
      systemCall(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE),
                 "cannot open a netlink socket"));
  if (!optionIs(fd_.get(), SOL_NETLINK, NETLINK_GET_STRICT_CHK, 1) && errno != ENOPROTOOPT) {
    throw SystemError(errno, "cannot make the kernel check requests for routes");
  }
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  systemCall(::bind(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
             "cannot bind a netlink socket");
  socklen_t size = sizeof address;
  systemCall(::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&address), &size),
             "cannot read a netlink socket's port");
  port_ = address.nl_pid;
}

void NetlinkSocket::receiveBufferIs(std::size_t bytes) {
  const int wanted = static_cast<int>(bytes);
  // Beyond the system's limit for who may, up to the limit for all others.
  if (!optionIs(fd_.get(), SOL_SOCKET, SO_RCVBUFFORCE, wanted) &&
      !optionIs(fd_.get(), SOL_SOCKET, SO_RCVBUF, wanted)) {
    throw SystemError(errno, "cannot set the size of a netlink receive buffer");
  }
  int granted = 0;
  socklen_t size = sizeof granted;
  systemCall(::getsockopt(fd_.get(), SOL_SOCKET, SO_RCVBUF, &granted, &size),
             "cannot read the size of a netlink receive buffer");
  receiveBuffer_ = static_cast<std::size_t>(granted);
}

void NetlinkSocket::subscribe() {
  for (const int group : {RTNLGRP_LINK,
                          RTNLGRP_IPV4_IFADDR,
                          RTNLGRP_IPV4_ROUTE,
                          RTNLGRP_IPV6_ROUTE,
                          RTNLGRP_IPV4_NETCONF,
                          RTNLGRP_IPV6_NETCONF}) {
    if (!optionIs(fd_.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, group)) {
      throw SystemError(errno, "cannot subscribe to the kernel's notifications of routes");
    }
  }
  // Without nexthop objects in the kernel there is nothing to be told of them.
  if (!optionIs(fd_.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, int{RTNLGRP_NEXTHOP}) &&
      errno != EINVAL) {
    throw SystemError(errno, "cannot subscribe to the kernel's notifications of nexthop objects");
  }
}

std::uint32_t NetlinkSocket::request(const DumpRequest& dump) {
  std::array<std::byte, 256> buffer{};
  nlmsghdr* head = compose(buffer.data(), dump);
  head->nlmsg_seq = ++sequence_;
  // The kernel is who a netlink socket sends to unless told otherwise.
  if (::send(fd_.get(), head, head->nlmsg_len, 0) == -1 && !passes(errno)) {
    throw SystemError(errno, "cannot ask the kernel for a dump");
  }
  return sequence_;
}

NetlinkSocket::Received NetlinkSocket::receive(const Handler& handler) {
  std::array<iovec, batchSize> rooms{};
  std::array<mmsghdr, batchSize> messages{};
  for (std::size_t index = 0; index < batchSize; ++index) {
    rooms[index] = {rooms_.data() + index * roomSize, roomSize};
    messages[index].msg_hdr.msg_iov = &rooms[index];
    messages[index].msg_hdr.msg_iovlen = 1;
  }
  Received received;
  const int count = ::recvmmsg(fd_.get(), messages.data(), batchSize, 0, nullptr);
  if (count == -1) {
    received.overrun = errno == ENOBUFS;
    received.drained = errno == EAGAIN;
    if (errno != ENOBUFS && errno != EAGAIN && errno != EINTR) {
      throw SystemError(errno, "cannot receive the kernel's notifications");
    }
    return received;
  }
  for (std::size_t index = 0; index < static_cast<std::size_t>(count); ++index) {
    received.bytes += messages[index].msg_len;
    if ((messages[index].msg_hdr.msg_flags & MSG_TRUNC) != 0) {
      received.truncated = true;
    } else {
      handler(Bytes(rooms_).subspan(index * roomSize, messages[index].msg_len));
    }
  }
  return received;
}

}  // namespace Routing::Host
