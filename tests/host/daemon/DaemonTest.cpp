// The daemon on the real kernel: what its clients see.

#include <sys/wait.h>

#include <csignal>
#include <cstdio>

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

TEST_F(DaemonTest, WhatItRecordsPlaysBackToTheSameStatus) {
  net_.link("eth0", "192.0.2.1/24");
  net_.ip("route add 10.0.0.0/8 via 192.0.2.9");
  start({"--record", directory_ + "/record.replay"});
  registerAll("bgp", Proto::IDENTIFIER_KIND_RESOLVER, {"10.1.2.3", "172.16.0.1"});
  const Lines lines{{"10.1.2.3", "resolved 10.0.0.0/8"}, {"172.16.0.1", "failed no-route"}};
  ASSERT_EQ(awaitLines("bgp", lines), lines);
  const std::string identifier = std::to_string(snapshot("bgp").at("10.1.2.3").identifier);
  end(SIGTERM);

  const std::string command =
      "echo show status | " NEXTHOP_REPLAY " " + directory_ + "/record.replay -";
  EXPECT_EQ(outputOf(command),
            "status bgp default 10.1.2.3 resolved fecId=" + identifier +
                " prefix=10.0.0.0/8 metric=0 preference=1 routeType=3 route6Type=0\n"
                "status bgp default 172.16.0.1 failed fecId=0 prefix=- metric=0 preference=1 "
                "routeType=0 route6Type=0\n");
}

TEST_F(DaemonTest, ItsFiguresAreServedWhenAskedFor) {
  start({"--metrics", "9477"});
  registerAll("bgp", Proto::IDENTIFIER_KIND_FIB, {"10.1.2.3"});
  const std::string figures = outputOf("curl -s http://127.0.0.1:9477/metrics");
  EXPECT_NE(figures.find("\nnexthopd_registrations 1\n"), std::string::npos) << figures;
  EXPECT_NE(figures.find("\nnexthopd_synced 1\n"), std::string::npos) << figures;
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
  const Lines inDefault{{"10.1.2.3", "failed no-route"}};
  EXPECT_EQ(awaitLines("bgp", inDefault), inDefault);
}

}  // namespace
}  // namespace Routing::Host::Testing
