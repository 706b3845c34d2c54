#pragma once

// nexthopd as an operator has it: a process of its own, in the test's network namespace, with store
// and socket in a fresh directory; and a client of its service.

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
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
  // Of an earlier run, and not looked at yet.
  bool stale = false;
};

// A Watch stream: of a client itself, or of somebody who looks on.
class WatchedStream {
 public:
  WatchedStream(Proto::Nexthops::Stub& stub, const Proto::WatchRequest& request)
      : reader_(stub.Watch(&context_, request)) {}
  WatchedStream(const WatchedStream&) = delete;
  WatchedStream& operator=(const WatchedStream&) = delete;
  ~WatchedStream();

  // The nexthops up to the snapshot's end mark, by address.
  std::map<std::string, NexthopLine> snapshot();
  // Those that are told of until the daemon ends the stream.
  std::map<std::string, NexthopLine> rest();
  // How it ended; what was not read is passed over.
  grpc::Status finish();

 private:
  bool read(std::map<std::string, NexthopLine>& lines);

  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReader<Proto::WatchResponse>> reader_;
  bool snapshotEnd_ = false;
  bool ended_ = false;
  bool finished_ = false;
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
  // That of a daemon that ends by itself.
  int awaitEnd();
  pid_t pid() const noexcept { return daemon_; }
  bool running() const noexcept { return daemon_ > 0; }

  void registerAll(const std::string& client,
                   Proto::IdentifierKind kind,
                   const std::vector<std::string>& addresses,
                   const std::string& vrf = {}) const;
  grpc::Status tryRegister(const Proto::RegisterRequest& request) const;
  // The stream that makes the client live.
  std::unique_ptr<WatchedStream> attach(const std::string& client) const;
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
  // A command that starts the daemon, with its first arguments; none: it is started as it is.
  std::vector<std::string> wrapper_;

 private:
  bool synced() const;

  pid_t daemon_ = -1;
  std::unique_ptr<Proto::Nexthops::Stub> stub_;
};

}  // namespace Routing::Host::Testing
