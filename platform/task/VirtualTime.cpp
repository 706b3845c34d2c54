#include "platform/task/VirtualTime.h"

#include <algorithm>

#include "platform/entity/Assert.h"

namespace Routing {

void runUntilIdle(TaskScheduler& scheduler) {
  const Ptr<TaskScheduler> held(&scheduler);
  while (scheduler.runTask()) {
  }
}

void advanceTime(TaskScheduler& scheduler, VirtualClock& clock, Nanoseconds duration) {
  ROUTING_ASSERT(scheduler.clock().get() == &clock && "the scheduler runs on this clock");
  ROUTING_ASSERT(duration >= Nanoseconds(0) && duration <= Nanoseconds::max() - clock.now() &&
                 "time goes forward, within the clock's range");
  // Holds the clock too.
  const Ptr<TaskScheduler> held(&scheduler);
  const Nanoseconds target = clock.now() + duration;
  runUntilIdle(scheduler);
  for (auto expiry = scheduler.nextTimer(); expiry && *expiry <= target;
       expiry = scheduler.nextTimer()) {
    clock.nowIs(std::max(*expiry, clock.now()));
    scheduler.fireDueTimer();
    runUntilIdle(scheduler);
  }
  clock.nowIs(std::max(target, clock.now()));
}

}  // namespace Routing
