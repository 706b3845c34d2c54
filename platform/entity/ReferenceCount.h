#pragma once

// Counting mode of the framework, and the count itself.
//
// A process is single-threaded unless it says otherwise with ReferenceCount::multiThreadedIs(true),
// before its first entity. The switch is process-wide: in single-threaded mode a count is a plain
// increment; in multi-threaded mode it is atomic. The atomic half lives out of line, so that the
// code that copies a Ptr inlines to a load, a test and an increment.
//
// A count starts at 1, the hold of whoever constructs the object, so that a Ptr made and dropped
// inside a constructor does not end it.

#include <cstdint>

namespace Routing {

class ReferenceCount {
 public:
  ReferenceCount() noexcept = default;
  ReferenceCount(const ReferenceCount&) = delete;
  ReferenceCount& operator=(const ReferenceCount&) = delete;

  // Requires: no entity exists yet.
  static void multiThreadedIs(bool multiThreaded);
  static bool multiThreaded() noexcept { return multiThreaded_; }

  void increment() noexcept {
    if (multiThreaded_) [[unlikely]] {
      atomicIncrement(value_);
    } else {
      ++value_;
    }
  }
  // True when nothing is left.
  bool decrement() noexcept {
    if (multiThreaded_) [[unlikely]] {
      return atomicDecrement(value_);
    }
    return --value_ == 0;
  }
  // For the destruction of the counted object: a Ptr made and dropped by its destructor finds the
  // count above zero. Requires: the count is zero.
  void holdForDestruction() noexcept { value_ = 1; }
  // Meaningful while no other thread counts.
  std::uint32_t value() const noexcept { return value_; }

 private:
  static void atomicIncrement(std::uint32_t& value) noexcept;
  static bool atomicDecrement(std::uint32_t& value) noexcept;

  static bool multiThreaded_;
  std::uint32_t value_ = 1;
};

}  // namespace Routing
