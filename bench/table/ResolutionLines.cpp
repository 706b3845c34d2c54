// Filling tables and resolving many nexthops for the first time.

#include <algorithm>

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Lines.h"
#include "tests/support/Allocations.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t nexthopCount = 100000;
constexpr std::size_t manyNexthops = 1000000;
constexpr double mostSlice =
    1.2 * std::chrono::duration<double>(TaskScheduler::defaultTimeBudget).count();

Cost costOfResolving(const Tables& tables, NexthopStatusFecIdType kind) {
  World world(tables);
  world.client("client", kind, spread(nexthopCount));
  world.start();
  return costOf([&world] { world.run(); });
}

// The longest run of the review task until nothing waits.
Cost longestSlice(World& world) {
  Cost longest;
  for (bool more = true; more;) {
    const Meter meter;
    more = world.scheduler->runTurn();
    const Cost slice = meter.cost();
    longest = slice.seconds > longest.seconds ? slice : longest;
  }
  return longest;
}

}  // namespace

void buildLines(Report& report) {
  report.lineIs("building the full table: tables and both tries, from parsed prefixes");
  const auto& prefixes = prefixTable();
  std::size_t bytes = 0;
  const Cost cost = medianOf5([&] {
    const std::size_t before = Support::allocatedBytes();
    Tables tables;
    const Cost run = costOf([&] { tables.load(prefixes, 1); });
    bytes = Support::allocatedBytes() - before;
    return run;
  });
  report.timeAtMost("the whole table", cost.seconds, 350 * millisecond);
  report.bytesAtMost("a route, in all",
                     static_cast<double>(bytes) / static_cast<double>(prefixes.size()),
                     110);
  report.allocationsAre("a route", cost.allocations, static_cast<double>(prefixes.size()));
}

void resolutionLines(Report& report, Tables& full) {
  const auto each = static_cast<double>(nexthopCount);
  report.lineIs("resolving 100,000 nexthops spread over the full table");
  const Cost fib = medianOf5([&full] { return costOfResolving(full, fibFecId); });
  report.timeAtMostUnits("FIB identifiers, a nexthop", fib.seconds / each, 10);
  report.allocationsAre("FIB identifiers, a nexthop", fib.allocations, each);
  const Cost resolver = medianOf5([&full] { return costOfResolving(full, resolverId); });
  report.timeAtMostUnits("resolver identifiers, 10,000 FECs, a nexthop",
                         resolver.seconds / each,
                         22);
  report.allocationsAre("resolver identifiers, a nexthop", resolver.allocations, each);
}

void sliceLines(Report& report, Tables& full) {
  report.lineIs("longest slice while 1,000,000 nexthops wait");
  const Cost first = medianOf5([&full] {
    World world(full);
    world.client("client", fibFecId, spread(manyNexthops));
    world.start();
    return longestSlice(world);
  });
  report.realTimeAtMost("resolved for the first time", first.seconds, mostSlice);
  World world(full);
  world.client("client", fibFecId, spread(manyNexthops));
  world.start();
  world.run();
  const Cost again = medianOf5([&world] {
    world.routingInfo4->routingEnabledIs(true);
    world.routingInfo6->routingEnabledIs(true);
    return longestSlice(world);
  });
  report.realTimeAtMost("resolved again", again.seconds, mostSlice);
}

}  // namespace Routing::Bench
