#pragma once

// A VRF with its manager, a FibFeed that writes into it, and one client that tracks addresses. Time
// is virtual, tasks run when the test says so.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/feed/FibFeed.h"
#include "platform/task/VirtualTime.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"
#include "tests/support/Addresses.h"
#include "tests/support/Watcher.h"

namespace Routing::Host::Testing {

inline Hop hop(const std::string& address,
               std::uint32_t interface = 1,
               std::uint32_t weight = 1,
               bool dead = false) {
  Hop hop;
  if (!address.empty()) {
    hop.via.hop = Support::addr(address);
  }
  hop.via.intfId.value = interface;
  hop.via.weight = weight;
  hop.dead = dead;
  return hop;
}

class FeedTest : public ::testing::Test {
 protected:
  void SetUp() override {
    vrf_ = &vrfs_.vrfIs("default", 254);
    feed_ = std::make_unique<FibFeed>(*vrf_, ids_, scheduler_);
  }

  void run() { runUntilIdle(*scheduler_); }

  // A client with one nexthop, and the manager that resolves it.
  void track(NexthopStatusFecIdType type, const std::string& address) {
    const auto config = makeEntity<NexthopConfig>("client");
    config->vrfIs("default", type)->nexthopIs({Support::addr(address)});
    status_ = makeEntity<NexthopStatus>("client");
    vrfs_.records().configs->entityIs("client", config);
    vrfs_.records().statuses->entityIs("client", status_);
    vrfs_.managerStart(*vrf_);
    run();
  }
  // The client's entries from now on, one text a write.
  void watchStatus() {
    statusWatcher_ = std::make_unique<Support::Watcher>(
        *status_->vrf("default"),
        [this](FieldId /*field*/, const void* key) {
          const NexthopStatusEntry* entry =
              status_->vrf("default")->nexthop(Support::keyOf<IpGenAddr>(key));
          writes_.push_back(entry == nullptr ? "removed" : entry->stringValue());
        });
  }
  const NexthopStatusEntry& entry(const std::string& address) {
    return *status_->vrf("default")->nexthop(Support::addr(address));
  }
  Fib::Route routeOver(FecId fec, std::uint32_t metric = 0) {
    return {fec, metric, 1, static_cast<std::uint8_t>(RouteType::staticRoute)};
  }
  FecId fecOf(const Hops& hops) { return feed_->fecs().ofHops(AddressFamily::ipv4, hops); }

  Ptr<VirtualClock> clock_ = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(clock_);
  Vrfs vrfs_{scheduler_};
  FecIdSource ids_;
  Vrf* vrf_ = nullptr;
  std::unique_ptr<FibFeed> feed_;
  Ptr<NexthopStatus> status_;
  std::unique_ptr<Support::Watcher> statusWatcher_;
  std::vector<std::string> writes_;
};

}  // namespace Routing::Host::Testing
