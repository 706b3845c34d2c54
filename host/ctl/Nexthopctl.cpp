#include "host/ctl/Nexthopctl.h"

#include <cstdio>
#include <exception>
#include <string>

#include "host/ctl/Commands.h"
#include "host/ctl/Connection.h"
#include "host/ctl/Options.h"

namespace Routing::Host {

namespace {

int exitCode(CtlExit code) noexcept { return static_cast<int>(code); }

void complain(const std::string& what) {
  const std::string line = "nexthopctl: " + what + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

CtlExit run(const CtlOptions& options) {
  if (options.command == CtlCommand::completion) {
    return completion(options);
  }
  Connection connection(options);
  switch (options.command) {
    case CtlCommand::resolve:
      return resolve(connection, options);
    case CtlCommand::explain:
      return explain(connection, options);
    case CtlCommand::history:
      return history(connection, options);
    case CtlCommand::watch:
      return watch(connection, options);
    case CtlCommand::registerNexthops:
      return registerNexthops(connection, options);
    case CtlCommand::showNexthops:
      return showNexthops(connection, options);
    case CtlCommand::showForwarding:
      return showForwarding(connection, options);
    case CtlCommand::showVrfs:
      return showVrfs(connection, options);
    case CtlCommand::showClients:
      return showClients(connection, options);
    case CtlCommand::showSync:
      return showSync(connection, options);
    case CtlCommand::graph:
      return graph(connection, options);
    case CtlCommand::trace:
      return trace(connection, options);
    case CtlCommand::completion:
      break;
  }
  return CtlExit::good;
}

}  // namespace

int nexthopctl(int argc, const char* const* argv) noexcept {
  try {
    const CtlExit code = run(ctlOptions(argc, argv));
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
      complain("cannot write the output");
      return exitCode(CtlExit::noOutput);
    }
    return exitCode(code);
  } catch (const CtlUsage& usage) {
    return exitCode(usage.code);
  } catch (const CtlError& error) {
    std::fflush(stdout);
    complain(error.what());
    return exitCode(error.code());
  } catch (const std::exception& error) {
    complain(error.what());
    return exitCode(CtlExit::cannot);
  }
}

}  // namespace Routing::Host
