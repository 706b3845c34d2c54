#pragma once

// What holds of every manager whenever no operation of its is under way, whatever happened before.
// Returns a sentence for each violation, so that an empty list is what a test expects.
//
// Judged by the standing state alone, from outside: the index, the map, the published records and
// the review queues of all managers of a world. No manager may have its notifications switched off.

#include <vector>

#include "tools/nexthop-replay/World.h"

namespace Routing::Support {

std::vector<String> invariantViolations(Replay::World& world);

}  // namespace Routing::Support
