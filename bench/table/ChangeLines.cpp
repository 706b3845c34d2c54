// Routing switched off and on, FECs that change, nexthops that go.

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Events.h"
#include "bench/table/Lines.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t nexthopCount = 100000;
constexpr double each = nexthopCount;

// Counts the records that are published.
class RecordCount final : public Notifiee {
 public:
  explicit RecordCount(const Publisher& publisher) { subscribe(publisher); }
  void onAttribute(FieldId /*field*/, const void* /*key*/) override { ++count; }
  std::size_t count = 0;
};

}  // namespace

void routingLines(Report& report, Tables& full) {
  report.lineIs("routing off and on, N = 100,000 nexthops");
  World world(full);
  world.client("client", fibFecId, below(privateBlock(), nexthopCount));
  world.start();
  world.run();
  const auto enable = [&world](bool enabled) {
    return costOf([&world, enabled] {
      world.routingInfo4->routingEnabledIs(enabled);
      world.run();
    });
  };
  const Cost off = medianOf5([&enable] {
    const Cost run = enable(false);
    enable(true);
    return run;
  });
  const Cost on = medianOf5([&enable] {
    enable(false);
    return enable(true);
  });
  report.timeAtMostUnits("off, a nexthop", off.seconds / each, 4);
  report.timeAtMostUnits("on, a nexthop", on.seconds / each, 10);
  report.allocationsAre("off, a nexthop", off.allocations, each);
  report.allocationsAre("on, a nexthop", on.allocations, each);
}

void fecLines(Report& report, Tables& full) {
  constexpr std::size_t rounds = 1000;
  report.lineIs("FEC change under N = 100,000 references");
  full.addRoute(privateBlock(), routeOf(0));
  World world(full);
  world.client("client", resolverId, below(privateBlock(), nexthopCount));
  world.start();
  world.run();
  RecordCount records(world.published());
  full.fecIs(Tables::firstFec, 1);
  report.countIs("records replaced", records.count, 1);
  for (const std::size_t vias : {std::size_t{1}, std::size_t{64}}) {
    const Cost cost = medianOf5([&] {
      return costOf([&] {
        for (std::size_t i = 0; i < rounds; ++i) {
          full.fecIs(Tables::firstFec, vias);
        }
      });
    });
    const double change = cost.seconds / rounds;
    // Each via is copied into the record that is published, about as long as a find takes.
    const double most = 1 * microsecond + static_cast<double>(vias - 1) * 38 * nanosecond;
    const std::string what = vias == 1 ? "a FEC of one via" : "a FEC of 64 vias";
    report.timeAtMost(what, change, most);
    report.allocationsAre(what, cost.allocations, rounds);
  }
  full.fecIs(Tables::firstFec, 1);
  world.stop();
  full.removeRoute(privateBlock());
}

void unregisteringLines(Report& report, Tables& full) {
  constexpr std::size_t few = 1000;
  constexpr std::size_t many = 1000000;
  report.lineIs("unregistering all N in random order, all sharing one FEC");
  const Cost least = costOfUnregistering(full, few);
  const Cost some = costOfUnregistering(full, nexthopCount);
  const Cost most = costOfUnregistering(full, many);
  report.timeAtMostUnits("N = 100,000, a nexthop", some.seconds / each, 12);
  report.growthAtMost("from N = 1,000 to 1,000,000", least.seconds / few, most.seconds / many, 3);
  report.allocationsAre("a nexthop", some.allocations, each);
}

}  // namespace Routing::Bench
