#pragma once

// NetlinkSocket: the daemon's one connection to the kernel's routing tables. Asks for dumps and
// receives their replies and all notifications, in the one order in which the kernel queued them:
// what came later is newer.
//
// What the socket may lose is told, never guessed: a receive buffer that ran over (the kernel says
// so once, and drops what came meanwhile) and a message larger than the room for it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "host/kernel/Attributes.h"
#include "host/kernel/KernelState.h"
#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

class NetlinkSocket {
 public:
  // Replies and notifications of one read, in order.
  struct Received {
    std::size_t bytes = 0;
    // Nothing more is waiting.
    bool drained = false;
    // Notifications were lost.
    bool overrun = false;
    // Something was too large and is cut off; it was not handed out.
    bool truncated = false;
  };
  using Handler = std::function<void(Bytes messages)>;

  // Subscribes to routes of both families, nexthop objects, links and IPv4 addresses.
  // `receiveBuffer` is in bytes; beyond the system's limit only for who may.
  // Throws: SystemError.
  explicit NetlinkSocket(std::size_t receiveBuffer);
  // Takes what is open already, does not block and keeps datagrams apart: for tests that play the
  // kernel at its other end, and name the port that they answer to.
  NetlinkSocket(FileDescriptor fd, std::uint32_t port);

  int fd() const noexcept { return fd_.get(); }
  std::uint32_t port() const noexcept { return port_; }
  // What the kernel granted, in its own counting.
  std::size_t receiveBuffer() const noexcept { return receiveBuffer_; }

  // Asks for a dump; every message of the reply carries this port and the sequence number that is
  // returned. One that the kernel had no memory for is not answered.
  // Requires: no dump under way. Throws: SystemError.
  std::uint32_t request(const DumpRequest& dump);
  // Reads once what is waiting, at most batchSize datagrams. Throws: SystemError.
  Received receive(const Handler& handler);

 private:
  // What the kernel fills in one go when it dumps; more room makes no larger pieces.
  static constexpr std::size_t roomSize = 32768;
  static constexpr std::size_t batchSize = 16;

  void open();
  void subscribe();
  void receiveBufferIs(std::size_t bytes);

  FileDescriptor fd_;
  std::uint32_t port_ = 0;
  std::size_t receiveBuffer_ = 0;
  std::uint32_t sequence_ = 0;
  std::vector<std::byte> rooms_;
};

}  // namespace Routing::Host
