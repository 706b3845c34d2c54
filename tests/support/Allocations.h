#pragma once

// Counts what a test program takes from the heap, and lets a chosen allocation fail. A program that
// links Allocations.cpp has its operator new and delete replaced.

#include <cstddef>
#include <cstdint>

namespace Routing::Support {

// Allocations made so far by this program.
std::uint64_t allocations() noexcept;
// Bytes that are allocated now.
std::size_t allocatedBytes() noexcept;

// Lets the first allocation after `successes` others fail with std::bad_alloc, while it exists.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::uint64_t successes = 0) noexcept;
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  // True when it has failed.
  bool fired() const noexcept;
};

}  // namespace Routing::Support
