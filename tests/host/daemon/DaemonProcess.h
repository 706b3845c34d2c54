#pragma once

// nexthopd as an operator has it: a process of its own, in the test's network namespace, with store
// and socket in a fresh directory; and a client of its service.

#include <grpcpp/channel.h>
#include <gtest/gtest.h>
#include <nexthop/v1/nexthop.grpc.pb.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/host/kernel/Namespace.h"

namespace Routing::Host::Testing {

namespace Proto = ::nexthop::v1;

// What is told of a nexthop, as far as tests compare it: "resolved 10.0.0.0/8", "failed no-route".
struct NexthopLine {
  std::string text;
  std::uint64_t identifier = 0;
};

class DaemonTest : public ::testing::Test {
 protected:
  DaemonTest();
  ~DaemonTest() override;
  void SetUp() override;

  // Starts the daemon and waits until it follows the kernel.
  void start(const std::vector<std::string>& arguments = {});
  // Starts the daemon and waits for nothing.
  void launch(const std::vector<std::string>& arguments);
  // Asks until it is true; false when that took more than ten seconds.
  static bool until(const std::function<bool()>& condition);
  // The wait status.
  int end(int signal);
  bool running() const noexcept { return daemon_ > 0; }

  void registerAll(const std::string& client,
                   Proto::IdentifierKind kind,
                   const std::vector<std::string>& addresses) const;
  // All nexthops of the client as they are told now, by address.
  std::map<std::string, NexthopLine> snapshot(const std::string& client) const;
  // The snapshot, as soon as it is this or after ten seconds.
  std::map<std::string, std::string> awaitLines(
      const std::string& client,
      const std::map<std::string, std::string>& expected) const;
  // Identifiers published in the VRF, with how many vias.
  std::map<std::uint64_t, int> forwarding(const std::string& vrf = "default") const;
  Proto::GetInfoResponse info() const;

  Namespace net_;
  std::string directory_;

 private:
  bool synced() const;

  pid_t daemon_ = -1;
  std::unique_ptr<Proto::Nexthops::Stub> stub_;
};

}  // namespace Routing::Host::Testing
