#include "resolver/NexthopResolverSm.h"

#include <exception>
#include <new>
#include <type_traits>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "platform/trace/Trace.h"
#include "resolver/ReviewAhead.h"

namespace Routing {

namespace {

TraceFacility traceFacility{"NexthopResolverSm"};

constexpr TaskPriority reviewPriority{3};

template <class Input>
void subscribeIfPresent(Notifiee& slot, const Ptr<const Input>& input) {
  if (input) {
    slot.subscribe(*input);
  }
}

IpGenPrefix longestMatch(const Ptr<const TrieGen>& trie, const IpGenPrefix& prefix) {
  return trie ? trie->longestMatch(prefix) : IpGenPrefix();
}

}  // namespace

NexthopResolverSm::NexthopResolverSm(const VrfName& vrfName,
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
                                     const Ptr<TaskScheduler>& scheduler)
    : vrfName_(vrfName),
      name_(name),
      nexthopVrfConfig_(nexthopVrfConfig),
      nexthopVrfStatus_(nexthopVrfStatus),
      trie4_(trie4),
      trie6_(trie6),
      routeStatus_(routeStatus),
      route6Status_(route6Status),
      vrfRoutingInfo_(vrfRoutingInfo),
      vrfRouting6Info_(vrfRouting6Info),
      fecIdToClientHop_(fecIdToClientHop),
      fecIdToResolverId_(fecIdToResolverId),
      scheduler_(scheduler) {
  subscribeToInputs();
  nexthopTrie4Is("", AddressFamily::ipv4);
  nexthopTrie6Is("", AddressFamily::ipv6);
  handleInitialized();
}

NexthopResolverSm::~NexthopResolverSm() {
  hasNotificationActiveIs(false);
  handleCleanup();
  // Those that the constructor made, when notifications were never switched on.
  unsubscribeFromInputs();
  nexthopTrie4Del();
  nexthopTrie6Del();
  reviewNexthopTaskDel();
  reviewNexthopDelAll();
  scheduler_ = nullptr;
  fecIdToResolverId_ = nullptr;
  fecIdToClientHop_ = nullptr;
  vrfRouting6Info_ = nullptr;
  vrfRoutingInfo_ = nullptr;
  route6Status_ = nullptr;
  routeStatus_ = nullptr;
  trie6_ = nullptr;
  trie4_ = nullptr;
  nexthopVrfStatus_ = nullptr;
  nexthopVrfConfig_ = nullptr;
}

Ptr<NexthopResolverSm> NexthopResolverSm::NexthopResolverSmIs(
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
  auto machine = makeEntity<NexthopResolverSm>(vrfName,
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
  machine->hasNotificationActiveIs(true);
  return machine;
}

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
    const Ptr<TaskScheduler>& scheduler) {
  return NexthopResolverSm::NexthopResolverSmIs(vrfName,
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
}

namespace {

void makeTrieUnlessSame(Ptr<TrieGen>& trie, const String& name, AddressFamily family) {
  if (!trie || trie->name() != name || trie->addressFamily() != family) {
    trie = makeEntity<TrieGen>(name, family);
  }
}

}  // namespace

const Ptr<TrieGen>& NexthopResolverSm::nexthopTrie4Is(const String& name, AddressFamily family) {
  makeTrieUnlessSame(nexthopTrie4_, name, family);
  return nexthopTrie4_;
}

const Ptr<TrieGen>& NexthopResolverSm::nexthopTrie6Is(const String& name, AddressFamily family) {
  makeTrieUnlessSame(nexthopTrie6_, name, family);
  return nexthopTrie6_;
}

const Ptr<Task>& NexthopResolverSm::reviewNexthopTaskIs(const Ptr<TaskScheduler>& scheduler,
                                                        TaskPriority priority,
                                                        const String& name) {
  if (reviewNexthopTask_ && reviewNexthopTask_->taskScheduler() == scheduler &&
      reviewNexthopTask_->taskPriority() == priority && reviewNexthopTask_->taskName() == name) {
    return reviewNexthopTask_;
  }
  reviewNexthopTaskInput_.unsubscribe();
  reviewNexthopTask_ = makeEntity<Task>(scheduler, priority, name);
  reviewNexthopTaskInput_.subscribe(*reviewNexthopTask_);
  return reviewNexthopTask_;
}

Ptr<Task> NexthopResolverSm::reviewNexthopTaskDel() {
  Ptr<Task> task;
  task.swap(reviewNexthopTask_);
  reviewNexthopTaskInput_.unsubscribe();
  return task;
}

void NexthopResolverSm::hasNotificationActiveIs(bool hasNotificationActive) {
  if (hasNotificationActive == hasNotificationActive_) {
    return;
  }
  hasNotificationActive_ = hasNotificationActive;
  if (hasNotificationActive) {
    subscribeToInputs();
  } else {
    unsubscribeFromInputs();
  }
}

void NexthopResolverSm::subscribeToInputs() {
  subscribeIfPresent(nexthopVrfConfigInput_, nexthopVrfConfig_);
  subscribeIfPresent(trie4Input_, trie4_);
  subscribeIfPresent(trie6Input_, trie6_);
  subscribeIfPresent(vrfRoutingInfoInput_, vrfRoutingInfo_);
  subscribeIfPresent(vrfRouting6InfoInput_, vrfRouting6Info_);
  subscribeIfPresent(fecIdToResolverIdInput_, fecIdToResolverId_);
  subscribeIfPresent(reviewNexthopTaskInput_, Ptr<const Task>(reviewNexthopTask_));
}

void NexthopResolverSm::unsubscribeFromInputs() {
  nexthopVrfConfigInput_.unsubscribe();
  trie4Input_.unsubscribe();
  trie6Input_.unsubscribe();
  vrfRoutingInfoInput_.unsubscribe();
  vrfRouting6InfoInput_.unsubscribe();
  fecIdToResolverIdInput_.unsubscribe();
  reviewNexthopTaskInput_.unsubscribe();
}

const Ptr<const TrieGen>& NexthopResolverSm::fibTrie(AddressFamily family) const {
  switch (family) {
    case AddressFamily::ipv4:
      return trie4_;
    case AddressFamily::ipv6:
      return trie6_;
    case AddressFamily::unset:
      break;
  }
  ROUTING_ASSERT(!"invalid address family");
}

bool NexthopResolverSm::isIgnoredRoute(const Ptr<const TrieGen>& nexthopTrie,
                                       const IpGenPrefix& prefix) const {
  // A trie does not count a host route as longer than itself.
  if (prefix.isHost() && nexthopVrfConfig_->nexthopConfigured(prefix.address())) {
    return false;
  }
  if (prefix.length() != 0) {
    return !nexthopTrie->longerRoutePresent(prefix);
  }
  return false;
}

void NexthopResolverSm::processNexthop(const IpGenAddr& addr) {
  const IpGenPrefix hostPrefix = IpGenPrefix::host(addr);
  if (nexthopVrfConfig_->nexthopConfigured(addr)) {
    resolveNexthop(addr, hostPrefix, longestMatch(fibTrie(addr.family()), hostPrefix));
  } else {
    removeNexthop(addr, hostPrefix);
  }
}

void NexthopResolverSm::removeNexthop(const IpGenAddr& addr, const IpGenPrefix& hostPrefix) {
  ROUTING_TRACE(traceFacility,
                2,
                "[{}:{}] processNexthop remove nexthopVrfStatusEntry for addr {}",
                vrfName_,
                name_,
                addr);
  nexthopVrfStatus_->nexthopDel(addr);
  (addr.family() == AddressFamily::ipv4 ? nexthopTrie4_ : nexthopTrie6_)->routeDel(hostPrefix);
  if (nexthopVrfStatus_->fecIdType() == NexthopStatusFecIdType::resolverId) {
    ROUTING_TRACE(traceFacility,
                  7,
                  "[{}:{}] processNexthop remove fecId ref for addr {}",
                  vrfName_,
                  name_,
                  addr);
    fecIdToClientHop_->deleteReferenceForClientNexthop(name_, addr);
  }
}

void NexthopResolverSm::resolveNexthop(const IpGenAddr& addr,
                                       const IpGenPrefix& hostPrefix,
                                       const IpGenPrefix& matched) {
  ROUTING_TRACE(traceFacility,
                2,
                "[{}:{}] processNexthop add nexthopVrfStatusEntry for addr {}",
                vrfName_,
                name_,
                addr);
  if (addr.family() == AddressFamily::ipv4) {
    nexthopTrie4_->routeIs(hostPrefix, true);
    updateNexthopStatus(name_,
                        this,
                        nexthopVrfStatus_,
                        fecIdToClientHop_,
                        fecIdToResolverId_,
                        addr,
                        routingEnabled(vrfRoutingInfo_),
                        routeStatus_,
                        matched);
  } else {
    nexthopTrie6_->routeIs(hostPrefix, true);
    updateNexthopStatus(name_,
                        this,
                        nexthopVrfStatus_,
                        fecIdToClientHop_,
                        fecIdToResolverId_,
                        addr,
                        routingEnabled(vrfRouting6Info_),
                        route6Status_,
                        matched);
  }
}

void NexthopResolverSm::handleInitialized() {
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] handleInitialized fecIdtype: {}",
                vrfName_,
                name_,
                nexthopVrfStatus_->fecIdType());
  reviewNexthopTaskIs(scheduler_, reviewPriority, "NexthopReview-" + vrfName_ + "-" + name_);
  initialized_ = true;
  const std::size_t configured = nexthopVrfConfig_->nexthop().size();
  reviewNexthop_.reserve(configured);
  // Once, for other clients' references stand there too: what comes later makes the table grow.
  if (fecIdToClientHop_ && nexthopVrfStatus_->fecIdType() == NexthopStatusFecIdType::resolverId) {
    fecIdToClientHop_->clientNexthopToFecIdReserve(configured);
  }
  for (auto cursor = nexthopVrfConfig_->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    reviewNexthopIs(cursor.key());
  }
  for (auto cursor = nexthopVrfStatus_->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    reviewNexthopIs(cursor.key());
  }
  if (!reviewNexthop_.empty()) {
    reviewNexthopTask_->scheduleTask();
  }
}

