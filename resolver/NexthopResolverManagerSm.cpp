#include "resolver/NexthopResolverManagerSm.h"

#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "platform/trace/Trace.h"

namespace Routing {

namespace {

TraceFacility traceFacility{"NexthopResolverManager", TraceFacility::Output::textOnly};

}  // namespace

template <class Record>
NestedSm<Record>::NestedSm(const Ptr<const Record>& notifier, NexthopResolverManagerSm* owner)
    : notifier_(notifier), owner_(owner) {
  hasNotificationActiveIs(true);
}

template <class Record>
NestedSm<Record>::~NestedSm() {
  hasNotificationActiveIs(false);
  doZombieReactors(true);
}

template <class Record>
void NestedSm<Record>::notifierIs(const Ptr<const Record>& notifier) {
  const bool active = subscribed();
  unsubscribe();
  notifier_ = notifier;
  hasNotificationActiveIs(active);
}

template <class Record>
void NestedSm<Record>::hasNotificationActiveIs(bool hasNotificationActive) {
  if (!hasNotificationActive) {
    unsubscribe();
  } else if (notifier_) {
    subscribe(*notifier_);
  }
}

template <class Record>
void NestedSm<Record>::doZombieReactors(bool zombie) {
  if (zombie == zombie_) {
    return;
  }
  hasNotificationActiveIs(!zombie);
  zombie_ = zombie;
}

template <class Record>
void NestedSm<Record>::onAttribute(FieldId field, const void* key) {
  if (field == Record::vrfField && !zombie_ && owner_ != nullptr) {
    // What this does may release the watcher, its record and the manager.
    const Ptr<NexthopResolverManagerSm> owner(owner_);
    const String name = notifier_->name();
    owner->handleClient(name, *static_cast<const VrfName*>(key));
  }
}

template <class Record>
const TypeData& NestedSm<Record>::typeData() const {
  static constexpr std::array attributes{attribute<&NestedSm::notifier>("notifier"),
                                         attribute<&NestedSm::hasOwner>("owner")};
  static const TypeData type(std::is_same_v<Record, NexthopConfig>
                                 ? "Routing::NestedSm_NexthopConfig"
                                 : "Routing::NestedSm_NexthopStatus",
                             attributes);
  return type;
}

template class NestedSm<NexthopConfig>;
template class NestedSm<NexthopStatus>;

NexthopResolverManagerSm::NexthopResolverManagerSm(
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
    const Ptr<TaskScheduler>& scheduler)
    : vrfName_(vrfName),
      nexthopConfigDir_(nexthopConfigDir),
      nexthopStatusDir_(nexthopStatusDir),
      nexthopCellSpecificStatusDir_(nexthopCellSpecificStatusDir),
      trie4_(trie4),
      trie6_(trie6),
      routeStatus_(routeStatus),
      route6Status_(route6Status),
      forwardingGenStatus_(forwardingGenStatus),
      nexthopForwardingStatus_(nexthopForwardingStatus),
      nexthopFibViaContext_(nexthopFibViaContext),
      routingInfoDir_(routingInfoDir),
      routing6InfoDir_(routing6InfoDir),
      scheduler_(scheduler) {
  subscribeToDirectories();
  try {
    handleInitialized();
  } catch (...) {
    unsubscribeFromDirectories();
    throw;
  }
}

NexthopResolverManagerSm::~NexthopResolverManagerSm() {
  // Also when they are off: the constructor subscribes, and so does a watcher that is made
  // meanwhile.
  hasNotificationActive_ = true;
  hasNotificationActiveIs(false);
  handleCleanup();
  doZombieReactors(true);
  unsubscribeFromDirectories();
  for (auto cursor = nexthopConfig_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->ownerDel();
  }
  for (auto cursor = nexthopStatus_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->ownerDel();
  }
  nexthopResolverFibViaSmDel();
  resolverSmDelAll();
  nexthopStatus_.clear();
  nexthopConfig_.clear();
  nexthopStatusPtr_.clear();
  nexthopConfigPtr_.clear();
  resolverSm_.clear();
  nexthopResolverFibViaSm_ = nullptr;
  fecIdToResolverId_ = nullptr;
  fecIdToClientHop_ = nullptr;
  scheduler_ = nullptr;
  routing6InfoDir_ = nullptr;
  routingInfoDir_ = nullptr;
  nexthopFibViaContext_ = nullptr;
  nexthopForwardingStatus_ = nullptr;
  forwardingGenStatus_ = nullptr;
  route6Status_ = nullptr;
  routeStatus_ = nullptr;
  trie6_ = nullptr;
  trie4_ = nullptr;
  nexthopCellSpecificStatusDir_ = nullptr;
  nexthopStatusDir_ = nullptr;
  nexthopConfigDir_ = nullptr;
}

Ptr<NexthopResolverManagerSm> NexthopResolverManagerSm::NexthopResolverManagerSmIs(
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
    const Ptr<TaskScheduler>& scheduler) {
  auto manager = makeEntity<NexthopResolverManagerSm>(vrfName,
                                                      nexthopConfigDir,
                                                      nexthopStatusDir,
                                                      nexthopCellSpecificStatusDir,
                                                      trie4,
                                                      trie6,
                                                      routeStatus,
                                                      route6Status,
                                                      forwardingGenStatus,
                                                      nexthopForwardingStatus,
                                                      nexthopFibViaContext,
                                                      routingInfoDir,
                                                      routing6InfoDir,
                                                      scheduler);
  manager->hasNotificationActiveIs(true);
  return manager;
}

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
    const Ptr<TaskScheduler>& scheduler) {
  return NexthopResolverManagerSm::NexthopResolverManagerSmIs(vrfName,
                                                              nexthopConfigDir,
                                                              nexthopStatusDir,
                                                              nexthopCellSpecificStatusDir,
                                                              trie4,
                                                              trie6,
                                                              routeStatus,
                                                              route6Status,
                                                              forwardingGenStatus,
                                                              nexthopForwardingStatus,
                                                              nexthopFibViaContext,
                                                              routingInfoDir,
                                                              routing6InfoDir,
                                                              scheduler);
}

