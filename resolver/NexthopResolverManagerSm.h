#pragma once

// NexthopResolverManagerSm: everything of one VRF, and the library's entry point.
//
// The host calls nexthopResolverManagerSmFactory once for each VRF, with the shared state that the
// VRF is served from, and keeps the returned manager for as long as it is served.
//
//   input                          change                handler
//   nexthopConfigDir               an entry              handleClientConfigDir
//   nexthopStatusDir               an entry              handleClientStatusDir
//   nexthopCellSpecificStatusDir   an entry              handleCellSpecificClientStatusDir
//   a client's NexthopConfig       a VRF                 handleClient, through a nested watcher
//   a client's NexthopStatus       a VRF                 handleClient, through a nested watcher
//
// The manager makes and owns the VRF's reference index, identifier map and FIB-via machine, and one
// NexthopResolverSm for each client that has both a NexthopVrfConfig for the VRF and a
// NexthopStatus. When a client loses one of the two, its resolver goes and then its status for the
// VRF is cleared.
//
// A client's status stands in the global or in the per-cell directory, never in both. Records of
// other VRFs are never touched.
//
// Invariants:
//   1. A watcher exists exactly while its pointer entry does; the entry goes first.
//   2. A resolver is destroyed before its client's status is cleared.
//   3. Writing a client's status comes back as handleClient of the same client, which then finds
//      nothing left to do.
//   4. On destruction the FIB-via machine is off and released before the resolvers go, so that what
//      it published and the context stay for the next run.
//
// The directories' dispatchers let no exception pass: there is nobody to hand it to.

#include "platform/entity/DenseTable.h"
#include "platform/entity/Dir.h"
#include "platform/entity/Entity.h"
#include "platform/entity/EntityTable.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverFibViaSm.h"
#include "resolver/NexthopResolverLocal.h"
#include "resolver/NexthopResolverSm.h"

namespace Routing {

class NexthopResolverManagerSm;

// A nested watcher: tells the manager when a VRF of one client record is added, replaced or
// removed. One without an owner does nothing.
template <class Record>
class NestedSm final : public Entity, public Notifiee {
 public:
  // Subscribes at once.
  NestedSm(const Ptr<const Record>& notifier, NexthopResolverManagerSm* owner);
  ~NestedSm() override;

  const Ptr<const Record>& notifier() const noexcept { return notifier_; }
  // Watches this record from now on, if it watched one.
  void notifierIs(const Ptr<const Record>& notifier);
  void ownerDel() noexcept { owner_ = nullptr; }
  bool hasOwner() const noexcept { return owner_ != nullptr; }
  void hasNotificationActiveIs(bool hasNotificationActive);
  // Switches notifications to the opposite when that changes the mark.
  void doZombieReactors(bool zombie);
  bool isZombie() const noexcept { return zombie_; }

  void onAttribute(FieldId field, const void* key) override;
  const TypeData& typeData() const override;

 private:
  Ptr<const Record> notifier_;
  NexthopResolverManagerSm* owner_;
  bool zombie_ = false;
};

extern template class NestedSm<NexthopConfig>;
extern template class NestedSm<NexthopStatus>;
// NOLINTNEXTLINE(readability-identifier-naming): the names that inspection shows
using NestedSm_NexthopConfig = NestedSm<NexthopConfig>;
// NOLINTNEXTLINE(readability-identifier-naming): the names that inspection shows
using NestedSm_NexthopStatus = NestedSm<NexthopStatus>;

class NexthopResolverManagerSm final : public Entity {
 public:
  using Resolvers = EntityTable<NexthopResolverSm, &NexthopResolverSm::name>;
  using ConfigPtrs = DenseMap<String, Ptr<const NexthopConfig>>;
  using StatusPtrs = DenseMap<String, Ptr<NexthopStatus>>;
  using ConfigWatchers = DenseMap<String, Ptr<NestedSm_NexthopConfig>>;
  using StatusWatchers = DenseMap<String, Ptr<NestedSm_NexthopStatus>>;

