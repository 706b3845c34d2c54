#include "tests/property/ProcessEnd.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizers' names
extern "C" const char* __asan_default_options() { return "abort_on_error=1"; }
extern "C" const char* __ubsan_default_options() { return "abort_on_error=1"; }
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace Routing::Support {

String headLine(std::uint64_t seed, std::uint64_t number) {
  return "# NEXTHOP_SEED=" + std::to_string(seed) + ", sequence " + std::to_string(number) + '\n';
}

LastWords::LastWords(std::uint64_t seed, std::uint64_t number, const Sequence& sequence)
    : seed_(seed), number_(number), sequence_(sequence) {
  speaking() = this;
  for (std::size_t i = 0; i < signals.size(); ++i) {
    before_[i] = std::signal(signals[i], &LastWords::speak);
    // A sanitizer's own handler reports, and aborts then.
    if (before_[i] != SIG_DFL) {
      std::signal(signals[i], before_[i]);
    }
  }
}

LastWords::~LastWords() {
  for (std::size_t i = 0; i < signals.size(); ++i) {
    std::signal(signals[i], before_[i]);
  }
  speaking() = nullptr;
}

LastWords*& LastWords::speaking() {
  static LastWords* instance = nullptr;
  return instance;
}

// The process is lost: that text is put together in a handler harms nobody any more.
void LastWords::speak(int signal) {
  std::signal(signal, SIG_DFL);
  if (const LastWords* const words = speaking()) {
    const String text =
        headLine(words->seed_, words->number_) + "# ended the process\n" + textOf(words->sequence_);
    static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size()));
  }
  std::raise(signal);
}

std::optional<bool> askApart(const std::function<bool()>& question) {
  // Far from what sanitizers and the system end a process with.
  constexpr int yes = 40;
  constexpr int no = 41;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    static_cast<void>(std::freopen("/dev/null", "w", stderr));
    _exit(question() ? yes : no);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
    return std::nullopt;
  }
  switch (WEXITSTATUS(status)) {
    case yes:
      return true;
    case no:
      return false;
    default:
      return std::nullopt;
  }
}

}  // namespace Routing::Support