Ptr<NexthopResolverFibViaSm> NexthopResolverManagerSm::nexthopResolverFibViaSmIs(
    const VrfName& vrfName,
    const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
    const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
    const Ptr<FecIdToClientHop>& fecIdToClientHop,
    const Ptr<FecIdToResolverId>& fecIdToResolverId,
    const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext) {
  if (const auto& machine = nexthopResolverFibViaSm_;
      machine && machine->vrfName() == vrfName &&
      machine->forwardingGenStatus() == forwardingGenStatus &&
      machine->nhResolverVrfFs() == nhResolverVrfFs &&
      machine->fecIdToClientHop() == fecIdToClientHop &&
      machine->fecIdToResolverId() == fecIdToResolverId &&
      machine->nhResFibViaContext() == nhResFibViaContext) {
    return machine;
  }
  nexthopResolverFibViaSm_ = NexthopResolverFibViaSm::NexthopResolverFibViaSmIs(vrfName,
                                                                                forwardingGenStatus,
                                                                                nhResolverVrfFs,
                                                                                fecIdToClientHop,
                                                                                fecIdToResolverId,
                                                                                nhResFibViaContext);
  nexthopResolverFibViaSm_->hasNotificationActiveIs(true);
  return nexthopResolverFibViaSm_;
}

Ptr<NexthopResolverFibViaSm> NexthopResolverManagerSm::nexthopResolverFibViaSmDel() {
  Ptr<NexthopResolverFibViaSm> machine;
  machine.swap(nexthopResolverFibViaSm_);
  if (machine) {
    machine->hasNotificationActiveIs(false);
  }
  return machine;
}

