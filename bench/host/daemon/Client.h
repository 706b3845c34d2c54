#pragma once

// Client: one client of the service, with its stream read on a thread of its own.

#include <grpcpp/client_context.h>
#include <nexthop/v1/nexthop.grpc.pb.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "platform/net/IpGenAddr.h"

namespace Routing::Bench {

namespace Proto = ::nexthop::v1;
using Stub = Proto::Nexthops::Stub;
using Moment = std::chrono::steady_clock::time_point;

// A connection of its own.
std::unique_ptr<Stub> stubOf(const std::string& socketPath);

class Client {
 public:
  // Waits for the snapshot, which is empty. Throws: std::runtime_error, as all calls that fail.
  Client(const std::string& socketPath, std::string name);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client();

  // One call.
  void registerOne(const IpGenAddr& address);
  // Batches of a thousand, all under way at a time; until the last is answered.
  void registerAll(std::span<const IpGenAddr> addresses);
  // Until all have been told.
  void unregisterAll();

  // Nexthops that it was told of so far.
  std::uint64_t told();
  // Until it was told of so many; when it had read the last of them.
  Moment waitFor(std::uint64_t told);

 private:
  Proto::RegisterRequest requestOf(std::span<const IpGenAddr> addresses) const;
  void read();

  std::unique_ptr<Stub> stub_;
  std::string name_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReader<Proto::WatchResponse>> reader_;
  std::mutex mutex_;
  std::condition_variable heard_;
  std::uint64_t told_ = 0;
  Moment lastTold_;
  bool ready_ = false;
  bool ended_ = false;
  std::thread thread_;
};

// Seconds from before the work until the client had read that it was told of so many. What the
// benchmark takes to hear of that from the client's own thread is left out.
template <class Work>
double secondsUntilTold(Client& client, std::uint64_t told, Work work) {
  const Moment start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(client.waitFor(told) - start).count();
}

}  // namespace Routing::Bench
