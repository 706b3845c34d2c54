#pragma once

// The command line as its parser knows it: for the parser itself, and for the completion script,
// which is made from it and so never forgets an option.

#include <CLI/App.hpp>
#include <memory>

#include "host/ctl/Options.h"

namespace Routing::Host {

// Writes what it parses into the options, which outlive it.
std::unique_ptr<CLI::App> commandLine(CtlOptions& options);

}  // namespace Routing::Host
