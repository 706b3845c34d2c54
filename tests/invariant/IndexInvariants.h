#pragma once

// Invariants of the index of references, FecIdToClientHop. They are its own, whoever writes it, so
// they hold whatever notifications its writers have missed. FecId 0 is what the index takes for "no
// FEC": a reference to it is one that the index does not find again.

#include <map>
#include <optional>
#include <utility>

#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class KeyMapsToFecExactlyWhenClientRecordHoldsNexthop final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a key maps to a FEC exactly when the client's record under the FEC holds the nexthop";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  bool holdsWithFecZero() const noexcept override { return false; }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;

 private:
  // The FEC that each key was last told to map to.
  std::map<VrfName, std::map<std::pair<String, IpGenAddr>, FecId>> told_;
};

class ClientNexthopIsUnderAtMostOneFec final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a client nexthop is under at most one FEC, under two only inside a move";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  bool holdsWithFecZero() const noexcept override { return false; }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;
};

class NoReferenceRecordIsEmpty final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "no FEC record is without client, no client record without nexthop, but while it comes "
           "or goes";
  }
  bool holdsAfterMissedNotifications() const noexcept override { return true; }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;

 private:
  // The FEC record of which only reactions to its appearance have been told.
  std::optional<std::pair<VrfName, FecId>> appearing_;
};

}  // namespace Routing::Support
