#pragma once

// The kernel's main IPv4 table as the benchmark fills and asks it: straight over netlink, many
// routes in one system call, because the commands that others use take a minute for a full table.
//
// The kernel finds a gateway's link by itself, and carries out what it is sent before the send
// returns. Every failure throws: a benchmark of half a table is none.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "host/loop/FileDescriptor.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

struct nlmsghdr;

namespace Routing::Bench {

class KernelTable {
 public:
  // Throws: SystemError.
  KernelTable();

  // ---- queued until written --------------------------------------------------------------------
  void add(const IpGenPrefix& prefix, const IpGenAddr& gateway);
  void replace(const IpGenPrefix& prefix, const IpGenAddr& gateway);
  void remove(const IpGenPrefix& prefix);
  // Throws: SystemError, with the kernel's reason.
  void write();

  // ---- what the kernel alone takes, in seconds -------------------------------------------------
  // Reading the dump of the table and discarding it. Requires: `count` routes at least in it.
  double dump(std::size_t count) const;
  // Asking it for the route of each address, some in one system call. Requires: each has one.
  double lookUp(std::span<const IpGenAddr> addresses) const;
  // Replacing one route and reading the notification of it, with nothing between.
  double notified(const IpGenPrefix& prefix, const IpGenAddr& gateway);

 private:
  static constexpr std::size_t batchBytes = 65536;

  void begin(std::uint16_t type, std::uint16_t flags, const IpGenPrefix& prefix);
  void end(const IpGenAddr& gateway);
  void waitForAcknowledgement();

  Host::FileDescriptor fd_;
  std::vector<std::byte> batch_;
  std::size_t used_ = 0;
  nlmsghdr* last_ = nullptr;
  std::uint32_t sequence_ = 0;
};

}  // namespace Routing::Bench