void NexthopResolverSm::handleNexthopConfig(const IpGenAddr& addr) {
  if (!initialized_) {
    return;
  }
  ROUTING_TRACE(traceFacility, 8, "[{}:{}] handleNexthopConfig {}", vrfName_, name_, addr);
  reviewNexthopIs(addr);
  reviewNexthopTask_->scheduleTask();
}

void NexthopResolverSm::handleNexthopReview() {
  // Start-up queues every nexthop itself.
  if (initialized_) {
    review();
  }
}

void NexthopResolverSm::review() {
  ROUTING_TRACE(traceFacility, 8, "[{}:{}] handleNexthopReview", vrfName_, name_);
  const Ptr<Task> task = reviewNexthopTask_;
  const std::uint64_t count = reviewSlice(*task);
  task->taskWorkCountInc(count);
  if (!reviewNexthop_.empty()) {
    ROUTING_TRACE(traceFacility,
                  8,
                  "[{}:{}] handleNexthopReview yield after processing {}",
                  vrfName_,
                  name_,
                  count);
    task->scheduleTask();
  } else {
    ROUTING_TRACE(traceFacility,
                  1,
                  "[{}:{}] handleNexthopReview finished processing {}",
                  vrfName_,
                  name_,
                  count);
  }
}

std::uint64_t NexthopResolverSm::reviewSlice(Task& task) {
  auto cursor = reviewNexthopBookmark_ ? reviewNexthop_.cursorAt(reviewNexthopBookmark_)
                                       : reviewNexthop_.cursor();
  reviewNexthopBookmark_ = IpGenAddr();
  nexthopVrfStatus_->nexthopReserve(nexthopVrfConfig_->nexthop().size());
  ReviewAhead ahead(*this);
  std::uint64_t count = 0;
  while (!cursor.atEnd()) {
    ++count;
    const ReviewAhead::Next& next = ahead.at(cursor);
    const IpGenAddr addr = cursor.key();
    if (nexthopVrfConfig_->nexthopConfigured(addr, next.hash)) {
      resolveNexthop(addr, next.host, ahead.longestMatch(next));
    } else {
      removeNexthop(addr, next.host);
    }
    // Only now: what queued it again meanwhile was seen by processNexthop, unless it came with the
    // removal of its own entry.
    reviewNexthop_.remove(addr, next.hash);
    const bool yield = task.taskShouldYield();
    cursor.next();
    if (yield) {
      if (!cursor.atEnd()) {
        reviewNexthopBookmark_ = cursor.key();
      }
      break;
    }
  }
  return count;
}

