#include "host/loop/EventLoop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace Routing::Host {

namespace {

// A read of a counter (timerfd, eventfd). Nothing to read is no failure: somebody was faster.
void counterRead(int fd) {
  std::uint64_t count = 0;
  if (::read(fd, &count, sizeof count) == -1 && errno != EAGAIN && errno != EINTR) {
    throw SystemError(errno, "cannot read the event loop's counter");
  }
}

Nanoseconds steadyNow() noexcept { return std::chrono::steady_clock::now().time_since_epoch(); }

timespec timespecOf(Nanoseconds time) noexcept {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  timespec result{};
  result.tv_sec = seconds.count();
  result.tv_nsec = (time - seconds).count();
  return result;
}

}  // namespace

EventLoop::EventLoop(const Ptr<TaskScheduler>& scheduler, unsigned clockRate)
    : scheduler_(scheduler),
      clockRate_(clockRate),
      epoll_(systemCall(::epoll_create1(EPOLL_CLOEXEC), "cannot make an epoll set")),
      timer_(systemCall(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC),
                        "cannot make a timer descriptor")),
      wakeup_(
          systemCall(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "cannot make an event descriptor")) {
  fdIs(timer_.get(), EPOLLIN, [this](std::uint32_t) {
    armedFor_.reset();
    counterRead(timer_.get());
  });
  fdIs(wakeup_.get(), EPOLLIN, [this](std::uint32_t) { counterRead(wakeup_.get()); });
}

EventLoop::~EventLoop() = default;

void EventLoop::fdIs(int fd, std::uint32_t events, Handler handler) {
  epoll_event event{};
  event.events = events;
  event.data.fd = fd;
  const int operation = handlers_.count(fd) != 0 ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
  systemCall(::epoll_ctl(epoll_.get(), operation, fd, &event), "cannot watch a file descriptor");
  handlers_[fd] = std::make_shared<Handler>(std::move(handler));
}

void EventLoop::fdDel(int fd) noexcept {
  if (handlers_.erase(fd) != 0) {
    // A descriptor that is closed already has left the set by itself.
    static_cast<void>(::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, fd, nullptr));
  }
}

void EventLoop::signalIs(int signal, Job handler) {
  signalHandlers_[signal] = std::move(handler);
  sigset_t set;
  sigemptyset(&set);
  for (const auto& [number, unused] : signalHandlers_) {
    sigaddset(&set, number);
  }
  if (const int error = ::pthread_sigmask(SIG_BLOCK, &set, nullptr); error != 0) {
    throw SystemError(error, "cannot block a signal");
  }
  const int fd = systemCall(::signalfd(signals_.get(), &set, SFD_NONBLOCK | SFD_CLOEXEC),
                            "cannot make a signal descriptor");
  if (!signals_) {
    signals_ = FileDescriptor(fd);
    fdIs(fd, EPOLLIN, [this](std::uint32_t) { signalsRead(); });
  }
}

void EventLoop::signalsRead() {
  signalfd_siginfo info{};
  while (::read(signals_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    const Job handler = signalHandlers_[static_cast<int>(info.ssi_signo)];
    handler();
  }
}

void EventLoop::turnEndIs(Job hook) { turnEnd_.push_back(std::move(hook)); }

void EventLoop::post(Job job) {
  {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    if (jobs_.size() > 1) {
      return;  // The loop has been woken for the first of them.
    }
  }
  const std::uint64_t one = 1;
  // Full means that the loop is awake anyway.
  if (::write(wakeup_.get(), &one, sizeof one) == -1 && errno != EAGAIN) {
    throw SystemError(errno, "cannot wake the event loop");
  }
}

void EventLoop::stop() {
  post([this] { stopped_ = true; });
}

void EventLoop::run() {
  stopped_ = false;
  while (!stopped_) {
    runTurn(true);
  }
}

void EventLoop::runTurn(bool mayWait) {
  wait(mayWait);
  jobsRun();
  turnTimes_.sliceBegan = steadyNow();
  scheduler_->runTurn();
  turnTimes_.sliceEnded = steadyNow();
  for (const Job& hook : turnEnd_) {
    hook();
  }
}

void EventLoop::wait(bool mayWait) {
  const bool sleeps = mayWait && !scheduler_->hasRunnable();
  if (sleeps) {
    timerArm();
  }
  std::array<epoll_event, 64> events{};
  const int ready =
      ::epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), sleeps ? -1 : 0);
  if (ready == -1 && errno != EINTR) {
    throw SystemError(errno, "cannot wait for events");
  }
  ++wakeups_;
  turnTimes_.began = steadyNow();
  for (int index = 0; index < ready; ++index) {
    const epoll_event& event = events[static_cast<std::size_t>(index)];
    const auto found = handlers_.find(event.data.fd);
    if (found != handlers_.end()) {
      const std::shared_ptr<Handler> handler = found->second;
      (*handler)(event.events);
    }
  }
}

// Absolute times of the scheduler's clock are no times of the system's, so the delay counts. A
// delay of zero would disarm. One that is armed for the deadline already stays so.
void EventLoop::timerArm() {
  const auto deadline = scheduler_->nextTimer();
  if (deadline == armedFor_) {
    return;
  }
  armedFor_ = deadline;
  itimerspec value{};
  if (deadline) {
    value.it_value =
        timespecOf(std::max((*deadline - scheduler_->clock()->now()) / clockRate_, Nanoseconds(1)));
  }
  systemCall(::timerfd_settime(timer_.get(), 0, &value, nullptr),
             "cannot arm the event loop's timer");
}

void EventLoop::jobsRun() {
  std::vector<Job> jobs;
  {
    const std::lock_guard lock(mutex_);
    jobs.swap(jobs_);
  }
  for (Job& job : jobs) {
    job();
  }
}

}  // namespace Routing::Host
