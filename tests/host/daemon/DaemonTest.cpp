// The daemon on the real kernel: what its clients see.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <sstream>

#include "tests/host/daemon/DaemonProcess.h"

namespace Routing::Host::Testing {
namespace {

// What a shell command prints.
std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* const pipe = ::popen(command.c_str(), "re");
  EXPECT_NE(pipe, nullptr);
  for (int byte = 0; pipe != nullptr && (byte = std::fgetc(pipe)) != EOF;) {
    output.push_back(static_cast<char>(byte));
  }
  EXPECT_EQ(pipe == nullptr ? -1 : ::pclose(pipe), 0) << command;
  return output;
}

using Lines = std::map<std::string, std::string>;

TEST_F(DaemonTest, TrackedNexthopsFollowTheKernelsRoutes) {
  net_.link("eth0", "192.0.2.1/24");
  start();
  registerAll("bgp", Proto::IDENTIFIER_KIND_FIB, {"192.0.2.9", "10.1.2.3", "2001:db8::1"});
  EXPECT_EQ(awaitLines("bgp",
                       {{"192.0.2.9", "resolved 192.0.2.0/24"},
                        {"10.1.2.3", "failed no-route"},
                        {"2001:db8::1", "failed no-route"}})
                .at("192.0.2.9"),
            "resolved 192.0.2.0/24");

  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  EXPECT_EQ(awaitLines("bgp",
                       {{"192.0.2.9", "resolved 192.0.2.0/24"},
                        {"10.1.2.3", "resolved 10.0.0.0/8"},
                        {"2001:db8::1", "failed no-route"}})
                .at("10.1.2.3"),
            "resolved 10.0.0.0/8");

  net_.ip("route add 10.1.0.0/16 via 192.0.2.10");
  net_.ip("route del 10.0.0.0/8");
  const Lines last{{"192.0.2.9", "resolved 192.0.2.0/24"},
                   {"10.1.2.3", "resolved 10.1.0.0/16"},
                   {"2001:db8::1", "failed no-route"}};
  EXPECT_EQ(awaitLines("bgp", last), last);
}

// Recordings of a run and of the one after it, which finds its state.
class Recorded : public DaemonTest {
 protected:
  std::string recording() const { return directory_ + "/day.replay"; }
  // Waits for the lines; what a replay of the recording must show in the end.
  std::string standing(const Lines& lines) const {
    EXPECT_EQ(awaitLines("bgp", lines), lines);
    std::string text;
    for (const auto& [address, line] : snapshot("bgp")) {
      const std::string prefix = line.text.substr(line.text.find(' ') + 1);
      text +=
          "status bgp default " + address +
          (line.identifier == 0 ? " failed fecId=0 prefix=- metric=0 preference=1 routeType=0"
                                : " resolved fecId=" + std::to_string(line.identifier) +
                                      " prefix=" + prefix + " metric=0 preference=1 routeType=3") +
          " route6Type=0\n";
    }
    return text;
  }
  static std::string replayed(const std::string& file) {
    return outputOf("echo show status | " NEXTHOP_REPLAY " " + file + " -");
  }
};

TEST_F(Recorded, WhatItRecordsPlaysBackToTheSameStatus) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  start({"--record", recording()});
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3", "172.16.0.1"});
  standing({{"10.1.2.3", "resolved 10.0.0.0/8"}, {"172.16.0.1", "failed no-route"}});
  net_.ip("route add 172.16.0.0/12 via 192.0.2.10");
  standing({{"10.1.2.3", "resolved 10.0.0.0/8"}, {"172.16.0.1", "resolved 172.16.0.0/12"}});
  net_.ip("route replace 10.0.0.0/8 via 192.0.2.11");
  net_.ip("route del 172.16.0.0/12");
  net_.ip("route add 10.1.0.0/16 via 192.0.2.12");
  const Lines lines{{"10.1.2.3", "resolved 10.1.0.0/16"}, {"172.16.0.1", "failed no-route"}};
  const std::string first = standing(lines);
  end(SIGTERM);
  EXPECT_EQ(replayed(recording()), first);

  start({"--record", recording()});
  standing(lines);
  net_.ip("route del 10.1.0.0/16");
  const std::string second =
      standing({{"10.1.2.3", "resolved 10.0.0.0/8"}, {"172.16.0.1", "failed no-route"}});
  end(SIGTERM);
  EXPECT_EQ(replayed(recording() + ".1"), first);
  EXPECT_EQ(replayed(recording()), second);
}

