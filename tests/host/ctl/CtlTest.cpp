// What nexthopctl prints of a daemon's answers, whole, and how it ends.

#include "host/feed/RouteType.h"
#include "tests/host/ctl/CtlFixture.h"

namespace Routing::Host {
namespace {

constexpr auto staticRoute = static_cast<std::uint8_t>(RouteType::staticRoute);

class Nexthopctl : public CtlFixture {};

TEST_F(Nexthopctl, ResolvePrintsARowForEachAddressInOrder) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  const CtlRun resolve = run("resolve 10.1.2.3 2001:db8::1");
  EXPECT_EQ(resolve.output,
            "ADDRESS      STATE     REASON    PREFIX      TYPE    METRIC  FEC  VIA\n"
            "10.1.2.3     resolved  -         10.0.0.0/8  static  20      12   192.0.2.1 dev eth1\n"
            "2001:db8::1  failed    no-route  -           -       -       -    -\n");
  EXPECT_EQ(resolve.errors, "");
  EXPECT_EQ(resolve.exitCode, 1);
  EXPECT_EQ(run("resolve 10.1.2.3").exitCode, 0);
}

TEST_F(Nexthopctl, ResolvePrintsEachViaOnALineOfItsOwn) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  onLoop([this] {
    FibGen::Fec fec(12);
    FibGen::Via labelled{IntfId{2}, 3, *IpGenAddr::parse("192.0.2.2"), {}};
    labelled.labelAndAction.labelIs(16);
    fec.viaIs(labelled);
    fec.viaIs({IntfId{3}, 1, IpGenAddr(), {}});
    vrf->fecs()->fecIs(fec);
  });
  EXPECT_EQ(
      output("resolve 10.1.2.3"),
      "ADDRESS   STATE     REASON  PREFIX      TYPE    METRIC  FEC  VIA\n"
      "10.1.2.3  resolved  -       10.0.0.0/8  static  20      12   192.0.2.2 dev eth2 weight 3 "
      "label 16\n"
      "                                                             dev eth3\n");
}

TEST_F(Nexthopctl, ResolveAsJsonIsAnObjectALine) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  EXPECT_EQ(output("resolve 10.1.2.3 10.1.2.4 --min-length 9 --json | head -n 1"),
            R"({"addr":"10.1.2.3","state":"failed","reason":"prefix-too-short",)"
            R"("identifier":null,"previousIdentifier":null,"prefix":"10.0.0.0/8","metric":20,)"
            R"("preference":1,"routeType":"static","epoch":0,"changedAt":null,"stale":false,)"
            R"("vias":[]})"
            "\n");
}

TEST_F(Nexthopctl, ExplainTellsWhichPrefixWonAndWhyTheOthersDidNot) {
  hooks.kernelRoutes = [](const Vrf&, const IpGenPrefix& prefix) {
    return std::vector<std::string>{"static metric 20 via 192.0.2.1 dev eth1 for " +
                                    prefix.stringValue()};
  };
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  routeIs("10.1.0.0/16", 13, staticRoute);
  const CtlRun explain = run("explain 10.1.2.3");
  EXPECT_EQ(
      explain.output,
      "10.1.2.3 resolved by 10.1.0.0/16\n"
      "  via 192.0.2.1 dev eth1\n"
      "prefixes that cover it, the longest first\n"
      "  PREFIX       VERDICT                      TYPE    METRIC  PREFERENCE  FEC  KERNEL ROUTES\n"
      "  10.1.0.0/16  won: the longest             static  20      1           13   "
      "static metric 20 via 192.0.2.1 dev eth1 for 10.1.0.0/16\n"
      "  10.0.0.0/8   lost: there is a longer one  static  20      1           12   "
      "static metric 20 via 192.0.2.1 dev eth1 for 10.0.0.0/8\n");
  EXPECT_EQ(explain.exitCode, 0);
}

TEST_F(Nexthopctl, ExplainTellsWhatThePolicyRefuses) {
  start();
  routeIs("0.0.0.0/0", 12, staticRoute);
  const CtlRun explain = run("explain 10.1.2.3 --no-default-route");
  EXPECT_EQ(
      explain.output,
      "10.1.2.3 failed: default-route-only, 0.0.0.0/0 is refused\n"
      "prefixes that cover it, the longest first\n"
      "  PREFIX     VERDICT                      TYPE    METRIC  PREFERENCE  FEC  KERNEL ROUTES\n"
      "  0.0.0.0/0  refused: default-route-only  static  20      1           12   -\n");
  EXPECT_EQ(explain.exitCode, 1);
}

