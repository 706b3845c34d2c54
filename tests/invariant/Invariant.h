#pragma once

// Invariant: a statement about the library that holds after every operation of a host, whatever
// came before. Each is a class of its own, named as the statement.
//
// Many hold inside notifications too; such a one is asked with each event while its delivery is
// under way. A checker may keep what it has seen, but learns it from events and from the world
// alone.
//
// Three things that happen to the library are beyond most invariants: inputs that change while
// notifications are paused, because what was missed is not made up for; FecId 0, which the index of
// references takes for none; and a table that could not be read, because what was decided then
// stands until the next notification. Each checker says whether it holds there.

#include <memory>
#include <optional>
#include <vector>

#include "tests/support/ObservedWorld.h"

namespace Routing::Support {

// What a host is about to do, as far as an invariant asks.
struct Step {
  // The VRF that gets a manager; empty when none does.
  VrfName start{};
  // The only VRF whose inputs it changes; empty when it is not about one VRF.
  VrfName vrf{};
  // The FEC that is all it changes or announces.
  std::optional<FecId> fec{};
  // From now on FecId 0 is in use.
  bool usesFecZero = false;
  // It pauses or resumes notifications, and nothing else.
  bool switchesNotifications = false;
};

class Invariant {
 public:
  Invariant(const Invariant&) = delete;
  Invariant& operator=(const Invariant&) = delete;
  virtual ~Invariant() = default;

  virtual const char* statement() const noexcept = 0;
  // Of a VRF whose manager has missed notifications.
  virtual bool holdsAfterMissedNotifications() const noexcept { return false; }
  virtual bool holdsWithFecZero() const noexcept { return true; }
  virtual bool holdsAfterAFailedRead() const noexcept { return true; }

  virtual void beforeStep(const ObservedWorld& /*world*/, const Step& /*step*/) {}
  // Each tells what breaks the invariant; empty when nothing does.
  virtual String duringDelivery(const ObservedWorld& /*world*/, const OutputEvent& /*event*/) {
    return {};
  }
  // Of one VRF that has a manager.
  virtual String afterStep(const NexthopResolverManagerSm& /*manager*/,
                           const ObservedWorld& /*world*/) {
    return {};
  }

 protected:
  Invariant() = default;
};

// All of them, fresh.
std::vector<std::unique_ptr<Invariant>> allInvariants();

}  // namespace Routing::Support