Ptr<NexthopResolverSm> NexthopResolverManagerSm::resolverSmIs(
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
    const Ptr<TaskScheduler>& scheduler) {
  if (Ptr<NexthopResolverSm> resolver = valueOf(resolverSm_, name)) {
    const auto requireSame = [](bool same, const char* attribute) {
      if (!same) {
        throw ReinstantiationError("Routing::NexthopResolverSm", attribute);
      }
    };
    requireSame(resolver->vrfName() == vrfName, "vrfName");
    requireSame(resolver->nexthopVrfConfig() == nexthopVrfConfig, "nexthopVrfConfig");
    requireSame(resolver->nexthopVrfStatus() == nexthopVrfStatus, "nexthopVrfStatus");
    requireSame(resolver->trie4() == trie4, "trie4");
    requireSame(resolver->trie6() == trie6, "trie6");
    requireSame(resolver->routeStatus() == routeStatus, "routeStatus");
    requireSame(resolver->route6Status() == route6Status, "route6Status");
    requireSame(resolver->vrfRoutingInfo() == vrfRoutingInfo, "vrfRoutingInfo");
    requireSame(resolver->vrfRouting6Info() == vrfRouting6Info, "vrfRouting6Info");
    requireSame(resolver->fecIdToClientHop() == fecIdToClientHop, "fecIdToClientHop");
    requireSame(resolver->fecIdToResolverId() == fecIdToResolverId, "fecIdToResolverId");
    requireSame(resolver->scheduler() == scheduler, "scheduler");
    return resolver;
  }
  auto resolver = NexthopResolverSm::NexthopResolverSmIs(vrfName,
                                                         name,
                                                         nexthopVrfConfig,
                                                         nexthopVrfStatus,
                                                         trie4,
                                                         trie6,
                                                         routeStatus,
                                                         route6Status,
                                                         vrfRoutingInfo,
                                                         vrfRouting6Info,
                                                         fecIdToClientHop,
                                                         fecIdToResolverId,
                                                         scheduler);
  resolverSm_.insert({resolver});
  return resolver;
}

namespace {

// The value removed from the table, or null.
template <class Table>
auto removeFrom(Table& table, const String& name) {
  auto removed = table.remove(name);
  return removed ? std::move(removed->value) : decltype(removed->value)();
}

}  // namespace

Ptr<NexthopResolverSm> NexthopResolverManagerSm::resolverSmDel(const String& name) {
  return removeFrom(resolverSm_, name);
}

void NexthopResolverManagerSm::resolverSmDelAll() {
  for (auto cursor = resolverSm_.cursor(); !cursor.atEnd(); cursor.next()) {
    resolverSmDel(String(cursor.key()));
  }
}

void NexthopResolverManagerSm::nexthopConfigPtrIs(const String& name,
                                                  const Ptr<const NexthopConfig>& nexthopConfig) {
  if (!nexthopConfig) {
    nexthopConfigPtrDel(name);
    return;
  }
  nexthopConfigPtr_.put({name, nexthopConfig});
  nexthopConfigIs(valueOf(nexthopConfigPtr_, name));
}

Ptr<const NexthopConfig> NexthopResolverManagerSm::nexthopConfigPtrDel(const String& name) {
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may be the removed entry's own
  const String key = name;
  Ptr<const NexthopConfig> removed = removeFrom(nexthopConfigPtr_, key);
  if (removed) {
    nexthopConfigDel(key);
  }
  return removed;
}

void NexthopResolverManagerSm::nexthopConfigPtrDelAll() {
  for (auto cursor = nexthopConfigPtr_.cursor(); !cursor.atEnd(); cursor.next()) {
    nexthopConfigPtrDel(cursor.key());
  }
}

void NexthopResolverManagerSm::nexthopStatusPtrIs(const String& name,
                                                  const Ptr<NexthopStatus>& nexthopStatus) {
  if (!nexthopStatus) {
    nexthopStatusPtrDel(name);
    return;
  }
  nexthopStatusPtr_.put({name, nexthopStatus});
  nexthopStatusIs(valueOf(nexthopStatusPtr_, name));
}

Ptr<NexthopStatus> NexthopResolverManagerSm::nexthopStatusPtrDel(const String& name) {
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may be the removed entry's own
  const String key = name;
  Ptr<NexthopStatus> removed = removeFrom(nexthopStatusPtr_, key);
  if (removed) {
    nexthopStatusDel(key);
  }
  return removed;
}

void NexthopResolverManagerSm::nexthopStatusPtrDelAll() {
  for (auto cursor = nexthopStatusPtr_.cursor(); !cursor.atEnd(); cursor.next()) {
    nexthopStatusPtrDel(cursor.key());
  }
}

template <class Record, class Watchers>
void NexthopResolverManagerSm::watcherIs(Watchers& watchers,
                                         const Ptr<const Record>& record,
                                         const char* attribute) {
  if (!record) {
    throw NullArgumentError("Routing::NexthopResolverManagerSm", attribute);
  }
  const String name = record->name();
  Ptr<NestedSm<Record>> watcher = valueOf(watchers, name);
  if (watcher && watcher->notifier() == record) {
    return;
  }
  if (watcher) {
    watcher->notifierIs(record);
  } else {
    watcher = makeEntity<NestedSm<Record>>(record, this);
    watchers.insert({name, watcher});
  }
  watcher->doZombieReactors(zombie_);
  handleClientEntry(name);
}