  // Requires: nexthopConfigDir, nexthopStatusDir and nexthopForwardingStatus are there. The
  // per-cell directory may be null.
  NexthopResolverManagerSm(const VrfName& vrfName,
                           const Ptr<const Dir>& nexthopConfigDir,
                           const Ptr<Dir>& nexthopStatusDir,
                           const Ptr<Dir>& nexthopCellSpecificStatusDir,
                           const Ptr<const TrieGen>& trie4,
                           const Ptr<const TrieGen>& trie6,
                           const Ptr<const Fib::RouteStatus>& routeStatus,
                           const Ptr<const Fib6::RouteStatus>& route6Status,
                           const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
                           const Ptr<NexthopResolverForwardingStatus>& nexthopForwardingStatus,
                           const Ptr<NexthopResolverFibViaContext>& nexthopFibViaContext,
                           const Ptr<const Dir>& routingInfoDir,
                           const Ptr<const Dir>& routing6InfoDir,
                           const Ptr<TaskScheduler>& scheduler);
  // Leaves the shared state so that a later manager can go on from it: status stays where the
  // client still configures the VRF and the VRF's routing information is there.
  ~NexthopResolverManagerSm() override;

  // Makes a manager and switches its notifications on.
  static Ptr<NexthopResolverManagerSm> NexthopResolverManagerSmIs(
      const VrfName& vrfName,
      const Ptr<const Dir>& nexthopConfigDir,
      const Ptr<Dir>& nexthopStatusDir,
      const Ptr<Dir>& nexthopCellSpecificStatusDir,
      const Ptr<const TrieGen>& trie4,
      const Ptr<const TrieGen>& trie6,
      const Ptr<const Fib::RouteStatus>& routeStatus,
      const Ptr<const Fib6::RouteStatus>& route6Status,
      const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
      const Ptr<NexthopResolverForwardingStatus>& nexthopForwardingStatus,
      const Ptr<NexthopResolverFibViaContext>& nexthopFibViaContext,
      const Ptr<const Dir>& routingInfoDir,
      const Ptr<const Dir>& routing6InfoDir,
      const Ptr<TaskScheduler>& scheduler);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  const Ptr<const Dir>& nexthopConfigDir() const noexcept { return nexthopConfigDir_; }
  const Ptr<Dir>& nexthopStatusDir() const noexcept { return nexthopStatusDir_; }
  const Ptr<Dir>& nexthopCellSpecificStatusDir() const noexcept {
    return nexthopCellSpecificStatusDir_;
  }
  const Ptr<const TrieGen>& trie4() const noexcept { return trie4_; }
  const Ptr<const TrieGen>& trie6() const noexcept { return trie6_; }
  const Ptr<const Fib::RouteStatus>& routeStatus() const noexcept { return routeStatus_; }
  const Ptr<const Fib6::RouteStatus>& route6Status() const noexcept { return route6Status_; }
  const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus() const noexcept {
    return forwardingGenStatus_;
  }
  const Ptr<NexthopResolverForwardingStatus>& nexthopForwardingStatus() const noexcept {
    return nexthopForwardingStatus_;
  }
  const Ptr<NexthopResolverFibViaContext>& nexthopFibViaContext() const noexcept {
    return nexthopFibViaContext_;
  }
  const Ptr<const Dir>& routingInfoDir() const noexcept { return routingInfoDir_; }
  const Ptr<const Dir>& routing6InfoDir() const noexcept { return routing6InfoDir_; }
  const Ptr<TaskScheduler>& scheduler() const noexcept { return scheduler_; }
  bool initialized() const noexcept { return initialized_; }

  // Null until start-up.
  const Ptr<FecIdToClientHop>& fecIdToClientHop() const noexcept { return fecIdToClientHop_; }
  const Ptr<FecIdToResolverId>& fecIdToResolverId() const noexcept { return fecIdToResolverId_; }

