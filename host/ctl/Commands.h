#pragma once

// The commands of nexthopctl. Each asks the daemon, prints what it says as a table for people or as
// JSON, one object a line, and returns how the program ends.
//
// Throws: CtlError.

#include "host/ctl/Connection.h"
#include "host/ctl/Options.h"

namespace Routing::Host {

// Lookups.cpp
CtlExit resolve(Connection& connection, const CtlOptions& options);
CtlExit explain(Connection& connection, const CtlOptions& options);
CtlExit history(Connection& connection, const CtlOptions& options);

// Streams.cpp: they end when the daemon does, or with the program.
CtlExit watch(Connection& connection, const CtlOptions& options);
CtlExit registerNexthops(Connection& connection, const CtlOptions& options);
CtlExit trace(Connection& connection, const CtlOptions& options);

// Shows.cpp
CtlExit showNexthops(Connection& connection, const CtlOptions& options);
CtlExit showForwarding(Connection& connection, const CtlOptions& options);
CtlExit showVrfs(Connection& connection, const CtlOptions& options);
CtlExit showClients(Connection& connection, const CtlOptions& options);
CtlExit showSync(Connection& connection, const CtlOptions& options);

// Graph.cpp
CtlExit graph(Connection& connection, const CtlOptions& options);

// Completion.cpp
CtlExit completion(const CtlOptions& options);

}  // namespace Routing::Host
