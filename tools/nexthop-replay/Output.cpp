#include "tools/nexthop-replay/Output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace Routing::Replay {

namespace {

// What a user or a system sends; and what a process does to itself.
constexpr std::array sentSignals{SIGHUP, SIGINT, SIGTERM, SIGPIPE};
constexpr std::array ownSignals{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

std::atomic<Output*>& signalOutput() noexcept {
  static std::atomic<Output*> output{nullptr};
  return output;
}

sigset_t sentSignalSet() noexcept {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : sentSignals) {
    sigaddset(&set, signal);
  }
  return set;
}

// Takes a signal that nobody has taken, a sanitizer included, and that is not ignored.
void take(int signal, void (*handler)(int)) {
  struct sigaction present {};
  sigaction(signal, nullptr, &present);
  if ((static_cast<unsigned>(present.sa_flags) & SA_SIGINFO) != 0 ||
      present.sa_handler != SIG_DFL) {
    return;
  }
  struct sigaction action {};
  action.sa_handler = handler;
  // Back to what it was before the handler runs, so that raising it again ends the process.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  action.sa_mask = sentSignalSet();
  sigaction(signal, &action, nullptr);
}

}  // namespace

Output::~Output() {
  flush();
  Output* self = this;
  signalOutput().compare_exchange_strong(self, nullptr);
}

void Output::flushAtSignals() {
  static_assert(std::atomic<std::size_t>::is_always_lock_free);
  signalOutput() = this;
  for (const int signal : sentSignals) {
    take(signal, &Output::handleSignal);
  }
  for (const int signal : ownSignals) {
    take(signal, &Output::handleSignal);
  }
}

void Output::handleSignal(int signal) noexcept {
  if (Output* const output = signalOutput()) {
    output->writeBlock();
  }
  raise(signal);
}

void Output::print(const Line& line) {
  if (muted_ || error_ != 0) {
    return;
  }
  const String text = line.rendered(form_) + '\n';
  if (text.size() > blockSize - used_) {
    flush();
  }
  if (text.size() > blockSize) {
    writeAll(text.data(), text.size());
    return;
  }
  std::copy(text.begin(), text.end(), block_.data() + used_);
  used_ += text.size();
}

void Output::flush() noexcept {
  if (used_ == 0) {
    return;
  }
  // A signal that came between a write and its accounting would print lines twice.
  const sigset_t sent = sentSignalSet();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &sent, &before);
  writeBlock();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Output::writeBlock() noexcept {
  writeAll(block_.data(), used_);
  used_ = 0;
}

void Output::writeAll(const char* data, std::size_t size) noexcept {
  while (size != 0 && error_ == 0) {
    const ssize_t written = ::write(descriptor_, data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
}

}  // namespace Routing::Replay
