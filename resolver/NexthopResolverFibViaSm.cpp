#include "resolver/NexthopResolverFibViaSm.h"

#include <exception>
#include <new>
#include <string>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "platform/trace/Trace.h"

namespace Routing {

namespace {

TraceFacility traceFacility{"NexthopResolverFibViaSm"};

constexpr std::uint64_t startValue = ResolverId::firstCounterValue;
constexpr TaskPriority cleanupPriority{3};

}  // namespace

NexthopResolverFibViaSm::NexthopResolverFibViaSm(
    const VrfName& vrfName,
    const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
    const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
    const Ptr<FecIdToClientHop>& fecIdToClientHop,
    const Ptr<FecIdToResolverId>& fecIdToResolverId,
    const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext)
    : vrfName_(vrfName),
      forwardingGenStatus_(forwardingGenStatus),
      nhResolverVrfFs_(nhResolverVrfFs),
      fecIdToClientHop_(fecIdToClientHop),
      fecIdToResolverId_(fecIdToResolverId),
      nhResFibViaContext_(nhResFibViaContext) {
  subscribeToInputs();
  try {
    handleInitialized();
  } catch (...) {
    unsubscribeFromInputs();
    throw;
  }
}

NexthopResolverFibViaSm::~NexthopResolverFibViaSm() {
  hasNotificationActiveIs(false);
  doZombieReactors(true);
  // Those that the constructor made, when notifications were never switched on.
  unsubscribeFromInputs();
  resIdAllocatorDel();
  cleanupNhResVrfFsTimerDel();
  nhResFibViaContext_ = nullptr;
  fecIdToResolverId_ = nullptr;
  fecIdToClientHop_ = nullptr;
  nhResolverVrfFs_ = nullptr;
  forwardingGenStatus_ = nullptr;
}

Ptr<NexthopResolverFibViaSm> NexthopResolverFibViaSm::NexthopResolverFibViaSmIs(
    const VrfName& vrfName,
    const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
    const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
    const Ptr<FecIdToClientHop>& fecIdToClientHop,
    const Ptr<FecIdToResolverId>& fecIdToResolverId,
    const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext) {
  auto machine = makeEntity<NexthopResolverFibViaSm>(vrfName,
                                                     forwardingGenStatus,
                                                     nhResolverVrfFs,
                                                     fecIdToClientHop,
                                                     fecIdToResolverId,
                                                     nhResFibViaContext);
  machine->hasNotificationActiveIs(true);
  return machine;
}

const Ptr<ResolverIdAllocator>& NexthopResolverFibViaSm::resIdAllocatorIs(ResolverId startResId) {
  if (resIdAllocator_) {
    resIdAllocator_->currentIdIs(startResId);
  } else {
    resIdAllocator_ = resolverIdAllocatorFactory(startResId);
  }
  return resIdAllocator_;
}

const Ptr<TimerTask>& NexthopResolverFibViaSm::cleanupNhResVrfFsTimerIs(
    const Ptr<TaskScheduler>& taskScheduler,
    TaskPriority taskPriority,
    const String& taskName) {
  if (cleanupNhResVrfFsTimer_ && cleanupNhResVrfFsTimer_->taskScheduler() == taskScheduler &&
      cleanupNhResVrfFsTimer_->taskPriority() == taskPriority &&
      cleanupNhResVrfFsTimer_->taskName() == taskName) {
    return cleanupNhResVrfFsTimer_;
  }
  cleanupNhResVrfFsTimerInput_.unsubscribe();
  cleanupNhResVrfFsTimer_ = makeEntity<TimerTask>(taskScheduler, taskPriority, taskName);
  cleanupNhResVrfFsTimerInput_.subscribe(*cleanupNhResVrfFsTimer_);
  cleanupNhResVrfFs();
  return cleanupNhResVrfFsTimer_;
}

void NexthopResolverFibViaSm::cleanupNhResVrfFsTimerDel() {
  cleanupNhResVrfFsTimerInput_.unsubscribe();
  cleanupNhResVrfFsTimer_ = nullptr;
}

void NexthopResolverFibViaSm::hasNotificationActiveIs(bool hasNotificationActive) {
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

void NexthopResolverFibViaSm::subscribeToInputs() {
  if (forwardingGenStatus_) {
    forwardingGenStatusInput_.subscribe(*forwardingGenStatus_);
  }
  if (fecIdToClientHop_) {
    fecIdToClientHopInput_.subscribe(*fecIdToClientHop_);
  }
  if (cleanupNhResVrfFsTimer_) {
    cleanupNhResVrfFsTimerInput_.subscribe(*cleanupNhResVrfFsTimer_);
  }
}

void NexthopResolverFibViaSm::unsubscribeFromInputs() {
  forwardingGenStatusInput_.unsubscribe();
  fecIdToClientHopInput_.unsubscribe();
  cleanupNhResVrfFsTimerInput_.unsubscribe();
}

std::uint32_t NexthopResolverFibViaSm::numResIdsForReservedFecIds() const {
  std::uint32_t count = 0;
  for (std::uint64_t reserved = 0; reserved <= ResolverId::maxReserved; ++reserved) {
    count += nhResolverVrfFs_->nexthopResolverIdVia().has(ResolverId(reserved)) ? 1U : 0U;
  }
  return count;
}

void NexthopResolverFibViaSm::handleInitialized() {
  if (reconcileContext()) {
    scheduleCleanup();
  }
  currentId_ = ResolverId(nhResFibViaContext_->firstUnAllocatedNexthopResolverId() - 1);
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] handleInitialized resolverId starting at {}",
                vrfName_,
                currentId_.value());
  resIdAllocatorIs(currentId_);
  initialized_ = true;
}