TEST_F(DaemonTest, ItsFiguresAreServedWhenAskedFor) {
  net_.link("eth0", "192.0.2.1/24");
  start({"--metrics", "9477"});
  const auto stream = attach("bgp");
  EXPECT_TRUE(stream->snapshot().empty());
  registerAll("bgp", Proto::IDENTIFIER_KIND_FIB, {"10.1.2.3"});
  const Lines failed{{"10.1.2.3", "failed no-route"}};
  ASSERT_EQ(awaitLines("bgp", failed), failed);
  const auto figure = [](const std::string& sample) {
    return outputOf("curl -s http://127.0.0.1:9477/metrics").find("\n" + sample + "\n") !=
           std::string::npos;
  };
  EXPECT_TRUE(figure("nexthopd_registrations 1"));
  EXPECT_TRUE(figure("nexthopd_synced 1"));
  EXPECT_TRUE(figure("nexthopd_notice_delay_seconds_count 0"));
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  EXPECT_TRUE(until([&] { return figure("nexthopd_notice_delay_seconds_count 1"); }));
  EXPECT_TRUE(figure("nexthopd_notice_delay_seconds_bucket{le=\"3.0\"} 1"));
}

// As nexthopd.service has it start: with these capabilities and no other.
TEST_F(DaemonTest, TheServicesCapabilitiesAreEnoughForTheSocketsGroup) {
  const std::string unit = outputOf("sed -n 's/^CapabilityBoundingSet=//p' " NEXTHOPD_UNIT);
  std::string bounds = "-all";
  std::istringstream words(unit);
  for (std::string word; words >> word;) {
    bounds += ",+" + word.substr(std::string("CAP_").size());
  }
  std::transform(bounds.begin(), bounds.end(), bounds.begin(), [](unsigned char letter) {
    return static_cast<char>(std::tolower(letter));
  });
  // A group of somebody else's, unless this is a namespace that knows of none.
  const std::string group = ::chown(directory_.c_str(), 0, 1) == 0 ? "1" : "0";
  wrapper_ = {"setpriv", "--bounding-set", bounds};
  start({"--socket-group", group});
  struct stat status {};
  ASSERT_EQ(::stat((directory_ + "/socket").c_str(), &status), 0);
  EXPECT_EQ(std::to_string(status.st_gid), group);
}

TEST_F(DaemonTest, DevRunShowsThisMachinesGatewaysAndEndsWithoutATerminal) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add default via 192.0.2.254");
  net_.ip("route add 0.0.0.0/1 via 192.0.2.253");
  net_.ip("-6 address add 2001:db8::1/64 dev eth0 nodad");
  net_.ip("-6 route add default via 2001:db8::fe");
  const std::string output = outputOf("NEXTHOP_BIN=" NEXTHOP_BIN " " NEXTHOP_DEV " run </dev/null");
  using ::testing::ContainsRegex;
  EXPECT_THAT(output, ContainsRegex("demo +default +192.0.2.254 +resolved +- +192.0.2.0/24"));
  EXPECT_THAT(output, ContainsRegex("demo +default +2001:db8::fe +resolved +- +2001:db8::/64"));
  EXPECT_THAT(output, ContainsRegex("demo +default +203.0.113.1 +failed +default-route-only"));
  EXPECT_EQ(output.find("192.0.2.253 "), std::string::npos) << output;
}

TEST_F(DaemonTest, ASignalEndsItWithZero) {
  for (const int signal : {SIGTERM, SIGINT}) {
    start();
    const int status = end(signal);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
}

TEST_F(DaemonTest, ASecondDaemonOnTheSameStoreEndsWithOne) {
  start();
  std::string command = NEXTHOPD " --store ";
  command += directory_ + "/state --socket " + directory_ + "/other 2>/dev/null";
  const int status = std::system(command.c_str());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
}

TEST_F(DaemonTest, AWrongArgumentEndsWithTwo) {
  for (const char* argument :
       {"--vrf red", "--vrf =10", "--vrf red=0", "--vrf loc=255", "--tls a:1", "--nothing"}) {
    const std::string command = std::string(NEXTHOPD " ") + argument + " 2>/dev/null >&2";
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 2) << argument;
  }
}

TEST_F(DaemonTest, TwoTablesAreTwoVrfs) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9 table 1000");
  start({"--vrf", "default=254", "--vrf", "red=1000"});
  EXPECT_TRUE(forwarding("red").empty());
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3"});
  registerAll("bgp-red", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3"}, "red");
  const Lines inDefault{{"10.1.2.3", "failed no-route"}};
  EXPECT_EQ(awaitLines("bgp", inDefault), inDefault);
  const Lines inRed{{"10.1.2.3", "resolved 10.0.0.0/8"}};
  EXPECT_EQ(awaitLines("bgp-red", inRed), inRed);
  EXPECT_EQ(forwarding("red").size(), 1U);
  EXPECT_TRUE(forwarding("default").empty());
  net_.ip("route add 10.1.0.0/16 via 192.0.2.9 table 1000");
  const Lines longer{{"10.1.2.3", "resolved 10.1.0.0/16"}};
  EXPECT_EQ(awaitLines("bgp-red", longer), longer);
  EXPECT_EQ(awaitLines("bgp", inDefault), inDefault);
}

}  // namespace
}  // namespace Routing::Host::Testing
