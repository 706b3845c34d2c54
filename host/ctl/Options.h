#pragma once

// What nexthopctl is told on its command line.

#include <cstdint>
#include <string>
#include <vector>

#include "host/ctl/CtlExit.h"

namespace Routing::Host {

enum class CtlCommand : std::uint8_t {
  resolve,
  explain,
  history,
  watch,
  registerNexthops,
  showNexthops,
  showForwarding,
  showVrfs,
  showClients,
  showSync,
  graph,
  trace,
  completion,
};

struct CtlOptions {
  CtlCommand command = CtlCommand::resolve;

  std::string socketPath;
  // Not empty: over TCP instead, with these files.
  std::string tlsAddress;
  std::string tlsCertificate;
  std::string tlsKey;
  std::string tlsAuthority;
  // How long an answer may take.
  double timeoutSeconds = 10;
  bool json = false;

  std::vector<std::string> addresses;
  std::string client;
  // Empty: the daemon's default, or all where a command shows all.
  std::string vrf;
  bool resolverIdentifiers = false;

  bool refuseDefaultRoute = false;
  std::uint32_t minimumPrefixLength = 0;
  bool connectedOnly = false;
  bool refuseBlackhole = false;
  // One of the four was given.
  bool hasPolicy = false;

  bool everyWrite = false;
  // End when everything asked for has been told once.
  bool once = false;
  std::uint32_t limit = 0;
  std::string levels;
  std::vector<std::string> facilities;
};

// How the command line ended the program before it began: help, or a mistake.
struct CtlUsage {
  CtlExit code;
};

// Prints help or the mistake when it throws. Throws: CtlUsage.
CtlOptions ctlOptions(int argc, const char* const* argv);

// The script that completes nexthopctl's command lines in bash.
std::string bashCompletion();

}  // namespace Routing::Host