// Makes the context and the published records agree. True when records of an earlier run may be
// left that have to be cleaned up later.
bool NexthopResolverFibViaSm::reconcileContext() {
  const std::uint64_t first = nhResFibViaContext_->firstUnAllocatedNexthopResolverId();
  if (first == NexthopResolverFibViaContext::allAllocated) {
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] handleInitialized ResolverId reset because maxResId was reached",
                  vrfName_);
    nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(startValue);
    nhResolverVrfFs_->nexthopResolverIdViaDelAll();
    return false;
  }
  const std::size_t n = nhResolverVrfFs_->nexthopResolverIdVia().size();
  if (n == 0) {
    // The number is the new value, not the one that is given up: readers of the trace know it so.
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] handleInitialized ResolverId reset from {} as no ResolverId is presently "
                  "allocated",
                  vrfName_,
                  startValue);
    nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(startValue);
    return false;
  }
  if (n == numResIdsForReservedFecIds()) {
    ROUTING_TRACE(traceFacility,
                  4,
                  "[{}] handleInitialized ResolverId reset from {} to {} as no ResolverId is "
                  "presently allocated except for FecIdConstants",
                  vrfName_,
                  first,
                  startValue);
    nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(startValue);
  } else if (first <= startValue) {
    ROUTING_TRACE(traceFacility,
                  4,
                  "[{}] handleInitialized NexthopResolverForwardingStatus populated without "
                  "allocating ResolverIds. Clear all ResolverIds",
                  vrfName_);
    nhResolverVrfFs_->nexthopResolverIdViaDelAll();
    ROUTING_TRACE(traceFacility,
                  4,
                  "[{}] handleInitialized Reset firstUnAllocatedNexthopResolverId from {} to {}",
                  vrfName_,
                  first,
                  startValue);
    nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(startValue);
  }
  return true;
}

void NexthopResolverFibViaSm::scheduleCleanup() {
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] handleInitialized cleanup of older resolverIds scheduled",
                vrfName_);
  cleanupNhResVrfFsTimerIs(TaskSchedulerRoot::findOrCreateScheduler(),
                           cleanupPriority,
                           "NexthopResolverFibViaSmTimer")
      ->scheduleTaskLowestDelay(cleanupNhResVrfFsTime);
}

void NexthopResolverFibViaSm::handleGenFecId(FecId fecId) {
  if (!isReferenced(fecId)) {
    return;
  }
  ROUTING_TRACE(traceFacility, 9, "[{}] handleGenFecId fecId: {}", vrfName_, fecId);
  if (readFec(fecId).isEq(FibGen::Fec(0))) {
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] handleGenFecId fecId removed from ForwardingStatus: {}",
                  vrfName_,
                  fecId);
    // The loss of the last reference comes back to handleFecIdReferenceUpdate, which withdraws the
    // identifier.
    fecIdToClientHop_->deleteReferenceForFecId(fecId);
    return;
  }
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] handleGenFecId fec added/updated for fecId: {}",
                vrfName_,
                fecId);
  ResolverId resId = fecIdToResolverId_->fecIdToResolverIdMap(fecId);
  const bool isNew = resId == ResolverId(0);
  if (isNew) {
    resId = newResolverId(fecId);
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] handleGenFecId resId: {} allocated for fecId: {}",
                  vrfName_,
                  resId.value(),
                  fecId);
    nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(resId.stripInformationBits() + 1);
  }
  publishVias(resId, readFec(fecId));
  if (isNew) {
    fecIdToResolverId_->fecIdToResolverIdMapIs(fecId, resId);
  }
}

