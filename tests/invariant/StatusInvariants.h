#pragma once

// Invariants of resolvers and of what clients are told.

#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class ReviewSetHasMembersExactlyWhileTheTaskIsScheduled final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a review set has members exactly while its task is scheduled";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;
};

class FailedEntrySaysNothingElse final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "an entry is resolved, or failed with every other field at its default";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
};

class UnconfiguredNexthopHasNoEntryOnceReviewed final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "once the review set is empty, only configured nexthops have an entry";
  }
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;
};

class StatusOfOtherVrfsIsNotTouched final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "what happens in one VRF touches the status of no other";
  }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;

 private:
  // Empty when the step is of no single VRF.
  VrfName vrf_;
};

class ResolverExistsExactlyWhileConfiguredWithStatus final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a client has a resolver exactly when its configuration has the VRF and a status is on "
           "record";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;
};

}  // namespace Routing::Support
