#pragma once

// ObservedWorld: shared state that managers work on, and everything that they write to it as a
// sequence of events. A property test's world and that of a replay are of this kind, so that the
// same invariants are asked of both.
//
// Each notification of an output becomes an OutputEvent, is kept until takeEvents(), and is handed
// to the listener while its delivery is under way. Observers are told after all machines, so that
// an event stands after those that it caused.
//
// An object that the library makes is observed from the notification that tells of it on; nothing
// is published in it before. The index and the map of a manager publish nothing before the factory
// returns.

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/task/TaskScheduler.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "resolver/NexthopResolverManagerSm.h"
#include "tests/support/ReferenceModelEvent.h"

namespace Routing::Support {

class ObservedWorld {
 public:
  using Listener = std::function<void(const OutputEvent& event)>;

  ObservedWorld(const ObservedWorld&) = delete;
  ObservedWorld& operator=(const ObservedWorld&) = delete;
  virtual ~ObservedWorld() = default;

  OutputEvents takeEvents() { return std::exchange(events_, {}); }
  // Called with each event, after it was kept. Empty: nobody is.
  void listenerIs(Listener listener) { listener_ = std::move(listener); }

  // The VRFs that have been named.
  virtual std::vector<VrfName> vrfNames() const = 0;
  // Null when the VRF has none, and until the factory has returned it.
  virtual Ptr<NexthopResolverManagerSm> managerOf(const VrfName& vrf) const = 0;
  // Null when the VRF was never named.
  virtual Ptr<NexthopResolverFibViaContext> contextOf(const VrfName& vrf) const = 0;
  // Null when no manager of the VRF was ever made.
  virtual Ptr<NexthopResolverVrfForwardingStatus> forwarding(const VrfName& vrf) const = 0;
  virtual const TaskScheduler& scheduler() const = 0;
  virtual const FibGen::MemoryForwardingStatus& fecs() const = 0;
  virtual const Dir& configDir() const = 0;
  virtual const Dir& statusDir(bool cell) const = 0;

 protected:
  ObservedWorld() = default;

  // Each may be asked for again and has no effect then.
  void observe(const NexthopResolverForwardingStatus& status);
  // With the VRFs that it has already.
  void observe(const NexthopStatus& status);
  void observe(const NexthopResolverFibViaContext& context, const VrfName& vrf);
  void observe(const NexthopResolverManagerSm& manager);

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

  void tap(const Publisher& publisher, Tap::Reaction reaction);
  void note(OutputEvent event);
  void observe(const NexthopVrfStatus& status, const String& client);
  void observe(const NexthopResolverVrfForwardingStatus& status);
  void observe(const FecIdToResolverId& map);
  void observe(const FecIdToClientHop& index);
  void observe(const NexthopResolverFecIdRef& record, const VrfName& vrf);

  OutputEvents events_;
  Listener listener_;
  // By what they are subscribed to; those whose publisher went are swept out now and then.
  std::unordered_map<const Publisher*, std::unique_ptr<Tap>> taps_;
  std::size_t sweepAt_ = 256;
};

}  // namespace Routing::Support
