#include "bench/host/daemon/Rows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace Routing::Bench {

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string number(const char* format, double value) {
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), format, value));
  return text.data();
}

std::string timeText(double seconds) {
  const bool small = seconds < millisecond;
  const bool large = seconds >= 1;
  const double value = seconds / (small ? microsecond : large ? 1 : millisecond);
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(),
                                  text.size(),
                                  value >= 100 ? "%.0f %s" : "%.2f %s",
                                  value,
                                  small   ? "us"
                                  : large ? "s"
                                          : "ms"));
  return text.data();
}

double Times::quantile(double share) const {
  std::vector<double> times = times_;
  const std::ptrdiff_t place = std::lround(share * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), times.begin() + place, times.end());
  return times[static_cast<std::size_t>(place)];
}

void Rows::below(const std::string& what, double seconds, double limit, const std::string& beside) {
  is(what, timeText(seconds), "under " + timeText(limit), seconds < limit, beside);
}

void Rows::is(const std::string& what,
              const std::string& measured,
              const std::string& target,
              bool met,
              const std::string& beside) {
  missed_ += met ? 0U : 1U;
  print(what, measured, target, beside, met ? "ok" : "MISSED");
}

void Rows::shown(const std::string& what, const std::string& measured, const std::string& beside) {
  print(what, measured, "", beside, "");
}

// Each row at once: a run takes minutes.
void Rows::print(const std::string& what,
                 const std::string& measured,
                 const std::string& target,
                 const std::string& beside,
                 const char* verdict) {
  if (rows_++ == 0) {
    std::printf("| what | measured | target | beside it | |\n|---|---|---|---|---|\n");
  }
  std::printf("| %s | %s | %s | %s | %s |\n",
              what.c_str(),
              measured.c_str(),
              target.c_str(),
              beside.c_str(),
              verdict);
  static_cast<void>(std::fflush(stdout));
}

std::size_t Rows::summary() const {
  std::printf("\n%zu rows, %zu beyond their targets\n", rows_, missed_);
  return missed_;
}

}  // namespace Routing::Bench
