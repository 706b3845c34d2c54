#pragma once

// The standing state as lines, sorted: names by bytes, addresses by family then value, numbers by
// value. Nothing is made by being shown.

#include <optional>
#include <vector>

#include "tools/nexthop-replay/Line.h"
#include "tools/nexthop-replay/World.h"

namespace Routing::Replay {

// The names that a show is limited to.
using Filter = std::optional<String>;

std::vector<Line> showStatus(const World& world, const Filter& client, const Filter& vrf);
std::vector<Line> showVrfStatus(const World& world, const Filter& client);
std::vector<Line> showForwarding(const World& world, const Filter& vrf);
std::vector<Line> showMap(const World& world, const Filter& vrf);
std::vector<Line> showReferences(const World& world, const Filter& vrf);
std::vector<Line> showResolvers(const World& world, const Filter& vrf);
std::vector<Line> showTracked(const World& world, const Filter& vrf);
std::vector<Line> showContext(const World& world, const Filter& vrf);
std::vector<Line> showEntities();
std::vector<Line> showTasks(const World& world);

}  // namespace Routing::Replay
