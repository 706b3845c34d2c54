// Commands that the golden stories do not tell of: what they do, and that what is absent is left
// alone.

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

using Commands = ReplayFixture;

TEST_F(Commands, RemovingWhatIsAbsentDoesNothing) {
  const Outcome outcome =
      run("trace 0-9\nmanager v1\ntrace off\nwatch on\nfec-del 7\nroute-del v1 10.0.0.0/8\n"
          "table-del v1 10.0.0.0/8\ntrie-del v1 10.0.0.0/8\nconfig-del c\nconfig-vrf-del c v1\n"
          "status-del c\nstatus-del c cell\nrouting v1 ipv4 absent\nclient c v1 fib\n"
          "nexthop-del c v1 10.0.0.1\nrun\nshow resolvers\nexpect resolver v1 c fib queued=0\n");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(Commands, APresentConfigOrStatusIsLeftAlone) {
  EXPECT_EQ(run("manager v1\nclient c v1 fib\ntrace 0-9\nconfig c\nstatus c\n").output, "");
}

TEST_F(Commands, WhatWasRemovedAndIsMadeAgainIsANewObject) {
  // The resolver keeps the routing information that it was made with.
  EXPECT_EQ(run("vrf v1\nroute v1 10.0.0.0/8 fec 7\nmanager v1\nclient c v1 fib\n"
                "nexthop c v1 10.0.0.1\nrouting v1 ipv4 absent\nrouting v1 ipv4 off\nrun\n"
                "show status\nexpect status c v1 10.0.0.1 resolved fecId=7 prefix=10.0.0.0/8 "
                "metric=0 preference=1 routeType=0 route6Type=0\n")
                .code,
            0);
}

TEST_F(Commands, EachWriteOfARouteIsAnnouncedOnce) {
  const std::string announced =
      "trace 8 NexthopResolverSm: [v1:c] handlePrefix add nexthop to review: 10.0.0.1\n"
      "trace 8 NexthopResolverSm: [v1:c] handle4ChangedRoute prefix 10.0.0.0/8 affected 1 "
      "entries\n";
  const std::string start = "manager v1\nclient c v1 fib\nnexthop c v1 10.0.0.1\nrun\ntrace 8\n";
  EXPECT_EQ(run(start + "route v1 10.0.0.0/8 fec 7\n").output, announced);
  EXPECT_EQ(run(start + "route v1 10.0.0.0/8 fec 7\nroute v1 10.0.0.0/8 fec 7\n").output,
            announced + announced);
  EXPECT_EQ(run(start + "route v1 10.0.0.0/8 fec 7\nroute-del v1 10.0.0.0/8\n").output,
            announced + announced);
  EXPECT_EQ(run(start + "trie v1 10.0.0.0/8\ntrie v1 10.0.0.0/8\n").output, announced);
  EXPECT_EQ(run(start + "table v1 10.0.0.0/8 fec 7\n").output, "");
}

TEST_F(Commands, TheTableIsWrittenBeforeTheTrieAndClearedBeforeIt) {
  EXPECT_EQ(run("vrf v1\nmanager v1\nclient c v1 fib\nnexthop c v1 10.0.0.1\nrun\n"
                "trie v1 10.0.0.0/8\nrun\nshow status\nexpect status c v1 10.0.0.1 failed fecId=0 "
                "prefix=- metric=0 preference=1 routeType=0 route6Type=0\n"
                "table v1 10.0.0.0/8 fec 7\nannounce v1 ipv4 10.0.0.0/8\nrun\nshow status\n"
                "expect status c v1 10.0.0.1 resolved fecId=7 prefix=10.0.0.0/8 metric=0 "
                "preference=1 routeType=0 route6Type=0\n")
                .code,
            0);
}

TEST_F(Commands, AnAnnouncementGoesToTheFamilyThatIsNamed) {
  const std::string story = "manager v1\nclient c v1 fib\ntrace 8\n";
  EXPECT_EQ(run(story + "announce v1 ipv6\n").output,
            "trace 8 NexthopResolverSm: [v1:c] handle6ChangedRoute prefix - (ignored)\n");
  EXPECT_EQ(run(story + "announce v1 ipv6 2001:db8::/32\n").output,
            "trace 8 NexthopResolverSm: [v1:c] handle6ChangedRoute prefix 2001:db8::/32 ignored "
            "(no match)\n");
}

TEST_F(Commands, TheUnsetAddressCanBeConfiguredAndCountsAsAbsent) {
  const Outcome outcome =
      run("vrf v1\nmanager v1\nclient c v1 fib\nwatch on\nnexthop c v1 none\nrun\n"
          "nexthop-del c v1 none\nrun\nshow status\nexpect-none\nshow tracked\nexpect-none\n");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.code, 0) << outcome.errors;
}

