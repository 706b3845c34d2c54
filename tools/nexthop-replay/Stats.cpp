#include "tools/nexthop-replay/Stats.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace Routing::Replay {

namespace {

String secondsText(std::chrono::duration<double> seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.6f", seconds.count());
  return text.data();
}

std::chrono::microseconds timeOf(const timeval& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

}  // namespace

void Stats::countTaskRun(Clock::duration duration) noexcept {
  ++taskRuns_;
  longestSlice_ = std::max(longestSlice_, duration);
}

String Stats::text() const {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  String text;
  const auto add = [&text](const char* name, const String& value) {
    text.append(name).append(" ").append(value).append("\n");
  };
  add("commands", std::to_string(commands_));
  add("tasks-run", std::to_string(taskRuns_));
  add("nexthops-processed", std::to_string(nexthops_));
  add("wall-seconds", secondsText(Clock::now() - start_));
  add("cpu-seconds", secondsText(timeOf(usage.ru_utime) + timeOf(usage.ru_stime)));
  add("longest-slice-seconds", secondsText(longestSlice_));
  add("peak-memory-kilobytes", std::to_string(usage.ru_maxrss));
  return text;
}

}  // namespace Routing::Replay
