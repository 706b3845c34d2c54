#include "bench/host/daemon/DaemonProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>

namespace Routing::Bench {

using Host::FileDescriptor;
using Host::systemCall;

DaemonProcess::DaemonProcess(const std::string& directory,
                             const std::vector<std::string>& arguments)
    : socketPath_(directory + "/socket") {
  std::vector<std::string> words{NEXTHOPD, "--socket", socketPath_};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  std::array<int, 2> ends{};
  systemCall(::pipe2(ends.data(), O_CLOEXEC), "cannot make a pipe");
  log_ = FileDescriptor(ends[0]);
  FileDescriptor theirs(ends[1]);
  const Moment start = std::chrono::steady_clock::now();
  process_ = systemCall(::fork(), "cannot fork");
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(theirs.get(), STDERR_FILENO);
    ::execv(NEXTHOPD, argv.data());
    ::_exit(127);
  }
  theirs.close();
  std::promise<Moment> following;
  std::future<Moment> moment = following.get_future();
  logReader_ =
      std::thread([this, following = std::move(following)]() mutable { readLog(following); });
  const Moment end = moment.get();
  if (end == Moment{}) {
    logReader_.join();
    ::waitpid(process_, nullptr, 0);
    throw std::runtime_error("nexthopd ended before it followed the kernel");
  }
  loadSeconds_ = std::chrono::duration<double>(end - start).count();
  stub_ = stubOf(socketPath_);
}

DaemonProcess::~DaemonProcess() {
  stub_.reset();
  ::kill(process_, SIGTERM);
  int status = 0;
  ::waitpid(process_, &status, 0);
  logReader_.join();
  if (status != 0) {
    std::fprintf(stderr, "nexthopd ended with wait status %d\n", status);
  }
}

void DaemonProcess::readLog(std::promise<Moment>& following) {
  std::string line;
  std::array<char, 4096> room{};
  bool told = false;
  for (;;) {
    const ssize_t size = ::read(log_.get(), room.data(), room.size());
    if (size <= 0) {
      break;
    }
    const Moment now = std::chrono::steady_clock::now();
    static_cast<void>(std::fwrite(room.data(), 1, static_cast<std::size_t>(size), stderr));
    line.append(room.data(), static_cast<std::size_t>(size));
    if (!told && line.find(": following ") != std::string::npos) {
      following.set_value(now);
      told = true;
    }
  }
  if (!told) {
    following.set_value(Moment{});
  }
}

// The signal acts at some later time; the state tells when it has.
void DaemonProcess::stop() const {
  siginfo_t info{};
  if (::kill(process_, SIGSTOP) != 0 ||
      ::waitid(P_PID, static_cast<id_t>(process_), &info, WSTOPPED) != 0) {
    throw std::runtime_error("cannot stop nexthopd");
  }
}

void DaemonProcess::resume() const {
  if (::kill(process_, SIGCONT) != 0) {
    throw std::runtime_error("cannot resume nexthopd");
  }
}

double DaemonProcess::cpuSeconds() const {
  clockid_t clock{};
  timespec time{};
  if (::clock_getcpuclockid(process_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
    throw std::runtime_error("cannot read the CPU time of nexthopd");
  }
  constexpr double nanosecond = 1e-9;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * nanosecond;
}

double DaemonProcess::mebibytes(const std::string& name) const {
  std::ifstream status("/proc/" + std::to_string(process_) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(name + ":", 0) == 0) {
      return std::stod(line.substr(name.size() + 1)) / 1024;
    }
  }
  throw std::runtime_error("nexthopd has no " + name);
}

std::uint64_t DaemonProcess::counter(const std::string& name) const {
  grpc::ClientContext context;
  Proto::GetInfoResponse response;
  const grpc::Status status = stub_->GetInfo(&context, {}, &response);
  if (!status.ok() || response.counters().count(name) == 0) {
    throw std::runtime_error("nexthopd has no counter " + name + ": " + status.error_message());
  }
  return response.counters().at(name);
}

}  // namespace Routing::Bench
