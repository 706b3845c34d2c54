#pragma once

// DaemonProcess: nexthopd as an operator has it, a process of its own, and what it costs.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "bench/host/daemon/Client.h"
#include "host/loop/FileDescriptor.h"

namespace Routing::Bench {

class DaemonProcess {
 public:
  // Starts it in the directory, with these further arguments, and waits until it has read the
  // kernel's tables. Throws: std::runtime_error when it ends instead.
  DaemonProcess(const std::string& directory, const std::vector<std::string>& arguments);
  DaemonProcess(const DaemonProcess&) = delete;
  DaemonProcess& operator=(const DaemonProcess&) = delete;
  ~DaemonProcess();

  const std::string& socketPath() const noexcept { return socketPath_; }
  // From its start until it had read the tables.
  double loadSeconds() const noexcept { return loadSeconds_; }
  // CPU of all its threads so far.
  double cpuSeconds() const;
  // Of /proc/PID/status: "VmRSS", "VmHWM".
  double mebibytes(const std::string& name) const;
  std::uint64_t counter(const std::string& name) const;
  Stub& stub() const { return *stub_; }

  // Keeps it from running, until it may again.
  void stop() const;
  void resume() const;

 private:
  // What it writes to standard error goes to ours; tells when it follows the kernel.
  void readLog(std::promise<Moment>& following);

  std::string socketPath_;
  pid_t process_ = -1;
  double loadSeconds_ = 0;
  Host::FileDescriptor log_;
  std::thread logReader_;
  std::unique_ptr<Stub> stub_;
};

}  // namespace Routing::Bench
