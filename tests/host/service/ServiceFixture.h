#pragma once

// The client service as clients meet it: a loop on a thread of its own, VRF "default" with a
// manager over tables in memory, and a Unix socket in a fresh directory.
//
// What the test does to the tables it does on the loop's thread (onLoop), which is waited for.
// Calls block until they are answered, so no test waits for time to pass; a call that is never
// answered runs into the test's time limit.

#include <gmock/gmock.h>
#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <grpcpp/create_channel.h>
#include <gtest/gtest.h>
#include <nexthop/v1/nexthop.grpc.pb.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/loop/EventLoop.h"
#include "host/service/ClientService.h"
#include "host/vrf/Vrfs.h"
#include "platform/task/Clock.h"

namespace Routing::Host {

namespace Proto = ::nexthop::v1;

// An address's bytes as messages carry them.
inline std::string bytesOf(const std::string& text) {
  std::string bytes;
  addressTo(bytes, *IpGenAddr::parse(text));
  return bytes;
}

inline std::string textOf(const std::string& bytes) {
  return bytes.empty() ? "-" : addressOf(bytes, "").stringValue();
}

// "10.0.0.1 resolved 12 10.0.0.0/8", "10.0.0.2 failed no-route".
inline std::string lineOf(const Proto::NexthopStatus& status) {
  const auto state = static_cast<NexthopState>(status.state());
  std::string line = textOf(status.address()) + " " + nexthopStateName(state);
  if (state == NexthopState::resolved) {
    return line + " " + std::to_string(status.identifier()) + " " + textOf(status.prefix()) + "/" +
           std::to_string(status.prefix_length());
  }
  const auto reason = static_cast<NexthopReason>(status.reason());
  return reason == NexthopReason::none ? line : line + " " + nexthopReasonName(reason);
}

class MemoryRegistrationStore final : public RegistrationStore {
 public:
  void put(const std::string& key, const std::string& value) override { values[key] = value; }
  void erase(const std::string& key) override { values.erase(key); }
  void walk(const Visit& visit) const override {
    for (const auto& [key, value] : values) {
      visit(key, value);
    }
  }

  std::map<std::string, std::string> values;
};

// A Watch stream that is read by the test.
class Watching {
 public:
  Watching(Proto::Nexthops::Stub& stub, const Proto::WatchRequest& request)
      : reader_(stub.Watch(&context_, request)) {}
  ~Watching() {
    context_.TryCancel();
    static_cast<void>(finish());
  }

  // The next message; nothing when the stream has ended.
  std::optional<Proto::WatchResponse> next() {
    Proto::WatchResponse message;
    if (!reader_->Read(&message)) {
      return std::nullopt;
    }
    return message;
  }
  // Lines of the snapshot's nexthops, up to its end mark.
  std::vector<std::string> snapshot() {
    std::vector<std::string> lines;
    for (auto message = next(); message; message = next()) {
      if (message->snapshot_end()) {
        return lines;
      }
      for (const auto& status : message->nexthops()) {
        lines.push_back(lineOf(status));
      }
    }
    lines.emplace_back("the stream ended");
    return lines;
  }
  // The nexthop that the stream tells of next.
  Proto::NexthopStatus status() {
    while (rest_.empty()) {
      const auto message = next();
      if (!message) {
        return {};
      }
      rest_.assign(message->nexthops().rbegin(), message->nexthops().rend());
    }
    const Proto::NexthopStatus status = rest_.back();
    rest_.pop_back();
    return status;
  }
  std::string line() { return lineOf(status()); }

  // How the stream ended; reads it to its end first.
  grpc::Status finish() {
    if (!std::exchange(finished_, true)) {
      Proto::WatchResponse rest;
      while (reader_->Read(&rest)) {
      }
      status_ = reader_->Finish();
    }
    return status_;
  }

 private:
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReader<Proto::WatchResponse>> reader_;
  std::vector<Proto::NexthopStatus> rest_;
  bool finished_ = false;
  grpc::Status status_;
};

class ServiceFixture : public ::testing::Test {
 public:
  using Stub = Proto::Nexthops::Stub;

 protected:
  ServiceFixture() {
    std::string pattern = ::testing::TempDir() + "nexthop-service-XXXXXX";
    directory_ = ::mkdtemp(pattern.data());
    options.socketPath = directory_ + "/socket";
    options.identity.version = "test";
    options.identity.run = 7;
  }
  ~ServiceFixture() override {
    stop();
    static_cast<void>(::rmdir(directory_.c_str()));
  }

