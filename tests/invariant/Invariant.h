#pragma once

// Invariant: a statement about the library that holds after every operation of a host, whatever
// came before. Each is a class of its own, named as the statement.
//
// Many hold inside notifications too; such a one is asked with each event while its delivery is
// under way. A checker may keep what it has seen, but learns it from events and from the world
// alone.
//
// Two things that a host can do are beyond most invariants: changing inputs while notifications are
// paused, because what was missed is not made up for, and FecId 0, which the index of references
// takes for none. Each checker says whether it holds there.

#include <memory>
#include <vector>

#include "tests/property/LiveWorld.h"
#include "tests/property/Operation.h"

namespace Routing::Support {

class Invariant {
 public:
  Invariant(const Invariant&) = delete;
  Invariant& operator=(const Invariant&) = delete;
  virtual ~Invariant() = default;

  virtual const char* statement() const noexcept = 0;
  // Of a VRF whose manager has missed notifications.
  virtual bool holdsAfterMissedNotifications() const noexcept { return false; }
  virtual bool holdsWithFecZero() const noexcept { return true; }

  virtual void beforeStep(const LiveWorld& /*world*/, const Operation& /*operation*/) {}
  // Each tells what breaks the invariant; empty when nothing does.
  virtual String duringDelivery(const LiveWorld& /*world*/, const OutputEvent& /*event*/) {
    return {};
  }
  // Of one VRF that has a manager.
  virtual String afterStep(const NexthopResolverManagerSm& /*manager*/,
                           const LiveWorld& /*world*/) {
    return {};
  }

 protected:
  Invariant() = default;
};

// All of them, fresh.
std::vector<std::unique_ptr<Invariant>> allInvariants();

}  // namespace Routing::Support
