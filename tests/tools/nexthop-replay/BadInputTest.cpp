// Every kind of bad input: its message, exit code 2, and nothing done.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

struct Row {
  const char* line;
  const char* message;
};

class BadInput : public ReplayFixture {
 protected:
  // Each line must be refused where it stands, with what came before printed and what follows not
  // executed.
  void expectRefused(const Row& row, const std::string& before = "") const {
    SCOPED_TRACE(row.line);
    const Outcome outcome = run("echo before\n" + before + row.line + "\necho after\n");
    const auto lines = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    EXPECT_EQ(outcome.errors, "-:" + std::to_string(lines + 2) + ": error: " + row.message + "\n");
    EXPECT_EQ(outcome.output, "before\n");
    EXPECT_EQ(outcome.code, 2);
  }
};

TEST_F(BadInput, UnknownCommandsAreNamed) {
  expectRefused({"frobnicate v1", "unknown command: \"frobnicate\""});
  expectRefused({"Run", "unknown command: \"Run\""});
  expectRefused({"\"run\"", "unknown command: \"\"run\"\""});
}

TEST_F(BadInput, MissingWordsAreNamed) {
  const Row rows[] = {
      {"vrf", "missing word: VRF"},
      {"routing v1", "missing word: ipv4|ipv6"},
      {"routing v1 ipv4", "missing word: on|off|absent"},
      {"route v1", "missing word: PREFIX"},
      {"route v1 10.0.0.0/8", "missing word: fec"},
      {"route v1 10.0.0.0/8 fec", "missing word: ID"},
      {"route v1 10.0.0.0/8 fec 4 metric", "missing word: metric"},
      {"route-del v1", "missing word: PREFIX"},
      {"routes v1", "missing word: FILE"},
      {"routes v1 table", "missing word: fecs"},
      {"routes v1 table fecs", "missing word: fecs"},
      {"table v1 10.0.0.0/8", "missing word: fec"},
      {"table-del v1", "missing word: PREFIX"},
      {"trie v1", "missing word: PREFIX"},
      {"trie-del", "missing word: VRF"},
      {"announce v1", "missing word: ipv4|ipv6"},
      {"fec", "missing word: ID"},
      {"fec 4 boundary", "missing word: boundary"},
      {"fec 4 via", "missing word: ADDR"},
      {"fec 4 via 10.0.0.1", "missing word: intf"},
      {"fec 4 via 10.0.0.1 intf", "missing word: intf"},
      {"fec 4 via 10.0.0.1 intf 1 label", "missing word: label"},
      {"fec-del", "missing word: ID"},
      {"announce-fec", "missing word: ID"},
      {"corrupt", "missing word: route|fec"},
      {"corrupt route v1", "missing word: PREFIX"},
      {"corrupt fec", "missing word: ID"},
      {"config", "missing word: CLIENT"},
      {"config-del", "missing word: CLIENT"},
      {"config-vrf c", "missing word: VRF"},
      {"config-vrf c v1", "missing word: fib|resolver"},
      {"config-vrf-del c", "missing word: VRF"},
      {"nexthop c v1", "missing word: ADDR"},
      {"nexthop-del c v1", "missing word: ADDR"},
      {"status", "missing word: CLIENT"},
      {"status-del", "missing word: CLIENT"},
      {"client c v1", "missing word: fib|resolver"},
      {"renotify config", "missing word: CLIENT"},
      {"replace", "missing word: config|status|cell"},
      {"foreign routing4", "missing word: NAME"},
      {"context v1", "missing word: N"},
      {"published v1", "missing word: RESOLVERID"},
      {"status-entry c v1 fib 10.0.0.1", "missing word: fec"},
      {"status-entry c v1 fib 10.0.0.1 fec 9", "missing word: prefix"},
      {"status-entry c v1 fib 10.0.0.1 fec 9 prefix", "missing word: PREFIX"},
      {"manager", "missing word: VRF"},
      {"manager-del", "missing word: VRF"},
      {"notifications v1", "missing word: on|off"},
      {"budget", "missing word: N"},
      {"advance", "missing word: SECONDS"},
      {"trace", "missing word: off|LEVELS"},
      {"watch", "missing word: on|off"},
      {"show", "missing word: status|..."},
      {"dump", "missing word: VRF"},
      {"inspect v1", "missing word: manager|fibvia"},
      {"invoke", "missing word: VRF"},
      {"expect", "missing word: LINE"},
      {"expect # a comment", "missing word: LINE"},
  };
  for (const Row& row : rows) {
    expectRefused(row);
  }
}

