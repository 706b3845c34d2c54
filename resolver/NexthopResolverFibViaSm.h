#pragma once

// NexthopResolverFibViaSm: gives every referenced FEC of a VRF a ResolverId and publishes the FEC's
// vias under it.
//
// Owner: the VRF's manager. What it publishes and the context outlive it on purpose.
//
//   input                   change                      handler
//   forwardingGenStatus     a FEC                       handleGenFecId
//   fecIdToClientHop        a FEC's first or last       handleFecIdReferenceUpdate
//                           reference
//   cleanupNhResVrfFsTimer  it fires                    cleanupNhResVrfFs
//
// Outputs: records of nhResolverVrfFs, entries of fecIdToResolverId, the context's counter.
//
// A FEC has a ResolverId while it is referenced and present in the forwarding table. Order of the
// outputs:
//   a new identifier   context, record, map entry    a run that is killed in between hands out no
//                                                    identifier twice, and nobody learns of an
//                                                    identifier that has no record
//   one that goes      record, map entry
//
// Start-up compares what the previous run published with the context, and either goes on counting
// or starts over at 4 (the first value after the reserved ones). What is left of the previous run
// stays for 300 seconds, so that the forwarding plane is not left without vias while this run
// resolves everything anew; then cleanupNhResVrfFs removes it.
//
// Counter values are never used again within a run.

#include <chrono>
#include <cstdint>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/task/Task.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/ResolverId.h"
#include "resolver/NexthopResolverLocal.h"

namespace Routing {

class NexthopResolverFibViaSm final : public Entity {
 public:
  // How long what the previous run published stays.
  static constexpr std::chrono::seconds cleanupNhResVrfFsTime{300};

  // Without a forwarding table there is no FEC, without an index nothing is referenced; the other
  // inputs are needed.
  NexthopResolverFibViaSm(const VrfName& vrfName,
                          const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
                          const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
                          const Ptr<FecIdToClientHop>& fecIdToClientHop,
                          const Ptr<FecIdToResolverId>& fecIdToResolverId,
                          const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext);
  ~NexthopResolverFibViaSm() override;

  // Makes a machine and switches its notifications on.
  static Ptr<NexthopResolverFibViaSm> NexthopResolverFibViaSmIs(
      const VrfName& vrfName,
      const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus,
      const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs,
      const Ptr<FecIdToClientHop>& fecIdToClientHop,
      const Ptr<FecIdToResolverId>& fecIdToResolverId,
      const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext);

  const VrfName& vrfName() const noexcept { return vrfName_; }
  const Ptr<const FibGen::ForwardingStatus>& forwardingGenStatus() const noexcept {
    return forwardingGenStatus_;
  }
  const Ptr<NexthopResolverVrfForwardingStatus>& nhResolverVrfFs() const noexcept {
    return nhResolverVrfFs_;
  }
  const Ptr<FecIdToClientHop>& fecIdToClientHop() const noexcept { return fecIdToClientHop_; }
  const Ptr<FecIdToResolverId>& fecIdToResolverId() const noexcept { return fecIdToResolverId_; }
  const Ptr<NexthopResolverFibViaContext>& nhResFibViaContext() const noexcept {
    return nhResFibViaContext_;
  }
  // The last counter value that the previous run may have handed out; fixed at start-up.
  ResolverId currentId() const noexcept { return currentId_; }
  bool initialized() const noexcept { return initialized_; }
  std::uint32_t cleanupNhResVrfFsSeconds() const noexcept {
    return static_cast<std::uint32_t>(cleanupNhResVrfFsTime.count());
  }

  // Null until start-up is complete. Is keeps an allocator that exists and sets its currentId.
  const Ptr<ResolverIdAllocator>& resIdAllocator() const noexcept { return resIdAllocator_; }
  const Ptr<ResolverIdAllocator>& resIdAllocatorIs(ResolverId startResId);
  void resIdAllocatorDel() noexcept { resIdAllocator_ = nullptr; }

  // Null unless start-up found something to clean up. Is keeps a timer of the same scheduler,
  // priority and name and replaces any other.
  const Ptr<TimerTask>& cleanupNhResVrfFsTimer() const noexcept { return cleanupNhResVrfFsTimer_; }
  const Ptr<TimerTask>& cleanupNhResVrfFsTimerIs(const Ptr<TaskScheduler>& taskScheduler,
                                                 TaskPriority taskPriority,
                                                 const String& taskName);
  void cleanupNhResVrfFsTimerDel();

  // Subscribes to all inputs that are there, or unsubscribes.
  void hasNotificationActiveIs(bool hasNotificationActive);
  bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
  // A zombie ignores every notification.
  void doZombieReactors(bool zombie) noexcept { zombie_ = zombie; }

  // How many of the ResolverIds 0 to 3 have a record.
  std::uint32_t numResIdsForReservedFecIds() const;

  void handleInitialized();
  void handleGenFecId(FecId fecId);
  void handleFecIdReferenceUpdate(FecId fecId);
  // Requires: the FEC has no ResolverId.
  void allocateResolverIdForGenFecId(FecId fecId);
  void removeResolverIdForFecId(FecId fecId);
  // Removes what previous runs published and this one has not taken over. Does nothing unless the
  // timer is what runs.
  void cleanupNhResVrfFs();

  const TypeData& typeData() const override;

 private:
  void forwardingGenStatusDispatch(FieldId field, const void* key);
  void fecIdToClientHopDispatch(FieldId field, const void* key);
  void cleanupNhResVrfFsTimerDispatch(FieldId field, const void* key);
  template <void (NexthopResolverFibViaSm::*dispatch)(FieldId field, const void* key)>
  using Input = Subscription<NexthopResolverFibViaSm, dispatch>;

  void subscribeToInputs();
  void unsubscribeFromInputs();
  bool reconcileContext();
  void scheduleCleanup();
  bool isReferenced(FecId fecId) const;
  FibGen::Fec readFec(FecId fecId) const;
  ResolverId newResolverId(FecId fecId);
  void publishVias(ResolverId resolverId, const FibGen::Fec& fec);
  template <class Fec>
  NexthopResolverIdVia createNhResIdVia(const Fec& fec, NexthopResolverIdVia& nhResIdVia) const;
  bool isLeftFromEarlierRun(ResolverId resolverId) const;

  VrfName vrfName_;
  Ptr<const FibGen::ForwardingStatus> forwardingGenStatus_;
  Ptr<NexthopResolverVrfForwardingStatus> nhResolverVrfFs_;
  Ptr<FecIdToClientHop> fecIdToClientHop_;
  Ptr<FecIdToResolverId> fecIdToResolverId_;
  Ptr<NexthopResolverFibViaContext> nhResFibViaContext_;
  Ptr<ResolverIdAllocator> resIdAllocator_;
  Ptr<TimerTask> cleanupNhResVrfFsTimer_;
  ResolverId currentId_;
  bool initialized_ = false;
  bool hasNotificationActive_ = false;
  bool zombie_ = false;

  Input<&NexthopResolverFibViaSm::forwardingGenStatusDispatch> forwardingGenStatusInput_{*this};
  Input<&NexthopResolverFibViaSm::fecIdToClientHopDispatch> fecIdToClientHopInput_{*this};
  Input<&NexthopResolverFibViaSm::cleanupNhResVrfFsTimerDispatch> cleanupNhResVrfFsTimerInput_{
      *this};
};

}  // namespace Routing
