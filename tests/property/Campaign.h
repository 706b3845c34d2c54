#pragma once

// Campaign: draws sequences one after the other and tries each. It ends at the first that fails,
// which is shrunk and told as a replay file. A sequence that ends the process is told as it dies,
// unshrunk, with its seed and number: tried alone, in a child process, it can be shrunk too.

#include <cstdint>
#include <iosfwd>

#include "tests/property/Reach.h"
#include "tests/property/Trial.h"

namespace Routing::Support {

class Campaign {
 public:
  static constexpr std::size_t steps = 200;

  explicit Campaign(std::uint64_t seed) noexcept : seed_(seed) {}

  // Tries that sequence of the seed. False when it failed; failure() tells it.
  bool tryNumber(std::uint64_t number);
  // The same in a child process first, and shrinks what ends it.
  bool tryApart(std::uint64_t number);

  const String& failure() const noexcept { return failure_; }
  const Reach& reach() const noexcept { return reach_; }
  std::uint64_t stepsDone() const noexcept { return stepsDone_; }

  // The whole event log of the sequence, each step's events below a line of its own.
  static String eventLog(std::uint64_t seed, std::uint64_t number);
  // What a sequence consists of, from a model alone.
  static Sequence draw(std::uint64_t seed, std::uint64_t number);

 private:
  void tryUntilItFails(std::uint64_t number, Verdict& verdict);
  void report(std::uint64_t number, const Verdict& failing);

  std::uint64_t seed_;
  Reach reach_;
  std::uint64_t stepsDone_ = 0;
  String failure_;
};

}  // namespace Routing::Support