void NexthopResolverSm::handle4ChangedRoute() {
  handleChangedRoute("handle4ChangedRoute", trie4_, nexthopTrie4_);
}

void NexthopResolverSm::handle6ChangedRoute() {
  handleChangedRoute("handle6ChangedRoute", trie6_, nexthopTrie6_);
}

void NexthopResolverSm::handleChangedRoute(const char* operation,
                                           const Ptr<const TrieGen>& trie,
                                           const Ptr<TrieGen>& nexthopTrie) {
  const IpGenPrefix prefix = trie->changedPrefix();
  if (prefix.family() == AddressFamily::unset) {
    ROUTING_TRACE(traceFacility,
                  8,
                  "[{}:{}] {} prefix {} (ignored)",
                  vrfName_,
                  name_,
                  operation,
                  prefix);
    return;
  }
  const Ptr<TrieGen> walked = nexthopTrie;
  if (prefix.isHost()) {
    ReviewAhead::fetchNexthop(*this, *walked, prefix);
  }
  if (isIgnoredRoute(walked, prefix)) {
    ROUTING_TRACE(traceFacility,
                  8,
                  "[{}:{}] {} prefix {} ignored (no match)",
                  vrfName_,
                  name_,
                  operation,
                  prefix);
    return;
  }
  const auto callback = nexthopTrieCallbackFactory(Ptr<NexthopResolverSm>(this));
  walked->preOrderWalk(prefix, callback);
  if (callback->count() != 0) {
    reviewNexthopTask_->scheduleTask();
  }
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] {} prefix {} affected {} entries",
                vrfName_,
                name_,
                operation,
                prefix,
                callback->count());
}

