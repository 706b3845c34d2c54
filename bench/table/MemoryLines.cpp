// What nexthops, clients and VRFs take.

#include <string>

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Lines.h"
#include "tests/support/Allocations.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t nexthopCount = 100000;

double bytesOfNexthop(World& world, NexthopStatusFecIdType kind) {
  world.start();
  const std::size_t before = Support::allocatedBytes();
  world.client("client", kind, spread(nexthopCount));
  world.run();
  return static_cast<double>(Support::allocatedBytes() - before) / nexthopCount;
}

double bytesOfIdleClient() {
  constexpr std::size_t count = 1000;
  const Tables tables;
  World world(tables);
  world.start();
  const std::size_t before = Support::allocatedBytes();
  world.clients(count, resolverId, {});
  world.run();
  return static_cast<double>(Support::allocatedBytes() - before) / count;
}

}  // namespace

void memoryLines(Report& report, Tables& full) {
  report.lineIs("memory, containers as they stand after the review");
  static_cast<void>(spread(nexthopCount));
  // Both stand to the end: the tries share what one of them gives back.
  World fib(full);
  World resolver(full);
  report.bytesAtMost("a tracked nexthop of a FIB client", bytesOfNexthop(fib, fibFecId), 220);
  report.bytesAtMost("a tracked nexthop of a resolver client",
                     bytesOfNexthop(resolver, resolverId),
                     340);
  report.bytesAtMost("an idle client of an idle VRF", bytesOfIdleClient(), 2048);
}

}  // namespace Routing::Bench
