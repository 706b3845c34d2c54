#pragma once

// The whole program behind main(): reads the command line, does the command, prints what is wrong.

namespace Routing::Host {

// Returns the exit code (CtlExit).
int nexthopctl(int argc, const char* const* argv) noexcept;

}  // namespace Routing::Host
