#pragma once

// Tells a replay file as tables: runs nexthop-replay on it and turns what that prints into what a
// person wants to see.
//
//   status lines        a table of nexthops; why one failed is taken from the trace (levels 7 on)
//   forwarding lines    a table of identifiers with their vias
//   timer lines         what is left on the clock
//   echo lines          headings
//
// The lines about the library's bookkeeping (references, keys, identifier map, context) are left
// out.

#include <string>

namespace Routing {

// Returns false when nexthop-replay cannot be run or ends with an error; it has said why.
bool tellStory(const std::string& replayProgram, const std::string& file);

}  // namespace Routing