void NexthopResolverFibViaSm::allocateResolverIdForGenFecId(FecId fecId) {
  ROUTING_TRACE(traceFacility, 9, "[{}] allocateResolverIdForGenFecId fecId: {}", vrfName_, fecId);
  if (fecIdToResolverId_->fecIdToResolverIdMapHas(fecId)) {
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] allocateResolverIdForGenFecId resId already allocated for fecId: {} "
                  "(resId: ){}",
                  vrfName_,
                  fecId,
                  fecIdToResolverId_->fecIdToResolverIdMap(fecId).value());
    ROUTING_ASSERT(0 && "resId already allocated for fecId");
  }
  const FibGen::Fec fec = readFec(fecId);
  if (fec.isEq(FibGen::Fec(0))) {
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] allocateResolverIdForGenFecId fecId {} missing from forwarding status.",
                  vrfName_,
                  fecId);
    return;
  }
  const ResolverId resId = newResolverId(fecId);
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] allocateResolverIdForGenFecId resId: {} allocated for fecId: {}",
                vrfName_,
                resId.value(),
                fecId);
  // A reserved FecId moves the value down too; the next start repairs that.
  nhResFibViaContext_->firstUnAllocatedNexthopResolverIdIs(resId.stripInformationBits() + 1);
  publishVias(resId, fec);
  fecIdToResolverId_->fecIdToResolverIdMapIs(fecId, resId);
}

ResolverId NexthopResolverFibViaSm::newResolverId(FecId fecId) {
  return resIdAllocator_->newId(fecId);
}

bool NexthopResolverFibViaSm::isReferenced(FecId fecId) const {
  return fecIdToClientHop_ && fecIdToClientHop_->fecIdRefHas(fecId);
}

// A table that is found corrupt is told so and read as holding no such FEC. Lack of memory is no
// corruption and goes on to the caller.
FibGen::Fec NexthopResolverFibViaSm::readFec(FecId fecId) const {
  if (!forwardingGenStatus_) {
    return FibGen::Fec(0);
  }
  try {
    return forwardingGenStatus_->fec(fecId);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    forwardingGenStatus_->doCorruptionDetected(error.what());
    return FibGen::Fec(0);
  }
}

void NexthopResolverFibViaSm::publishVias(ResolverId resolverId, const FibGen::Fec& fec) {
  NexthopResolverIdVia record(resolverId);
  nhResolverVrfFs_->nexthopResolverIdViaIs(createNhResIdVia(fec, record));
}

template <class Fec>
NexthopResolverIdVia NexthopResolverFibViaSm::createNhResIdVia(
    const Fec& fec,
    NexthopResolverIdVia& nhResIdVia) const {
  const std::size_t count = fec.viaCount();
  const std::uint32_t boundary = fec.viaIndexBoundary();
  nhResIdVia.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& fibVia = fec.via()[i];
    NexthopResolverVia via(fibVia.intfId, fibVia.hop);
    via.mplsLabelAndActionIs(fibVia.mplsLabelAndAction());
    via.weightIs(fibVia.weight);
    if (boundary != 0) {
      if (i >= Fec::maxVias) {
        throw RangeError("via index " + std::to_string(i));
      }
      via.beyondBoundaryIs(i >= boundary);
    }
    nhResIdVia.nexthopResolverViaIs(via);
    if (i == 0) {
      ROUTING_TRACE(traceFacility,
                    2,
                    "[{}] createNhResIdVia first via out of {}: hop={}, intfId={}",
                    vrfName_,
                    count,
                    fibVia.hop,
                    fibVia.intfId);
    }
  }
  return nhResIdVia;
}

void NexthopResolverFibViaSm::handleFecIdReferenceUpdate(FecId fecId) {
  ROUTING_TRACE(traceFacility, 9, "[{}] handleFecIdReferenceUpdate fecId: {}", vrfName_, fecId);
  if (isReferenced(fecId)) {
    allocateResolverIdForGenFecId(fecId);
  } else {
    removeResolverIdForFecId(fecId);
  }
}

void NexthopResolverFibViaSm::removeResolverIdForFecId(FecId fecId) {
  ROUTING_TRACE(traceFacility, 9, "[{}] removeResolverIdForFecId fecId: {}", vrfName_, fecId);
  if (!fecIdToResolverId_->fecIdToResolverIdMapHas(fecId)) {
    ROUTING_TRACE(traceFacility,
                  2,
                  "[{}] removeResolverIdForFecId received request to remove untracked fecId: {}",
                  vrfName_,
                  fecId);
    return;
  }
  const ResolverId resId = fecIdToResolverId_->fecIdToResolverIdMap(fecId);
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] removeResolverIdForFecId clients no longer interested in fecId: {} (resId: "
                "{})",
                vrfName_,
                fecId,
                resId.value());
  nhResolverVrfFs_->nexthopResolverIdViaDel(resId);
  fecIdToResolverId_->fecIdToResolverIdMapDel(fecId);
}

