#include "tests/invariant/InvariantCheck.h"

#include <utility>

#include "tests/invariant/Lifetime.h"

namespace Routing::Support {

InvariantCheck::InvariantCheck(ObservedWorld& world) : world_(world) {
  world_.listenerIs([this](const OutputEvent& event) { listen(event); });
}

void InvariantCheck::beforeStep(const Step& step) {
  missed_.erase(step.start);
  unread_.erase(step.start);
  fecZero_ = fecZero_ || step.usesFecZero;
  for (const VrfName& vrf : world_.vrfNames()) {
    const auto manager = world_.managerOf(vrf);
    if (manager && !manager->hasNotificationActive() && !step.switchesNotifications) {
      missed_.insert(vrf);
    }
  }
  for (const auto& invariant : invariants_) {
    invariant->beforeStep(world_, step);
  }
}

std::vector<String> InvariantCheck::afterStep() {
  bool anyManager = false;
  for (const VrfName& vrf : world_.vrfNames()) {
    const auto manager = world_.managerOf(vrf);
    if (!manager) {
      continue;
    }
    anyManager = true;
    for (const auto& invariant : invariants_) {
      if (counts(*invariant, vrf)) {
        report(*invariant, vrf, invariant->afterStep(*manager, world_));
      }
    }
  }
  const String left =
      anyManager ? String() : NothingOfTheSystemLivesAfterDestruction::machinesLeft();
  if (!left.empty()) {
    violations_.push_back("still alive: " + left);
  }
  for (const auto& invariant : invariants_) {
    invariant->beforeStep(world_, Step());
  }
  return std::exchange(violations_, {});
}

void InvariantCheck::readFailed() {
  for (const VrfName& vrf : world_.vrfNames()) {
    unread_.insert(vrf);
  }
}

bool InvariantCheck::counts(const Invariant& invariant, const VrfName& vrf) const {
  return (missed_.count(vrf) == 0 || invariant.holdsAfterMissedNotifications()) &&
         (!fecZero_ || invariant.holdsWithFecZero()) &&
         (unread_.count(vrf) == 0 || invariant.holdsAfterAFailedRead());
}

// All are asked, so that those which keep what they have seen see everything.
void InvariantCheck::listen(const OutputEvent& event) {
  for (const auto& invariant : invariants_) {
    const String broken = invariant->duringDelivery(world_, event);
    if (counts(*invariant, event.vrf)) {
      report(*invariant, event.vrf, broken);
    }
  }
}

void InvariantCheck::report(const Invariant& invariant, const VrfName& vrf, const String& broken) {
  if (!broken.empty()) {
    violations_.push_back("[" + vrf + "] not so: " + invariant.statement() + ": " + broken);
  }
}

}  // namespace Routing::Support
