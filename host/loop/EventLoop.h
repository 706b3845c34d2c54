#pragma once

// EventLoop: the daemon's one thread. Waits for file descriptors, signals, timers and jobs of other
// threads, and lets the library's scheduler work between them.
//
// A turn:
//   1. handlers of the file descriptors that are ready, in the order the kernel names them
//   2. jobs posted by other threads, in order of posting
//   3. one turn of the scheduler: due timers, then one task for at most one time slice
//   4. the hooks of the turn's end, in order of addition
// While a task is runnable the loop looks at its descriptors without waiting; otherwise it sleeps
// until one is ready, a job comes or the scheduler's next timer is due. It wakes for nothing else.
//
// What happens in one turn is one step for everybody outside: records are stored and clients told
// in hooks, after the whole batch.
//
// Invariants:
//   1. Everything but post() and stop() is called on the loop's thread, also before run().
//   2. A handler, job or hook may add and remove descriptors, post, and stop the loop. Hooks are
//      set before it runs.
//   3. A handler removed in a turn is not called any more in it.
//   4. An exception of a handler, job or hook leaves run(): the daemon ends with its reason.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "host/loop/FileDescriptor.h"
#include "platform/entity/Ptr.h"
#include "platform/task/TaskScheduler.h"

namespace Routing::Host {

class EventLoop {
 public:
  // When a turn's parts began and ended, on the machine's steady clock.
  struct TurnTimes {
    Nanoseconds began{0};
    Nanoseconds sliceBegan{0};
    Nanoseconds sliceEnded{0};
  };
  // Gets the ready events (EPOLLIN, ...).
  using Handler = std::function<void(std::uint32_t events)>;
  using Job = std::function<void()>;

  // The scheduler's clock runs `clockRate` times as fast as the machine's. Throws: SystemError.
  explicit EventLoop(const Ptr<TaskScheduler>& scheduler, unsigned clockRate = 1);
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  ~EventLoop();

  const Ptr<TaskScheduler>& scheduler() const noexcept { return scheduler_; }

  // Calls the handler each turn in which one of the events is ready on the descriptor, which stays
  // the caller's. Replaces what was set for it. Throws: SystemError.
  void fdIs(int fd, std::uint32_t events, Handler handler);
  // No effect when there is no handler. To be called before the descriptor is closed.
  void fdDel(int fd) noexcept;
  // Blocks the signal for the threads made from now on and calls the handler instead.
  void signalIs(int signal, Job handler);
  // Calls the hook at the end of each turn. Requires: not called from a hook.
  void turnEndIs(Job hook);

  // From any thread: the job runs in the loop's next turn. A job posted by a job runs a turn later.
  void post(Job job);

  // Turns until stop(). What was posted before stop() is done. May be called again.
  void run();
  // From any thread.
  void stop();
  // One turn; waits when there is nothing to do and `wait` is set.
  void runTurn(bool wait);

  // Of the turn that is under way or has ended last.
  const TurnTimes& turnTimes() const noexcept { return turnTimes_; }
  // How often the loop woke up, for whatever reason.
  std::uint64_t wakeups() const noexcept { return wakeups_; }

 private:
  void wait(bool mayWait);
  void timerArm();
  void jobsRun();
  void signalsRead();

  Ptr<TaskScheduler> scheduler_;
  unsigned clockRate_;
  FileDescriptor epoll_;
  FileDescriptor timer_;
  // The deadline, on the scheduler's clock, that the timer will wake the loop for.
  std::optional<Nanoseconds> armedFor_;
  FileDescriptor wakeup_;
  FileDescriptor signals_;
  // Held while they are called, so that one may remove itself.
  std::unordered_map<int, std::shared_ptr<Handler>> handlers_;
  std::unordered_map<int, Job> signalHandlers_;
  std::vector<Job> turnEnd_;
  std::uint64_t wakeups_ = 0;
  TurnTimes turnTimes_;
  bool stopped_ = false;

  std::mutex mutex_;
  // Guarded by mutex_.
  std::vector<Job> jobs_;
};

}  // namespace Routing::Host