  // Null until start-up and after cleanup. Is keeps a machine whose inputs are all the same, and
  // otherwise makes a new one before the old one is released.
  const Ptr<NexthopResolverFibViaSm>& nexthopResolverFibViaSm() const noexcept {
    return nexthopResolverFibViaSm_;
  }
  Ptr<NexthopResolverFibViaSm> nexthopResolverFibViaSmIs(
      const VrfName& vrfName,
      const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
      const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
      const Ptr<FecIdToClientHop>& fecIdToClientHop,
      const Ptr<FecIdToResolverId>& fecIdToResolverId,
      const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext);
  // Returns the machine, switched off, or null.
  Ptr<NexthopResolverFibViaSm> nexthopResolverFibViaSmDel();

  // One resolver a client, by the client's name. Is makes it if absent.
  // Throws: ReinstantiationError, naming the first differing attribute, when it exists with another
  // input.
  const Resolvers& resolverSm() const noexcept { return resolverSm_; }
  Ptr<NexthopResolverSm> resolverSmIs(const VrfName& vrfName,
                                      const String& name,
                                      const Ptr<const NexthopVrfConfig>& nexthopVrfConfig,
                                      const Ptr<NexthopVrfStatus>& nexthopVrfStatus,
                                      const Ptr<const TrieGen>& trie4,
                                      const Ptr<const TrieGen>& trie6,
                                      const Ptr<const Fib::RouteStatus>& routeStatus,
                                      const Ptr<const Fib6::RouteStatus>& route6Status,
                                      const Ptr<const RoutingInfo>& vrfRoutingInfo,
                                      const Ptr<const Routing6::RoutingInfo>& vrfRouting6Info,
                                      const Ptr<FecIdToClientHop>& fecIdToClientHop,
                                      const Ptr<const FecIdToResolverId>& fecIdToResolverId,
                                      const Ptr<TaskScheduler>& scheduler);
  Ptr<NexthopResolverSm> resolverSmDel(const String& name);
  void resolverSmDelAll();

  // The clients' records, by client name. Setting or removing one sets or removes its watcher, and
  // that evaluates the client. Setting null removes.
  const ConfigPtrs& nexthopConfigPtr() const noexcept { return nexthopConfigPtr_; }
  void nexthopConfigPtrIs(const String& name, const Ptr<const NexthopConfig>& nexthopConfig);
  Ptr<const NexthopConfig> nexthopConfigPtrDel(const String& name);
  void nexthopConfigPtrDelAll();
  const StatusPtrs& nexthopStatusPtr() const noexcept { return nexthopStatusPtr_; }
  void nexthopStatusPtrIs(const String& name, const Ptr<NexthopStatus>& nexthopStatus);
  Ptr<NexthopStatus> nexthopStatusPtrDel(const String& name);
  void nexthopStatusPtrDelAll();

  // The nested watchers, by the watched record's name. Throws: NullArgumentError.
  const ConfigWatchers& nexthopConfig() const noexcept { return nexthopConfig_; }
  void nexthopConfigIs(const Ptr<const NexthopConfig>& nexthopConfig);
  Ptr<const NexthopConfig> nexthopConfigDel(const String& name);
  void nexthopConfigDelAll();
  const StatusWatchers& nexthopStatus() const noexcept { return nexthopStatus_; }
  void nexthopStatusIs(const Ptr<const NexthopStatus>& nexthopStatus);
  Ptr<const NexthopStatus> nexthopStatusDel(const String& name);
  void nexthopStatusDelAll();

  // Switches the notifications of the manager and of everything below it. Changes of the
  // directories while they are off are not made up for.
  void hasNotificationActiveIs(bool hasNotificationActive);
  bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
  // Marks the manager and every nested watcher. A zombie ignores every notification.
  void doZombieReactors(bool zombie);
  bool isZombie() const noexcept { return zombie_; }

  void handleInitialized();
  void handleClientConfigDir(const String& name);
  void handleClientStatusDir(const String& name);
  void handleCellSpecificClientStatusDir(const String& name);
  void handleClientEntry(const String& name);
  // Makes or removes the client's resolver as its records demand.
  // Publishes: the VRF's status of the client. Reenters: itself, for the same client.
  void handleClient(const String& name, const VrfName& vrf);
  void clearVrfStatus(const String& name);
  void handleCleanup();

