#pragma once

// Reach: how often random sequences came to each pair of operations, one after the other, and to
// each situation of the reference model.

#include <array>
#include <cstdint>
#include <iosfwd>

#include "tests/property/Operation.h"
#include "tests/support/ReferenceModelReach.h"

namespace Routing::Support {

class Reach {
 public:
  void countPair(Operation::Kind first, Operation::Kind next) noexcept {
    ++pairs_[static_cast<std::size_t>(first)][static_cast<std::size_t>(next)];
  }
  void countSituations(const SituationCounts& situations) noexcept;
  // Adds what write() wrote. False when that is not what the stream holds.
  bool add(std::istream& stream);
  // All counts as numbers, for add().
  void write(std::ostream& stream) const;
  // Pairs that were not reached so often, and situations.
  std::size_t below(std::uint64_t often) const noexcept;
  // The whole, and by name what was not reached so often.
  void print(std::ostream& stream, std::uint64_t often) const;

 private:
  std::array<std::array<std::uint64_t, Operation::kinds>, Operation::kinds> pairs_{};
  SituationCounts situations_{};
};

}  // namespace Routing::Support
