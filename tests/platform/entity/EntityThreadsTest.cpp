// The multi-threaded counting mode, which is a property of the whole process: these tests have a
// program of their own, which is also run under the thread sanitizer.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "platform/entity/Ptr.h"
#include "tests/platform/entity/TestEntities.h"

namespace Routing {
namespace {

using Support::Circle;

class EntityThreads : public testing::Test {
 protected:
  void SetUp() override { ReferenceCount::multiThreadedIs(true); }

  // Runs the work on two threads that start it together.
  template <class Work>
  static void onTwoThreads(Work work) {
    std::atomic<int> ready{0};
    const auto run = [&ready, &work](int thread) {
      ++ready;
      while (ready.load() < 2) {
      }
      work(thread);
    };
    std::thread first(run, 0);
    std::thread second(run, 1);
    first.join();
    second.join();
  }
};

TEST_F(EntityThreads, TwoThreadsShareAPtrAndNoCountIsLost) {
  constexpr int copies = 50000;
  const auto shared = makeEntity<Circle>();
  std::array<std::vector<Ptr<Circle>>, 2> kept;
  onTwoThreads([&](int thread) {
    for (int i = 0; i < copies; ++i) {
      Ptr<Circle> copy = shared;
      if (i % 2 == 0) {
        kept.at(static_cast<std::size_t>(thread)).push_back(std::move(copy));
      }
    }
  });
  EXPECT_EQ(shared->referenceCount().value(), 1U + copies);
  kept = {};
  EXPECT_EQ(shared->referenceCount().value(), 1U);
}

// Its destructor reads what both threads wrote into it.
class Tally : public Circle {
 public:
  explicit Tally(int& total) : total_(total) {}
  ~Tally() override { total_ += parts[0] + parts[1]; }
  std::array<int, 2> parts{};

 private:
  int& total_;
};

TEST_F(EntityThreads, WhoeverDropsTheLastPtrSeesWhatTheOtherWrote) {
  constexpr int rounds = 200;
  int total = 0;
  for (int i = 0; i < rounds; ++i) {
    std::array<Ptr<Tally>, 2> held;
    held[0] = makeEntity<Tally>(total);
    held[1] = held[0];
    std::atomic<bool> go{false};
    std::thread other([&] {
      while (!go.load(std::memory_order_relaxed)) {
      }
      held[1]->parts[1] = 1;
      held[1] = nullptr;
    });
    go.store(true, std::memory_order_relaxed);
    held[0]->parts[0] = 1;
    held[0] = nullptr;
    other.join();
  }
  EXPECT_EQ(total, 2 * rounds);
}

TEST_F(EntityThreads, EntitiesMadeOnBothThreadsAreCountedLive) {
  constexpr int entities = 5000;
  std::array<std::vector<Ptr<Circle>>, 2> kept;
  onTwoThreads([&](int thread) {
    for (int i = 0; i < entities; ++i) {
      auto entity = makeEntity<Circle>();
      if (i % 2 == 0) {
        kept.at(static_cast<std::size_t>(thread)).push_back(std::move(entity));
      }
    }
  });
  EXPECT_EQ(Circle::type().live(), std::uint64_t{entities});
  kept = {};
  EXPECT_EQ(Circle::type().live(), 0U);
}

}  // namespace
}  // namespace Routing