TEST_F(BadInput, SurplusWordsAreNamed) {
  const Row rows[] = {
      {"vrf v1 v2", "surplus word: \"v2\""},
      {"run now", "surplus word: \"now\""},
      {"step 2", "surplus word: \"2\""},
      {"route v1 10.0.0.0/8 fec 4 cost 3", "surplus word: \"cost\""},
      {"route v1 10.0.0.0/8 fec 4 metric 3 metric 3", "surplus word: \"metric\""},
      {"route-del v1 10.0.0.0/8 fec", "surplus word: \"fec\""},
      {"fec 4 weight 3", "surplus word: \"weight\""},
      {"fec 4 via 10.0.0.1 intf 1 boundary 2", "surplus word: \"boundary\""},
      {"fec 4 via 10.0.0.1 intf 1 weight 2 weight 2", "surplus word: \"weight\""},
      {"status c both", "surplus word: \"both\""},
      {"manager v1 cells", "surplus word: \"cells\""},
      {"expect-none here", "surplus word: \"here\""},
      {"show entities v1", "surplus word: \"v1\""},
      {"show tasks v1", "surplus word: \"v1\""},
      {"show map v1 v2", "surplus word: \"v2\""},
      {"show status c v1 10.0.0.1", "surplus word: \"10.0.0.1\""},
      {"announce v1 ipv4 10.0.0.0/8 again", "surplus word: \"again\""},
      {"published v1 4 intf 3", "surplus word: \"intf\""},
      {"watch on off", "surplus word: \"off\""},
      {"trace 1 2", "surplus word: \"2\""},
  };
  for (const Row& row : rows) {
    expectRefused(row);
  }
}

TEST_F(BadInput, WordsThatDoNotReadAreNamed) {
  const Row rows[] = {
      {"route v1 10.0.0.0 fec 4", "not a prefix: \"10.0.0.0\""},
      {"route v1 10.0.0.0/33 fec 4", "not a prefix: \"10.0.0.0/33\""},
      {"trie v1 2001:db8::/129", "not a prefix: \"2001:db8::/129\""},
      {"trie v1 -", "not a prefix: \"-\""},
      {"route v1 10.0.0.0/8 fec four", "ID is no number: \"four\""},
      {"route v1 10.0.0.0/8 fec -4", "ID is no number: \"-4\""},
      {"route v1 10.0.0.0/8 fec 0x", "ID is no number: \"0x\""},
      {"route v1 10.0.0.0/8 fec 18446744073709551616", "ID is no number: \"18446744073709551616\""},
      {"route v1 10.0.0.0/8 fec 4 metric 4294967296",
       "metric is at most 4294967295: \"4294967296\""},
      {"route v1 10.0.0.0/8 fec 4 preference 256", "preference is at most 255: \"256\""},
      {"route v1 10.0.0.0/8 fec 4 type 0x100", "type is at most 255: \"0x100\""},
      {"route v1 10.0.0.0/8 via 4", "not \"fec\": \"via\""},
      {"fec 4 via none intf 1", "not an address: \"none\""},
      {"fec 4 via 10.0.0.256 intf 1", "not an address: \"10.0.0.256\""},
      {"fec 4 via 10.0.0.1 label 1", "not \"intf\": \"label\""},
      {"fec 4 via 10.0.0.1 intf 4294967296", "intf is at most 4294967295: \"4294967296\""},
      {"fec 4 via 10.0.0.1 intf 1 label 0x100001", "label is at most 1048576: \"0x100001\""},
      {"fec 4 via 10.0.0.1 intf 1 action 256", "action is at most 255: \"256\""},
      {"fec 4 boundary 4294967296", "boundary is at most 4294967295: \"4294967296\""},
      {"corrupt table v1", "none of route, fec: \"table\""},
      {"routing v1 ipv5 on", "none of ipv4, ipv6: \"ipv5\""},
      {"routing v1 ipv4 yes", "none of on, off, absent: \"yes\""},
      {"config-vrf c v1 fec", "none of fib, resolver: \"fec\""},
      {"replace routing4 v1", "none of config, status, cell: \"routing4\""},
      {"foreign vrf v1", "none of config, status, cell, routing4, routing6: \"vrf\""},
      {"advance soon", "not a number of seconds: \"soon\""},
      {"advance 1.2345", "not a number of seconds: \"1.2345\""},
      {"advance -1", "not a number of seconds: \"-1\""},
      {"advance .5", "not a number of seconds: \".5\""},
      {"advance 5.", "not a number of seconds: \"5.\""},
      {"advance 0x10", "not a number of seconds: \"0x10\""},
      {"advance 9223372036", "not a number of seconds: \"9223372036\""},
      {"trace 10", "no trace levels: \"10\""},
      {"trace 4-2", "no trace levels: \"4-2\""},
      {"trace on", "no trace levels: \"on\""},
      {"watch maybe", "none of on, off: \"maybe\""},
      {"routes v1 table fecs 0", "fecs is at least 1: \"0\""},
      {"show nexthops",
       "none of status, status-vrf, forwarding, map, references, resolvers, tracked, context, "
       "entities, tasks: \"nexthops\""},
      {"vrf \xff", "not UTF-8"},
  };
  for (const Row& row : rows) {
    expectRefused(row);
  }
}