  // With the options, hooks and store as they are set by now.
  void start() {
    loop = std::make_unique<EventLoop>(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
    vrfs = std::make_unique<Vrfs>(loop->scheduler());
    vrf = &vrfs->vrfIs("default", 254);
    service = std::make_unique<ClientService>(*loop, *vrfs, &store, options, hooks);
    loop->turnEndIs([this] {
      if (flushing) {
        service->flush(cause);
        const std::vector<Nanoseconds>& told = service->toldCauses();
        causesTold.insert(causesTold.end(), told.begin(), told.end());
      }
    });
    if (managing) {
      vrfs->managerStart(*vrf);
    }
    service->start();
    thread_ = std::thread([this] { loop->run(); });
  }
  void stop() {
    if (thread_.joinable()) {
      onLoop([this] { service->stop(); });
      loop->stop();
      thread_.join();
    }
    service = nullptr;
    vrfs = nullptr;
    loop = nullptr;
  }

  // Runs it on the loop's thread, and a whole turn after it.
  void onLoop(const std::function<void()>& work) {
    std::promise<void> done;
    loop->post([&] {
      work();
      loop->post([&done] { done.set_value(); });
    });
    done.get_future().wait();
  }

  std::unique_ptr<Stub> connect() const {
    return Proto::Nexthops::NewStub(grpc::CreateCustomChannel("unix:" + options.socketPath,
                                                              grpc::InsecureChannelCredentials(),
                                                              ownConnection()));
  }
  // Each channel is a connection of its own.
  static grpc::ChannelArguments ownConnection() {
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    return arguments;
  }

  // A route under the prefix over a FEC with one via.
  void routeIs(const std::string& text, FecId fec, std::uint8_t type = 0) {
    onLoop([&] {
      const IpGenPrefix prefix = *IpGenPrefix::parse(text);
      FibGen::Fec record(fec);
      record.viaIs({IntfId{1}, 1, *IpGenAddr::parse("192.0.2.1"), {}});
      vrf->fecs()->fecIs(record);
      const Fib::Route route(fec, 20, 1, type);
      const bool present = prefix.family() == AddressFamily::ipv4
                               ? vrf->routes4()->routeHas(Prefix(prefix))
                               : vrf->routes6()->routeHas(Ip6Prefix(prefix));
      if (prefix.family() == AddressFamily::ipv4) {
        vrf->routes4()->routeIs(Prefix(prefix), route);
        present ? vrf->trie4()->changedPrefixIs(prefix) : vrf->trie4()->routeIs(prefix, true);
      } else {
        vrf->routes6()->routeIs(Ip6Prefix(prefix), route);
        present ? vrf->trie6()->changedPrefixIs(prefix) : vrf->trie6()->routeIs(prefix, true);
      }
    });
  }
  void routeDel(const std::string& text) {
    onLoop([&] {
      const IpGenPrefix prefix = *IpGenPrefix::parse(text);
      vrf->routes4()->routeDel(Prefix(prefix));
      vrf->trie4()->routeDel(prefix);
    });
  }

  // Until no review waits any more, however many turns that takes.
  void settle() {
    for (bool settled = false; !settled;) {
      onLoop([&] { settled = !loop->scheduler()->hasRunnable(); });
    }
  }

  // Addresses from 10.0.0.0 on.
  static Proto::RegisterRequest many(const std::string& client, std::uint32_t count) {
    Proto::RegisterRequest request;
    request.set_client(client);
    for (std::uint32_t index = 0; index < count; ++index) {
      addressTo(*request.add_addresses(), IpGenAddr::ipv4(0x0a000000U + index));
    }
    return request;
  }
  static Proto::RegisterRequest registration(const std::string& client,
                                             const std::vector<std::string>& addresses) {
    Proto::RegisterRequest request;
    request.set_client(client);
    for (const std::string& address : addresses) {
      request.add_addresses(bytesOf(address));
    }
    return request;
  }
  static grpc::Status registerAll(Stub& stub, const Proto::RegisterRequest& request) {
    grpc::ClientContext context;
    Proto::RegisterResponse response;
    return stub.Register(&context, request, &response);
  }
  static Proto::WatchRequest watchOf(const std::string& client) {
    Proto::WatchRequest request;
    request.set_client(client);
    return request;
  }

  // "FIELD: REASON" of a refused request.
  static std::string badField(const grpc::Status& status) {
    Proto::BadField details;
    if (!details.ParseFromString(status.error_details())) {
      return "no details";
    }
    return details.field() + ": " + details.reason();
  }

  ServiceOptions options;
  ServiceHooks hooks;
  MemoryRegistrationStore store;
  // Off: as when storing fails.
  std::atomic<bool> flushing = true;
  // Off: as long as the VRF's routes have not been read.
  bool managing = true;
  // What turns are flushed with, and what the service has told of it. On the loop's thread.
  Nanoseconds cause{0};
  std::vector<Nanoseconds> causesTold;
  std::unique_ptr<EventLoop> loop;
  std::unique_ptr<Vrfs> vrfs;
  Vrf* vrf = nullptr;
  std::unique_ptr<ClientService> service;

 private:
  std::string directory_;
  std::thread thread_;
};

}  // namespace Routing::Host
