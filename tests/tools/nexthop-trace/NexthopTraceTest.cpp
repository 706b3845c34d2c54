// Runs the program nexthop-trace on files made here.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/trace/RingFormat.h"
#include "platform/trace/Trace.h"
#include "platform/trace/TraceRing.h"
#include "platform/trace/TraceSink.h"

namespace Routing {
namespace {

struct Result {
  int exitCode = -1;
  String output;
  String errors;
};

class NexthopTrace : public testing::Test {
 protected:
  NexthopTrace() {
    String name = testing::TempDir() + "nexthop-trace-XXXXXX";
    EXPECT_NE(::mkdtemp(name.data()), nullptr);
    folder_ = name;
    ring_ = (folder_ / "ring").string();
  }
  ~NexthopTrace() override { std::filesystem::remove_all(folder_); }

  static String contents(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  // The arguments go through a shell and hold nothing that it would change.
  Result run(const String& arguments) const {
    const String output = (folder_ / "output").string();
    const String errors = (folder_ / "errors").string();
    const String command = String(NEXTHOP_TRACE) + " " + arguments + " >" + output + " 2>" + errors;
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), contents(output), contents(errors)};
  }

  // Three messages in a ring's file; returns what the text trace wrote, without and with times.
  std::pair<String, String> writeRing() const {
    TraceFacility facility{"Test"};
    facility.textLevelsAre(allTraceLevels);
    facility.ringLevelsAre(allTraceLevels);
    String plain;
    String timed;
    CallbackTraceSink sink([&](const TraceMessage& message) {
      appendTraceLine(plain, message, TraceTime::hidden);
      appendTraceLine(timed, message, TraceTime::shown);
    });
    sink.attachedIs(true);
    TraceRing ring(ring_, TraceRing::minimumSize);
    Tracing::ringIs(&ring);
    ROUTING_TRACE(facility, 8, "[{}:{}] handleNexthopReview", "v1", "c1");
    ROUTING_TRACE(facility, 2, "add entry for {}", *IpGenAddr::parse("10.0.0.1"));
    ROUTING_TRACE(facility, 1, "finished processing {}", 1U);
    return {plain, timed};
  }

  std::filesystem::path folder_;
  String ring_;
};

TEST_F(NexthopTrace, PrintsTheLinesOfTheTextTrace) {
  const auto [plain, timed] = writeRing();
  const Result result = run("decode " + ring_);
  EXPECT_EQ(result.output, plain);
  EXPECT_EQ(result.output,
            "8 Test: [v1:c1] handleNexthopReview\n"
            "2 Test: add entry for 10.0.0.1\n"
            "1 Test: finished processing 1\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.exitCode, 0);
}

TEST_F(NexthopTrace, PrintsTheTimesWhenAsked) {
  const auto [plain, timed] = writeRing();
  EXPECT_EQ(run("decode --time " + ring_).output, timed);
  EXPECT_EQ(run("decode " + ring_ + " --time").output, timed);
}

TEST_F(NexthopTrace, PrintsWhatIsWholeOfADamagedFileAndExitsWithOne) {
  const auto [plain, timed] = writeRing();
  std::fstream file(ring_, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(RingFormat::headerSize + RingFormat::minimumTableSize));
  file.put('\x7f');
  file.close();
  const Result result = run("decode " + ring_);
  EXPECT_EQ(result.output, plain.substr(plain.find('\n') + 1));
  EXPECT_TRUE(result.errors.starts_with("nexthop-trace: " + ring_ + ": the ring is damaged"))
      << result.errors;
  EXPECT_EQ(result.exitCode, 1);
}

TEST_F(NexthopTrace, ExitsWithTwoWhenTheFileIsNoRingOrNotThere) {
  std::ofstream(ring_) << "no ring";
  Result result = run("decode " + ring_);
  EXPECT_EQ(result.errors, "nexthop-trace: " + ring_ + ": not a trace ring\n");
  EXPECT_EQ(result.exitCode, 2);
  result = run("decode " + ring_ + ".none");
  EXPECT_EQ(result.errors, "nexthop-trace: " + ring_ + ".none: No such file or directory\n");
  EXPECT_EQ(result.exitCode, 2);
}

TEST_F(NexthopTrace, ExitsWithTwoWhenItsOutputCannotBeWritten) {
  writeRing();
  const String command = String(NEXTHOP_TRACE) + " decode " + ring_ + " >/dev/full 2>/dev/null";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

TEST_F(NexthopTrace, ExitsWithTwoAndItsUsageOnWrongArguments) {
  for (const char* arguments :
       {"", "decode", "decode a b", "decode --times a", "encode a", "--help more", "decode --"}) {
    const Result result = run(arguments);
    EXPECT_EQ(result.exitCode, 2) << arguments;
    EXPECT_EQ(result.output, "") << arguments;
    EXPECT_TRUE(result.errors.starts_with("usage: nexthop-trace decode")) << arguments;
  }
}

TEST_F(NexthopTrace, PrintsItsUsageWhenAsked) {
  for (const char* arguments : {"--help", "-h", "decode --help"}) {
    const Result result = run(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments;
    EXPECT_TRUE(result.output.starts_with("usage: nexthop-trace decode")) << arguments;
    EXPECT_EQ(result.errors, "") << arguments;
  }
}

TEST_F(NexthopTrace, TakesAFileWhoseNameBeginsWithADash) {
  const auto [plain, timed] = writeRing();
  const String command = "cd " + folder_.string() + " && mv ring ./-ring && " + NEXTHOP_TRACE +
                         " decode -- -ring >output";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(contents(folder_ / "output"), plain);
}

}  // namespace
}  // namespace Routing
