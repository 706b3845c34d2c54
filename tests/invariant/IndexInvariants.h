#pragma once

// Invariants of the index of references, FecIdToClientHop. They are its own, whoever writes it, so
// they hold whatever notifications its writers have missed. FecId 0 is what the index takes for "no
// FEC": a reference to it is one that the index does not find again.

#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class KeyMapsToFecExactlyWhenClientRecordHoldsNexthop final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a key maps to a FEC exactly when the client's record under the FEC holds the nexthop";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  bool holdsWithFecZero() const noexcept override { return false; }
  String duringDelivery(const LiveWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const LiveWorld& world) override;
};

class ClientNexthopIsUnderAtMostOneFec final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a client nexthop is under at most one FEC, under two only inside a move";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  bool holdsWithFecZero() const noexcept override { return false; }
  String duringDelivery(const LiveWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const LiveWorld& world) override;
};

class NoReferenceRecordIsEmpty final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "no FEC record is without client, no client record without nexthop";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  String duringDelivery(const LiveWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const LiveWorld& world) override;
};

}  // namespace Routing::Support
