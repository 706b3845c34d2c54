#pragma once

// Tells the service manager that started the daemon, if one did and asks for it, how far it is.

#include <string_view>

namespace Routing::Host {

// Sends the state, "READY=1" for one, to the socket named by NOTIFY_SOCKET; no effect without one.
// A service manager that does not listen is no reason to stop.
void notifyServiceManager(std::string_view state) noexcept;

}  // namespace Routing::Host
