// routes: a table from a file.

#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

class Routes : public ReplayFixture {
 protected:
  // Loads the table over two FECs and asks for nexthops of both kinds.
  static std::string story(const std::string& name) {
    return "fec 5 via 10.9.0.9 intf 9\nvrf v1\nroutes v1 " + name +
           " fecs 2\nmanager v1\nclient c v1 resolver\nclient f v1 fib\n"
           "nexthop c v1 10.0.0.1\nnexthop c v1 10.1.0.1\nnexthop f v1 10.2.0.1\n"
           "nexthop f v1 2001:db8::1\nrun\nshow status\nshow forwarding\n";
  }
  static constexpr const char* table =
      "# a comment\n10.0.0.0/16\n\n10.1.0.0/16 # another\n10.2.0.0/16\n2001:db8::/32\n";
  static constexpr const char* expected =
      "status c v1 10.0.0.1 resolved fecId=4 prefix=10.0.0.0/16 metric=0 preference=200 "
      "routeType=1 route6Type=0\n"
      "status c v1 10.1.0.1 resolved fecId=5 prefix=10.1.0.0/16 metric=1 preference=200 "
      "routeType=1 route6Type=0\n"
      "status f v1 10.2.0.1 resolved fecId=4 prefix=10.2.0.0/16 metric=2 preference=200 "
      "routeType=1 route6Type=0\n"
      "status f v1 2001:db8::1 resolved fecId=5 prefix=2001:db8::/32 metric=3 preference=200 "
      "routeType=0 route6Type=1\n"
      "forwarding v1 4 vias=1\n  via 192.0.2.1 intf 1 weight 1 label 1048576 action 0 beyond 0\n"
      "forwarding v1 5 vias=1\n  via 10.9.0.9 intf 9 weight 1 label 1048576 action 0 beyond 0\n";
};

TEST_F(Routes, EachPrefixGetsItsFecAndMetricInTurnAndMissingFecsAreMade) {
  write("table", table);
  const Outcome outcome = runWith(write("story", story("table")));
  EXPECT_EQ(outcome.output, expected);
  EXPECT_EQ(outcome.errors, "");
}

TEST_F(Routes, AnAbsoluteNameIsTakenAsItStands) {
  EXPECT_EQ(run(story(write("table", table))).output, expected);
}

TEST_F(Routes, ACompressedTableIsReadLikeAPlainOne) {
  const gzFile compressed = gzopen(file("table.gz").c_str(), "wb");
  gzputs(compressed, table);
  gzclose(compressed);
  EXPECT_EQ(runWith(write("story", story("table.gz"))).output, expected);
}

TEST_F(Routes, ARelativeNameIsRelativeToTheReplayFile) {
  std::filesystem::create_directory(file("sub"));
  write("sub/table", table);
  write("table", "not this one\n");
  EXPECT_EQ(runWith(write("sub/story", story("table"))).output, expected);
  EXPECT_EQ(runWith(write("story2", story("sub/table"))).output, expected);
}

TEST_F(Routes, MetricsStartOverAtAThousand) {
  std::string prefixes;
  for (int index = 0; index < 1002; ++index) {
    prefixes += "10." + std::to_string(index / 256) + "." + std::to_string(index % 256) + ".0/24\n";
  }
  write("table", prefixes);
  const Outcome outcome = runWith(
      write("story",
            "vrf v1\nroutes v1 table fecs 18446744073709551615\nmanager v1\nclient c v1 fib\n"
            "nexthop c v1 10.3.232.1\nnexthop c v1 10.3.233.1\nrun\nshow status\n"));
  EXPECT_EQ(outcome.output,
            "status c v1 10.3.232.1 resolved fecId=1004 prefix=10.3.232.0/24 metric=0 "
            "preference=200 routeType=1 route6Type=0\n"
            "status c v1 10.3.233.1 resolved fecId=1005 prefix=10.3.233.0/24 metric=1 "
            "preference=200 routeType=1 route6Type=0\n");
}

TEST_F(Routes, EachRouteIsAnnouncedOnceAlsoWhenItWasThere) {
  write("table", "10.0.0.0/16\n10.0.0.0/16\n");
  const Outcome outcome =
      runWith(write("story",
                    "manager v1\nclient c v1 fib\nnexthop c v1 10.0.0.1\nrun\ntrace 8\n"
                    "routes v1 table fecs 1\n"));
  EXPECT_EQ(outcome.output,
            "trace 8 NexthopResolverSm: [v1:c] handlePrefix add nexthop to review: 10.0.0.1\n"
            "trace 8 NexthopResolverSm: [v1:c] handle4ChangedRoute prefix 10.0.0.0/16 affected 1 "
            "entries\n"
            "trace 8 NexthopResolverSm: [v1:c] handlePrefix add nexthop to review: 10.0.0.1\n"
            "trace 8 NexthopResolverSm: [v1:c] handle4ChangedRoute prefix 10.0.0.0/16 affected 1 "
            "entries\n");
}

TEST_F(Routes, ATableThatDoesNotReadChangesNothing) {
  write("table", "10.0.0.0/16\nrubbish\n");
  const std::string story = write("story", "manager v1\ntrace 8\nroutes v1 table fecs 1\n");
  const Outcome outcome = runWith(story);
  EXPECT_EQ(outcome.errors,
            story + ":3: error: " + file("table") + ":2: not a prefix: \"rubbish\"\n");
  EXPECT_EQ(outcome.code, 2);
}

TEST_F(Routes, ATableThatIsNotThereIsNamed) {
  const std::string story = write("story", "routes v1 none fecs 1\n");
  EXPECT_EQ(runWith(story).errors,
            story + ":1: error: " + file("none") + ": cannot open: No such file or directory\n");
}

}  // namespace
}  // namespace Routing::Replay