TEST_F(Nexthopctl, ExplainTellsThatNothingCoversTheAddress) {
  start();
  EXPECT_EQ(run("explain 10.1.2.3").output, "10.1.2.3 failed: no-route\nno prefix covers it\n");
}

TEST_F(Nexthopctl, ExplainSaysNoMoreThanThatWhileTheTableIsBeingRead) {
  managing = false;
  start();
  const CtlRun explain = run("explain 10.1.2.3");
  EXPECT_EQ(explain.output, "10.1.2.3 unknown: resyncing\n");
  EXPECT_EQ(explain.exitCode, 1);
}

TEST_F(Nexthopctl, HistoryListsTheChangesOfEachClient) {
  start();
  registered("bgp", {"10.1.2.3"});
  routeIs("10.0.0.0/8", 12, staticRoute);
  EXPECT_EQ(output("history 10.1.2.3"),
            "client bgp, fib identifiers, now resolved\n"
            "  TIME                      STATE     REASON    PREFIX      IDENTIFIER  EPOCH\n"
            "  " +
                anyTime +
                "  failed    no-route  -           -           1\n"
                "  " +
                anyTime + "  resolved  -         10.0.0.0/8  12          2\n");
  EXPECT_EQ(output("history 10.1.2.3 --client ospf"), "nobody has registered 10.1.2.3\n");
}

TEST_F(Nexthopctl, ShowNexthopsIsATableOfAllClients) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  registered("bgp", {"10.1.2.3"});
  registered("pim", {"192.0.2.9"});
  EXPECT_EQ(
      output("show nexthops"),
      "CHANGED                   CLIENT  VRF      ADDRESS    STATE     REASON    PREFIX      "
      "TYPE    METRIC  IDENTIFIER\n" +
          anyTime +
          "  bgp     default  10.1.2.3   resolved  -         10.0.0.0/8  static  20      fib 12\n" +
          anyTime +
          "  pim     default  192.0.2.9  failed    no-route  -           -       -       -\n");
}

TEST_F(Nexthopctl, ShowNexthopsSaysThatThereIsNoSuchClient) {
  start();
  const CtlRun show = run("show nexthops --client none");
  EXPECT_EQ(show.output, "");
  EXPECT_EQ(show.errors, "nexthopctl: there is no client none\n");
  EXPECT_EQ(show.exitCode, 4);
}

TEST_F(Nexthopctl, ShowForwardingListsIdentifiersWithTheirVias) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  EXPECT_EQ(output("show forwarding"), "IDENTIFIER  VIA\n");
  ASSERT_EQ(run("register bgp 10.1.2.3 --resolver --once").exitCode, 0);
  EXPECT_EQ(output("show forwarding"),
            "IDENTIFIER  VIA\n"
            "4           192.0.2.1 dev eth1\n");
  EXPECT_EQ(output("show forwarding --json"),
            R"({"identifier":4,"vias":[{"addr":"192.0.2.1","intf":1,"dev":"eth1","weight":1,)"
            R"("label":null,"beyond":false}]})"
            "\n");
}

TEST_F(Nexthopctl, ShowVrfsCountsTheirTables) {
  start();
  routeIs("10.0.0.0/8", 12);
  registered("bgp", {"10.1.2.3"});
  EXPECT_EQ(
      output("show vrfs"),
      "VRF      TABLE  SERVING  IPV4  IPV6  ROUTES4  ROUTES6  FECS  IDENTIFIERS  REGISTRATIONS\n"
      "default  254    yes      on    on    1        0        1     0            1\n");
  EXPECT_EQ(output("show vrfs --json"),
            R"({"vrf":"default","table":254,"serving":true,"routing4":true,"routing6":true,)"
            R"("routes4":1,"routes6":0,"fecs":1,"identifiers":0,"registrations":1})"
            "\n");
}

TEST_F(Nexthopctl, ShowClientsTellsWhoseTheyAreAndHowLongTheyStay) {
  start();
  registered("bgp", {"10.1.2.3", "10.1.2.4"});
  const std::string user = "uid:" + std::to_string(::getuid());
  const std::string text = std::regex_replace(output("show clients"), std::regex(" +"), " ");
  const std::string table = std::regex_replace(text, std::regex("[0-9]+s left"), "Ns left");
  EXPECT_EQ(table,
            "CLIENT USER STREAM BACKLOG VRF KIND REGISTRATIONS\n"
            "bgp " +
                user + " Ns left 0 default fib 2\n");
}