TEST_F(BadInput, NamesThatMustExistAreNamed) {
  const Row rows[] = {
      {"nexthop c v1 10.0.0.1", "no config-vrf of client \"c\" for VRF \"v1\""},
      {"nexthop-del c v1 none", "no config-vrf of client \"c\" for VRF \"v1\""},
      {"manager-del v1", "no manager of VRF \"v1\""},
      {"notifications v1 on", "no manager of VRF \"v1\""},
      {"invoke v1 manager handleCleanup", "no manager of VRF \"v1\""},
      {"inspect v1 fibvia", "no manager of VRF \"v1\""},
      {"dump v1", "no manager of VRF \"v1\""},
      {"announce-fec 7", "no FEC 7"},
      {"renotify config c", "no such entry: \"c\""},
      {"renotify status c", "no such entry: \"c\""},
      {"replace cell c", "no such entry: \"c\""},
  };
  for (const Row& row : rows) {
    expectRefused(row);
    // Another VRF, client or FEC is no help.
    expectRefused(row, "client d v2 fib\nmanager v2\nfec 8\n");
  }
  expectRefused({"manager v1", "VRF \"v1\" has a manager"}, "manager v1\n");
  expectRefused({"nexthop c v2 10.0.0.1", "no config-vrf of client \"c\" for VRF \"v2\""},
                "client c v1 fib\n");
  expectRefused({"nexthop c v1 10.0.0.1", "no config-vrf of client \"c\" for VRF \"v1\""},
                "client c v1 fib\nconfig-vrf-del c v1\n");
  expectRefused({"replace cell c", "no such entry: \"c\""}, "status c\n");
}

TEST_F(BadInput, OperationsAndTheirArgumentsAreChecked) {
  const std::string type = "Routing::NexthopResolver";
  const auto refuse = [&](const char* line, const std::string& message) {
    expectRefused({line, message.c_str()}, "manager v1\n");
  };
  refuse("invoke v1 manager", "missing word: OPERATION");
  refuse("invoke v1 resolver handleCleanup", "none of manager, fibvia: \"resolver\"");
  refuse("invoke v1 manager fly", type + "ManagerSm: cannot read attribute fly at position 0");
  refuse("invoke v1 manager handleClient c",
         type + "ManagerSm: cannot read attribute arguments at position 1");
  refuse("invoke v1 fibvia handleGenFecId none", "value: cannot read attribute none at position 0");
  expectRefused(
      {"invoke v1 fibvia handleInitialized", "the manager of VRF \"v1\" has no FIB-via machine"},
      "manager v1\ninvoke v1 manager handleCleanup\n");
}

TEST_F(BadInput, ABadLineHasDoneNothing) {
  const Outcome outcome = run("watch on\nmanager v1\ncontext v1 7 8\n");
  EXPECT_EQ(outcome.output, "context v1 4\n");
  EXPECT_EQ(outcome.errors, "-:3: error: surplus word: \"8\"\n");
}

TEST_F(BadInput, TheFileAndTheLineInItAreNamed) {
  const std::string first = write("first", "# a comment\n\necho one\n");
  const std::string second = write("second", "echo two\n\n\nrun run\n");
  const Outcome outcome = runWith(first + " " + second + " " + first);
  EXPECT_EQ(outcome.errors, second + ":4: error: surplus word: \"run\"\n");
  EXPECT_EQ(outcome.output, "one\ntwo\n");
  EXPECT_EQ(outcome.code, 2);
}

TEST_F(BadInput, AFileThatCannotBeReadIsNamed) {
  const Outcome missing = runWith(write("first", "echo one\n") + " " + file("missing"));
  EXPECT_EQ(missing.errors,
            file("missing") + ":0: error: cannot open: No such file or directory\n");
  EXPECT_EQ(missing.output, "one\n");
  EXPECT_EQ(missing.code, 2);
  const Outcome folder = runWith("/");
  EXPECT_EQ(folder.errors, "/:1: error: cannot read: Is a directory\n");
  EXPECT_EQ(folder.code, 2);
}

TEST_F(BadInput, AFileCutInsideAWordLosesNothingThatCameBefore) {
  const Outcome inWord = run("echo one\nvrf v1\nmanager v1\nshow context\nrou");
  EXPECT_EQ(inWord.output, "one\ncontext v1 4\n");
  EXPECT_EQ(inWord.errors, "-:5: error: unknown command: \"rou\"\n");
  EXPECT_EQ(inWord.code, 2);
  const Outcome inCharacter = run("echo one\necho t\xc3");
  EXPECT_EQ(inCharacter.output, "one\n");
  EXPECT_EQ(inCharacter.errors, "-:2: error: not UTF-8\n");
  const Outcome afterWord = run("echo one\necho two");
  EXPECT_EQ(afterWord.output, "one\ntwo\n");
  EXPECT_EQ(afterWord.code, 0);
}

}  // namespace
}  // namespace Routing::Replay
