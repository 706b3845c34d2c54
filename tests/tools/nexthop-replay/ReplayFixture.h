#pragma once

// Runs nexthop-replay as a user does, in a folder of its own, and keeps what it printed and how it
// ended.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// The program under test; the build says where it is.
#ifndef NEXTHOP_REPLAY_COMMAND
#define NEXTHOP_REPLAY_COMMAND "nexthop-replay"
#endif

namespace Routing::Replay {

struct Outcome {
  // The signal that ended the process is counted below 0.
  int code;
  std::string output;
  std::string errors;
};

class ReplayFixture : public testing::Test {
 public:
  ReplayFixture(const ReplayFixture&) = delete;
  ReplayFixture& operator=(const ReplayFixture&) = delete;

 protected:
  ReplayFixture() {
    std::string pattern = (std::filesystem::temp_directory_path() / "replay-XXXXXX").string();
    directory_ = mkdtemp(pattern.data());
  }
  ~ReplayFixture() override { std::filesystem::remove_all(directory_); }

  // The path of a file in the test's folder.
  std::string file(const std::string& name) const { return directory_ + "/" + name; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  static std::string contents(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // Runs the tool with these words of a shell's command line.
  Outcome runWith(const std::string& words) const {
    const std::string command =
        "exec " NEXTHOP_REPLAY_COMMAND " " + words + " >" + file("out") + " 2>" + file("err");
    const int status = std::system(command.c_str());
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status),
            contents(file("out")),
            contents(file("err"))};
  }
  // Feeds it the text as its standard input.
  Outcome run(const std::string& text, const std::string& options = "") const {
    return runWith(options + " <" + write("input", text));
  }

 private:
  std::string directory_;
};

}  // namespace Routing::Replay
