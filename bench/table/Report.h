#pragma once

// The table of targets: what was measured, what is asked for, and whether that is met.
//
// A row is one figure. What repeats on any machine is held against its target as it is: bytes,
// counts, ratios to a twin or to the smallest size. A time is held against its target in U
// (Measure.h); a target that is told in seconds is so many U of the 38 ns that it took where the
// targets were set. A budget of real time is held as it is.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/support/Measure.h"

namespace Routing::Bench {

constexpr double nanosecond = 1e-9;
constexpr double microsecond = 1e-6;
constexpr double millisecond = 1e-3;

class Report {
 public:
  explicit Report(Unit& unit) : unit_(unit) {}

  // What the rows that follow are about, as the table of targets says it.
  void lineIs(const std::string& line);

  // A time, at most so many U, or so many seconds where a U takes 38 ns.
  void timeAtMostUnits(const std::string& what, double seconds, double units);
  void timeAtMost(const std::string& what, double seconds, double mostSeconds);
  // A time that the machine's speed does not excuse: a budget of real time.
  void realTimeAtMost(const std::string& what, double seconds, double mostSeconds);
  void bytesAtMost(const std::string& what, double bytes, double most);
  // How many times the twin takes; nanoseconds are for the reader.
  void ratioAtLeast(const std::string& what, double ours, double twins, double least);
  // How many times the smallest size's time the largest takes.
  void growthAtMost(const std::string& what, double smallest, double largest, double most);
  void countIs(const std::string& what, std::uint64_t count, std::uint64_t wanted);

  // What each operation of the work just reported allocated.
  void allocationsAre(const std::string& what, std::uint64_t allocations, double operations);

  // All rows to a stream, and those of another process's report from one. Throws:
  // std::runtime_error when a row does not read.
  void write(std::FILE* stream) const;
  void read(std::FILE* stream);

  void print() const;
  void printAllocations() const;
  // True when every row met its target.
  bool allMet() const noexcept { return missed_ == 0; }
  std::size_t missed() const noexcept { return missed_; }
  bool empty() const noexcept { return rows_.empty(); }

 private:
  struct Row {
    std::string line;
    std::string what;
    std::string measured;
    std::string target;
    bool met;
  };

  void row(const std::string& what,
           const std::string& measured,
           const std::string& target,
           bool met);
  static void write(std::FILE* stream, char table, const Row& row);
  // U, of before what was just measured and of now: a shared machine's mood changes in between.
  double unitSeconds();

  Unit& unit_;
  std::string line_;
  std::vector<Row> rows_;
  std::vector<Row> allocations_;
  std::size_t missed_ = 0;
};

}  // namespace Routing::Bench
