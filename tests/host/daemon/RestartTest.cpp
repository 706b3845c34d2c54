// The daemon killed and started again: what clients and the forwarding plane find.

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <random>
#include <thread>

#include "host/service/Messages.h"
#include "host/store/StateStore.h"
#include "host/store/StoreReader.h"
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
}

TEST_F(RestartTest, ALaterRunHasAGreaterNumberWithAndWithoutAStore) {
  std::uint64_t last = 0;
  const std::vector<std::string> stored;
  const std::vector<std::string> notStored{"--no-store"};
  for (const auto& arguments : {notStored, stored, stored, notStored}) {
    start(arguments);
    EXPECT_GT(info().run(), last);
    last = info().run();
    end(SIGKILL);
  }
}

TEST_F(RestartTest, ALaterRunHasAGreaterNumberWhenTheClockWasSetBack) {
  constexpr std::uint64_t future = std::uint64_t{1} << 63U;
  {
    StateStore store(directory_ + "/state");
    store.metaNumberIs("run", future);
    store.commit();
  }
  start();
  EXPECT_EQ(info().run(), future + 1);
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
  const std::uint64_t run = info().run();
  end(SIGKILL);
  ASSERT_EQ(std::system(("echo damaged > " + directory_ + "/state/data.mdb").c_str()), 0);
  start();
  EXPECT_TRUE(snapshot("").empty());
  EXPECT_GT(info().run(), run);
  EXPECT_EQ(std::system(("test -e " + directory_ + "/state/data.mdb.aside-1").c_str()), 0);
}

// Whatever the daemon was doing: its clients come back, no identifier comes back, none that was
// published goes, no registration is lost, and in the end clients are told what the kernel says.
class KilledUnderLoad : public RestartTest {
 protected:
  static constexpr unsigned prefixes = 64;

  static std::string addressIn(unsigned prefix) { return "10." + std::to_string(prefix) + ".0.1"; }
  static std::string prefixText(unsigned prefix) {
    return "10." + std::to_string(prefix) + ".0.0/16";
  }
  // Changes routes until it is told to end.
  void changeRoutes(std::uint64_t seed, const std::atomic<bool>& end) const {
    std::mt19937_64 random(seed);
    while (!end) {
      std::string lines;
      for (int line = 0; line < 50; ++line) {
        lines += "route replace " + prefixText(static_cast<unsigned>(random() % prefixes)) +
                 " via 192.0.2." + std::to_string(2 + random() % 40) + "\n";
      }
      net_.ipBatch(lines);
    }
  }
  // What the daemon had published when it ended.
  std::set<std::uint64_t> stored() const {
    std::set<std::uint64_t> identifiers;
    const StoreReader reader(directory_ + "/state");
    reader.walkForwarding("default", [&identifiers](const NexthopResolverIdVia& record) {
      identifiers.insert(record.resolverId().value());
    });
    return identifiers;
  }
  // Attaches as the client, which finds its nexthops: with identifiers of this run as soon as they
  // have been looked at.
  std::unique_ptr<WatchedStream> attached() const {
    auto stream = attach("bgp");
    const auto found = stream->snapshot();
    EXPECT_EQ(found.size(), prefixes);
    for (const auto& [address, line] : found) {
      EXPECT_TRUE(line.stale || ofEarlierRuns_.count(line.identifier) == 0)
          << address << " " << line.text;
    }
    return stream;
  }

  std::set<std::uint64_t> ofEarlierRuns_;
};

TEST_F(KilledUnderLoad, AtAnyMomentItLosesNothingAndReusesNothing) {
  constexpr int kills = 50;
  net_.link("eth0", "192.0.2.1/24");
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  std::vector<std::string> addresses;
  for (unsigned index = 0; index < prefixes; ++index) {
    addresses.push_back(addressIn(index));
  }
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, addresses);
  end(SIGKILL);

  for (int kill = 0; kill < kills; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    const std::set<std::uint64_t> inherited = stored();
    std::atomic<bool> ended = false;
    std::thread load([&, loadSeed = random()] { changeRoutes(loadSeed, ended); });
    start();
    const auto stream = attached();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 40000));
    EXPECT_EQ(common(inherited, published()), inherited);
    end(SIGKILL);
    ended = true;
    load.join();
    for (const auto& [address, line] : stream->rest()) {
      EXPECT_EQ(ofEarlierRuns_.count(line.identifier), 0U) << address << " " << line.text;
    }
    EXPECT_EQ(stream->finish().error_code(), grpc::StatusCode::UNAVAILABLE);
    const std::set<std::uint64_t> last = stored();
    ofEarlierRuns_.insert(last.begin(), last.end());
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(ofEarlierRuns_.size(), static_cast<std::size_t>(kills));

  start();
  Lines expected;
  for (unsigned index = 0; index < prefixes; ++index) {
    net_.ip("route replace " + prefixText(index) + " via 192.0.2.77");
    expected[addressIn(index)] = "resolved " + prefixText(index);
  }
  EXPECT_EQ(awaitLines("bgp", expected), expected);
}

// The turn's records are stored before its clients are told, and a turn that cannot be stored is
// nobody's.
TEST_F(RestartTest, WhatCannotBeStoredIsToldToNobody) {
  // Else the limit would end the daemon by a signal.
  ::signal(SIGXFSZ, SIG_IGN);
  start();
  ::signal(SIGXFSZ, SIG_DFL);
  const auto stream = attach("bgp");
  EXPECT_TRUE(stream->snapshot().empty());
  const rlimit full{std::filesystem::file_size(directory_ + "/state/data.mdb"), RLIM_INFINITY};
  ASSERT_EQ(::prlimit(pid(), RLIMIT_FSIZE, &full, nullptr), 0);

  Proto::RegisterRequest request;
  request.set_client("bgp");
  for (std::uint32_t index = 0; index < 5000; ++index) {
    addressTo(*request.add_addresses(), IpGenAddr::ipv4(0x0a000000U + index));
  }
  EXPECT_FALSE(tryRegister(request).ok());
  const int status = awaitEnd();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
  EXPECT_TRUE(stream->rest().empty());

  start();
  EXPECT_TRUE(snapshot("").empty());
}

}  // namespace
}  // namespace Routing::Host::Testing
