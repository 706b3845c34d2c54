// The heap of timers beside a plain list that is searched from end to end.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tests/platform/task/TaskFixture.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

using Support::Events;
using Support::TimedWorker;

class TimerHeap : public Support::TaskFixture {
 protected:
  static constexpr std::size_t timerCount = 60;

  struct Armed {
    Nanoseconds expiry;
    std::uint64_t arming;
    std::size_t timer;
    friend bool operator<(const Armed& left, const Armed& right) {
      return std::tie(left.expiry, left.arming) < std::tie(right.expiry, right.arming);
    }
  };

  TimerHeap() {
    for (std::size_t i = 0; i < timerCount; ++i) {
      timers.push_back(newTimer(i));
    }
  }
  std::unique_ptr<TimedWorker> newTimer(std::size_t timer) {
    return std::make_unique<TimedWorker>(scheduler, log, std::to_string(timer));
  }
  std::size_t below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
  }
  auto inModel(std::size_t timer) {
    return std::find_if(model.begin(), model.end(), [timer](const Armed& armed) {
      return armed.timer == timer;
    });
  }
  void disarmInModel(std::size_t timer) {
    if (const auto armed = inModel(timer); armed != model.end()) {
      model.erase(armed);
    }
  }

  // Few different delays, so that equal expiries are common.
  void arm(std::size_t timer) {
    const Nanoseconds delay(static_cast<std::int64_t>(below(40)));
    (*timers[timer])->scheduleTaskLowestDelay(delay);
    const Nanoseconds expiry = clock->now() + delay;
    const auto armed = inModel(timer);
    if (armed != model.end() && armed->expiry <= expiry) {
      return;
    }
    disarmInModel(timer);
    model.push_back({expiry, ++armings, timer});
  }
  void stop(std::size_t timer) {
    (*timers[timer])->stopTimerTask();
    disarmInModel(timer);
  }
  void replace(std::size_t timer) {
    timers[timer] = newTimer(timer);
    disarmInModel(timer);
  }
  void expectAdvance(Nanoseconds duration) {
    const Nanoseconds target = clock->now() + duration;
    std::sort(model.begin(), model.end());
    Events expected;
    while (!model.empty() && model.front().expiry <= target) {
      expected.push_back(std::to_string(model.front().timer));
      model.erase(model.begin());
    }
    ASSERT_EQ(advance(duration), expected);
  }
  void expectNextTimer() {
    const auto first = std::min_element(model.begin(), model.end());
    ASSERT_EQ(scheduler->nextTimer(),
              first == model.end() ? std::nullopt : std::optional(first->expiry));
  }

  std::vector<std::unique_ptr<TimedWorker>> timers;
  std::vector<Armed> model;
  std::uint64_t armings = 0;
  std::mt19937_64 random{Support::seed()};
};

TEST_F(TimerHeap, FiresLikeASortedListWhateverIsArmedStoppedAndDestroyed) {
  const Support::SeedTrace trace(Support::seed());
  for (int step = 0; step < 20'000 && !HasFatalFailure(); ++step) {
    const std::size_t timer = below(timerCount);
    switch (below(8)) {
      case 0:
        expectAdvance(Nanoseconds(static_cast<std::int64_t>(below(6))));
        break;
      case 1:
        stop(timer);
        break;
      case 2:
        replace(timer);
        break;
      default:
        arm(timer);
        break;
    }
    expectNextTimer();
  }
  expectAdvance(Nanoseconds(100));
  EXPECT_TRUE(model.empty());
  EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
}

}  // namespace
}  // namespace Routing
