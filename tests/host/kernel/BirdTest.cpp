// A real routing daemon as the source of routes: two of them speak BGP over a veth pair between two
// namespaces, and what the one learns from the other is followed here.

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"
#include "tests/host/kernel/KernelWorld.h"

namespace Routing::Host::Testing {
namespace {

// A process in a namespace of its own, or in the test's, that becomes bird when it is told to.
class Bird {
 public:
  Bird(const std::filesystem::path& folder, const std::string& name, bool ownNamespace)
      : configuration_(folder / (name + ".conf")), socket_(folder / (name + ".ctl")) {
    EXPECT_EQ(::pipe(start_.data()), 0);
    EXPECT_EQ(::pipe(ready_.data()), 0);
    process_ = ::fork();
    if (process_ == 0) {
      child(ownNamespace);
    }
    char byte = 0;
    EXPECT_EQ(::read(ready_[0], &byte, 1), 1);
  }
  Bird(const Bird&) = delete;
  Bird& operator=(const Bird&) = delete;
  ~Bird() {
    end();
    for (const int fd : {start_[0], start_[1], ready_[0], ready_[1]}) {
      ::close(fd);
    }
  }

  pid_t process() const noexcept { return process_; }
  // Runs the command in its namespace, then bird.
  void start(const std::string& configuration) const {
    std::ofstream(configuration_) << configuration;
    EXPECT_EQ(::write(start_[1], "x", 1), 1);
  }
  void end() {
    if (process_ > 0) {
      ::kill(process_, SIGTERM);
      int status = 0;
      ::waitpid(process_, &status, 0);
      process_ = -1;
    }
  }

 private:
  [[noreturn]] void child(bool ownNamespace) const {
    if (ownNamespace && ::unshare(CLONE_NEWNET) != 0) {
      ::_exit(1);
    }
    char byte = 'x';
    if (::write(ready_[1], &byte, 1) != 1 || ::read(start_[0], &byte, 1) != 1) {
      ::_exit(1);
    }
    if (ownNamespace &&
        std::system("ip link set peer up && ip addr add 10.0.0.2/24 dev peer") != 0) {
      ::_exit(1);
    }
    ::execlp("bird", "bird", "-f", "-c", configuration_.c_str(), "-s", socket_.c_str(), nullptr);
    ::_exit(127);
  }

  std::string configuration_;
  std::string socket_;
  std::array<int, 2> start_{};
  std::array<int, 2> ready_{};
  pid_t process_ = -1;
};

class BirdTest : public KernelTest {
 protected:
  void SetUp() override {
    KernelTest::SetUp();
    if (IsSkipped()) {
      return;
    }
    if (std::system("bird --version >/dev/null 2>&1") != 0) {
      GTEST_SKIP() << "needs bird2";
    }
    std::string name = (std::filesystem::temp_directory_path() / "birdXXXXXX").string();
    folder_ = ::mkdtemp(name.data());
  }
  void TearDown() override {
    if (!folder_.empty()) {
      std::filesystem::remove_all(folder_);
    }
  }
  static std::string bgp(int own, int other, const std::string& channel) {
    const std::string number = std::to_string(own);
    return "protocol bgp { local 10.0.0." + number + " as 6500" + number + "; neighbor 10.0.0." +
           std::to_string(other) + " as 6500" + std::to_string(other) +
           "; connect delay time 1; connect retry time 1; error wait time 1, 2; ipv4 { " + channel +
           " }; }\n";
  }
  // The client's nexthop in the default VRF, resolved or not.
  bool resolved(const std::string& address) const {
    const auto status = status_->vrf("default");
    const NexthopStatusEntry* entry = status->nexthop(Support::addr(address));
    return entry != nullptr && entry->resolutionState == NexthopResolutionState::resolved;
  }
  void track(const std::string& address) {
    const auto config = makeEntity<NexthopConfig>("client");
    config->vrfIs("default", NexthopStatusFecIdType::resolverId)
        ->nexthopIs({Support::addr(address)});
    vrfs_.records().configs->entityIs("client", config);
    vrfs_.records().statuses->entityIs("client", status_);
    vrfs_.managerStart(*vrf_);
  }

  std::filesystem::path folder_;
  Ptr<NexthopStatus> status_ = makeEntity<NexthopStatus>("client");
};

TEST_F(BirdTest, RoutesOfARoutingDaemonAppearAndVanishAndNexthopsFollow) {
  net_.ip("link add v0 type veth peer name peer");
  net_.ip("addr add 10.0.0.1/24 dev v0");
  net_.ip("link set v0 up");
  Bird far(folder_, "far", true);
  Bird near(folder_, "near", false);
  net_.ip("link set peer netns " + std::to_string(far.process()));
  follow();
  track("192.0.2.1");
  EXPECT_TRUE(
      until([this] { return status_->vrf("default")->nexthopHas(Support::addr("192.0.2.1")); }));
  EXPECT_FALSE(resolved("192.0.2.1"));
  far.start(
      "router id 10.0.0.2;\nprotocol device {}\nprotocol static { ipv4; "
      "route 192.0.2.0/24 blackhole; route 198.51.100.0/24 blackhole; }\n" +
      bgp(2, 1, "import none; export all;"));
  near.start(
      "router id 10.0.0.1;\nprotocol device {}\n"
      "protocol kernel { ipv4 { import none; export all; }; }\n" +
      bgp(1, 2, "import all; export none;"));
  EXPECT_TRUE(until([this] { return resolved("192.0.2.1"); }, 30));
  EXPECT_EQ(shown("192.0.2.0/24"), "bird metric 32 via 10.0.0.2");
  expectShown("198.51.100.0/24", "bird metric 32 via 10.0.0.2");
  far.end();
  EXPECT_TRUE(until([this] { return !resolved("192.0.2.1"); }, 30));
  expectShown("198.51.100.0/24", "absent");
}

}  // namespace
}  // namespace Routing::Host::Testing
