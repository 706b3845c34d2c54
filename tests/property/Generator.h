#pragma once

// Draws sequences of operations. The same seed and number give the same sequence everywhere.
//
// A flavour says what a sequence is about; most are plain. What is drawn is done to a reference
// model on the way, so that only operations that fit are drawn.

#include <cstdint>
#include <random>

#include "tests/property/Operation.h"

namespace Routing::Support {

class ReferenceModel;

enum class Flavour : std::uint8_t {
  plain,
  // Inputs change and tasks run while notifications are paused.
  paused,
  // FecId 0 is in use: routes that lead to it, and the FEC itself.
  fecZero,
};

class Generator {
 public:
  Generator(std::uint64_t seed, std::uint64_t number);

  Flavour flavour() const noexcept { return flavour_; }
  // The next operation, one that fits.
  Operation next(const ReferenceModel& model);

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  Operation::Kind kind();
  Operation draw();
  // Fills in what the kind needs.
  void fill(Operation& operation);
  // An operation that has to come now; false when none has.
  bool forced(const ReferenceModel& model, Operation& operation);
  bool forcedPause(const ReferenceModel& model, Operation& operation);

  std::mt19937_64 random_;
  Flavour flavour_;
  std::uint64_t drawn_ = 0;
  bool endManager_ = false;
  std::uint8_t endedVrf_ = 0;
};

}  // namespace Routing::Support