TEST_F(Commands, AnOperationIsCalledByNameAndItsResultPrinted) {
  EXPECT_EQ(run("published v1 2\nmanager v1\ninvoke v1 fibvia numResIdsForReservedFecIds\n").output,
            "result 1\n");
  EXPECT_EQ(run("manager v1\nfec 0x1f via 10.9.0.1 intf 1\nwatch on\n"
                "invoke v1 fibvia allocateResolverIdForGenFecId 0x1f\n")
                .output,
            "context v1 5\nforwarding v1 4 vias=1\nmap v1 31 4\n");
  EXPECT_EQ(run("manager v1\ntrace 8\ninvoke v1 manager handleClient c v2\n").output,
            "trace 8 NexthopResolverManager: [v1] handleClient c vrf v2\n"
            "trace 8 NexthopResolverManager: [v1] handleClient c ignore update for vrf v2\n");
}

TEST_F(Commands, TheWatchFollowsTheManagerToANewIndexAndMap) {
  EXPECT_EQ(run("vrf v1\nfec 7\nroute v1 10.0.0.0/8 fec 7\nmanager v1\nwatch on\n"
                "invoke v1 manager handleInitialized\nclient c v1 resolver\n"
                "nexthop c v1 10.0.0.1\nrun\n")
                .output,
            "context v1 4\nstatus-vrf c v1 resolver\n"
            "context v1 5\nforwarding v1 4 vias=0\nmap v1 7 4\nreference v1 7\n"
            "client-reference v1 7 c\nkey v1 c 10.0.0.1 7\n"
            "status c v1 10.0.0.1 resolved fecId=4 prefix=10.0.0.0/8 metric=0 preference=1 "
            "routeType=0 route6Type=0\n");
}

TEST_F(Commands, TheWatchKeepsNothingAlive) {
  const std::string story =
      "client c v1 resolver\nvrf v1\nfec 7\nroute v1 10.0.0.0/8 fec 7\nmanager v1\n"
      "nexthop c v1 10.0.0.1\nrun\nmanager-del v1\nstatus-del c\nconfig-del c\nshow entities\n";
  const std::string watched = run("watch on\n" + story).output;
  EXPECT_EQ(watched.substr(watched.find("entity ")), run(story).output);
}

TEST_F(Commands, TraceLevelsAreChosenOneByOneAndAsRanges) {
  const std::string story = "manager v1\n";
  const std::string two =
      "trace 2 NexthopResolverFibViaSm: [v1] handleInitialized ResolverId reset from 4 as no "
      "ResolverId is presently allocated\n"
      "trace 2 NexthopResolverFibViaSm: [v1] handleInitialized resolverId starting at 3\n";
  const std::string eight = "trace 8 NexthopResolverManager: [v1] handleInitialized\n";
  EXPECT_EQ(run(story).output, "");
  EXPECT_EQ(run("trace 2\n" + story).output, two);
  EXPECT_EQ(run("trace 0-7\n" + story).output, two);
  EXPECT_EQ(run("trace 1,8\n" + story).output, eight);
  EXPECT_EQ(run("trace 2,8\n" + story).output, eight + two);
  EXPECT_EQ(run("trace 2,8\ntrace off\n" + story).output, "");
}

