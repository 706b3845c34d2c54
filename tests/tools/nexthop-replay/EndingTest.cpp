// How a replay ends: exit codes, and standard output written out however it ends.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <string>

#include "tests/tools/nexthop-replay/ReplayFixture.h"

namespace Routing::Replay {
namespace {

using Ending = ReplayFixture;

TEST_F(Ending, AFailedAssertionAbortsAfterTheOutputIsWritten) {
  const Outcome outcome = run("manager v1\necho before\nforeign config c\necho after\n");
  EXPECT_EQ(outcome.output, "before\n");
  EXPECT_NE(outcome.errors.find("Assertion \"nhc && \"NexthopConfig must exist\"\" failed."),
            std::string::npos)
      << outcome.errors;
  EXPECT_EQ(outcome.code, -SIGABRT);
}

TEST_F(Ending, AnExceptionThatEndsTheProcessAbortsAfterTheOutputIsWritten) {
  // A replaced status leaves a directory's dispatcher with an exception.
  const Outcome outcome =
      run("client c v1 fib\nmanager v1\necho before\nreplace status c\necho after\n");
  EXPECT_EQ(outcome.output, "before\n");
  EXPECT_NE(outcome.errors.find("re-instantiated with a different nexthopVrfStatus"),
            std::string::npos)
      << outcome.errors;
  EXPECT_EQ(outcome.code, -SIGABRT);
}

TEST_F(Ending, AnExceptionThatLeavesTheLibraryExitsWithOne) {
  const Outcome outcome =
      run("vrf v1\nclient c v1 fib\nmanager v1\nrouting v1 ipv6 absent\nrouting v1 ipv6 on\n"
          "echo before\ninvoke v1 manager handleClientEntry c\necho after\n");
  EXPECT_EQ(outcome.output, "before\n");
  EXPECT_EQ(outcome.errors,
            "-:7: exception: Routing::NexthopResolverSm: re-instantiated with a different "
            "vrfRouting6Info\n");
  EXPECT_EQ(outcome.code, 1);
}

TEST_F(Ending, FailedExpectationsAreReportedAndExitWithThreeAtTheEnd) {
  const Outcome outcome = run(
      "vrf v1\nshow context\nexpect context v1 1  # not so\nexpect-none\nexpect  context v1 0 \n"
      "show map\nexpect-none\nexpect context v1 0\necho end\n");
  EXPECT_EQ(outcome.output, "context v1 0\nend\n");
  EXPECT_EQ(outcome.errors,
            "-:3: expected: context v1 1\n"
            "-:4: expected: nothing, but the last show printed 1 line\n"
            "-:8: expected: context v1 0\n");
  EXPECT_EQ(outcome.code, 3);
}

TEST_F(Ending, AnExpectationBeforeAnyShowFails) {
  const Outcome outcome = run("vrf v1\nexpect context v1 0\nexpect-none\n");
  EXPECT_EQ(outcome.errors,
            "-:2: expected: context v1 0\n"
            "-:3: expected: nothing, but nothing was shown yet\n");
  EXPECT_EQ(outcome.code, 3);
}

TEST_F(Ending, BadInputGoesBeforeFailedExpectations) {
  EXPECT_EQ(run("show map\nexpect something\nrun away\n").code, 2);
}

TEST_F(Ending, NothingIsPrintedWhileEverythingIsDropped) {
  // Dropping the manager of a VRF without routing information clears status and references.
  const Outcome outcome =
      run("trace 0-9\nwatch on\nfec 7\nroute v1 10.0.0.0/8 fec 7\nrouting v1 ipv4 on\nmanager v1\n"
          "client c v1 resolver\nnexthop c v1 10.0.0.1\nrun\necho end\n");
  EXPECT_TRUE(outcome.output.ends_with("handleNexthopReview finished processing 1\nend\n"))
      << outcome.output;
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.code, 0);
}

TEST_F(Ending, OutputThatCannotBeWrittenIsReported) {
  const std::string command = "exec " NEXTHOP_REPLAY_COMMAND " <" + write("input", "echo one\n") +
                              " >/dev/full 2>" + file("err");
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 4);
  EXPECT_EQ(contents(file("err")),
            "nexthop-replay: cannot write standard output: No space left on device\n");
}

TEST_F(Ending, OutputKeepsItsPlaceAmongMessages) {
  const std::string input = write("input", "echo one\nshow map\nexpect two\necho three\n");
  const std::string command =
      "exec " NEXTHOP_REPLAY_COMMAND " <" + input + " >" + file("both") + " 2>&1";
  const int status = std::system(command.c_str());
  EXPECT_EQ(contents(file("both")), "one\n-:3: expected: two\nthree\n");
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

// A process whose standard input and output are pipes to the test.
class Conversation {
 public:
  Conversation() {
    EXPECT_EQ(pipe(input_.data()), 0);
    EXPECT_EQ(pipe(output_.data()), 0);
    process_ = fork();
    if (process_ == 0) {
      dup2(input_[0], STDIN_FILENO);
      dup2(output_[1], STDOUT_FILENO);
      for (const int descriptor : {input_[0], input_[1], output_[0], output_[1]}) {
        close(descriptor);
      }
      execl(NEXTHOP_REPLAY_COMMAND, NEXTHOP_REPLAY_COMMAND, nullptr);
      _exit(127);
    }
    close(input_[0]);
    close(output_[1]);
  }
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;
  ~Conversation() { close(output_[0]); }

  void say(const std::string& text) const {
    EXPECT_EQ(write(input_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  // Waits for that many bytes.
  std::string hear(std::size_t size) const {
    std::string text(size, '\0');
    std::size_t got = 0;
    for (ssize_t count = 1; got < size && count > 0; got += static_cast<std::size_t>(count)) {
      count = read(output_[0], text.data() + got, size - got);
    }
    text.resize(got);
    return text;
  }
  // Ends the input, or the process by a signal, and returns how it ended.
  int end(int signal = 0) const {
    if (signal != 0) {
      kill(process_, signal);
    }
    close(input_[1]);
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  std::array<int, 2> input_{};
  std::array<int, 2> output_{};
  pid_t process_ = 0;
};

TEST(Conversing, WhatWasPrintedIsWrittenBeforeMoreInputIsAwaited) {
  const Conversation conversation;
  conversation.say("echo one\n");
  EXPECT_EQ(conversation.hear(4), "one\n");
  conversation.say("vrf v1\nshow context\n");
  EXPECT_EQ(conversation.hear(13), "context v1 0\n");
  EXPECT_EQ(conversation.end(), 0);
}

TEST(Conversing, ASignalEndsTheProcessAsSignalsDo) {
  const Conversation conversation;
  conversation.say("echo one\n");
  EXPECT_EQ(conversation.hear(4), "one\n");
  EXPECT_EQ(conversation.end(SIGTERM), -SIGTERM);
}

}  // namespace
}  // namespace Routing::Replay
