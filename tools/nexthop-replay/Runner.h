#pragma once

// Drives the world's scheduler and clock, and counts what ran.
//
// Nothing runs by itself: tasks run in run(), step() and advance(), timers fire in advance() alone.

#include <cstdint>

#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"
#include "tools/nexthop-replay/Stats.h"

namespace Routing::Replay {

class Runner {
 public:
  // All outlive this. Requires: the scheduler's clock is this one.
  Runner(TaskScheduler& scheduler, VirtualClock& clock, Stats& stats) noexcept
      : scheduler_(scheduler), clock_(clock), stats_(stats) {}

  // Runs tasks until none is runnable.
  void run();
  // Runs one task, if one is runnable.
  void step();
  // Runs what is runnable, then moves the clock on, firing timers in order of expiry and running
  // what becomes runnable after each. False, and nothing is done, when the clock cannot go so far.
  bool advance(Nanoseconds duration);

 private:
  bool runOne();
  void runAll();
  std::uint64_t workReported() const;

  TaskScheduler& scheduler_;
  VirtualClock& clock_;
  Stats& stats_;
};

}  // namespace Routing::Replay