void NexthopResolverSm::handleRouting4() {
  const bool enabled = routingEnabled(vrfRoutingInfo_);
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] handleRouting4 IPv4 routing: {}",
                vrfName_,
                name_,
                enabled);
  handleRoutingGen(enabled, IpGenPrefix(IpGenAddr::ipv4(0), 0), nexthopTrie4_);
}

void NexthopResolverSm::handleRouting6() {
  const bool enabled = routingEnabled(vrfRouting6Info_);
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] handleRouting6 IPv6 routing: {}",
                vrfName_,
                name_,
                enabled);
  const Ip6Prefix defaultPrefix(IpGenPrefix(IpGenAddr::ipv6(IpGenAddr::Words{}), 0));
  ROUTING_ASSERT(defaultPrefix.validAsPrefix() && "the default route is an IPv6 prefix");
  handleRoutingGen(enabled, defaultPrefix.genPrefix(), nexthopTrie6_);
}

void NexthopResolverSm::handleRoutingGen(bool routingEnabled,
                                         const IpGenPrefix& defaultPrefix,
                                         const Ptr<TrieGen>& nexthopTrie) {
  const Ptr<NexthopResolverSm> self(this);
  const Ptr<TrieGen> walked = nexthopTrie;
  if (routingEnabled) {
    const auto callback = nexthopTrieCallbackFactory(self);
    walked->preOrderWalk(defaultPrefix, callback);
    if (callback->count() != 0) {
      reviewNexthopTask_->scheduleTask();
    }
    ROUTING_TRACE(traceFacility,
                  7,
                  "[{}:{}] handleRoutingGen routing enabled, affected {} entries",
                  vrfName_,
                  name_,
                  callback->count());
  } else {
    const auto callback = removeStatusCallbackFactory(self);
    walked->preOrderWalk(defaultPrefix, callback);
    ROUTING_TRACE(traceFacility,
                  7,
                  "[{}:{}] handleRoutingGen routing disabled, affected {} entries",
                  vrfName_,
                  name_,
                  callback->count());
  }
}

void NexthopResolverSm::handleFecIdMap(FecId fecId) {
  if (nexthopVrfStatus_->fecIdType() == NexthopStatusFecIdType::fibFecId ||
      !fecIdToResolverId_->fecIdToResolverIdMapHas(fecId)) {
    return;
  }
  const Ptr<NexthopResolverFecIdRef> fecIdRef = fecIdToClientHop_->fecIdRef(fecId);
  ROUTING_ASSERT(fecIdRef && "fecId in fecIdToResolverId does not have any reference");
  const Ptr<NexthopResolverClientRef> clientRef = fecIdRef->clientRef(name_);
  if (!clientRef) {
    return;
  }
  for (auto cursor = clientRef->nexthopRef().cursor(); !cursor.atEnd(); cursor.next()) {
    // The nexthop may move to another FEC while it is processed, and out of this set.
    const IpGenAddr addr = cursor.key();
    ROUTING_TRACE(traceFacility,
                  8,
                  "[{}:{}] handleFecIdMap process nexthop {} (fecId {} removed)",
                  vrfName_,
                  name_,
                  addr,
                  fecId);
    processNexthop(addr);
  }
}

