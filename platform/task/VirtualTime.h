#pragma once

// Driving a scheduler over a virtual clock: what a test or a tool does instead of waiting.

#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"

namespace Routing {

// Runs tasks until none is runnable. Time stands still; timers are not looked at. A task may
// release the last hold on the scheduler.
void runUntilIdle(TaskScheduler& scheduler);

// Runs what is runnable, then moves the clock on by that much, firing the timers on the way in
// order of expiry and running what becomes runnable after each. A task may move the clock itself,
// beyond the end too, and may release the last hold on the scheduler.
// Requires: the scheduler's clock is this one; not negative, and within the clock's range.
void advanceTime(TaskScheduler& scheduler, VirtualClock& clock, Nanoseconds duration);

}  // namespace Routing
