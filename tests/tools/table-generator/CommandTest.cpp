// nexthop-table as a user runs it: what it prints, where, and how it exits.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "tools/support/PrefixFile.h"
#include "tools/table-generator/TableGenerator.h"

namespace Routing {
namespace {

class TableCommand : public testing::Test {
 public:
  TableCommand(const TableCommand&) = delete;
  TableCommand& operator=(const TableCommand&) = delete;

 protected:
  struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
  };

  TableCommand() {
    std::string pattern = (std::filesystem::temp_directory_path() / "table-XXXXXX").string();
    directory_ = mkdtemp(pattern.data());
  }
  ~TableCommand() override { std::filesystem::remove_all(directory_); }

  std::string file(const std::string& name) const { return directory_ + "/" + name; }

  static std::string contents(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  Outcome run(const std::string& arguments) const {
    std::ostringstream command;
    command << NEXTHOP_TABLE_COMMAND << ' ' << arguments << " >" << file("out") << " 2>"
            << file("err");
    const int status = std::system(command.str().c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            contents(file("out")),
            contents(file("err"))};
  }

 private:
  std::string directory_;
};

TEST_F(TableCommand, WritesTheTableOfTheSeedToStandardOutput) {
  const Outcome outcome = run("--ipv4 300 --ipv6 200 --seed 7");
  std::string expected;
  for (const IpGenPrefix& prefix : generateTable({300, 200}, 7)) {
    expected += prefix.stringValue() + '\n';
  }
  EXPECT_EQ(outcome.output, expected);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(TableCommand, WritesToAFile) {
  const Outcome outcome = run("--ipv4 300 --ipv6 200 --output " + file("table"));
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(readTable(file("table")), generateTable({300, 200}, 1));
}

TEST_F(TableCommand, PrintsTheStatisticsOfAFile) {
  run("--ipv4 100 --ipv6 50 --output " + file("table"));
  const Outcome outcome = run("--stats " + file("table"));
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_NE(outcome.output.find("IPv4: 100 prefixes, "), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("IPv6: 50 prefixes, "), std::string::npos) << outcome.output;
}

TEST_F(TableCommand, ReadsStandardInput) {
  std::ofstream(file("table")) << "20.0.0.0/8\n";
  const Outcome outcome = run("--stats - <" + file("table"));
  EXPECT_NE(outcome.output.find("IPv4: 1 prefixes, "), std::string::npos) << outcome.output;
  EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(TableCommand, ABadLineIsNamedAndExitsWithTwo) {
  std::ofstream(file("bad")) << "20.0.0.0/8\nrubbish\n";
  const Outcome outcome = run("--stats " + file("bad"));
  EXPECT_EQ(outcome.errors, file("bad") + ":2: error: not a prefix: \"rubbish\"\n");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.exitCode, 2);
}

TEST_F(TableCommand, AFileThatCannotBeWrittenExitsWithTwo) {
  const Outcome outcome = run("--ipv4 1 --ipv6 1 --output " + file("none/table"));
  EXPECT_EQ(outcome.errors,
            file("none/table") + ": error: cannot open: No such file or directory\n");
  EXPECT_EQ(outcome.exitCode, 2);
}

TEST_F(TableCommand, AFullDiskExitsWithTwo) {
  const Outcome outcome = run("--ipv4 1 --ipv6 1 --output /dev/full");
  EXPECT_EQ(outcome.errors, "/dev/full: error: cannot write: No space left on device\n");
  EXPECT_EQ(outcome.exitCode, 2);
}

TEST_F(TableCommand, MistakesOnTheCommandLineExitWithTwoAndPrintNothing) {
  struct Row {
    const char* name;
    const char* arguments;
    const char* message;
  };
  const Row rows[] = {
      {"no number", "--ipv4 many", "nexthop-table: --ipv4: not a number: \"many\"\n"},
      {"negative", "--ipv6 -3", "nexthop-table: --ipv6: not a number: \"-3\"\n"},
      {"trailing", "--seed 3x", "nexthop-table: --seed: not a number: \"3x\"\n"},
      {"empty", "--seed ''", "nexthop-table: --seed: not a number: \"\"\n"},
      {"too large",
       "--seed 18446744073709551616",
       "nexthop-table: --seed: not a number: \"18446744073709551616\"\n"},
      {"argument", "table", "nexthop-table: not an option: \"table\"\n"},
      {"too many",
       "--ipv4 2000001",
       "nexthop-table: at most 2000000 prefixes of a family can be generated\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const Outcome outcome = run(row.arguments);
    EXPECT_EQ(outcome.errors, row.message);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.exitCode, 2);
  }
}

TEST_F(TableCommand, AnUnknownOptionExitsWithTwo) {
  const Outcome outcome = run("--colour");
  EXPECT_NE(outcome.errors.find("--colour"), std::string::npos) << outcome.errors;
  EXPECT_EQ(outcome.exitCode, 2);
}

TEST_F(TableCommand, HelpNamesEveryOption) {
  const Outcome outcome = run("--help");
  for (const char* option : {"--ipv4", "--ipv6", "--seed", "--output", "--stats", "--help"}) {
    EXPECT_NE(outcome.output.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(outcome.exitCode, 0);
}

}  // namespace
}  // namespace Routing