void NexthopResolverSm::handleCleanup() {
  ROUTING_TRACE(traceFacility, 8, "[{}:{}] handleCleanup", vrfName_, name_);
  if (nexthopVrfStatus_->fecIdType() == NexthopStatusFecIdType::fibFecId) {
    return;
  }
  for (auto cursor = nexthopVrfConfig_->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    fecIdToClientHop_->deleteReferenceForClientNexthop(name_, cursor.key());
  }
}

// Whoever is notified during a reaction may release this machine: each reaction holds it.

void NexthopResolverSm::nexthopVrfConfigDispatch(FieldId field, const void* key) {
  if (!zombie_ && field == NexthopVrfConfig::nexthopField) {
    const Ptr<NexthopResolverSm> self(this);
    handleNexthopConfig(*static_cast<const IpGenAddr*>(key));
  }
}

void NexthopResolverSm::trie4Dispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == TrieGen::changedPrefixField) {
    const Ptr<NexthopResolverSm> self(this);
    handle4ChangedRoute();
  }
}

void NexthopResolverSm::trie6Dispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == TrieGen::changedPrefixField) {
    const Ptr<NexthopResolverSm> self(this);
    handle6ChangedRoute();
  }
}

void NexthopResolverSm::vrfRoutingInfoDispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == RoutingInfo::routingEnabledField) {
    const Ptr<NexthopResolverSm> self(this);
    handleRouting4();
  }
}

void NexthopResolverSm::vrfRouting6InfoDispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == Routing6::RoutingInfo::routingEnabledField) {
    const Ptr<NexthopResolverSm> self(this);
    handleRouting6();
  }
}

void NexthopResolverSm::fecIdToResolverIdDispatch(FieldId field, const void* key) {
  if (!zombie_ && field == FecIdToResolverId::fecIdToResolverIdMapField) {
    const Ptr<NexthopResolverSm> self(this);
    handleFecIdMap(*static_cast<const FecId*>(key));
  }
}

void NexthopResolverSm::reviewNexthopTaskDispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == Task::runField) {
    const Ptr<NexthopResolverSm> self(this);
    handleNexthopReview();
  }
}

const TypeData& NexthopResolverSm::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopResolverSm::vrfName>("vrfName"),
      attribute<&NexthopResolverSm::name>("name"),
      attribute<&NexthopResolverSm::nexthopVrfConfig>("nexthopVrfConfig"),
      attribute<&NexthopResolverSm::nexthopVrfStatus>("nexthopVrfStatus"),
      attribute<&NexthopResolverSm::trie4>("trie4"),
      attribute<&NexthopResolverSm::trie6>("trie6"),
      attribute<&NexthopResolverSm::routeStatus>("routeStatus"),
      attribute<&NexthopResolverSm::route6Status>("route6Status"),
      attribute<&NexthopResolverSm::vrfRoutingInfo>("vrfRoutingInfo"),
      attribute<&NexthopResolverSm::vrfRouting6Info>("vrfRouting6Info"),
      attribute<&NexthopResolverSm::fecIdToClientHop>("fecIdToClientHop"),
      attribute<&NexthopResolverSm::fecIdToResolverId>("fecIdToResolverId"),
      attribute<&NexthopResolverSm::scheduler>("scheduler"),
      attribute<&NexthopResolverSm::nexthopTrie4>("nexthopTrie4"),
      attribute<&NexthopResolverSm::nexthopTrie6>("nexthopTrie6"),
      attribute<&NexthopResolverSm::reviewNexthop>("reviewNexthop"),
      attribute<&NexthopResolverSm::reviewNexthopBookmark>("reviewNexthopBookmark"),
      attribute<&NexthopResolverSm::reviewNexthopTask>("reviewNexthopTask"),
      attribute<&NexthopResolverSm::initialized>("initialized")};
  static constexpr std::array operations{
      operation<&NexthopResolverSm::processNexthop>("processNexthop"),
      operation<&NexthopResolverSm::handleInitialized>("handleInitialized"),
      operation<&NexthopResolverSm::handleNexthopConfig>("handleNexthopConfig"),
      operation<&NexthopResolverSm::handle4ChangedRoute>("handle4ChangedRoute"),
      operation<&NexthopResolverSm::handle6ChangedRoute>("handle6ChangedRoute"),
      operation<&NexthopResolverSm::handleRouting4>("handleRouting4"),
      operation<&NexthopResolverSm::handleRouting6>("handleRouting6"),
      operation<&NexthopResolverSm::handleFecIdMap>("handleFecIdMap"),
      operation<&NexthopResolverSm::handleCleanup>("handleCleanup")};
  static const TypeData type("Routing::NexthopResolverSm", attributes, operations);
  return type;
}