template <class Record, class Watchers>
Ptr<const Record> NexthopResolverManagerSm::watcherDel(Watchers& watchers, const String& name) {
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may be the removed entry's own
  const String key = name;
  const Ptr<NestedSm<Record>> watcher = removeFrom(watchers, key);
  if (!watcher) {
    return nullptr;
  }
  watcher->doZombieReactors(true);
  handleClientEntry(key);
  watcher->ownerDel();
  watcher->hasNotificationActiveIs(false);
  return watcher->notifier();
}

void NexthopResolverManagerSm::nexthopConfigIs(const Ptr<const NexthopConfig>& nexthopConfig) {
  watcherIs(nexthopConfig_, nexthopConfig, "nexthopConfig");
}

Ptr<const NexthopConfig> NexthopResolverManagerSm::nexthopConfigDel(const String& name) {
  return watcherDel<NexthopConfig>(nexthopConfig_, name);
}

void NexthopResolverManagerSm::nexthopConfigDelAll() {
  for (auto cursor = nexthopConfig_.cursor(); !cursor.atEnd(); cursor.next()) {
    nexthopConfigDel(cursor.member().value->notifier()->name());
  }
}

void NexthopResolverManagerSm::nexthopStatusIs(const Ptr<const NexthopStatus>& nexthopStatus) {
  watcherIs(nexthopStatus_, nexthopStatus, "nexthopStatus");
}

Ptr<const NexthopStatus> NexthopResolverManagerSm::nexthopStatusDel(const String& name) {
  return watcherDel<NexthopStatus>(nexthopStatus_, name);
}

void NexthopResolverManagerSm::nexthopStatusDelAll() {
  for (auto cursor = nexthopStatus_.cursor(); !cursor.atEnd(); cursor.next()) {
    nexthopStatusDel(cursor.member().value->notifier()->name());
  }
}

void NexthopResolverManagerSm::hasNotificationActiveIs(bool hasNotificationActive) {
  if (hasNotificationActive == hasNotificationActive_) {
    return;
  }
  hasNotificationActive_ = hasNotificationActive;
  // No dispatcher runs a handler in the middle of the cascade.
  const bool wasZombie = std::exchange(zombie_, true);
  if (hasNotificationActive) {
    subscribeToDirectories();
  } else {
    unsubscribeFromDirectories();
  }
  if (nexthopResolverFibViaSm_) {
    nexthopResolverFibViaSm_->hasNotificationActiveIs(hasNotificationActive);
  }
  for (auto cursor = resolverSm_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->hasNotificationActiveIs(hasNotificationActive);
  }
  for (auto cursor = nexthopConfig_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->hasNotificationActiveIs(hasNotificationActive);
  }
  for (auto cursor = nexthopStatus_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->hasNotificationActiveIs(hasNotificationActive);
  }
  zombie_ = wasZombie;
}

void NexthopResolverManagerSm::subscribeToDirectories() {
  if (nexthopConfigDir_) {
    nexthopConfigDirInput_.subscribe(*nexthopConfigDir_);
  }
  if (nexthopStatusDir_) {
    nexthopStatusDirInput_.subscribe(*nexthopStatusDir_);
  }
  if (nexthopCellSpecificStatusDir_) {
    nexthopCellSpecificStatusDirInput_.subscribe(*nexthopCellSpecificStatusDir_);
  }
}

void NexthopResolverManagerSm::unsubscribeFromDirectories() {
  nexthopConfigDirInput_.unsubscribe();
  nexthopStatusDirInput_.unsubscribe();
  nexthopCellSpecificStatusDirInput_.unsubscribe();
}

void NexthopResolverManagerSm::doZombieReactors(bool zombie) {
  zombie_ = zombie;
  for (auto cursor = nexthopConfig_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->doZombieReactors(zombie);
  }
  for (auto cursor = nexthopStatus_.cursor(); !cursor.atEnd(); cursor.next()) {
    cursor.member().value->doZombieReactors(zombie);
  }
}

