// show, dump and inspect: what they print, in which order, and what they are limited to.

#include <gtest/gtest.h>

#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

using Show = ReplayFixture;

TEST_F(Show, NothingIsPrintedOfAnEmptyWorld) {
  const Outcome outcome = run(
      "show status\nshow status-vrf\nshow forwarding\nshow map\nshow references\nshow resolvers\n"
      "show tracked\nshow context\nshow tasks\nexpect-none\n");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(Show, StatusIsSortedByClientVrfAndAddressAndCanBeLimited) {
  const std::string entries =
      "status b cell\n"
      "status-entry b v2 fib 10.0.0.1 fec 9 prefix 10.0.0.0/8\n"
      "status-entry b v10 fib 10.0.0.1 fec 9 prefix 10.0.0.0/8\n"
      "status-entry B v1 resolver 2001:db8::1 fec 9 prefix ::/0\n"
      "status-entry B v1 resolver 200.0.0.1 fec 9 prefix 10.0.0.0/8\n"
      "status-entry B v1 resolver 9.0.0.1 fec 9 prefix 10.0.0.0/8\n";
  const std::string tail = " metric=0 preference=1 routeType=0 route6Type=0\n";
  const std::string capital = "status B v1 9.0.0.1 resolved fecId=9 prefix=10.0.0.0/8" + tail +
                              "status B v1 200.0.0.1 resolved fecId=9 prefix=10.0.0.0/8" + tail +
                              "status B v1 2001:db8::1 resolved fecId=9 prefix=::/0" + tail;
  const std::string ten = "status b v10 10.0.0.1 resolved fecId=9 prefix=10.0.0.0/8" + tail;
  const std::string two = "status b v2 10.0.0.1 resolved fecId=9 prefix=10.0.0.0/8" + tail;
  EXPECT_EQ(run(entries + "show status\n").output, capital + ten + two);
  EXPECT_EQ(run(entries + "show status b\n").output, ten + two);
  EXPECT_EQ(run(entries + "show status b v2\n").output, two);
  EXPECT_EQ(run(entries + "show status b v1\n").output, "");
  EXPECT_EQ(run(entries + "show status-vrf\n").output,
            "status-vrf B v1 resolver\nstatus-vrf b v10 fib\nstatus-vrf b v2 fib\n");
  EXPECT_EQ(run(entries + "show status-vrf B\n").output, "status-vrf B v1 resolver\n");
}

TEST_F(Show, NumbersAreSortedByValue) {
  EXPECT_EQ(
      run("published v1 10\npublished v1 9\npublished v1 0xffffffffffffffff\nshow forwarding\n")
          .output,
      "forwarding v1 9 vias=0\nforwarding v1 10 vias=0\n"
      "forwarding v1 18446744073709551615 vias=0\n");
}

// Two VRFs with two clients each, all resolved.
std::string twoVrfs() {
  std::string story = "fec 7 via 10.9.0.1 intf 1\nfec 8\n";
  for (const std::string vrf : {"red", "blue"}) {
    story += "vrf " + vrf + "\nroute " + vrf + " 10.0.0.0/8 fec 8\nroute " + vrf +
             " 2001:db8::/32 fec 7\nmanager " + vrf + "\n";
    for (const std::string client : {"z", "a"}) {
      story += "client " + client + " " + vrf + " resolver\nnexthop " + client + " " + vrf +
               " 2001:db8::1\nnexthop " + client + " " + vrf + " 10.0.0.1\n";
    }
  }
  return story + "run\n";
}

TEST_F(Show, TablesOfAVrfAreSortedAndCanBeLimited) {
  const std::string story = twoVrfs();
  EXPECT_EQ(run(story + "show map\n").output,
            "map blue 7 4\nmap blue 8 5\nmap red 7 4\nmap red 8 5\n");
  EXPECT_EQ(run(story + "show map red\n").output, "map red 7 4\nmap red 8 5\n");
  EXPECT_EQ(run(story + "show map green\n").output, "");
  EXPECT_EQ(run(story + "show references blue\n").output,
            "reference blue 7 a 2001:db8::1\nreference blue 7 z 2001:db8::1\n"
            "reference blue 8 a 10.0.0.1\nreference blue 8 z 10.0.0.1\n");
  EXPECT_EQ(run(story + "show tracked red\n").output,
            "tracked red a 10.0.0.1\ntracked red a 2001:db8::1\n"
            "tracked red z 10.0.0.1\ntracked red z 2001:db8::1\n");
  EXPECT_EQ(run(story + "announce red ipv6 ::/0\nshow resolvers\n").output,
            "resolver blue a resolver queued=0\nresolver blue z resolver queued=0\n"
            "resolver red a resolver queued=1\nresolver red z resolver queued=1\n");
  EXPECT_EQ(run(story + "show forwarding blue\n").output,
            "forwarding blue 4 vias=1\n"
            "  via 10.9.0.1 intf 1 weight 1 label 1048576 action 0 beyond 0\n"
            "forwarding blue 5 vias=0\n");
  EXPECT_EQ(run(story + "show context\n").output, "context blue 6\ncontext red 6\n");
  EXPECT_EQ(run(story + "show context red\n").output, "context red 6\n");
}

TEST_F(Show, TasksAreSortedByNameAndTimersTellTheTimeLeft) {
  const std::string story =
      "published v2 9\ncontext v2 10\nclient c v2 fib\nclient b v2 fib\nmanager v2\n"
      "nexthop c v2 10.0.0.1\nadvance 0.5\npublished v1 9\ncontext v1 10\nmanager v1\n"
      "nexthop b v2 10.0.0.1\n";
  EXPECT_EQ(run(story + "show tasks\nexpect timer NexthopResolverFibViaSmTimer 299.5\n").output,
            "timer NexthopResolverFibViaSmTimer 299.5\ntimer NexthopResolverFibViaSmTimer 300\n"
            "task NexthopReview-v2-b runnable runs=0 work=0\n"
            "task NexthopReview-v2-c idle runs=1 work=1\n");
  EXPECT_EQ(run(story + "advance 299.5\nshow tasks\n").output,
            "timer NexthopResolverFibViaSmTimer 0.5\ntimer NexthopResolverFibViaSmTimer stopped\n"
            "task NexthopReview-v2-b idle runs=1 work=1\n"
            "task NexthopReview-v2-c idle runs=1 work=1\n");
}

TEST_F(Show, EntitiesThatAreGoneAreNotCounted) {
  const Outcome outcome =
      run("client c v1 resolver\nmanager v1\nshow entities\nexpect entity "
          "Routing::NexthopResolverSm 1\n"
          "manager-del v1\nshow entities\nexpect entity Routing::NexthopConfig 1\n");
  EXPECT_EQ(outcome.code, 0) << outcome.errors;
  const std::size_t second = outcome.output.rfind("entity Routing::Dir 5\n");
  ASSERT_NE(second, std::string::npos);
  EXPECT_EQ(outcome.output.find("Sm ", second), std::string::npos) << outcome.output;
}

TEST_F(Show, ShowingMakesNothing) {
  const Outcome outcome = run(
      "show context v1\nshow map v1\nshow status c\nshow context\nexpect-none\nshow entities\n");
  EXPECT_EQ(outcome.output, "entity Routing::TaskScheduler 1\nentity Routing::VirtualClock 1\n");
}

TEST_F(Show, ADumpIsTheIndexAtIndentNought) {
  EXPECT_EQ(run(twoVrfs() + "dump red\n").output,
            "FecIdToClientHop red\n"
            "  NexthopResolverFecIdRef 7\n"
            "    NexthopResolverClientRef z\n      2001:db8::1\n"
            "    NexthopResolverClientRef a\n      2001:db8::1\n"
            "  NexthopResolverFecIdRef 8\n"
            "    NexthopResolverClientRef z\n      10.0.0.1\n"
            "    NexthopResolverClientRef a\n      10.0.0.1\n"
            "ClientNexthop to FecId Map\n"
            "  (z,2001:db8::1) -> 7\n  (z,10.0.0.1) -> 8\n"
            "  (a,2001:db8::1) -> 7\n  (a,10.0.0.1) -> 8\n");
}

TEST_F(Show, AnInspectionListsTypeAttributesAndOperations) {
  const std::string output = run("context v1 57\nmanager v1\ninspect v1 fibvia\n").output;
  EXPECT_TRUE(
      output.starts_with("type Routing::NexthopResolverFibViaSm\n"
                         "attribute vrfName v1\n"))
      << output;
  EXPECT_NE(output.find("attribute currentId 3\nattribute initialized true\n"
                        "operation cleanupNhResVrfFs\n"),
            std::string::npos)
      << output;
  EXPECT_TRUE(output.ends_with("operation handleInitialized\n")) << output;
  EXPECT_NE(run("manager v1\ninspect v1 manager\n").output.find("operation handleClientEntry\n"),
            std::string::npos);
}

}  // namespace
}  // namespace Routing::Replay
