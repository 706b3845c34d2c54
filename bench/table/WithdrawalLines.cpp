// A million routes withdrawn that no nexthop lies under.

#include "bench/support/Measure.h"
#include "bench/support/Vrf.h"
#include "bench/table/Lines.h"
#include "tests/support/Allocations.h"

namespace Routing::Bench {

namespace {

// Subscribed before and after all resolvers: what was allocated between the two is theirs.
class ReactionAllocations {
 public:
  void before(const Publisher& publisher) { before_.subscribe(publisher); }
  void after(const Publisher& publisher) { after_.subscribe(publisher); }
  void stop() {
    before_.unsubscribe();
    after_.unsubscribe();
  }
  std::uint64_t count() const noexcept { return count_; }

 private:
  void begin(FieldId /*field*/, const void* /*key*/) { start_ = Support::allocations(); }
  void end(FieldId /*field*/, const void* /*key*/) { count_ += Support::allocations() - start_; }

  std::uint64_t start_ = 0;
  std::uint64_t count_ = 0;
  Subscription<ReactionAllocations, &ReactionAllocations::begin> before_{*this};
  Subscription<ReactionAllocations, &ReactionAllocations::end> after_{*this};
};

struct Outcome {
  Cost cost;
  std::uint64_t reactionAllocations = 0;
};

Outcome withdraw(Tables& tables, std::span<const IpGenPrefix> prefixes) {
  constexpr std::size_t nexthopCount = 100000;
  constexpr std::size_t clients = 20;
  ReactionAllocations reactions4;
  ReactionAllocations reactions6;
  reactions4.before(*tables.trie4);
  reactions6.before(*tables.trie6);
  World world(tables);
  world.clients(clients, fibFecId, below(privateBlock(), nexthopCount));
  world.start();
  world.run();
  reactions4.after(*tables.trie4);
  reactions6.after(*tables.trie6);
  Outcome outcome;
  outcome.cost = costOf([&] {
    for (const IpGenPrefix& prefix : prefixes) {
      tables.removeRoute(prefix);
    }
    world.run();
  });
  outcome.reactionAllocations = reactions4.count() + reactions6.count();
  return outcome;
}

}  // namespace

void withdrawalLines(Report& report, Tables& full) {
  constexpr std::size_t count = 1000000;
  constexpr std::size_t clients = 20;
  report.lineIs("withdrawal of 1,000,000 unrelated routes, N = 100,000 of 20 clients");
  const auto prefixes = std::span(prefixTable()).first(count);
  Outcome outcome;
  const Cost cost = medianOf5([&] {
    outcome = withdraw(full, prefixes);
    for (const IpGenPrefix& prefix : prefixes) {
      full.addRoute(prefix, Fib::Route(Tables::firstFec, 0, 200, 1));
    }
    return outcome.cost;
  });
  report.timeAtMost("all of them", cost.seconds, 2.5);
  report.countIs("trie queries", cost.trieQueries, count * clients);
  report.countIs("allocations of the reactions", outcome.reactionAllocations, 0);
}

}  // namespace Routing::Bench
