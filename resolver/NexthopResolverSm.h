#pragma once

// NexthopResolverSm: resolves the nexthops of one client in one VRF.
//
// Owner: the VRF's manager, which makes it when the client has both a configuration and a status
// there and drops it when that ends.
//
// Every reason to look at a nexthop again becomes one thing: its address in the review set, and the
// review task scheduled. The task takes addresses off the set one by one until it should yield, and
// goes on at the bookmark in its next run. What is queued twice is processed once.
//
//   input               change               handler
//   nexthopVrfConfig    a nexthop            handleNexthopConfig     queues it
//   trie4, trie6        a prefix             handle4/6ChangedRoute   queues what lies inside
//   vrfRoutingInfo      IPv4 routing         handleRouting4          on: queues the family
//   vrfRouting6Info     IPv6 routing         handleRouting6          off: fails it at once
//   fecIdToResolverId   a FEC's identifier   handleFecIdMap          processes at once
//   reviewNexthopTask   it runs              handleNexthopReview     processes the queue
//
// Outputs: entries of nexthopVrfStatus; for a client of resolver identifiers, references in
// fecIdToClientHop.
//
// Invariants:
//   1. Before the first run of the task nothing is resolved.
//   2. Every configured nexthop that was processed stands in the nexthop trie of its family, be it
//      resolved or not, so that a later route finds it.
//   3. Whoever puts addresses into the review set schedules the task, and a run that leaves some
//      schedules it again. Only a run that was lost while notifications were off leaves addresses
//      behind, until the next reason to schedule.
//   4. A client of FIB identifiers never has a reference.
//   5. A failed entry keeps the reference of the last success until the nexthop is unconfigured or
//      resolves to another FEC.
//
// A handler may come back here from inside its own writes: a reference makes the FIB-via machine
// publish an identifier, whose notification reaches handleFecIdMap. What a walk stands on is copied
// first, and a machine that reacts holds itself.

#include <cstdint>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/task/Task.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverLocal.h"

