#pragma once

// A namespace of the real kernel, the VRFs, and a KernelRoutes between them: what the daemon has,
// without clients and store. Tests change the kernel's tables and let the loop turn until the VRFs'
// tables say what they should; a deadline ends what never comes.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/kernel/KernelRoutes.h"
#include "platform/task/Clock.h"
#include "platform/task/Task.h"
#include "tests/host/kernel/Namespace.h"
#include "tests/support/Addresses.h"
#include "tests/support/Watcher.h"

namespace Routing::Host::Testing {

class KernelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!net_.missing().empty()) {
      GTEST_SKIP() << "needs " << net_.missing();
    }
    vrf_ = &vrfs_.vrfIs("default", 254);
  }

  // Starts following, and turns until the first reading is complete.
  void follow(const KernelRoutes::Options& options = {}) {
    routes_ = std::make_unique<KernelRoutes>(*loop_, vrfs_, ids_, options);
    routes_->vrfReadyIs([this](Vrf& vrf) { ready_.push_back(vrf.name()); });
    routes_->syncedIs([this] { ++syncs_; });
    routes_->start();
    EXPECT_TRUE(until([this] { return routes_->synced(); }));
  }

  // Turns the loop until the condition holds. False when that took too long.
  bool until(const std::function<bool()>& condition, double seconds = 10) {
    const auto timer = makeEntity<TimerTask>(scheduler_, TaskPriority::mostUrgent, "deadline");
    timer->scheduleTaskLowestDelay(TimerTask::Seconds(seconds));
    while (!condition()) {
      if (!timer->expiry()) {
        return false;
      }
      loop_->runTurn(true);
    }
    return true;
  }
  // Lets the loop turn for so long.
  void turnFor(double seconds) {
    until([] { return false; }, seconds);
  }

  static IpGenPrefix prefix(const std::string& text) { return *IpGenPrefix::parse(text); }

  Fib::Route route(const std::string& text) { return route(*vrf_, text); }
  static Fib::Route route(const Vrf& vrf, const std::string& text) {
    const IpGenPrefix key = prefix(text);
    return key.family() == AddressFamily::ipv4 ? vrf.routes4()->route(Prefix(key))
                                               : vrf.routes6()->route(Ip6Prefix(key));
  }
  // "static metric 100 pref 1 via 10.0.0.2 weight 2, 10.0.0.3"; "absent" when there is none.
  std::string shown(const std::string& text) { return shown(*vrf_, text); }
  static std::string shown(const Vrf& vrf, const std::string& text);
  // Turns until the prefix is shown so, and fails the test with what it is shown as instead.
  void expectShown(const std::string& text, const std::string& expected) {
    expectShown(*vrf_, text, expected);
  }
  void expectShown(const Vrf& vrf, const std::string& text, const std::string& expected) {
    until([&] { return shown(vrf, text) == expected; }, 5);
    EXPECT_EQ(shown(vrf, text), expected) << text;
    EXPECT_EQ(inTrie(vrf, text), expected != "absent") << text;
  }
  static bool inTrie(const Vrf& vrf, const std::string& text) {
    const IpGenPrefix key = prefix(text);
    return (key.family() == AddressFamily::ipv4 ? vrf.trie4() : vrf.trie6())->routeHas(key);
  }

  Namespace net_;
  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(makeEntity<RealClock>());
  std::unique_ptr<EventLoop> loop_ = std::make_unique<EventLoop>(scheduler_);
  Vrfs vrfs_{scheduler_};
  FecIdSource ids_;
  Vrf* vrf_ = nullptr;
  std::vector<VrfName> ready_;
  int syncs_ = 0;
  std::unique_ptr<KernelRoutes> routes_;
};

inline std::string KernelTest::shown(const Vrf& vrf, const std::string& text) {
  const Fib::Route route = KernelTest::route(vrf, text);
  if (route.fecId() == 0) {
    return "absent";
  }
  std::string line = routeTypeName(static_cast<RouteType>(route.routeType()));
  line += " metric " + std::to_string(static_cast<std::uint32_t>(route.metricPref()));
  std::string separator = " via ";
  const FibGen::Fec fec = vrf.fecs()->fec(route.fecId());
  for (const FibGen::Via& via : fec.via()) {
    line += separator + (via.hop ? via.hop.stringValue() : std::string("link"));
    line += via.weight != 1 ? " weight " + std::to_string(via.weight) : std::string();
    separator = ", ";
  }
  return line;
}

}  // namespace Routing::Host::Testing