void NexthopResolverFibViaSm::cleanupNhResVrfFs() {
  // Whoever is notified of a removal may drop the timer.
  const Ptr<TimerTask> timer = cleanupNhResVrfFsTimer_;
  if (!timer || !timer->taskIsRunning() || !initialized_) {
    return;
  }
  ROUTING_TRACE(traceFacility, 9, "[{}] cleanupNhResVrfFs", vrfName_);
  ROUTING_TRACE(traceFacility,
                2,
                "[{}] cleanupNhResVrfFs cleanup resId entries older than {}",
                vrfName_,
                currentId_.value() + 1);
  const Ptr<NexthopResolverVrfForwardingStatus> records = nhResolverVrfFs_;
  for (auto cursor = records->nexthopResolverIdVia().cursor(); !cursor.atEnd(); cursor.next()) {
    if (isLeftFromEarlierRun(cursor.key())) {
      records->nexthopResolverIdViaDel(cursor.key());
    }
  }
  timer->stopTimerTask();
  ROUTING_TRACE(traceFacility, 2, "[{}] cleanupNhResVrfFs cleanup complete.", vrfName_);
}

bool NexthopResolverFibViaSm::isLeftFromEarlierRun(ResolverId resolverId) const {
  if (resolverId.isResIdForReservedFecId()) {
    return !fecIdToResolverId_->fecIdToResolverIdMapHas(resolverId.value());
  }
  return resolverId.stripInformationBits() <= currentId_.value();
}

// Whoever is notified during a reaction may release this machine: each reaction holds it.

void NexthopResolverFibViaSm::forwardingGenStatusDispatch(FieldId field, const void* key) {
  if (!zombie_ && field == FibGen::ForwardingStatus::fecField) {
    const Ptr<NexthopResolverFibViaSm> self(this);
    handleGenFecId(*static_cast<const FecId*>(key));
  }
}

void NexthopResolverFibViaSm::fecIdToClientHopDispatch(FieldId field, const void* key) {
  if (!zombie_ && field == FecIdToClientHop::fecIdRefField) {
    const Ptr<NexthopResolverFibViaSm> self(this);
    handleFecIdReferenceUpdate(*static_cast<const FecId*>(key));
  }
}

void NexthopResolverFibViaSm::cleanupNhResVrfFsTimerDispatch(FieldId field, const void* /*key*/) {
  if (!zombie_ && field == TimerTask::runField) {
    const Ptr<NexthopResolverFibViaSm> self(this);
    cleanupNhResVrfFs();
  }
}

const TypeData& NexthopResolverFibViaSm::typeData() const {
  static constexpr std::array attributes{
      attribute<&NexthopResolverFibViaSm::vrfName>("vrfName"),
      attribute<&NexthopResolverFibViaSm::forwardingGenStatus>("forwardingGenStatus"),
      attribute<&NexthopResolverFibViaSm::nhResolverVrfFs>("nhResolverVrfFs"),
      attribute<&NexthopResolverFibViaSm::fecIdToClientHop>("fecIdToClientHop"),
      attribute<&NexthopResolverFibViaSm::fecIdToResolverId>("fecIdToResolverId"),
      attribute<&NexthopResolverFibViaSm::nhResFibViaContext>("nhResFibViaContext"),
      attribute<&NexthopResolverFibViaSm::resIdAllocator>("resIdAllocator"),
      attribute<&NexthopResolverFibViaSm::cleanupNhResVrfFsTimer>("cleanupNhResVrfFsTimer"),
      attribute<&NexthopResolverFibViaSm::cleanupNhResVrfFsSeconds>("cleanupNhResVrfFsTime"),
      attribute<&NexthopResolverFibViaSm::currentId>("currentId"),
      attribute<&NexthopResolverFibViaSm::initialized>("initialized")};
  static constexpr std::array operations{
      operation<&NexthopResolverFibViaSm::cleanupNhResVrfFs>("cleanupNhResVrfFs"),
      operation<&NexthopResolverFibViaSm::removeResolverIdForFecId>("removeResolverIdForFecId"),
      operation<&NexthopResolverFibViaSm::allocateResolverIdForGenFecId>(
          "allocateResolverIdForGenFecId"),
      operation<&NexthopResolverFibViaSm::handleFecIdReferenceUpdate>("handleFecIdReferenceUpdate"),
      operation<&NexthopResolverFibViaSm::handleGenFecId>("handleGenFecId"),
      operation<&NexthopResolverFibViaSm::numResIdsForReservedFecIds>("numResIdsForReservedFecIds"),
      operation<&NexthopResolverFibViaSm::handleInitialized>("handleInitialized")};
  static const TypeData type("Routing::NexthopResolverFibViaSm", attributes, operations);
  return type;
}

}  // namespace Routing