namespace Routing {

class NexthopResolverSm final : public Entity {
 public:
  NexthopResolverSm(const VrfName& vrfName,
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
  // Removes this client's references while all inputs are still held, then releases in the reverse
  // order of declaration.
  ~NexthopResolverSm() override;

  // Makes a machine and switches its notifications on.
  static Ptr<NexthopResolverSm> NexthopResolverSmIs(
      const VrfName& vrfName,
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

  const VrfName& vrfName() const noexcept { return vrfName_; }
  // The client's name.
  const String& name() const noexcept { return name_; }
  const Ptr<const NexthopVrfConfig>& nexthopVrfConfig() const noexcept { return nexthopVrfConfig_; }
  const Ptr<NexthopVrfStatus>& nexthopVrfStatus() const noexcept { return nexthopVrfStatus_; }
  const Ptr<const TrieGen>& trie4() const noexcept { return trie4_; }
  const Ptr<const TrieGen>& trie6() const noexcept { return trie6_; }
  const Ptr<const Fib::RouteStatus>& routeStatus() const noexcept { return routeStatus_; }
  const Ptr<const Fib6::RouteStatus>& route6Status() const noexcept { return route6Status_; }
  const Ptr<const RoutingInfo>& vrfRoutingInfo() const noexcept { return vrfRoutingInfo_; }
  const Ptr<const Routing6::RoutingInfo>& vrfRouting6Info() const noexcept {
    return vrfRouting6Info_;
  }
  const Ptr<FecIdToClientHop>& fecIdToClientHop() const noexcept { return fecIdToClientHop_; }
  const Ptr<const FecIdToResolverId>& fecIdToResolverId() const noexcept {
    return fecIdToResolverId_;
  }
  const Ptr<TaskScheduler>& scheduler() const noexcept { return scheduler_; }
  bool initialized() const noexcept { return initialized_; }

  // The nexthops under resolution, as host routes. The Is operations keep a trie of the same name
  // and family and replace any other.
  const Ptr<TrieGen>& nexthopTrie4() const noexcept { return nexthopTrie4_; }
  const Ptr<TrieGen>& nexthopTrie4Is(const String& name, AddressFamily family);
  void nexthopTrie4Del() noexcept { nexthopTrie4_ = nullptr; }
  const Ptr<TrieGen>& nexthopTrie6() const noexcept { return nexthopTrie6_; }
  const Ptr<TrieGen>& nexthopTrie6Is(const String& name, AddressFamily family);
  void nexthopTrie6Del() noexcept { nexthopTrie6_ = nullptr; }

  // The nexthops that wait to be processed.
  const DenseSet<IpGenAddr>& reviewNexthop() const noexcept { return reviewNexthop_; }
  IpGenAddr reviewNexthopIs(const IpGenAddr& addr) {
    reviewNexthop_.insert(addr);
    return addr;
  }
  void reviewNexthopDel(const IpGenAddr& addr) { reviewNexthop_.remove(addr); }
  void reviewNexthopDelAll() { reviewNexthop_.clear(); }
  bool reviewNexthopHas(const IpGenAddr& addr) const noexcept { return reviewNexthop_.has(addr); }
  // Where the next run resumes; unset: at the beginning.
  const IpGenAddr& reviewNexthopBookmark() const noexcept { return reviewNexthopBookmark_; }

  const Ptr<Task>& reviewNexthopTask() const noexcept { return reviewNexthopTask_; }
  // Keeps a task of the same scheduler, priority and name and replaces any other.
  const Ptr<Task>& reviewNexthopTaskIs(const Ptr<TaskScheduler>& scheduler,
                                       TaskPriority priority,
                                       const String& name);
  // Returns the task that was there, or null.
  Ptr<Task> reviewNexthopTaskDel();

  // Subscribes to all inputs that are there, or unsubscribes. A run of the task that comes while
  // notifications are off is lost.
  void hasNotificationActiveIs(bool hasNotificationActive);
  bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
  // A zombie ignores every notification.
  void doZombieReactors(bool zombie) noexcept { zombie_ = zombie; }

  // Calls with the route table of the prefix's family and the key of the prefix in it; not at all
  // when there is no such table.
  template <class Call>
  void withRoutes(const IpGenPrefix& prefix, Call call) const {
    if (prefix.family() == AddressFamily::ipv4 && routeStatus_) {
      call(*routeStatus_, Prefix(prefix));
    } else if (prefix.family() == AddressFamily::ipv6 && route6Status_) {
      call(*route6Status_, Ip6Prefix(prefix));
    }
  }
  // The FIB trie of the family. Requires: IPv4 or IPv6.
  const Ptr<const TrieGen>& fibTrie(AddressFamily family) const;
  // True when a change of the prefix in the FIB can move no nexthop of this trie of nexthops.
  bool isIgnoredRoute(const Ptr<const TrieGen>& nexthopTrie, const IpGenPrefix& prefix) const;
  // Brings all that is kept of a nexthop up to date with the configuration and the FIB.
  // Publishes: the nexthop's status; before it, what addReference or deleteReference publishes.
  // Reenters: handleFecIdMap of every resolver of the VRF.
  void processNexthop(const IpGenAddr& addr);

  void handleInitialized();
  void handleNexthopConfig(const IpGenAddr& addr);
  void handleNexthopReview();
  void handle4ChangedRoute();
  void handle6ChangedRoute();
  void handleRouting4();
  void handleRouting6();
  void handleFecIdMap(FecId fecId);
  void handleCleanup();

  const TypeData& typeData() const override;

 private:
  void nexthopVrfConfigDispatch(FieldId field, const void* key);
  void trie4Dispatch(FieldId field, const void* key);
  void trie6Dispatch(FieldId field, const void* key);
  void vrfRoutingInfoDispatch(FieldId field, const void* key);
  void vrfRouting6InfoDispatch(FieldId field, const void* key);
  void fecIdToResolverIdDispatch(FieldId field, const void* key);
  void reviewNexthopTaskDispatch(FieldId field, const void* key);
  template <void (NexthopResolverSm::*dispatch)(FieldId field, const void* key)>
  using Input = Subscription<NexthopResolverSm, dispatch>;

  void subscribeToInputs();
  void unsubscribeFromInputs();
  void removeNexthop(const IpGenAddr& addr, const IpGenPrefix& hostPrefix);
  void resolveNexthop(const IpGenAddr& addr,
                      const IpGenPrefix& hostPrefix,
                      const IpGenPrefix& matched);
  void review();
  std::uint64_t reviewSlice(Task& task);
  void handleChangedRoute(const char* operation,
                          const Ptr<const TrieGen>& trie,
                          const Ptr<TrieGen>& nexthopTrie);
  void handleRoutingGen(bool routingEnabled,
                        const IpGenPrefix& defaultPrefix,
                        const Ptr<TrieGen>& nexthopTrie);

  VrfName vrfName_;
  String name_;
  Ptr<const NexthopVrfConfig> nexthopVrfConfig_;
  Ptr<NexthopVrfStatus> nexthopVrfStatus_;
  Ptr<const TrieGen> trie4_;
  Ptr<const TrieGen> trie6_;
  Ptr<const Fib::RouteStatus> routeStatus_;
  Ptr<const Fib6::RouteStatus> route6Status_;
  Ptr<const RoutingInfo> vrfRoutingInfo_;
  Ptr<const Routing6::RoutingInfo> vrfRouting6Info_;
  Ptr<FecIdToClientHop> fecIdToClientHop_;
  Ptr<const FecIdToResolverId> fecIdToResolverId_;
  Ptr<TaskScheduler> scheduler_;

  Ptr<TrieGen> nexthopTrie4_;
  Ptr<TrieGen> nexthopTrie6_;
  DenseSet<IpGenAddr> reviewNexthop_;
  IpGenAddr reviewNexthopBookmark_;
  Ptr<Task> reviewNexthopTask_;
  bool initialized_ = false;
  bool hasNotificationActive_ = false;
  bool zombie_ = false;

  Input<&NexthopResolverSm::nexthopVrfConfigDispatch> nexthopVrfConfigInput_{*this};
  Input<&NexthopResolverSm::trie4Dispatch> trie4Input_{*this};
  Input<&NexthopResolverSm::trie6Dispatch> trie6Input_{*this};
  Input<&NexthopResolverSm::vrfRoutingInfoDispatch> vrfRoutingInfoInput_{*this};
  Input<&NexthopResolverSm::vrfRouting6InfoDispatch> vrfRouting6InfoInput_{*this};
  Input<&NexthopResolverSm::fecIdToResolverIdDispatch> fecIdToResolverIdInput_{*this};
  Input<&NexthopResolverSm::reviewNexthopTaskDispatch> reviewNexthopTaskInput_{*this};
};

// Makes a machine and switches its notifications on.
Ptr<NexthopResolverSm> nexthopResolverSmFactory(
    const VrfName& vrfName,
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

// Writes what the route under the prefix, the longest match for the nexthop, says of the nexthop: a
// resolved or a failed entry. For a client of resolver identifiers it records the reference first,
// and writes nothing while the FEC has no identifier. One instance a route table.
// Publishes: what addReference publishes, then the nexthop's status.
// Throws: RangeError from the IPv6 instance for a prefix that is no IPv6 prefix.
template <class RouteStatusPtr>
void updateNexthopStatus(const String& clientName,
                         const NexthopResolverSm* sm,
                         const Ptr<NexthopVrfStatus>& status,
                         const Ptr<FecIdToClientHop>& fecIdToClientHop,
                         const Ptr<const FecIdToResolverId>& fecIdToResolverId,
                         const IpGenAddr& addr,
                         bool routingEnabled,
                         const RouteStatusPtr& routeStatus,
                         const IpGenPrefix& prefix);

// Writes a failed entry. References are not touched. Publishes: the nexthop's status.
void addFailedResolutionStatusEntry(const Ptr<NexthopVrfStatus>& status, const IpGenAddr& addr);

// A walk over a trie of nexthops. Made for one walk and released after it.
class NexthopWalkCallback : public TrieGenWalkCallback {
 public:
  const Ptr<NexthopResolverSm>& nexthopResolverSm() const noexcept { return nexthopResolverSm_; }
  // Prefixes handled so far.
  std::uint32_t count() const noexcept { return count_; }
  std::uint32_t countInc(std::uint32_t n) noexcept { return count_ += n; }

 protected:
  explicit NexthopWalkCallback(const Ptr<NexthopResolverSm>& nexthopResolverSm)
      : nexthopResolverSm_(nexthopResolverSm) {}

 private:
  Ptr<NexthopResolverSm> nexthopResolverSm_;
  std::uint32_t count_ = 0;
};

// Queues each nexthop for review.
class NexthopTrieCallback final : public NexthopWalkCallback {
 public:
  explicit NexthopTrieCallback(const Ptr<NexthopResolverSm>& nexthopResolverSm)
      : NexthopWalkCallback(nexthopResolverSm) {}
  static Ptr<NexthopTrieCallback> NexthopTrieCallbackIs(
      const Ptr<NexthopResolverSm>& nexthopResolverSm);

  bool handlePrefix(const IpGenPrefix& prefix) override;
  const TypeData& typeData() const override;
};

Ptr<NexthopTrieCallback> nexthopTrieCallbackFactory(
    const Ptr<NexthopResolverSm>& nexthopResolverSm);

// Writes a failed entry for each nexthop.
class RemoveStatusCallback final : public NexthopWalkCallback {
 public:
  explicit RemoveStatusCallback(const Ptr<NexthopResolverSm>& nexthopResolverSm)
      : NexthopWalkCallback(nexthopResolverSm) {}
  static Ptr<RemoveStatusCallback> RemoveStatusCallbackIs(
      const Ptr<NexthopResolverSm>& nexthopResolverSm);

  bool handlePrefix(const IpGenPrefix& prefix) override;
  const TypeData& typeData() const override;
};

Ptr<RemoveStatusCallback> removeStatusCallbackFactory(
    const Ptr<NexthopResolverSm>& nexthopResolverSm);

}  // namespace Routing
