#pragma once

// How nexthopctl ends: what a script may rely on (docs/nexthopctl.md).

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Routing::Host {

enum class CtlExit : std::uint8_t {
  // Done; where addresses were asked for, all of them are resolved.
  good = 0,
  // Done, but an address is not resolved.
  unresolved = 1,
  // The command line makes no sense.
  usage = 2,
  // No daemon, or it went away before it had answered.
  noDaemon = 3,
  // The daemon refused the request.
  refused = 4,
  // The output could not be written.
  noOutput = 5,
  // The machine did not let the program work: no descriptor, no memory.
  cannot = 6,
};

// What ends the program early, in words for its user.
class CtlError : public std::runtime_error {
 public:
  CtlError(CtlExit code, const std::string& what) : std::runtime_error(what), code_(code) {}

  CtlExit code() const noexcept { return code_; }

 private:
  CtlExit code_;
};

}  // namespace Routing::Host
