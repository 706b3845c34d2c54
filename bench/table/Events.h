#pragma once

// Single events and what they cost, at any size: the table and the plots ask for the same ones.
// Each sets its world up over the given tables and leaves those as they were. Costs are medians of
// five.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"

namespace Routing::Bench {

// A route that differs from its neighbours in metric alone.
Fib::Route routeOf(std::uint32_t metric);
// So many prefixes of the full table, spread over it.
std::vector<IpGenPrefix> spreadPrefixes(std::size_t count);

// All nexthops below one route that is replaced, to the last status.
Cost costOfCoveringRoute(Tables& tables, std::size_t nexthops);
// 1,024 of the nexthops below a route that is added under the one that covers all, to the last
// status.
Cost costOfMoreSpecificRoute(Tables& tables, std::size_t nexthops);
// Host routes of tracked nexthops, each added and reviewed before the next. The cost of all.
constexpr std::size_t hostRouteCount = 200;
Cost costOfHostRoutes(Tables& tables, std::size_t nexthops);
// Routes that are announced with no nexthop below them, spread over the table or, nearby, between
// the nexthops. The cost of all.
constexpr std::size_t unrelatedRouteCount = 1000;
enum class Unrelated : std::uint8_t { spread, nearby };
Cost costOfUnrelatedRoutes(Tables& tables,
                           std::size_t nexthops,
                           std::size_t clients,
                           Unrelated where);
// All nexthops of one FEC unregistered in random order, to the last status. The cost of all.
Cost costOfUnregistering(Tables& tables, std::size_t nexthops);
// A `vrf` change of one client record that every one of the managers ignores. The cost of one.
Cost costOfIgnoredVrf(std::size_t vrfs);

}  // namespace Routing::Bench
