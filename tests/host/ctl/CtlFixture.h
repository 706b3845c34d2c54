#pragma once

// The program nexthopctl, run against a client service of this process.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {

struct CtlRun {
  int exitCode = -1;
  std::string output;
  std::string errors;
};

// A time as it stands in every expectation: as long as a real one.
inline const std::string anyTime = "YYYY-MM-DDThh:mm:ss.mmmZ";

inline std::string withoutTimes(const std::string& text) {
  static const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)");
  return std::regex_replace(text, time, anyTime);
}

// A program whose output is read line by line while it runs.
class RunningCtl {
 public:
  explicit RunningCtl(const std::string& command) : pipe_(::popen(command.c_str(), "r")) {}
  RunningCtl(const RunningCtl&) = delete;
  RunningCtl& operator=(const RunningCtl&) = delete;
  ~RunningCtl() { finish(); }

  // Empty at the end.
  std::string line() {
    std::array<char, 4096> buffer{};
    if (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe_) == nullptr) {
      return {};
    }
    const std::string text = buffer.data();
    return withoutTimes(text.substr(0, text.find('\n')));
  }
  // Waits for its end. What is left of its output is read, so that no write of it fails.
  int finish() {
    if (pipe_ == nullptr) {
      return -1;
    }
    while (!line().empty()) {
    }
    const int status = ::pclose(std::exchange(pipe_, nullptr));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  std::FILE* pipe_;
};

class CtlFixture : public ServiceFixture {
 protected:
  CtlFixture() {
    hooks.interfaceName = [](std::uint32_t index) { return "eth" + std::to_string(index); };
    std::string pattern = ::testing::TempDir() + "nexthopctl-XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
  }
  ~CtlFixture() override { static_cast<void>(std::system(("rm -r '" + folder_ + "'").c_str())); }

  std::string command(const std::string& arguments) const;
  CtlRun run(const std::string& arguments) const {
    const std::string output = folder_ + "/output";
    const std::string errors = folder_ + "/errors";
    const std::string line = command(arguments) + " > '" + output + "' 2> '" + errors + "'";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            withoutTimes(content(output)),
            content(errors)};
  }
  // What it prints when all goes well; the mistake otherwise.
  std::string output(const std::string& arguments) const {
    const CtlRun run = this->run(arguments);
    return run.errors.empty() ? run.output : "errors: " + run.errors;
  }
  // Registers and waits until all of it has been looked at.
  void registered(const std::string& client, const std::vector<std::string>& addresses) {
    const auto stub = connect();
    ASSERT_TRUE(registerAll(*stub, registration(client, addresses)).ok());
    onLoop([] {});
  }

 private:
  static std::string content(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }

  std::string folder_;
};

}  // namespace Routing::Host
