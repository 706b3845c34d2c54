// nexthopd: tracks nexthops in the kernel's routing tables and tells clients.
//
// Exit codes: 0 ended by a signal; 1 cannot go on, the reason is on standard error; 2 wrong usage.

#include <csignal>
#include <exception>
#include <string>

#include "host/daemon/Daemon.h"
#include "host/daemon/Options.h"
#include "host/loop/Log.h"

int main(int argc, char** argv) {
  using namespace Routing::Host;
  try {
    const DaemonOptions options = daemonOptions(argc, argv);
    logLevelIs(options.logLevel);
    // A client that has gone is found by the write that fails.
    if (::signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
      throw SystemError(errno, "cannot ignore SIGPIPE");
    }
    Daemon(options).run();
    return 0;
  } catch (const DaemonUsage& usage) {
    return usage.exitCode;
  } catch (const std::exception& error) {
    log(LogLevel::error, error.what());
    return 1;
  }
}
