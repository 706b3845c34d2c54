#pragma once

// Where a daemon of this user keeps what lasts as long as the machine runs, and where its clients
// look for it, when nobody says otherwise.

#include <string>

namespace Routing::Host {

// /run/nexthopd for root, else nexthopd in $XDG_RUNTIME_DIR, else a directory of the user's own in
// /dev/shm.
std::string runtimeDirectory();

// The daemon's socket in it.
std::string defaultSocketPath();

// Makes the directory if it is not there. Throws: SystemError, also when it is not this user's own
// or others may write it: they could put something of theirs in our place.
void ownDirectoryMake(const std::string& path);

}  // namespace Routing::Host
