#pragma once

// VrfWorld: the shared state of VRF v1, on virtual time, and short words to change it. The
// process-wide scheduler is the world's while it lives.
//
//   VrfWorld world;
//   world.route("10.0.0.0/8", {12, 20, 110, 2});
//   world.nexthop("bgp", "10.0.0.1");

#include <string_view>

#include "platform/entity/Dir.h"
#include "platform/entity/Ptr.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"
#include "platform/task/VirtualTime.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "tests/support/Addresses.h"

namespace Routing::Support {

class VrfWorld {
 public:
  VrfWorld() {
    TaskSchedulerRoot::schedulerIs(scheduler);
    routing4Dir->entityIs(vrfName, routing4);
    routing6Dir->entityIs(vrfName, routing6);
  }
  VrfWorld(const VrfWorld&) = delete;
  VrfWorld& operator=(const VrfWorld&) = delete;
  ~VrfWorld() { TaskSchedulerRoot::schedulerIs(nullptr); }

  // The table first, the trie last. A route under a prefix that is there is announced.
  void route(std::string_view text, const Fib::Route& route) {
    const IpGenPrefix where = prefix(text);
    const bool is4 = where.family() == AddressFamily::ipv4;
    if (is4) {
      routes4->routeIs(Prefix(where), route);
    } else {
      routes6->routeIs(Ip6Prefix(where), route);
    }
    TrieGen& trie = is4 ? *trie4 : *trie6;
    if (trie.routeHas(where)) {
      trie.changedPrefixIs(where);
    } else {
      trie.routeIs(where, true);
    }
  }
  void routeDel(std::string_view text) {
    const IpGenPrefix where = prefix(text);
    if (where.family() == AddressFamily::ipv4) {
      routes4->routeDel(Prefix(where));
      trie4->routeDel(where);
    } else {
      routes6->routeDel(Ip6Prefix(where));
      trie6->routeDel(where);
    }
  }
  // A FEC with one via.
  void fec(FecId fecId) {
    FibGen::Fec fec(fecId);
    FibGen::Via via;
    via.hop = addr("192.0.2.1");
    via.intfId = {1};
    fec.viaIs(via);
    fecs->fecIs(fec);
  }

  // The client's configuration of the VRF, made if absent.
  Ptr<NexthopVrfConfig> config(const String& client, NexthopStatusFecIdType kind) {
    Ptr<NexthopConfig> record = entityOf<NexthopConfig>(*configDir, client);
    if (!record) {
      record = makeEntity<NexthopConfig>(client);
      record->vrfIs(vrfName, kind);
      configDir->entityIs(client, record);
    }
    return record->vrfIs(vrfName, kind);
  }
  // The client's status record, made if absent.
  Ptr<NexthopStatus> status(const String& client) {
    Ptr<NexthopStatus> record = entityOf<NexthopStatus>(*statusDir, client);
    if (!record) {
      record = makeEntity<NexthopStatus>(client);
      statusDir->entityIs(client, record);
    }
    return record;
  }

  void runUntilIdle() { Routing::runUntilIdle(*scheduler); }

  const VrfName vrfName = "v1";
  Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  Ptr<Dir> configDir = makeEntity<Dir>("configs");
  Ptr<Dir> statusDir = makeEntity<Dir>("statuses");
  Ptr<Dir> cellStatusDir = makeEntity<Dir>("cellStatuses");
  Ptr<Dir> routing4Dir = makeEntity<Dir>("routing4");
  Ptr<Dir> routing6Dir = makeEntity<Dir>("routing6");
  Ptr<RoutingInfo> routing4 = makeEntity<RoutingInfo>(true);
  Ptr<Routing6::RoutingInfo> routing6 = makeEntity<Routing6::RoutingInfo>(true);
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
  Ptr<Fib::MemoryRouteStatus> routes4 = makeEntity<Fib::MemoryRouteStatus>();
  Ptr<Fib6::MemoryRouteStatus> routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  Ptr<FibGen::MemoryForwardingStatus> fecs = makeEntity<FibGen::MemoryForwardingStatus>();
  Ptr<NexthopResolverForwardingStatus> forwarding = makeEntity<NexthopResolverForwardingStatus>();
  Ptr<NexthopResolverFibViaContext> context = makeEntity<NexthopResolverFibViaContext>();
};

}  // namespace Routing::Support
