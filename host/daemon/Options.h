#pragma once

// What nexthopd is told on its command line.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/loop/Log.h"
#include "records/NexthopConfig.h"

namespace Routing::Host {

struct DaemonOptions {
  // Names and kernel tables.
  std::vector<std::pair<VrfName, std::uint32_t>> vrfs{{"default", 254}};
  // Bytes that the kernel may have waiting for us.
  std::size_t receiveBuffer = std::size_t{64} << 20U;

  std::string socketPath;
  std::string socketGroup;
  std::string tlsAddress;
  std::string tlsCertificate;
  std::string tlsKey;
  std::string tlsAuthority;
  double graceSeconds = 300;
  std::size_t mostRegistrations = 1'000'000;

  // Empty: no store.
  std::string storeDirectory;

  // [ADDRESS:]PORT to serve figures at; empty: nowhere.
  std::string metricsAddress;

  // Empty: nothing is recorded.
  std::string recordFile;

  LogLevel logLevel = LogLevel::info;
  // How much faster timers run than real time: a test does not wait 300 seconds for a clean-up.
  unsigned clockRate = 1;
};

// How the command line ended the program before it began: --help, or a mistake.
struct DaemonUsage {
  int exitCode;
};

// Prints help or the mistake when it throws. Throws: DaemonUsage.
DaemonOptions daemonOptions(int argc, const char* const* argv);

}  // namespace Routing::Host