TEST_F(Nexthopctl, ShowSyncTellsOfTheDaemon) {
  hooks.counters = [](std::map<std::string, std::uint64_t>& counters) {
    counters["kernel_resyncs"] = 2;
  };
  start();
  EXPECT_EQ(output("show sync"),
            "nexthopd test, run 7\n"
            "synced: the tables are the kernel's\n"
            "  COUNTER         VALUE\n"
            "  clients         0\n"
            "  kernel_resyncs  2\n"
            "  registrations   0\n");
  EXPECT_EQ(output("show sync --json"),
            R"({"version":"test","run":7,"startedAt":null,"synced":true,"counters":)"
            R"({"clients":0,"kernel_resyncs":2,"registrations":0}})"
            "\n");
}

TEST_F(Nexthopctl, GraphLeadsFromClientsToVias) {
  start();
  routeIs("10.0.0.0/8", 12, staticRoute);
  registered("bgp", {"10.1.2.3", "192.0.2.9"});
  EXPECT_EQ(
      output("graph"),
      "digraph nexthops {\n"
      "  rankdir=LR;\n"
      "  node [shape=box];\n"
      "  \"client bgp\" [label=\"bgp\", shape=oval];\n"
      "  \"nexthop bgp default 10.1.2.3\" [label=\"10.1.2.3 resolved\"];\n"
      "  \"client bgp\" -> \"nexthop bgp default 10.1.2.3\";\n"
      "  \"prefix default 10.0.0.0/8\" [label=\"10.0.0.0/8 static\"];\n"
      "  \"nexthop bgp default 10.1.2.3\" -> \"prefix default 10.0.0.0/8\";\n"
      "  \"fec default 12\" [label=\"FEC 12\"];\n"
      "  \"prefix default 10.0.0.0/8\" -> \"fec default 12\";\n"
      "  \"nexthop bgp default 192.0.2.9\" [label=\"192.0.2.9 failed no-route\", color=red];\n"
      "  \"client bgp\" -> \"nexthop bgp default 192.0.2.9\";\n"
      "  \"via default 192.0.2.1 dev eth1\" [label=\"192.0.2.1 dev eth1\", shape=oval];\n"
      "  \"fec default 12\" -> \"via default 192.0.2.1 dev eth1\";\n"
      "}\n");
}

// ---- what goes wrong ---------------------------------------------------------------------------

TEST_F(Nexthopctl, SaysThatNoDaemonListens) {
  const CtlRun resolve = run("resolve 10.1.2.3");
  EXPECT_EQ(resolve.errors, "nexthopctl: no nexthopd listens on " + options.socketPath + "\n");
  EXPECT_EQ(resolve.output, "");
  EXPECT_EQ(resolve.exitCode, 3);
}

TEST_F(Nexthopctl, SaysWhatTheDaemonRefuses) {
  start();
  const CtlRun resolve = run("resolve 10.1.2.3 --vrf blue");
  EXPECT_EQ(resolve.errors, "nexthopctl: there is no VRF blue\n");
  EXPECT_EQ(resolve.exitCode, 4);
}

TEST_F(Nexthopctl, RefusesACommandLineThatMakesNoSense) {
  for (const char* wrong : {"",
                            "resolve",
                            "resolve 10.1.2",
                            "show",
                            "show nothing",
                            "explain 10.0.0.1 10.0.0.2",
                            "resolve 10.1.2.3 --min-length 129",
                            "--tls host:1 resolve 10.0.0.1"}) {
    const CtlRun run = this->run(wrong);
    EXPECT_EQ(run.exitCode, 2) << wrong;
    EXPECT_NE(run.errors, "") << wrong;
    EXPECT_EQ(run.output, "") << wrong;
  }
}

TEST_F(Nexthopctl, SaysWhenItsOutputCannotBeWritten) {
  start();
  const std::string line = command("show vrfs") + " > /dev/full 2> /dev/null";
  const int status = std::system(line.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST_F(Nexthopctl, HelpIsNoMistake) {
  EXPECT_EQ(run("--help").exitCode, 0);
  EXPECT_EQ(run("show nexthops --help").exitCode, 0);
  EXPECT_EQ(run("--version").exitCode, 0);
}

}  // namespace
}  // namespace Routing::Host
