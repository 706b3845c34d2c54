#pragma once

// How the benchmarks measure: CPU time of the thread that works, and counts that are the same in
// every run.
//
//   Meter      what happened since it was made: time, allocations, operations
//   medianOf5  the run of the middle time out of five
//   Unit       U, the yardstick for times: one find in a std::unordered_map of a million members
//
// A machine that is shared or clocked down is slow for the yardstick too, so a time in U means the
// same everywhere. Counts are absolute.
//
// Operations are counted where the library's parts call each other: the program is linked so that
// these calls pass through Measure.cpp. The library itself knows nothing of it.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace Routing::Bench {

struct Cost {
  double seconds = 0;
  std::uint64_t allocations = 0;
  // Longest matches, questions for longer prefixes, and walks.
  std::uint64_t trieQueries = 0;
  // Changes that were delivered to at least one subscriber.
  std::uint64_t notifications = 0;

  Cost operator-(const Cost& earlier) const;
};

// Everything this thread has cost so far.
Cost totalCost();

class Meter {
 public:
  Meter() : start_(totalCost()) {}
  Cost cost() const { return totalCost() - start_; }

 private:
  Cost start_;
};

template <class Work>
Cost costOf(Work work) {
  const Meter meter;
  work();
  return meter.cost();
}

// `run` returns the Cost of one run.
template <class Run>
Cost medianOf5(Run run) {
  std::array<Cost, 5> costs;
  for (Cost& cost : costs) {
    cost = run();
  }
  std::nth_element(
      costs.begin(),
      costs.begin() + 2,
      costs.end(),
      [](const Cost& left, const Cost& right) { return left.seconds < right.seconds; });
  return costs[2];
}

class Unit {
 public:
  Unit();
  // Measures anew, for what is measured next: the machine's mood changes.
  void renew();
  double seconds() const noexcept { return seconds_; }

 private:
  static constexpr std::size_t members = 1000000;

  std::unordered_map<std::uint64_t, std::uint64_t> map_;
  std::vector<std::uint64_t> keys_;
  double seconds_ = 0;
};

// Keeps the compiler from dropping what only computes the value.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace Routing::Bench
