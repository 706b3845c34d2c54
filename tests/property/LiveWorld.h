#pragma once

// LiveWorld: the library itself, in shared state of this process's memory over virtual time, driven
// by the same calls as the reference model (ReferenceModel.h).
//
// Everything that the library writes is observed. Each notification of an output becomes an
// OutputEvent, is kept until takeEvents(), and is handed to the listener while its delivery is
// under way. Observers are told after all machines, so that an event stands after those that it
// caused.
//
// An object that the library makes is observed from the notification that tells of it on; nothing
// is published in it before. The index and the map of a manager publish nothing before the factory
// returns.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

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
#include "tests/support/ReferenceModelEvent.h"

namespace Routing::Support {

struct LiveVrf {
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
  Ptr<Fib::MemoryRouteStatus> routes4 = makeEntity<Fib::MemoryRouteStatus>();
  Ptr<Fib6::MemoryRouteStatus> routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  Ptr<NexthopResolverFibViaContext> context = makeEntity<NexthopResolverFibViaContext>();
  Ptr<NexthopResolverManagerSm> manager;
};

class LiveWorld {
 public:
  using Listener = std::function<void(const OutputEvent& event)>;

  // The scheduler is the process-wide one while the world lives.
  LiveWorld();
  LiveWorld(const LiveWorld&) = delete;
  LiveWorld& operator=(const LiveWorld&) = delete;
  // Drops the managers first.
  ~LiveWorld();

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

  OutputEvents takeEvents() { return std::exchange(events_, {}); }
  // Called with each event, after it was kept. Empty: nobody is.
  void listenerIs(Listener listener) { listener_ = std::move(listener); }

  const std::map<VrfName, LiveVrf>& vrfs() const noexcept { return vrfs_; }
  // Null when the VRF has none.
  Ptr<NexthopResolverManagerSm> managerOf(const VrfName& vrf) const;
  const TaskScheduler& scheduler() const noexcept { return *scheduler_; }
  const FibGen::MemoryForwardingStatus& fecs() const noexcept { return *fecs_; }
  const Dir& configDir() const noexcept { return *configDir_; }
  const Dir& statusDir(bool cell) const noexcept { return cell ? *cellDir_ : *statusDir_; }
  // Null when no manager of the VRF was ever made.
  Ptr<NexthopResolverVrfForwardingStatus> forwarding(const VrfName& vrf) const {
    return forwarding_->vrf(vrf);
  }

 private:
  // An observer with a function; it unsubscribes by itself when its publisher goes.
  class Tap final : public Observer {
   public:
    using Reaction = std::function<void(FieldId field, const void* key)>;
    Tap(const Publisher& publisher, Reaction reaction) : reaction_(std::move(reaction)) {
      subscribe(publisher);
    }
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;
    ~Tap() override = default;
    void onAttribute(FieldId field, const void* key) override { reaction_(field, key); }

   private:
    Reaction reaction_;
  };
  using Kind = OutputEvent::Kind;

  LiveVrf& vrf(const VrfName& name);
  void tap(const Publisher& publisher, Tap::Reaction reaction);
  void note(OutputEvent event);
  void observe(const NexthopStatus& status);
  void observe(const NexthopVrfStatus& status, const String& client);
  void observe(const NexthopResolverVrfForwardingStatus& status);
  void observe(const FecIdToResolverId& map);
  void observe(const FecIdToClientHop& index);
  void observe(const NexthopResolverFecIdRef& record, const VrfName& vrf);
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

  OutputEvents events_;
  Listener listener_;
  // By what they are subscribed to; those whose publisher went are swept out now and then.
  std::unordered_map<const Publisher*, std::unique_ptr<Tap>> taps_;
  std::size_t sweepAt_ = 256;
};

}  // namespace Routing::Support
