#pragma once

// ChildProcess: a program that a test starts and whose lines it reads.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

class ChildProcess {
 public:
  // Output and errors go to the test. The environment is what is given, and the test's but for
  // that.
  explicit ChildProcess(std::vector<std::string> arguments,
                        std::vector<std::string> environment = {}) {
    std::array<int, 2> ends{};
    systemCall(::pipe2(ends.data(), O_CLOEXEC), "cannot make a pipe");
    output_ = FileDescriptor(ends[0]);
    const FileDescriptor written(ends[1]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    // Of two of a name the first counts for some programs, the last for others.
    const std::size_t given = environment.size();
    for (char** variable = environ; *variable != nullptr; ++variable) {
      const std::string name(*variable, std::strcspn(*variable, "=") + 1);
      const auto end = environment.begin() + static_cast<std::ptrdiff_t>(given);
      if (std::none_of(environment.begin(), end, [&name](const std::string& other) {
            return other.compare(0, name.size(), name) == 0;
          })) {
        environment.emplace_back(*variable);
      }
    }
    const int error = ::posix_spawn(&process_,
                                    arguments.front().c_str(),
                                    &actions,
                                    nullptr,
                                    pointersTo(arguments).data(),
                                    pointersTo(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      throw SystemError(error, "cannot start " + arguments.front());
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { kill(); }

  // The next line of its output; empty at the end.
  std::string line() {
    std::string line;
    char byte = 0;
    while (::read(output_.get(), &byte, 1) == 1 && byte != '\n') {
      line.push_back(byte);
    }
    return line;
  }
  // Waits for it to end; its exit code, or -1 when it was killed.
  int wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  // Without warning.
  void kill() {
    if (process_ != 0) {
      ::kill(process_, SIGKILL);
      wait();
    }
  }

 private:
  static std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
      pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
  }

  pid_t process_ = 0;
  FileDescriptor output_;
};

}  // namespace Routing::Host