void NexthopResolverManagerSm::handleInitialized() {
  ROUTING_TRACE(traceFacility, 8, "[{}] handleInitialized", vrfName_);
  // First, so that the handlers called below do their work.
  initialized_ = true;
  ROUTING_ASSERT(nexthopForwardingStatus_ && "nexthopForwardingStatus must be there");
  const Ptr<NexthopResolverVrfForwardingStatus> vrfForwardingStatus =
      nexthopForwardingStatus_->vrfIs(vrfName_);
  fecIdToClientHop_ = fecIdToClientHopFactory(vrfName_);
  fecIdToResolverId_ = fecIdToResolverIdFactory(vrfName_);
  nexthopResolverFibViaSmIs(vrfName_,
                            forwardingGenStatus_,
                            vrfForwardingStatus,
                            fecIdToClientHop_,
                            fecIdToResolverId_,
                            nexthopFibViaContext_);
  ROUTING_ASSERT(nexthopConfigDir_ && "nexthopConfigDir must be there");
  for (auto cursor = nexthopConfigDir_->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    handleClientConfigDir(String(cursor.key()));
  }
  ROUTING_ASSERT(nexthopStatusDir_ && "nexthopStatusDir must be there");
  for (auto cursor = nexthopStatusDir_->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    handleClientStatusDir(String(cursor.key()));
  }
  if (nexthopCellSpecificStatusDir_) {
    for (auto cursor = nexthopCellSpecificStatusDir_->entry().cursor(); !cursor.atEnd();
         cursor.next()) {
      handleCellSpecificClientStatusDir(String(cursor.key()));
    }
  }
}

void NexthopResolverManagerSm::handleClientConfigDir(const String& name) {
  if (!initialized_) {
    return;
  }
  ROUTING_TRACE(traceFacility, 8, "[{}] handleClientConfigDir {}", vrfName_, name);
  const Ptr<Entity> entity = nexthopConfigDir_->entityPtr(name);
  if (!entity) {
    if (nexthopConfigPtr_.has(name)) {
      ROUTING_TRACE(traceFacility,
                    1,
                    "[{}] handleClientConfigDir delete config for {}",
                    vrfName_,
                    name);
      nexthopConfigPtrDel(name);
    }
    return;
  }
  const auto nhc = ptrCast<const NexthopConfig>(entity);
  ROUTING_ASSERT(nhc && "NexthopConfig must exist");
  if (valueOf(nexthopConfigPtr_, name) == nhc) {
    return;
  }
  ROUTING_TRACE(traceFacility, 1, "[{}] handleClientConfigDir add config for {}", vrfName_, name);
  nexthopConfigPtrIs(name, nhc);
}

void NexthopResolverManagerSm::handleClientStatusDir(const String& name) {
  if (!initialized_) {
    return;
  }
  ROUTING_TRACE(traceFacility, 8, "[{}] handleClientStatusDir {}", vrfName_, name);
  const Ptr<Entity> entity = nexthopStatusDir_->entityPtr(name);
  if (!entity) {
    statusAbsent("handleClientStatusDir", name);
    return;
  }
  if (nexthopCellSpecificStatusDir_) {
    const Ptr<Entity> perCellEntPtr = nexthopCellSpecificStatusDir_->entityPtr(name);
    ROUTING_ASSERT(!perCellEntPtr && "Client must not exist in per cell status dir");
  }
  statusPresent("handleClientStatusDir", name, entity);
}

void NexthopResolverManagerSm::handleCellSpecificClientStatusDir(const String& name) {
  if (!initialized_ || !nexthopCellSpecificStatusDir_) {
    return;
  }
  ROUTING_TRACE(traceFacility, 8, "[{}] handleCellSpecificClientStatusDir {}", vrfName_, name);
  const Ptr<Entity> entity = nexthopCellSpecificStatusDir_->entityPtr(name);
  if (!entity) {
    statusAbsent("handleCellSpecificClientStatusDir", name);
    return;
  }
  const Ptr<Entity> entPtr = nexthopStatusDir_->entityPtr(name);
  ROUTING_ASSERT(!entPtr && "Client must not exist in global status dir");
  statusPresent("handleCellSpecificClientStatusDir", name, entity);
}

