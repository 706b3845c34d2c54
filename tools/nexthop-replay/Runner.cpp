#include "tools/nexthop-replay/Runner.h"

#include <algorithm>

#include "platform/task/Task.h"

namespace Routing::Replay {

std::uint64_t Runner::workReported() const {
  std::uint64_t work = 0;
  scheduler_.walkTasks([&work](const Task& task) { work += task.taskWorkCount(); });
  return work;
}

bool Runner::step() {
  const std::uint64_t before = workReported();
  const Stats::Clock::time_point start = Stats::Clock::now();
  if (!scheduler_.runTask()) {
    return false;
  }
  const Stats::Clock::duration duration = Stats::Clock::now() - start;
  // A task that its own work released takes its count along.
  stats_.countTaskRun(duration, std::max(workReported(), before) - before);
  return true;
}

void Runner::run() {
  while (step()) {
  }
}

bool Runner::advance(Nanoseconds duration) {
  if (duration > Nanoseconds::max() - clock_.now()) {
    return false;
  }
  const Nanoseconds target = clock_.now() + duration;
  run();
  for (auto expiry = scheduler_.nextTimer(); expiry && *expiry <= target;
       expiry = scheduler_.nextTimer()) {
    clock_.nowIs(std::max(*expiry, clock_.now()));
    scheduler_.fireDueTimer();
    run();
  }
  clock_.nowIs(target);
  return true;
}

}  // namespace Routing::Replay
