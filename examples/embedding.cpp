// The README's example, built and run by the tests.

#include <iostream>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "resolver/NexthopResolverManagerSm.h"

using namespace Routing;

int main() {
  // README begin
  // The shared state: where clients write, where routes stand, where answers go.
  const auto configs = makeEntity<Dir>("configs"), statuses = makeEntity<Dir>("statuses");
  const auto routing4 = makeEntity<Dir>("routing4"), routing6 = makeEntity<Dir>("routing6");
  const auto routes4 = makeEntity<Fib::MemoryRouteStatus>();
  const auto routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  const auto fecs = makeEntity<FibGen::MemoryForwardingStatus>();
  const auto trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  const auto trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
  const auto scheduler = TaskSchedulerRoot::findOrCreateScheduler();
  routing4->entityIs("default", makeEntity<RoutingInfo>(true));
  routing6->entityIs("default", makeEntity<Routing6::RoutingInfo>(true));
  const auto manager =
      nexthopResolverManagerSmFactory("default",
                                      configs,
                                      statuses,
                                      nullptr,
                                      trie4,
                                      trie6,
                                      routes4,
                                      routes6,
                                      fecs,
                                      makeEntity<NexthopResolverForwardingStatus>(),
                                      makeEntity<NexthopResolverFibViaContext>(),
                                      routing4,
                                      routing6,
                                      scheduler);
  // A route: the table first, the trie last. And a client with one nexthop.
  const IpGenPrefix prefix = *IpGenPrefix::parse("10.0.0.0/8");
  routes4->routeIs(Prefix(prefix), Fib::Route(/*fecId=*/12, /*metric=*/20, /*preference=*/1, 0));
  trie4->routeIs(prefix, true);
  const auto bgp = makeEntity<NexthopConfig>("bgp");
  bgp->vrfIs("default", NexthopStatusFecIdType::fibFecId)
      ->nexthopIs({*IpGenAddr::parse("10.1.2.3")});
  configs->entityIs("bgp", bgp);
  const auto status = makeEntity<NexthopStatus>("bgp");
  statuses->entityIs("bgp", status);
  // The host's loop: run what is runnable, then wait until scheduler->nextDeadline().
  while (scheduler->runTurn()) {
  }
  std::cout << status->vrf("default")->nexthop(*IpGenAddr::parse("10.1.2.3"))->stringValue()
            << '\n';
  // README end
  return 0;
}