void NexthopResolverManagerSm::statusPresent(const char* operation,
                                             const String& name,
                                             const Ptr<Entity>& entity) {
  const auto nhs = ptrCast<NexthopStatus>(entity);
  ROUTING_ASSERT(nhs && "NexthopStatus must exist");
  if (valueOf(nexthopStatusPtr_, name) == nhs) {
    return;
  }
  ROUTING_TRACE(traceFacility, 1, "[{}] {} add status for {}", vrfName_, operation, name);
  nexthopStatusPtrIs(name, nhs);
}

void NexthopResolverManagerSm::statusAbsent(const char* operation, const String& name) {
  if (nexthopStatusPtr_.has(name)) {
    ROUTING_TRACE(traceFacility, 1, "[{}] {} delete status for {}", vrfName_, operation, name);
    nexthopStatusPtrDel(name);
  }
}

void NexthopResolverManagerSm::handleClientEntry(const String& name) {
  ROUTING_TRACE(traceFacility, 8, "[{}] handleClientEntry {}", vrfName_, name);
  handleClient(name, vrfName_);
}

void NexthopResolverManagerSm::handleClient(const String& name, const VrfName& vrf) {
  ROUTING_TRACE(traceFacility, 8, "[{}] handleClient {} vrf {}", vrfName_, name, vrf);
  if (vrf != vrfName_) {
    ROUTING_TRACE(traceFacility,
                  8,
                  "[{}] handleClient {} ignore update for vrf {}",
                  vrfName_,
                  name,
                  vrf);
    return;
  }
  const Ptr<const NexthopConfig> config = valueOf(nexthopConfigPtr_, name);
  const Ptr<const NexthopVrfConfig> vrfConfig = config ? config->vrf(vrfName_) : nullptr;
  const Ptr<NexthopStatus> status = valueOf(nexthopStatusPtr_, name);
  if (vrfConfig && status) {
    ROUTING_TRACE(traceFacility,
                  1,
                  "[{}] handleClient create NexthopResolverSm for {}",
                  vrfName_,
                  name);
    const auto routingInfo = vrfRoutingInfo();
    const auto routing6Info = vrfRouting6Info();
    const Ptr<NexthopVrfStatus> vrfStatus = status->vrfIs(vrfName_, vrfConfig->fecIdType());
    // Who was told of a new status may have taken the client away.
    const Ptr<NexthopVrfStatus> vrfStatusNow = status->vrf(vrfName_);
    const Ptr<NexthopStatus> statusNow = valueOf(nexthopStatusPtr_, name);
    if (vrfStatusNow != vrfStatus || statusNow != status) {
      return;
    }
    resolverSmIs(vrfName_,
                 name,
                 vrfConfig,
                 vrfStatus,
                 trie4_,
                 trie6_,
                 routeStatus_,
                 route6Status_,
                 routingInfo,
                 routing6Info,
                 fecIdToClientHop_,
                 fecIdToResolverId_,
                 scheduler_);
    return;
  }
  if (resolverSm_.has(name)) {
    ROUTING_TRACE(traceFacility,
                  1,
                  "[{}] handleClient remove NexthopResolverSm for {}",
                  vrfName_,
                  name);
    // Dropped at once: the resolver takes back its references before its status is cleared.
    resolverSmDel(name);
  }
  clearVrfStatus(name);
}

Ptr<const RoutingInfo> NexthopResolverManagerSm::vrfRoutingInfo() const {
  return routingInfoDir_ ? entityOf<const RoutingInfo>(*routingInfoDir_, vrfName_) : nullptr;
}

Ptr<const Routing6::RoutingInfo> NexthopResolverManagerSm::vrfRouting6Info() const {
  return routing6InfoDir_ ? entityOf<const Routing6::RoutingInfo>(*routing6InfoDir_, vrfName_)
                          : nullptr;
}

void NexthopResolverManagerSm::clearVrfStatus(const String& name) {
  const Ptr<NexthopStatus> status = valueOf(nexthopStatusPtr_, name);
  if (!status) {
    return;
  }
  const Ptr<NexthopVrfStatus> vrfStatus = status->vrf(vrfName_);
  if (!vrfStatus) {
    return;
  }
  ROUTING_TRACE(traceFacility, 1, "[{}] clearVrfStatus clear status for {}", vrfName_, name);
  vrfStatus->nexthopDelAll();
  status->vrfDel(vrfName_);
}