namespace {

// A table that is found corrupt is told so and read as holding no route. Lack of memory is no
// corruption and goes on to the caller.
template <class Table>
Fib::Route readRoute(const Ptr<const Table>& table, const typename Table::Key& key) {
  if (!table) {
    return {};
  }
  try {
    return table->route(key);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    table->doCorruptionDetected(error.what());
    return {};
  }
}

NexthopStatusEntry resolvedEntry(std::uint64_t fecId,
                                 const Fib::Route& route,
                                 const IpGenPrefix& prefix,
                                 const IpGenAddr& addr) {
  NexthopStatusEntry entry;
  entry.fecId = fecId;
  entry.metric = static_cast<std::uint32_t>(route.metricPref());
  entry.preference = static_cast<std::uint8_t>(route.metricPref() >> 32U);
  entry.prefix = prefix;
  entry.addr = addr;
  switch (addr.family()) {
    case AddressFamily::ipv4:
      entry.routeType = route.routeType();
      break;
    case AddressFamily::ipv6:
      entry.route6Type = route.routeType();
      break;
    case AddressFamily::unset:
      ROUTING_ASSERT(!"invalid address family");
  }
  entry.resolutionState = NexthopResolutionState::resolved;
  return entry;
}

template <class RouteStatusPtr>
struct TableOf;
template <class Table>
struct TableOf<Ptr<const Table>> {
  using Type = Table;
};

}  // namespace

template <class RouteStatusPtr>
void updateNexthopStatus(const String& clientName,
                         const NexthopResolverSm* sm,
                         const Ptr<NexthopVrfStatus>& status,
                         const Ptr<FecIdToClientHop>& fecIdToClientHop,
                         const Ptr<const FecIdToResolverId>& fecIdToResolverId,
                         const IpGenAddr& addr,
                         bool routingEnabled,
                         const RouteStatusPtr& routeStatus,
                         const IpGenPrefix& prefix) {
  using Table = typename TableOf<RouteStatusPtr>::Type;
  const typename Table::Key key(prefix);
  if constexpr (std::is_same_v<Table, Fib6::RouteStatus>) {
    if (!key.validAsPrefix()) {
      throw RangeError("not an IPv6 prefix: " + prefix.stringValue());
    }
  }
  const Fib::Route route = readRoute(routeStatus, key);
  if (!routingEnabled) {
    ROUTING_TRACE(traceFacility,
                  7,
                  "[{}:{}] updateNexthopStatus update resolution state for addr {} to failed "
                  "(routing is disabled)",
                  sm->vrfName(),
                  clientName,
                  addr);
    addFailedResolutionStatusEntry(status, addr);
    return;
  }
  if (route.isEq(typename Table::Route())) {
    ROUTING_TRACE(traceFacility,
                  7,
                  "[{}:{}] updateNexthopStatus update resolution state for addr {} to failed (no "
                  "route for prefix {})",
                  sm->vrfName(),
                  clientName,
                  addr,
                  prefix);
    addFailedResolutionStatusEntry(status, addr);
    return;
  }
  std::uint64_t reportedId = route.fecId();
  if (status->fecIdType() == NexthopStatusFecIdType::resolverId) {
    fecIdToClientHop->addReference(route.fecId(), clientName, addr);
    if (!fecIdToResolverId->fecIdToResolverIdMapHas(route.fecId())) {
      return;
    }
    reportedId = fecIdToResolverId->fecIdToResolverIdMap(route.fecId()).value();
  }
  const NexthopStatusEntry entry = resolvedEntry(reportedId, route, prefix, addr);
  ROUTING_TRACE(traceFacility,
                7,
                "[{}:{}] updateNexthopStatus add / replace status {}( fecId: {})",
                sm->vrfName(),
                clientName,
                addr,
                reportedId);
  ROUTING_TRACE(traceFacility,
                7,
                "[{}:{}] updateNexthopStatus {}",
                sm->vrfName(),
                clientName,
                entry);
  status->nexthopIs(entry);
}

