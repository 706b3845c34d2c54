// Thousands of VRFs on one host.

#include <memory>
#include <vector>

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Events.h"
#include "bench/table/Lines.h"
#include "tests/support/Allocations.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t vrfCount = 4096;
constexpr std::size_t clientCount = 4;
constexpr std::size_t nexthopsOfClient = 10;

struct Outcome {
  Cost cost;
  std::size_t bytes = 0;
  std::size_t resolved = 0;
};

// From the first manager to the last status; the bytes of all but the configuration's own tables.
Outcome manyVrfs() {
  const std::size_t before = Support::allocatedBytes();
  Host host;
  const Nexthops nexthops = below(privateBlock(), clientCount * nexthopsOfClient);
  std::vector<std::unique_ptr<Vrf>> vrfs;
  for (std::size_t i = 0; i < vrfCount; ++i) {
    Tables tables;
    tables.fecsAre(1);
    tables.addRoute(defaultRoute(), routeOf(0));
    vrfs.push_back(std::make_unique<Vrf>(host, tables, "vrf-" + std::to_string(i)));
    vrfs.back()->clients(clientCount, resolverId, nexthops);
  }
  Outcome outcome;
  outcome.cost = costOf([&vrfs] {
    for (const auto& vrf : vrfs) {
      vrf->start();
    }
    vrfs.front()->run();
  });
  outcome.bytes = Support::allocatedBytes() - before;
  for (const auto& vrf : vrfs) {
    outcome.resolved += vrf->resolved();
  }
  return outcome;
}

}  // namespace

void vrfLines(Report& report) {
  report.lineIs("4,096 VRFs, 4 clients in each, 10 nexthops a client and VRF");
  Outcome outcome;
  const Cost cost = medianOf5([&outcome] {
    outcome = manyVrfs();
    return outcome.cost;
  });
  report.timeAtMost("from the first manager to the last status", cost.seconds, 2);
  report.countIs("nexthops resolved", outcome.resolved, vrfCount * clientCount * nexthopsOfClient);
  report.bytesAtMost("all of it", static_cast<double>(outcome.bytes), 400e6);
  const Cost ignored = costOfIgnoredVrf(vrfCount);
  report.timeAtMost("a vrf change, a manager that ignores it",
                    ignored.seconds / vrfCount,
                    15 * nanosecond);
  report.allocationsAre("start-up, a VRF", cost.allocations, vrfCount);
}

}  // namespace Routing::Bench
