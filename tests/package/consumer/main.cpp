// Embeds the installed library as an agent does: one VRF, one client, one nexthop. The exit code is
// the verdict.

#include <iostream>
#include <string>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "resolver/NexthopResolverManagerSm.h"

using namespace Routing;

namespace {

const IpGenAddr nexthop = *IpGenAddr::parse("10.1.2.3");
const IpGenPrefix prefix = *IpGenPrefix::parse("10.0.0.0/8");

// What the agent owns.
struct Host {
  Ptr<Dir> configs = makeEntity<Dir>("configs");
  Ptr<Dir> statuses = makeEntity<Dir>("statuses");
  Ptr<Dir> routing4 = makeEntity<Dir>("routing4");
  Ptr<Dir> routing6 = makeEntity<Dir>("routing6");
  Ptr<Fib::MemoryRouteStatus> routes4 = makeEntity<Fib::MemoryRouteStatus>();
  Ptr<Fib6::MemoryRouteStatus> routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  Ptr<FibGen::MemoryForwardingStatus> fecs = makeEntity<FibGen::MemoryForwardingStatus>();
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
  Ptr<NexthopResolverForwardingStatus> forwarding = makeEntity<NexthopResolverForwardingStatus>();
  Ptr<NexthopResolverFibViaContext> context = makeEntity<NexthopResolverFibViaContext>();
  Ptr<TaskScheduler> scheduler = TaskSchedulerRoot::findOrCreateScheduler();

  Ptr<NexthopResolverManagerSm> manager() const {
    routing4->entityIs("default", makeEntity<RoutingInfo>(true));
    routing6->entityIs("default", makeEntity<Routing6::RoutingInfo>(true));
    return nexthopResolverManagerSmFactory("default",
                                           configs,
                                           statuses,
                                           nullptr,
                                           trie4,
                                           trie6,
                                           routes4,
                                           routes6,
                                           fecs,
                                           forwarding,
                                           context,
                                           routing4,
                                           routing6,
                                           scheduler);
  }
};

void addRoute(const Host& host) {
  FibGen::Via via;
  via.intfId = {3};
  via.hop = *IpGenAddr::parse("10.9.0.1");
  FibGen::Fec fec(12);
  fec.viaIs(via);
  host.fecs->fecIs(fec);
  host.routes4->routeIs(Prefix(prefix), Fib::Route(fec.fecId(), 20, 1, 0));
  host.trie4->routeIs(prefix, true);
}

Ptr<NexthopStatus> addClient(const Host& host) {
  const auto config = makeEntity<NexthopConfig>("bgp");
  config->vrfIs("default", NexthopStatusFecIdType::resolverId)->nexthopIs({nexthop});
  host.configs->entityIs("bgp", config);
  auto status = makeEntity<NexthopStatus>("bgp");
  host.statuses->entityIs("bgp", status);
  return status;
}

bool same(const std::string& found, const std::string& expected) {
  if (found != expected) {
    std::cerr << "expected " << expected << "\nfound    " << found << '\n';
  }
  return found == expected;
}

}  // namespace

int main() {
  const Host host;
  const auto manager = host.manager();
  addRoute(host);
  const auto status = addClient(host);
  while (host.scheduler->runTurn()) {
  }
  const auto vrf = status->vrf("default");
  const auto* entry = vrf ? vrf->nexthop(nexthop) : nullptr;
  const auto* record = host.forwarding->vrf("default")->nexthopResolverIdVia().find(ResolverId(4));
  const bool resolved =
      same(entry == nullptr ? "no entry" : entry->stringValue(),
           "addr=10.1.2.3 state=resolved fecId=4 prefix=10.0.0.0/8 metric=20 preference=1 "
           "routeType=0 route6Type=0");
  const bool published =
      same(record == nullptr ? "no record" : std::to_string(record->nexthopResolverVia().size()),
           "1");
  return resolved && published ? 0 : 1;
}
