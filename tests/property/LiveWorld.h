#pragma once

// LiveWorld: the library itself, in shared state of this process's memory over virtual time, driven
// by the same calls as the reference model (ReferenceModel.h).
//
// A client's status is observed before anybody else can reach it.

#include <cstdint>
#include <map>
#include <vector>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverManagerSm.h"
#include "tests/support/ObservedWorld.h"

namespace Routing::Support {

struct LiveVrf {
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
  Ptr<Fib::MemoryRouteStatus> routes4 = makeEntity<Fib::MemoryRouteStatus>();
  Ptr<Fib6::MemoryRouteStatus> routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  Ptr<NexthopResolverFibViaContext> context = makeEntity<NexthopResolverFibViaContext>();
  Ptr<NexthopResolverManagerSm> manager;
};

class LiveWorld final : public ObservedWorld {
 public:
  // The scheduler is the process-wide one while the world lives.
  LiveWorld();
  LiveWorld(const LiveWorld&) = delete;
  LiveWorld& operator=(const LiveWorld&) = delete;
  // Drops the managers first.
  ~LiveWorld() override;

  void config(const String& client);
  void configDel(const String& client);
  void configVrf(const String& client, const VrfName& vrf, NexthopStatusFecIdType kind);
  void configVrfDel(const String& client, const VrfName& vrf);
  void nexthop(const String& client, const VrfName& vrf, const IpGenAddr& addr);
  void nexthopDel(const String& client, const VrfName& vrf, const IpGenAddr& addr);
  void status(const String& client, bool cell);
  void statusDel(const String& client, bool cell);
  void renotifyConfig(const String& client);
  void renotifyStatus(const String& client, bool cell);

  void route(const VrfName& vrf, const IpGenPrefix& prefix, const Fib::Route& route);
  void routeDel(const VrfName& vrf, const IpGenPrefix& prefix);
  void announce(const VrfName& vrf, AddressFamily family, const IpGenPrefix& prefix);
  void routing(const VrfName& vrf, AddressFamily family, bool enabled);
  void routingDel(const VrfName& vrf, AddressFamily family);
  void fec(const FibGen::Fec& fec);
  void fecDel(FecId fecId);
  void announceFec(FecId fecId);
  void context(const VrfName& vrf, std::uint64_t value);
  void published(const VrfName& vrf, std::uint64_t resolverId);

  void manager(const VrfName& vrf, bool withCells);
  void managerDel(const VrfName& vrf);
  void notifications(const VrfName& vrf, bool active);
  void budget(std::uint64_t questions);
  void step();
  void run();
  void advance(std::uint64_t seconds);

  const std::map<VrfName, LiveVrf>& vrfs() const noexcept { return vrfs_; }
  std::vector<VrfName> vrfNames() const override;
  Ptr<NexthopResolverManagerSm> managerOf(const VrfName& vrf) const override;
  Ptr<NexthopResolverFibViaContext> contextOf(const VrfName& vrf) const override;
  Ptr<NexthopResolverVrfForwardingStatus> forwarding(const VrfName& vrf) const override {
    return forwarding_->vrf(vrf);
  }
  const TaskScheduler& scheduler() const override { return *scheduler_; }
  const FibGen::MemoryForwardingStatus& fecs() const override { return *fecs_; }
  const Dir& configDir() const override { return *configDir_; }
  const Dir& statusDir(bool cell) const override { return cell ? *cellDir_ : *statusDir_; }

 private:
  LiveVrf& vrf(const VrfName& name);
  template <class Info>
  void routingIs(Dir& dir, const VrfName& vrf, bool enabled);

  Ptr<VirtualClock> clock_ = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(clock_);
  Ptr<Dir> configDir_ = makeEntity<Dir>("configs");
  Ptr<Dir> statusDir_ = makeEntity<Dir>("statuses");
  Ptr<Dir> cellDir_ = makeEntity<Dir>("cellStatuses");
  Ptr<Dir> routing4Dir_ = makeEntity<Dir>("routing4");
  Ptr<Dir> routing6Dir_ = makeEntity<Dir>("routing6");
  Ptr<FibGen::MemoryForwardingStatus> fecs_ = makeEntity<FibGen::MemoryForwardingStatus>();
  Ptr<NexthopResolverForwardingStatus> forwarding_ = makeEntity<NexthopResolverForwardingStatus>();
  std::map<VrfName, LiveVrf> vrfs_;
};

}  // namespace Routing::Support
