// The daemon killed and started again: what clients and the forwarding plane find.

#include <algorithm>
#include <csignal>
#include <iterator>
#include <random>
#include <thread>

#include "tests/host/daemon/DaemonProcess.h"
#include "tests/support/Seed.h"

namespace Routing::Host::Testing {
namespace {

using Lines = std::map<std::string, std::string>;

class RestartTest : public DaemonTest {
 protected:
  // Timers run a thousand times as fast: 300 seconds are 0.3.
  static std::vector<std::string> fast() { return {"--clock-rate", "1000", "--grace", "3600"}; }

  std::set<std::uint64_t> published() const {
    std::set<std::uint64_t> identifiers;
    for (const auto& [identifier, unused] : forwarding()) {
      identifiers.insert(identifier);
    }
    return identifiers;
  }
  static std::set<std::uint64_t> common(const std::set<std::uint64_t>& left,
                                        const std::set<std::uint64_t>& right) {
    std::set<std::uint64_t> both;
    std::set_intersection(left.begin(),
                          left.end(),
                          right.begin(),
                          right.end(),
                          std::inserter(both, both.end()));
    return both;
  }
};

TEST_F(RestartTest, RegistrationsAndStatusSurviveAKill) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3", "172.16.0.1"});
  const Lines expected{{"10.1.2.3", "resolved 10.0.0.0/8"}, {"172.16.0.1", "failed no-route"}};
  ASSERT_EQ(awaitLines("bgp", expected), expected);

  end(SIGKILL);
  start();

  EXPECT_EQ(awaitLines("bgp", expected), expected);
  EXPECT_EQ(info().run(), 2U);
}

TEST_F(RestartTest, WhatAnEarlierRunPublishedStaysUntilTheCleanUp) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  const Lines expected{{"10.1.2.3", "resolved 10.0.0.0/8"}};
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3"});
  ASSERT_EQ(awaitLines("bgp", expected), expected);
  const std::uint64_t earlier = snapshot("bgp").at("10.1.2.3").identifier;
  end(SIGKILL);

  start();
  ASSERT_EQ(awaitLines("bgp", expected), expected);
  const std::uint64_t later = snapshot("bgp").at("10.1.2.3").identifier;
  EXPECT_NE(later, earlier);
  EXPECT_EQ(published(), (std::set<std::uint64_t>{earlier, later}));
  end(SIGKILL);

  start(fast());
  ASSERT_EQ(awaitLines("bgp", expected), expected);
  const std::uint64_t last = snapshot("bgp").at("10.1.2.3").identifier;
  EXPECT_TRUE(until([&] { return published() == std::set<std::uint64_t>{last}; }));
}

TEST_F(RestartTest, ADamagedStoreIsSetAsideAndTheDaemonStarts) {
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_FIB, {"10.1.2.3"});
  end(SIGKILL);
  ASSERT_EQ(std::system(("echo damaged > " + directory_ + "/state/data.mdb").c_str()), 0);
  start();
  EXPECT_TRUE(snapshot("").empty());
  EXPECT_EQ(std::system(("test -e " + directory_ + "/state/data.mdb.aside-1").c_str()), 0);
}

// Whatever the daemon was doing: no identifier comes back, no registration is lost, and in the end
// clients are told what the kernel says.
TEST_F(RestartTest, KilledAtAnyMomentUnderLoadItLosesNothingAndReusesNothing) {
  constexpr int kills = 50;
  constexpr int prefixes = 64;
  net_.link("eth0", "192.0.2.1/24");
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  std::vector<std::string> addresses;
  for (int index = 0; index < prefixes; ++index) {
    addresses.push_back("10." + std::to_string(index) + ".0.1");
  }
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, addresses);
  end(SIGKILL);

  const auto change = [&] {
    std::string lines;
    for (int line = 0; line < 200; ++line) {
      lines += "route replace 10." + std::to_string(random() % prefixes) + ".0.0/16 via 192.0.2." +
               std::to_string(2 + random() % 40) + "\n";
    }
    net_.ipBatch(lines);
  };
  std::set<std::uint64_t> ofEarlierRuns;
  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    ASSERT_NO_FATAL_FAILURE(start());
    const std::set<std::uint64_t> inherited = common(ofEarlierRuns, published());
    std::thread load(change);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 40000));
    EXPECT_EQ(common(ofEarlierRuns, published()), inherited);
    const auto found = snapshot("bgp");
    EXPECT_EQ(found.size(), addresses.size());
    for (const auto& [address, line] : found) {
      EXPECT_FALSE(ofEarlierRuns.count(line.identifier)) << address << " " << line.text;
    }
    const std::set<std::uint64_t> last = published();
    end(SIGKILL);
    load.join();
    ofEarlierRuns.insert(last.begin(), last.end());
  }
  EXPECT_GT(ofEarlierRuns.size(), static_cast<std::size_t>(kills));

  start();
  Lines expected;
  for (int index = 0; index < prefixes; ++index) {
    const std::string prefix = "10." + std::to_string(index) + ".0.0/16";
    net_.ip("route replace " + prefix + " via 192.0.2.77");
    expected["10." + std::to_string(index) + ".0.1"] = "resolved " + prefix;
  }
  EXPECT_EQ(awaitLines("bgp", expected), expected);
}

}  // namespace
}  // namespace Routing::Host::Testing
