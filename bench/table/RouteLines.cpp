// Routes that change above many, some, one and no nexthops.

#include <string>

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Events.h"
#include "bench/table/Lines.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t thousand = 1000;
constexpr std::size_t nexthopCount = 100000;
constexpr std::size_t million = 1000000;
// What caches alone may cost at a thousand times the size.
constexpr double flat = 3;

}  // namespace

void coveringRouteLines(Report& report, Tables& full) {
  report.lineIs("covering route replaced, k = N = 100,000");
  const Cost cost = costOfCoveringRoute(full, nexthopCount);
  const auto each = static_cast<double>(nexthopCount);
  report.timeAtMostUnits("a nexthop, notification to last status", cost.seconds / each, 10);
  report.allocationsAre("a nexthop", cost.allocations, each);
}

void moreSpecificRouteLines(Report& report, Tables& full) {
  report.lineIs("more specific route added, k = 1,024 of N");
  const Cost some = costOfMoreSpecificRoute(full, nexthopCount);
  const Cost many = costOfMoreSpecificRoute(full, million);
  report.timeAtMost("N = 100,000", some.seconds, 0.5 * millisecond);
  report.timeAtMost("N = 1,000,000", many.seconds, 0.5 * millisecond);
  report.growthAtMost("from N = 100,000 to 1,000,000", some.seconds, many.seconds, flat);
  report.countIs("trie queries", many.trieQueries, some.trieQueries);
  report.countIs("notifications", many.notifications, some.notifications);
  report.allocationsAre("a route", many.allocations, 1);
}

void hostRouteLines(Report& report, Tables& full) {
  report.lineIs("host route added, k = 1 of N");
  const Cost fewNexthops = costOfHostRoutes(full, thousand);
  const Cost cost = costOfHostRoutes(full, nexthopCount);
  const Cost manyNexthops = costOfHostRoutes(full, million);
  Tables small;
  small.load(spreadPrefixes(thousand), 1);
  const Cost fewRoutes = costOfHostRoutes(small, nexthopCount);
  const auto each = static_cast<double>(hostRouteCount);
  report.timeAtMost("N = 100,000", cost.seconds / each, 2 * microsecond);
  report.timeAtMost("N = 1,000,000", manyNexthops.seconds / each, 2 * microsecond);
  report.growthAtMost("from N = 1,000 to 1,000,000",
                      fewNexthops.seconds / each,
                      manyNexthops.seconds / each,
                      flat);
  report.growthAtMost("from 1,000 to 900,000 routes",
                      fewRoutes.seconds / each,
                      cost.seconds / each,
                      flat);
  report.countIs("trie queries at N = 1,000,000",
                 manyNexthops.trieQueries,
                 fewNexthops.trieQueries);
  report.countIs("notifications at N = 1,000,000",
                 manyNexthops.notifications,
                 fewNexthops.notifications);
  report.countIs("trie queries at 900,000 routes", cost.trieQueries, fewRoutes.trieQueries);
  report.countIs("notifications at 900,000 routes", cost.notifications, fewRoutes.notifications);
  report.allocationsAre("a route", cost.allocations, each);
  report.timeAtMost("200 host routes one by one", cost.seconds, 0.5 * millisecond);
}

void unrelatedRouteLines(Report& report, Tables& full) {
  constexpr std::size_t clients = 20;
  report.lineIs("unrelated route, k = 0, 20 clients");
  const double each = static_cast<double>(unrelatedRouteCount) * clients;
  for (const Unrelated where : {Unrelated::spread, Unrelated::nearby}) {
    const std::string place = where == Unrelated::spread ? "" : ", between its nexthops";
    const Cost cost = costOfUnrelatedRoutes(full, nexthopCount, clients, where);
    report.timeAtMost("a client" + place, cost.seconds / each, 0.1 * microsecond);
    report.countIs("trie queries" + place, cost.trieQueries, unrelatedRouteCount * clients);
    report.countIs("allocations" + place, cost.allocations, 0);
  }
}

void defaultRouteLines(Report& report, Tables& full) {
  constexpr std::size_t clients = 20;
  constexpr std::size_t announcements = 100;
  report.lineIs("default route announced 100 times, N nexthops of 20 clients");
  World world(full);
  world.clients(clients, fibFecId, below(privateBlock(), nexthopCount));
  full.addRoute(defaultRoute(), routeOf(1));
  world.start();
  world.run();
  std::uint64_t reviews = 0;
  const Cost cost = medianOf5([&] {
    const Cost run = costOf([&full] {
      for (std::uint32_t i = 0; i < announcements; ++i) {
        full.replaceRoute(defaultRoute(), routeOf(i));
      }
    });
    const std::uint64_t before = world.reviews();
    world.run();
    reviews = world.reviews() - before;
    return run;
  });
  full.removeRoute(defaultRoute());
  const double each = static_cast<double>(nexthopCount) * announcements;
  report.timeAtMost("a tracked nexthop and announcement", cost.seconds / each, 40 * nanosecond);
  report.countIs("nexthops resolved afterwards", reviews, nexthopCount);
  report.allocationsAre("a tracked nexthop and announcement", cost.allocations, each);
}

}  // namespace Routing::Bench
