#pragma once

// A VRF with its manager and clients over given tables, as a host has them.
//
//   Vrf vrf(tables);
//   vrf.client("bgp", NexthopStatusFecIdType::fibFecId, nexthops);
//   vrf.start();
//   vrf.run();

#include <cstddef>
#include <span>

#include "bench/support/Tables.h"
#include "platform/entity/Dir.h"
#include "platform/task/TaskScheduler.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverManagerSm.h"

namespace Routing::Bench {

constexpr NexthopStatusFecIdType fibFecId = NexthopStatusFecIdType::fibFecId;
constexpr NexthopStatusFecIdType resolverId = NexthopStatusFecIdType::resolverId;

// What a host has once for all VRFs.
struct Host {
  Host();

  Ptr<Dir> configs = makeEntity<Dir>("configs");
  Ptr<Dir> statuses = makeEntity<Dir>("statuses");
  Ptr<Dir> routing4 = makeEntity<Dir>("routing4");
  Ptr<Dir> routing6 = makeEntity<Dir>("routing6");
  Ptr<NexthopResolverForwardingStatus> forwarding = makeEntity<NexthopResolverForwardingStatus>();
  Ptr<TaskScheduler> scheduler;
};

class Vrf {
 public:
  Vrf(Host& host, const Tables& tables, VrfName name);

  // Configures the client in this VRF, and makes its records when they are not there.
  void client(const String& name, NexthopStatusFecIdType kind, std::span<const IpGenAddr> nexthops);
  // So many clients, with an equal share of the nexthops each.
  void clients(std::size_t count, NexthopStatusFecIdType kind, std::span<const IpGenAddr> nexthops);
  void start();
  void stop() { manager_ = nullptr; }
  // Until nothing is runnable.
  void run();

  NexthopVrfConfig& config(const String& client) const;
  NexthopVrfStatus& status(const String& client) const;
  const NexthopResolverVrfForwardingStatus& published() const;
  // Nexthops that wait for their review.
  std::size_t waiting() const;
  // Nexthops reviewed so far, each review counted.
  std::uint64_t reviews() const;
  // Status entries of all clients that are resolved.
  std::size_t resolved() const;

  const Ptr<RoutingInfo> routingInfo4 = makeEntity<RoutingInfo>(true);
  const Ptr<Routing6::RoutingInfo> routingInfo6 = makeEntity<Routing6::RoutingInfo>(true);

 private:
  Host& host_;
  Tables tables_;
  VrfName name_;
  Ptr<NexthopResolverFibViaContext> context_ = makeEntity<NexthopResolverFibViaContext>();
  Ptr<NexthopResolverManagerSm> manager_;
};

// A host with one VRF.
struct World : Host, Vrf {
  explicit World(const Tables& tables) : Vrf(*this, tables, "default") {}
};

}  // namespace Routing::Bench
