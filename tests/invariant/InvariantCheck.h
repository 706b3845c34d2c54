#pragma once

// InvariantCheck: asks a world for every invariant, inside each notification and after each step of
// a host, and for those that no event and no manager can be asked for: nothing of the machines
// lives while no VRF has a manager.
//
// Where an invariant does not hold by design it is not asked for: of a VRF from a change of inputs,
// or a run of a task, during a pause of its manager's notifications until its next manager; the
// same from a failed read of a table on; and of all VRFs from the first use of FecId 0 on.

#include <memory>
#include <set>
#include <vector>

#include "tests/invariant/Invariant.h"

namespace Routing::Support {

class InvariantCheck {
 public:
  // Becomes the world's listener. The world outlives it, or is at least not driven any more.
  explicit InvariantCheck(ObservedWorld& world);
  InvariantCheck(const InvariantCheck&) = delete;
  InvariantCheck& operator=(const InvariantCheck&) = delete;
  ~InvariantCheck() = default;

  // Each step stands between the two; nothing is expected of what happens outside. The second
  // returns a sentence for each violation until now.
  void beforeStep(const Step& step);
  std::vector<String> afterStep();

  // A table cannot be read; every VRF may have asked.
  void readFailed();

 private:
  bool counts(const Invariant& invariant, const VrfName& vrf) const;
  void listen(const OutputEvent& event);
  void report(const Invariant& invariant, const VrfName& vrf, const String& broken);

  ObservedWorld& world_;
  std::vector<std::unique_ptr<Invariant>> invariants_ = allInvariants();
  // VRFs whose managers have missed something.
  std::set<VrfName> missed_;
  // VRFs whose managers have found a table that could not be read.
  std::set<VrfName> unread_;
  bool fecZero_ = false;
  std::vector<String> violations_;
};

}  // namespace Routing::Support
