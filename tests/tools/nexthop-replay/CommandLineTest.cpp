// The words behind nexthop-replay.

#include <gtest/gtest.h>

#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"
#include "tools/nexthop-replay/Commands.h"

namespace Routing::Replay {
namespace {

using CommandLine = ReplayFixture;

TEST_F(CommandLine, AllFilesDriveOneWorldInOrder) {
  const std::string first = write("first", "context v1 7\n");
  const std::string second = write("second", "show context\n");
  EXPECT_EQ(runWith(first + " " + second).output, "context v1 7\n");
  EXPECT_EQ(runWith(second + " " + first).output, "");
}

TEST_F(CommandLine, ADashIsStandardInputAmongFiles) {
  const std::string first = write("first", "context v1 7\n");
  const std::string last = write("last", "show context\n");
  const std::string input = write("input", "context v2 8\n");
  EXPECT_EQ(runWith(first + " - " + last + " <" + input).output, "context v1 7\ncontext v2 8\n");
}

TEST_F(CommandLine, AFileMayBeginWithADashBehindTwo) {
  const Outcome outcome = runWith("-- --json </dev/null");
  EXPECT_EQ(outcome.errors, "--json:0: error: cannot open: No such file or directory\n");
  EXPECT_EQ(outcome.code, 2);
}

TEST_F(CommandLine, AnUnknownOptionExitsWithTwo) {
  const Outcome outcome = runWith("--colour </dev/null");
  EXPECT_EQ(outcome.errors,
            "nexthop-replay: unknown option: \"--colour\"\n"
            "usage: nexthop-replay [--json] [--stats] [FILE ...]\n"
            "       nexthop-replay --help\n");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.code, 2);
}

TEST_F(CommandLine, HelpNamesEveryOptionAndExitCode) {
  const Outcome outcome = runWith("--help");
  for (const char* text : {"--json", "--stats", "  0  ", "  1  ", "  2  ", "  3  ", "  4  "}) {
    EXPECT_NE(outcome.output.find(text), std::string::npos) << text;
  }
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(CommandLine, StatsCountWhatWasDoneOnStandardError) {
  const Outcome outcome =
      run("# three nexthops in two runs\nclient c v1 fib\nmanager v1\nnexthop c v1 10.0.0.1\n"
          "nexthop c v1 10.0.0.2\nrun\nnexthop c v1 10.0.0.3\nadvance 1\necho end\n",
          "--stats");
  EXPECT_EQ(outcome.output, "end\n");
  EXPECT_TRUE(outcome.errors.starts_with("commands 8\ntasks-run 2\nnexthops-processed 3\n"))
      << outcome.errors;
  for (const char* name : {"\nwall-seconds ",
                           "\ncpu-seconds ",
                           "\nlongest-slice-seconds ",
                           "\npeak-memory-kilobytes "}) {
    EXPECT_NE(outcome.errors.find(name), std::string::npos) << name;
  }
}

TEST_F(CommandLine, StatsComeAfterAMessageToo) {
  const Outcome outcome = run("run away\n", "--stats");
  EXPECT_TRUE(outcome.errors.starts_with("-:1: error: surplus word: \"away\"\ncommands 1\n"))
      << outcome.errors;
  EXPECT_EQ(outcome.code, 2);
}

TEST_F(CommandLine, ThePageOfTheToolNamesEveryCommand) {
  const std::string page = contents("docs/replay.md");
  for (const auto commands :
       {tableCommands(), clientCommands(), machineCommands(), outputCommands()}) {
    for (const Command& command : commands) {
      const std::string name(command.name);
      const bool named = page.find("`" + name + " ") != std::string::npos ||
                         page.find("`" + name + "`") != std::string::npos;
      EXPECT_TRUE(named) << name;
    }
  }
}

}  // namespace
}  // namespace Routing::Replay
