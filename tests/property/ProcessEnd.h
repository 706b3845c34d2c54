#pragma once

// What to do about a sequence that ends the process.
//
//   LastWords   tells, as the process dies, which sequence was under way
//   askApart    asks a question in a child process, which may not survive it
//
// The sanitizers report and then abort in a program that has this in it, so that a finding of
// theirs is an end like a failed assertion's.

#include <array>
#include <csignal>
#include <cstdint>
#include <functional>
#include <optional>

#include "tests/property/Operation.h"

namespace Routing::Support {

// The first line of a replay file that tells a sequence.
String headLine(std::uint64_t seed, std::uint64_t number);

// One at a time.
class LastWords {
 public:
  // The sequence may grow while this lives.
  LastWords(std::uint64_t seed, std::uint64_t number, const Sequence& sequence);
  LastWords(const LastWords&) = delete;
  LastWords& operator=(const LastWords&) = delete;
  ~LastWords();

 private:
  static constexpr std::array signals{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

  static LastWords*& speaking();
  static void speak(int signal);

  std::uint64_t seed_;
  std::uint64_t number_;
  const Sequence& sequence_;
  std::array<void (*)(int), signals.size()> before_{};
};

// The answer; nothing when the process ended over it, or when there was none. What the child says
// on standard error is not heard.
std::optional<bool> askApart(const std::function<bool()>& question);

}  // namespace Routing::Support
