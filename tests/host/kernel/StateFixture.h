#pragma once

// KernelState without a kernel: messages are made by the test, in whatever order.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/kernel/KernelState.h"
#include "platform/task/VirtualTime.h"
#include "tests/host/kernel/MessageBuilder.h"
#include "tests/support/Addresses.h"
#include "tests/support/Watcher.h"

namespace Routing::Host::Testing {

class StateTest : public ::testing::Test {
 protected:
  using Kind = DumpRequest::Kind;
  static constexpr std::uint16_t exclusive = NLM_F_CREATE | NLM_F_EXCL;
  static constexpr std::uint16_t replace = NLM_F_REPLACE;
  static constexpr std::uint16_t append = NLM_F_CREATE | NLM_F_APPEND;
  static constexpr std::uint16_t prepend = NLM_F_CREATE;

  StateTest() {
    vrf_ = &vrfs_.vrfIs("default", 254);
    blue_ = &vrfs_.vrfIs("blue", 1000);
    state_ = std::make_unique<KernelState>(vrfs_, ids_, scheduler_);
    tell(linkMessage(1, "v1", IFF_UP | IFF_RUNNING));
    tell(linkMessage(2, "v2", IFF_UP | IFF_RUNNING));
  }

  // One notification, and the end of its batch.
  void tell(MessageBuilder message) {
    tellMore(std::move(message));
    state_->batchEnd();
  }
  // One that others follow in the same batch.
  void tellMore(MessageBuilder message) { state_->notification(message.message()); }
  void add(const TestRoute& route, std::uint16_t flags = exclusive) {
    tell(routeMessage(route, RTM_NEWROUTE, flags));
  }
  void remove(const TestRoute& route) { tell(routeMessage(route, RTM_DELROUTE, 0)); }
  void dumped(const TestRoute& route) {
    state_->dumpMessage(routeMessage(route, RTM_NEWROUTE, NLM_F_MULTI).message());
  }
  // One dump of a reading that goes on, and the end of its batch.
  void dumpMore(const DumpRequest& request,
                const std::vector<TestRoute>& routes,
                bool whole = true) {
    state_->dumpBegin(request);
    for (const TestRoute& route : routes) {
      dumped(route);
    }
    state_->dumpEnd(whole);
    state_->batchEnd();
  }
  // A reading of one dump.
  void dump(const DumpRequest& request, const std::vector<TestRoute>& routes, bool whole = true) {
    dumpMore(request, routes, whole);
    state_->readingEnd();
  }
  static DumpRequest main4() { return {Kind::routes, AddressFamily::ipv4, 254, 0}; }
  static DumpRequest main6() { return {Kind::routes, AddressFamily::ipv6, 254, 0}; }
  static DumpRequest local4() { return {Kind::routes, AddressFamily::ipv4, 255, 0}; }

  static TestRoute via(const std::string& prefix,
                       const std::string& gateway,
                       std::uint32_t metric = 0) {
    return {.prefix = prefix, .hops = {{gateway, 1}}, .metric = metric};
  }

  // "10.0.0.2 10.0.0.3", "blackhole", "" for a route to a link, "absent".
  std::string shown(const std::string& text) { return shown(*vrf_, text); }
  std::string shown(const Vrf& vrf, const std::string& text) {
    const Fib::Route route = state_->routes(vrf)->feed().route(Support::prefix(text));
    const auto type = static_cast<RouteType>(route.routeType());
    if (route.fecId() == 0) {
      return "absent";
    }
    if (type == RouteType::local || isBlackhole(type)) {
      return routeTypeName(type);
    }
    std::string line;
    const FibGen::Fec fec = vrf.fecs()->fec(route.fecId());
    for (const FibGen::Via& via : fec.via()) {
      line += (line.empty() ? "" : " ") + via.hop.stringValue();
    }
    return line;
  }
  VrfRoutes::Alternatives alternatives(const std::string& text) {
    return state_->routes(*vrf_)->alternatives(Support::prefix(text));
  }
  // Counts what the default VRF's tables publish from now on.
  void watch() {
    const auto count = [this](FieldId /*field*/, const void* /*key*/) { ++events_; };
    watchers_.push_back(std::make_unique<Support::Watcher>(*vrf_->routes4(), count));
    watchers_.push_back(std::make_unique<Support::Watcher>(*vrf_->routes6(), count));
    watchers_.push_back(std::make_unique<Support::Watcher>(*vrf_->trie4(), count));
    watchers_.push_back(std::make_unique<Support::Watcher>(*vrf_->trie6(), count));
    watchers_.push_back(std::make_unique<Support::Watcher>(*vrf_->fecs(), count));
  }

  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(makeEntity<VirtualClock>());
  Vrfs vrfs_{scheduler_};
  FecIdSource ids_;
  Vrf* vrf_ = nullptr;
  Vrf* blue_ = nullptr;
  std::unique_ptr<KernelState> state_;
  std::vector<std::unique_ptr<Support::Watcher>> watchers_;
  int events_ = 0;
};

}  // namespace Routing::Host::Testing
