#include "tools/nexthop-replay/Runner.h"

#include <algorithm>

#include "platform/task/Task.h"

namespace Routing::Replay {

// The sum over all tasks. No task of the library ends while another one runs.
std::uint64_t Runner::workReported() const {
  std::uint64_t work = 0;
  scheduler_.walkTasks([&work](const Task& task) { work += task.taskWorkCount(); });
  return work;
}

bool Runner::runOne() {
  const Stats::Clock::time_point start = Stats::Clock::now();
  if (!scheduler_.runTask()) {
    return false;
  }
  stats_.countTaskRun(Stats::Clock::now() - start);
  return true;
}

void Runner::runAll() {
  while (runOne()) {
  }
}

void Runner::step() {
  const std::uint64_t before = workReported();
  runOne();
  stats_.countNexthops(workReported() - before);
}

void Runner::run() {
  const std::uint64_t before = workReported();
  runAll();
  stats_.countNexthops(workReported() - before);
}

bool Runner::advance(Nanoseconds duration) {
  if (duration > Nanoseconds::max() - clock_.now()) {
    return false;
  }
  const Nanoseconds target = clock_.now() + duration;
  const std::uint64_t before = workReported();
  runAll();
  for (auto expiry = scheduler_.nextTimer(); expiry && *expiry <= target;
       expiry = scheduler_.nextTimer()) {
    clock_.nowIs(std::max(*expiry, clock_.now()));
    scheduler_.fireDueTimer();
    runAll();
  }
  stats_.countNexthops(workReported() - before);
  clock_.nowIs(target);
  return true;
}

}  // namespace Routing::Replay