void NexthopResolverManagerSm::handleCleanup() {
  ROUTING_TRACE(traceFacility, 8, "[{}] handleCleanup", vrfName_);
  const Ptr<const RoutingInfo> routingInfo = vrfRoutingInfo();
  const Ptr<const Routing6::RoutingInfo> routing6Info = vrfRouting6Info();
  const bool vrfIsGone = !routingInfo || !routing6Info;
  for (auto cursor = nexthopStatusPtr_.cursor(); !cursor.atEnd(); cursor.next()) {
    const String name = cursor.member().value->name();
    const Ptr<const NexthopConfig> config = valueOf(nexthopConfigPtr_, name);
    const Ptr<const NexthopVrfConfig> vrfConfig = config ? config->vrf(vrfName_) : nullptr;
    if (vrfIsGone || !vrfConfig) {
      clearVrfStatus(name);
    }
  }
  nexthopResolverFibViaSmDel();
  initialized_ = false;
}

void NexthopResolverManagerSm::nexthopConfigDirDispatch(FieldId field, const void* key) noexcept {
  if (!zombie_ && field == Dir::entryField) {
    const Ptr<NexthopResolverManagerSm> self(this);
    handleClientConfigDir(*static_cast<const String*>(key));
  }
}

void NexthopResolverManagerSm::nexthopStatusDirDispatch(FieldId field, const void* key) noexcept {
  if (!zombie_ && field == Dir::entryField) {
    const Ptr<NexthopResolverManagerSm> self(this);
    handleClientStatusDir(*static_cast<const String*>(key));
  }
}

void NexthopResolverManagerSm::nexthopCellSpecificStatusDirDispatch(FieldId field,
                                                                    const void* key) noexcept {
  if (!zombie_ && field == Dir::entryField) {
    const Ptr<NexthopResolverManagerSm> self(this);
    handleCellSpecificClientStatusDir(*static_cast<const String*>(key));
  }
}

const TypeData& NexthopResolverManagerSm::typeData() const {
  using Self = NexthopResolverManagerSm;
  static constexpr std::array attributes{
      attribute<&Self::vrfName>("vrfName"),
      attribute<&Self::nexthopConfigDir>("nexthopConfigDir"),
      attribute<&Self::nexthopStatusDir>("nexthopStatusDir"),
      attribute<&Self::nexthopCellSpecificStatusDir>("nexthopCellSpecificStatusDir"),
      attribute<&Self::trie4>("trie4"),
      attribute<&Self::trie6>("trie6"),
      attribute<&Self::routeStatus>("routeStatus"),
      attribute<&Self::route6Status>("route6Status"),
      attribute<&Self::forwardingGenStatus>("forwardingGenStatus"),
      attribute<&Self::nexthopForwardingStatus>("nexthopForwardingStatus"),
      attribute<&Self::nexthopFibViaContext>("nexthopFibViaContext"),
      attribute<&Self::routingInfoDir>("routingInfoDir"),
      attribute<&Self::routing6InfoDir>("routing6InfoDir"),
      attribute<&Self::scheduler>("scheduler"),
      attribute<&Self::fecIdToClientHop>("fecIdToClientHop"),
      attribute<&Self::fecIdToResolverId>("fecIdToResolverId"),
      attribute<&Self::nexthopResolverFibViaSm>("nexthopResolverFibViaSm"),
      attribute<&Self::resolverSm>("resolverSm"),
      attribute<&Self::nexthopConfigPtr>("nexthopConfigPtr"),
      attribute<&Self::nexthopStatusPtr>("nexthopStatusPtr"),
      attribute<&Self::nexthopConfig>("nexthopConfig"),
      attribute<&Self::nexthopStatus>("nexthopStatus"),
      attribute<&Self::initialized>("initialized")};
  static constexpr std::array operations{
      operation<&Self::clearVrfStatus>("clearVrfStatus"),
      operation<&Self::handleClient>("handleClient"),
      operation<&Self::handleClientEntry>("handleClientEntry"),
      operation<&Self::handleClientConfigDir>("handleClientConfigDir"),
      operation<&Self::handleClientStatusDir>("handleClientStatusDir"),
      operation<&Self::handleCellSpecificClientStatusDir>("handleCellSpecificClientStatusDir"),
      operation<&Self::handleInitialized>("handleInitialized"),
      operation<&Self::handleCleanup>("handleCleanup")};
  static const TypeData type("Routing::NexthopResolverManagerSm", attributes, operations);
  return type;
}

}  // namespace Routing
