#pragma once

// Invariants of resolver identifiers: who has one, what it looks like, and what stands where when
// it comes and goes.

#include <map>
#include <set>
#include <utility>

#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class ReferencedPresentFecHasOneIdentifierWithItsVias final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "exactly the referenced and present FECs have an identifier, published with their vias";
  }
  bool holdsAfterAFailedRead() const noexcept override { return false; }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
  String afterStep(const NexthopResolverManagerSm& manager, const ObservedWorld& world) override;
};

class IdentifierMapIsInjective final : public Invariant {
 public:
  const char* statement() const noexcept override { return "no two FECs have one identifier"; }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
};

class CounterValuesOfARunOnlyIncrease final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "the counter values of a run strictly increase and are never used again";
  }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;

 private:
  // What a run has published by now, and its largest counter value so far.
  struct Run {
    std::set<std::uint64_t> published;
    std::uint64_t largest = 0;
  };
  std::map<VrfName, Run> runs_;
};

class InformationBitsAreThoseOfTheFec final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "the top 8 bits of an identifier equal its FecId's";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
};

class ReservedFecIdIsItsOwnIdentifier final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a reserved FecId is its own identifier, and no other FEC has it";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;
};

class RecordComesBeforeAndGoesBeforeTheMapEntry final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "at a map entry's appearance its record is there, at its removal the record is gone";
  }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;

 private:
  std::map<VrfName, std::map<FecId, std::uint64_t>> known_;
};

class ContextIsWrittenBeforeTheRecord final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "the context is past an identifier when its record appears";
  }
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;

 private:
  std::set<std::pair<VrfName, std::uint64_t>> published_;
};

class UnreferencedFecCausesNoEvent final : public Invariant {
 public:
  const char* statement() const noexcept override {
    return "a change of a FEC that nobody references causes no event at all";
  }
  void beforeStep(const ObservedWorld& world, const Step& step) override;
  String duringDelivery(const ObservedWorld& world, const OutputEvent& event) override;

 private:
  // VRFs where what happens now is none of their business.
  std::set<VrfName> silent_;
};

}  // namespace Routing::Support
