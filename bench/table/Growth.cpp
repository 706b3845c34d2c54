// What is plotted: single events at sizes from small to large.

#include <filesystem>

#include "bench/table/Events.h"
#include "bench/table/Plot.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t nexthopCount = 100000;

void plotNexthops(const std::string& folder) {
  Tables full;
  full.load(prefixTable(), 1);
  Series host{"host route added, k = 1", {}};
  Series specific{"more specific route, k = 1,024", {}};
  Series unregistering{"a nexthop unregistered", {}};
  for (const std::size_t count : {2000U, 10000U, 100000U, 1000000U}) {
    const auto size = static_cast<double>(count);
    host.points.emplace_back(size, costOfHostRoutes(full, count).seconds / hostRouteCount);
    specific.points.emplace_back(size, costOfMoreSpecificRoute(full, count).seconds);
    unregistering.points.emplace_back(size, costOfUnregistering(full, count).seconds / size);
  }
  writePlot(folder + "/performance-nexthops.svg",
            "CPU of an event, by nexthops tracked (900,000 routes)",
            "nexthops",
            {host, specific, unregistering});
}

void plotRoutes(const std::string& folder) {
  constexpr std::size_t clients = 20;
  Series host{"host route added, k = 1", {}};
  Series unrelated{"unrelated route, 20 clients", {}};
  for (const std::size_t count : {1000U, 10000U, 100000U, 1000000U}) {
    const auto size = static_cast<double>(count);
    Tables tables;
    tables.load(spreadPrefixes(count), 1);
    host.points.emplace_back(size, costOfHostRoutes(tables, nexthopCount).seconds / hostRouteCount);
    unrelated.points.emplace_back(
        size,
        costOfUnrelatedRoutes(tables, nexthopCount, clients, Unrelated::spread).seconds /
            unrelatedRouteCount);
  }
  writePlot(folder + "/performance-routes.svg",
            "CPU of an event, by routes in the tables (100,000 nexthops)",
            "routes",
            {host, unrelated});
}

void plotClients(const std::string& folder) {
  Tables tables;
  tables.load(spreadPrefixes(unrelatedRouteCount), 1);
  Series route{"unrelated route", {}};
  Series each{"the same, a client", {}};
  for (const std::size_t count : {1U, 10U, 100U, 1000U}) {
    const auto size = static_cast<double>(count);
    const double seconds =
        costOfUnrelatedRoutes(tables, nexthopCount, count, Unrelated::spread).seconds /
        unrelatedRouteCount;
    route.points.emplace_back(size, seconds);
    each.points.emplace_back(size, seconds / size);
  }
  writePlot(folder + "/performance-clients.svg",
            "CPU of a route change above no nexthop, by clients",
            "clients",
            {route, each});
}

void plotVrfs(const std::string& folder) {
  Series change{"a vrf change", {}};
  Series each{"the same, a manager", {}};
  for (const std::size_t count : {10U, 100U, 1000U, 4096U}) {
    const auto size = static_cast<double>(count);
    const double seconds = costOfIgnoredVrf(count).seconds;
    change.points.emplace_back(size, seconds);
    each.points.emplace_back(size, seconds / size);
  }
  writePlot(folder + "/performance-vrfs.svg",
            "CPU of a vrf change that all managers ignore, by VRFs",
            "VRFs",
            {change, each});
}

}  // namespace

void writePlots(const std::string& folder) {
  std::filesystem::create_directories(folder);
  plotVrfs(folder);
  plotClients(folder);
  plotRoutes(folder);
  plotNexthops(folder);
}

}  // namespace Routing::Bench