  const TypeData& typeData() const override;

 private:
  void nexthopConfigDirDispatch(FieldId field, const void* key) noexcept;
  void nexthopStatusDirDispatch(FieldId field, const void* key) noexcept;
  void nexthopCellSpecificStatusDirDispatch(FieldId field, const void* key) noexcept;
  template <void (NexthopResolverManagerSm::*dispatch)(FieldId field, const void* key)>
  using Input = Subscription<NexthopResolverManagerSm, dispatch>;

  void subscribeToDirectories();
  void unsubscribeFromDirectories();
  void statusPresent(const char* operation, const String& name, const Ptr<Entity>& entity);
  void statusAbsent(const char* operation, const String& name);
  template <class Record, class Watchers>
  void watcherIs(Watchers& watchers, const Ptr<const Record>& record, const char* attribute);
  template <class Record, class Watchers>
  Ptr<const Record> watcherDel(Watchers& watchers, const String& name);
  Ptr<const RoutingInfo> vrfRoutingInfo() const;
  Ptr<const Routing6::RoutingInfo> vrfRouting6Info() const;

  VrfName vrfName_;
  Ptr<const Dir> nexthopConfigDir_;
  Ptr<Dir> nexthopStatusDir_;
  Ptr<Dir> nexthopCellSpecificStatusDir_;
  Ptr<const TrieGen> trie4_;
  Ptr<const TrieGen> trie6_;
  Ptr<const Fib::RouteStatus> routeStatus_;
  Ptr<const Fib6::RouteStatus> route6Status_;
  Ptr<const FibGen::ForwardingStatus> forwardingGenStatus_;
  Ptr<NexthopResolverForwardingStatus> nexthopForwardingStatus_;
  Ptr<NexthopResolverFibViaContext> nexthopFibViaContext_;
  Ptr<const Dir> routingInfoDir_;
  Ptr<const Dir> routing6InfoDir_;
  Ptr<TaskScheduler> scheduler_;

  Ptr<FecIdToClientHop> fecIdToClientHop_;
  Ptr<FecIdToResolverId> fecIdToResolverId_;
  Ptr<NexthopResolverFibViaSm> nexthopResolverFibViaSm_;
  Resolvers resolverSm_;
  ConfigPtrs nexthopConfigPtr_;
  StatusPtrs nexthopStatusPtr_;
  ConfigWatchers nexthopConfig_;
  StatusWatchers nexthopStatus_;
  bool initialized_ = false;
  bool hasNotificationActive_ = false;
  bool zombie_ = false;

  Input<&NexthopResolverManagerSm::nexthopConfigDirDispatch> nexthopConfigDirInput_{*this};
  Input<&NexthopResolverManagerSm::nexthopStatusDirDispatch> nexthopStatusDirInput_{*this};
  Input<&NexthopResolverManagerSm::nexthopCellSpecificStatusDirDispatch>
      nexthopCellSpecificStatusDirInput_{*this};
};

// The entry point: makes the manager of a VRF, which serves it until the last Ptr goes.
Ptr<NexthopResolverManagerSm> nexthopResolverManagerSmFactory(
    const VrfName& vrfName,
    const Ptr<const Dir>& nexthopConfigDir,
    const Ptr<Dir>& nexthopStatusDir,
    const Ptr<Dir>& nexthopCellSpecificStatusDir,
    const Ptr<const TrieGen>& trie4,
    const Ptr<const TrieGen>& trie6,
    const Ptr<const Fib::RouteStatus>& routeStatus,
    const Ptr<const Fib6::RouteStatus>& route6Status,
    const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
    const Ptr<NexthopResolverForwardingStatus>& nexthopForwardingStatus,
    const Ptr<NexthopResolverFibViaContext>& nexthopFibViaContext,
    const Ptr<const Dir>& routingInfoDir,
    const Ptr<const Dir>& routing6InfoDir,
    const Ptr<TaskScheduler>& scheduler);

}  // namespace Routing
