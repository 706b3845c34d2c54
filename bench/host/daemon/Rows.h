#pragma once

// What was measured, in rows of one table: the figure, what it has to be, and what the kernel or a
// server that does nothing takes for the same, measured beside it.

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Routing::Bench {

constexpr double microsecond = 1e-6;
constexpr double millisecond = 1e-3;

// Wall time in seconds.
double secondsSince(std::chrono::steady_clock::time_point start);
template <class Work>
double secondsOf(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return secondsSince(start);
}

// A value in a format of printf's with one place for it.
std::string number(const char* format, double value);
// "1.25 ms".
std::string timeText(double seconds);

class Times {
 public:
  void add(double seconds) { times_.push_back(seconds); }
  // Requires: there is one.
  double quantile(double share) const;
  double median() const { return quantile(0.5); }

 private:
  std::vector<double> times_;
};

class Rows {
 public:
  void below(const std::string& what, double seconds, double limit, const std::string& beside = {});
  void is(const std::string& what,
          const std::string& measured,
          const std::string& target,
          bool met,
          const std::string& beside = {});
  // A figure without a target.
  void shown(const std::string& what, const std::string& measured, const std::string& beside = {});

  // How many there were beyond their targets, after saying so.
  std::size_t summary() const;

 private:
  void print(const std::string& what,
             const std::string& measured,
             const std::string& target,
             const std::string& beside,
             const char* verdict);

  std::size_t rows_ = 0;
  std::size_t missed_ = 0;
};

}  // namespace Routing::Bench
