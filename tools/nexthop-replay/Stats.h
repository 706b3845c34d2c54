#pragma once

// What a replay did, and what it cost.

#include <chrono>
#include <cstdint>

#include "platform/net/IpGenAddr.h"

namespace Routing::Replay {

class Stats {
 public:
  using Clock = std::chrono::steady_clock;

  void countCommand() noexcept { ++commands_; }
  void countTaskRun(Clock::duration duration) noexcept;
  void countNexthops(std::uint64_t nexthops) noexcept { nexthops_ += nexthops; }

  // A line each: "commands 12" and so on, the times in seconds, up to now.
  String text() const;

 private:
  Clock::time_point start_ = Clock::now();
  std::uint64_t commands_ = 0;
  std::uint64_t taskRuns_ = 0;
  std::uint64_t nexthops_ = 0;
  Clock::duration longestSlice_{0};
};

}  // namespace Routing::Replay