template void updateNexthopStatus<Ptr<const Fib::RouteStatus>>(
    const String& clientName,
    const NexthopResolverSm* sm,
    const Ptr<NexthopVrfStatus>& status,
    const Ptr<FecIdToClientHop>& fecIdToClientHop,
    const Ptr<const FecIdToResolverId>& fecIdToResolverId,
    const IpGenAddr& addr,
    bool routingEnabled,
    const Ptr<const Fib::RouteStatus>& routeStatus,
    const IpGenPrefix& prefix);
template void updateNexthopStatus<Ptr<const Fib6::RouteStatus>>(
    const String& clientName,
    const NexthopResolverSm* sm,
    const Ptr<NexthopVrfStatus>& status,
    const Ptr<FecIdToClientHop>& fecIdToClientHop,
    const Ptr<const FecIdToResolverId>& fecIdToResolverId,
    const IpGenAddr& addr,
    bool routingEnabled,
    const Ptr<const Fib6::RouteStatus>& routeStatus,
    const IpGenPrefix& prefix);

void addFailedResolutionStatusEntry(const Ptr<NexthopVrfStatus>& status, const IpGenAddr& addr) {
  NexthopStatusEntry entry;
  entry.addr = addr;
  entry.resolutionState = NexthopResolutionState::failed;
  ROUTING_TRACE(traceFacility, 7, "Setting entry with failed resolution status: {}", entry);
  status->nexthopIs(entry);
}

Ptr<NexthopTrieCallback> NexthopTrieCallback::NexthopTrieCallbackIs(
    const Ptr<NexthopResolverSm>& nexthopResolverSm) {
  return makeEntity<NexthopTrieCallback>(nexthopResolverSm);
}

Ptr<NexthopTrieCallback> nexthopTrieCallbackFactory(
    const Ptr<NexthopResolverSm>& nexthopResolverSm) {
  return NexthopTrieCallback::NexthopTrieCallbackIs(nexthopResolverSm);
}

bool NexthopTrieCallback::handlePrefix(const IpGenPrefix& prefix) {
  NexthopResolverSm& sm = *nexthopResolverSm();
  const IpGenAddr addr = prefix.address();
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] handlePrefix add nexthop to review: {}",
                sm.vrfName(),
                sm.name(),
                addr);
  sm.reviewNexthopIs(addr);
  countInc(1);
  return true;
}

const TypeData& NexthopTrieCallback::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopWalkCallback::nexthopResolverSm>("nexthopResolverSm"),
      attribute<&NexthopWalkCallback::count>("count")};
  static const TypeData type("Routing::NexthopTrieCallback", attributes);
  return type;
}

Ptr<RemoveStatusCallback> RemoveStatusCallback::RemoveStatusCallbackIs(
    const Ptr<NexthopResolverSm>& nexthopResolverSm) {
  return makeEntity<RemoveStatusCallback>(nexthopResolverSm);
}

Ptr<RemoveStatusCallback> removeStatusCallbackFactory(
    const Ptr<NexthopResolverSm>& nexthopResolverSm) {
  return RemoveStatusCallback::RemoveStatusCallbackIs(nexthopResolverSm);
}

bool RemoveStatusCallback::handlePrefix(const IpGenPrefix& prefix) {
  const NexthopResolverSm& sm = *nexthopResolverSm();
  const IpGenAddr addr = prefix.address();
  ROUTING_TRACE(traceFacility,
                8,
                "[{}:{}] handlePrefix update resolution state for hop  {} to failed ",
                sm.vrfName(),
                sm.name(),
                addr);
  addFailedResolutionStatusEntry(sm.nexthopVrfStatus(), addr);
  countInc(1);
  return true;
}

const TypeData& RemoveStatusCallback::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopWalkCallback::nexthopResolverSm>("nexthopResolverSm"),
      attribute<&NexthopWalkCallback::count>("count")};
  static const TypeData type("Routing::RemoveStatusCallback", attributes);
  return type;
}

}  // namespace Routing
