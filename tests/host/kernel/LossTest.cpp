// What the real kernel could not deliver: the tables come to equal the kernel's all the same.

#include <cstdint>

#include "tests/host/kernel/KernelWorld.h"

namespace Routing::Host::Testing {
namespace {

class Loss : public KernelTest {
 protected:
  static std::string line(const char* verb, std::uint32_t index) {
    return std::string("route ") + verb + " " + address(index) + "/32 via 10.0.0.2\n";
  }
  static std::string address(std::uint32_t index) {
    return IpGenAddr::ipv4((20U << 24U) + index).stringValue();
  }
  void change(const char* verb, std::uint32_t from, std::uint32_t to) const {
    std::string lines;
    for (std::uint32_t index = from; index < to; ++index) {
      lines += line(verb, index);
    }
    net_.ipBatch(lines);
  }
  // Routes that are not of the kernel's own making.
  std::size_t routes() const { return vrf_->routes4()->routeCount() - own_; }

  std::size_t own_ = 0;
};

TEST_F(Loss, ABatchBeyondTheReceiveBufferIsReadAgainAtMostOnceASecond) {
  constexpr std::uint32_t count = 100'000;
  net_.link("v0", "10.0.0.1/24");
  follow({.receiveBuffer = 4096});
  own_ = vrf_->routes4()->routeCount();
  const Nanoseconds began = scheduler_->clock()->now();
  change("add", 0, count);
  EXPECT_TRUE(until([this] { return routes() == count && routes_->synced(); }, 20));
  EXPECT_GE(routes_->counters().overruns, 1U);
  const TimerTask::Seconds passed = scheduler_->clock()->now() - began;
  const std::uint64_t resyncs = routes_->counters().resyncs;
  EXPECT_GE(resyncs, 1U);
  EXPECT_LE(static_cast<double>(resyncs), passed.count() + 1) << "at most one a second";
  change("del", 0, count - 10);
  EXPECT_TRUE(until([this] { return routes() == 10 && routes_->synced(); }, 20));
  EXPECT_EQ(shown(address(count - 1) + "/32"), "boot metric 0 via 10.0.0.2");
  EXPECT_EQ(vrf_->trie4()->routeCount(), vrf_->routes4()->routeCount());
}

TEST_F(Loss, ReadingAgainWhatHasNotChangedCausesNoEvent) {
  // Otherwise the links' own addresses come a second later.
  net_.sysctl("ipv6/conf/default/accept_dad", "0");
  net_.link("v0", "10.0.0.1/24");
  net_.ip("nexthop add id 1 via 10.0.0.3 dev v0");
  net_.ip("route add 192.0.2.0/24 nhid 1");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.2 metric 1");
  net_.ip("route add 192.0.3.0/24 via 10.0.0.3 metric 2");
  net_.ip("route add 10.0.0.1/32 via 10.0.0.2");
  net_.ip("-6 route add blackhole 2001:db8::/32");
  follow({.receiveBuffer = 4096});
  int events = 0;
  const auto count = [&events](FieldId /*field*/, const void* /*key*/) { ++events; };
  const Support::Watcher routes4(*vrf_->routes4(), count);
  const Support::Watcher routes6(*vrf_->routes6(), count);
  const Support::Watcher trie4(*vrf_->trie4(), count);
  const Support::Watcher trie6(*vrf_->trie6(), count);
  const Support::Watcher fecs(*vrf_->fecs(), count);
  // What is lost is of a table that is not followed.
  change("add table 77", 0, 2000);
  EXPECT_TRUE(until([this] { return routes_->counters().resyncs > 0 && routes_->synced(); }, 20));
  EXPECT_GE(routes_->counters().overruns, 1U);
  EXPECT_EQ(events, 0);
}

}  // namespace
}  // namespace Routing::Host::Testing