TEST_F(Commands, AnEchoPrintsTheRestOfTheLineAsItStands) {
  EXPECT_EQ(run("echo one  two\n  echo # no comment\necho\necho  blank\t\r\n# echo\n").output,
            "one  two\n# no comment\n\n blank\t\n");
  EXPECT_EQ(run("echo#a comment\n").output, "\n");
}

TEST_F(Commands, AnExpectationReadsNothingOutOfAComment) {
  const Outcome outcome = run("show status\nexpect#a comment\n");
  EXPECT_EQ(outcome.code, 2);
  EXPECT_EQ(outcome.errors, "-:2: error: missing word: LINE\n");
}

TEST_F(Commands, AForeignEntryOfRoutingInformationCountsAsNone) {
  EXPECT_EQ(run("foreign routing4 v1\nrouting v1 ipv6 on\nroute v1 10.0.0.0/8 fec 7\nmanager v1\n"
                "client c v1 fib\nnexthop c v1 10.0.0.1\nrun\nwatch on\nmanager-del v1\n")
                .output,
            "status-del c v1 10.0.0.1\nstatus-vrf-del c v1\n");
}

TEST_F(Commands, AForeignStatusEntryStopsAManager) {
  EXPECT_EQ(run("manager v1\nforeign status c\n").code, -SIGABRT);
  EXPECT_EQ(run("manager v1\nforeign cell c\n").code, -SIGABRT);
}

TEST_F(Commands, AReplacedConfigurationIsEmptyAndNew) {
  EXPECT_EQ(run("vrf v1\nmanager v1\nclient c v1 fib\nwatch on\nreplace config c\nshow resolvers\n"
                "client c v1 fib\n")
                .output,
            "status-vrf-del c v1\nstatus-vrf c v1 fib\n");
}

TEST_F(Commands, ARenotifiedEntryThatIsKnownChangesNothing) {
  EXPECT_EQ(
      run("manager v1\nclient c v1 fib\ntrace 0-9\nrenotify config c\nrenotify status c\n").output,
      "trace 8 NexthopResolverManager: [v1] handleClientConfigDir c\n"
      "trace 8 NexthopResolverManager: [v1] handleClientStatusDir c\n");
}

TEST_F(Commands, StepRunsOneTask) {
  const std::string story =
      "vrf v1\nmanager v1\nclient a v1 fib\nclient b v1 fib\nnexthop a v1 10.0.0.1\n"
      "nexthop b v1 10.0.0.1\n";
  const auto resolvers = [](int a, int b) {
    return "resolver v1 a fib queued=" + std::to_string(a) +
           "\nresolver v1 b fib queued=" + std::to_string(b) + "\n";
  };
  EXPECT_EQ(
      run(story + "show resolvers\nstep\nshow resolvers\nstep\nshow resolvers\nstep\n").output,
      resolvers(1, 1) + resolvers(0, 1) + resolvers(0, 0));
}

TEST_F(Commands, TheSameFilePrintsTheSameTwice) {
  const std::string story =
      write("story",
            "trace 0-9\nwatch on\nfec 7 via 10.9.0.1 intf 1\nvrf v1\nroute v1 10.0.0.0/8 fec 7\n"
            "client c v1 resolver\nclient d v1 fib\nnexthop c v1 10.0.0.1\nnexthop d v1 10.0.0.2\n"
            "manager v1\nrun\nshow entities\ninspect v1 manager\nfec-del 7\nadvance "
            "301\nmanager-del v1\n");
  EXPECT_EQ(runWith(story).output, runWith(story).output);
}

}  // namespace
}  // namespace Routing::Replay
