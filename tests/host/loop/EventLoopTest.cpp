// The daemon's loop, on real descriptors, signals and threads.

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "host/loop/EventLoop.h"
#include "platform/task/Clock.h"
#include "platform/task/Task.h"

namespace Routing::Host {
namespace {

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    systemCall(::pipe(ends.data()), "cannot make a pipe");
    read = FileDescriptor(ends[0]);
    write = FileDescriptor(ends[1]);
  }
  void put() const { ASSERT_EQ(::write(write.get(), "x", 1), 1); }
  void take() const {
    char byte = 0;
    ASSERT_EQ(::read(read.get(), &byte, 1), 1);
  }

  FileDescriptor read;
  FileDescriptor write;
};

class Work final : public Notifiee {
 public:
  Work(const Ptr<Task>& task, std::function<void()> run) : run_(std::move(run)) {
    subscribe(*task);
  }
  void onAttribute(FieldId, const void*) override { run_(); }

 private:
  std::function<void()> run_;
};

class EventLoopTest : public testing::Test {
 protected:
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(makeEntity<RealClock>());
  EventLoop loop{scheduler};
  std::vector<std::string> events;
};

TEST_F(EventLoopTest, ATurnIsDescriptorsThenJobsThenOneTaskThenHooks) {
  const Pipe pipe;
  const auto task = makeEntity<Task>(scheduler, TaskPriority::mostUrgent, "task");
  const Work work(task, [&] { events.emplace_back("task"); });
  loop.turnEndIs([&] { events.emplace_back("first hook"); });
  loop.turnEndIs([&] { events.emplace_back("second hook"); });
  loop.fdIs(pipe.read.get(), EPOLLIN, [&](std::uint32_t) {
    pipe.take();
    events.emplace_back("descriptor");
  });
  task->scheduleTask();
  loop.post([&] { events.emplace_back("job"); });
  pipe.put();

  loop.runTurn(true);

  EXPECT_EQ(events,
            (std::vector<std::string>{"descriptor", "job", "task", "first hook", "second hook"}));
}

TEST_F(EventLoopTest, ARunnableTaskKeepsTheLoopFromWaiting) {
  const auto task = makeEntity<Task>(scheduler, TaskPriority::mostUrgent, "task");
  int runs = 0;
  const Work work(task, [&] {
    if (++runs < 3) {
      task->scheduleTask();
    } else {
      loop.stop();
    }
  });
  task->scheduleTask();
  loop.run();
  EXPECT_EQ(runs, 3);
}

TEST_F(EventLoopTest, ATimerWakesTheLoopAndNothingElseDoes) {
  const auto timer = makeEntity<TimerTask>(scheduler, TaskPriority::mostUrgent, "timer");
  const Work work(timer, [&] { loop.stop(); });
  timer->scheduleTaskLowestDelay(TimerTask::Seconds(0.02));
  const Nanoseconds start = scheduler->clock()->now();
  const std::uint64_t before = loop.wakeups();
  loop.run();
  EXPECT_GE(scheduler->clock()->now() - start, std::chrono::milliseconds(20));
  // For the timer, and for the job that stops.
  EXPECT_EQ(loop.wakeups() - before, 2U);
}

// It stays armed for as long as its deadline does; one earlier, and one later, are armed anew.
TEST_F(EventLoopTest, ATimerWakesTheLoopAfterOtherReasonsHave) {
  const auto late = makeEntity<TimerTask>(scheduler, TaskPriority::mostUrgent, "late");
  const auto early = makeEntity<TimerTask>(scheduler, TaskPriority::mostUrgent, "early");
  const Work lateWork(late, [&] { loop.stop(); });
  const Work earlyWork(early, [&] { events.emplace_back("early"); });
  late->scheduleTaskLowestDelay(TimerTask::Seconds(0.03));
  std::thread other([this] { loop.post([this] { events.emplace_back("job"); }); });
  loop.runTurn(true);
  other.join();
  early->scheduleTaskLowestDelay(TimerTask::Seconds(0.01));
  const Nanoseconds start = scheduler->clock()->now();
  loop.run();
  EXPECT_EQ(events, (std::vector<std::string>{"job", "early"}));
  EXPECT_LT(scheduler->clock()->now() - start, std::chrono::seconds(10));
}

TEST_F(EventLoopTest, AHandlerRemovedInATurnIsNotCalledAnyMoreInIt) {
  const Pipe one;
  const Pipe other;
  int calls = 0;
  const auto removesBoth = [&](std::uint32_t) {
    ++calls;
    loop.fdDel(one.read.get());
    loop.fdDel(other.read.get());
  };
  loop.fdIs(one.read.get(), EPOLLIN, removesBoth);
  loop.fdIs(other.read.get(), EPOLLIN, removesBoth);
  one.put();
  other.put();
  loop.runTurn(true);
  loop.runTurn(false);
  EXPECT_EQ(calls, 1);
}

TEST_F(EventLoopTest, ADescriptorsHandlerIsReplaced) {
  const Pipe pipe;
  loop.fdIs(pipe.read.get(), EPOLLIN, [&](std::uint32_t) { events.emplace_back("old"); });
  loop.fdIs(pipe.read.get(), EPOLLIN, [&](std::uint32_t) { events.emplace_back("new"); });
  pipe.put();
  loop.runTurn(true);
  EXPECT_EQ(events, (std::vector<std::string>{"new"}));
}

TEST_F(EventLoopTest, AJobPostedByAJobRunsOneTurnLater) {
  loop.turnEndIs([&] { events.emplace_back("turn ends"); });
  loop.post([&] {
    events.emplace_back("outer");
    loop.post([&] { events.emplace_back("inner"); });
  });
  loop.runTurn(true);
  loop.runTurn(true);
  EXPECT_EQ(events, (std::vector<std::string>{"outer", "turn ends", "inner", "turn ends"}));
}

TEST_F(EventLoopTest, JobsOfOtherThreadsAllRunInTheirOrder) {
  constexpr int jobs = 1000;
  std::vector<int> order;
  std::thread other([&] {
    for (int job = 0; job < jobs; ++job) {
      loop.post([&order, job] { order.push_back(job); });
    }
    loop.stop();
  });
  loop.run();
  other.join();
  std::vector<int> expected(jobs);
  for (int job = 0; job < jobs; ++job) {
    expected[static_cast<std::size_t>(job)] = job;
  }
  EXPECT_EQ(order, expected);
}

TEST_F(EventLoopTest, ASignalIsHandledInATurn) {
  loop.signalIs(SIGUSR1, [&] { events.emplace_back("USR1"); });
  loop.signalIs(SIGUSR2, [&] { loop.stop(); });
  ASSERT_EQ(::raise(SIGUSR1), 0);
  ASSERT_EQ(::raise(SIGUSR2), 0);
  loop.run();
  EXPECT_EQ(events, (std::vector<std::string>{"USR1"}));
}

TEST_F(EventLoopTest, AnExceptionOfAHookLeavesTheLoop) {
  loop.turnEndIs([] { throw std::runtime_error("the store is full"); });
  loop.post([] {});
  EXPECT_THROW(loop.run(), std::runtime_error);
}

TEST_F(EventLoopTest, AClosedDescriptorCannotBeWatched) {
  EXPECT_THROW(loop.fdIs(-1, EPOLLIN, [](std::uint32_t) {}), SystemError);
}

}  // namespace
}  // namespace Routing::Host
