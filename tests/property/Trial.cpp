#include "tests/property/Trial.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>

#include "tests/property/Comparison.h"

namespace Routing::Support {

Trial::Trial() : world_(std::make_unique<LiveWorld>()) {
  world_->listenerIs([this](const OutputEvent& event) { listen(event); });
}

Trial::~Trial() = default;

void Trial::fail(const String& what) {
  if (failure_.empty()) {
    failure_ = what;
  }
}

Trial::Outcome Trial::perform(const Operation& operation) {
  if (!operation.fits(model_)) {
    return Outcome::unfit;
  }
  noteLimits(operation);
  try {
    doIt(operation, model_);
  } catch (const ModelEnds&) {
    return Outcome::ends;
  }
  performLive(operation);
  events_ = world_->takeEvents();
  compareEvents(model_.takeEvents());
  const String found = difference(*world_, model_);
  if (!found.empty()) {
    fail("the model differs in " + found);
  }
  checkInvariants();
  return failure_.empty() ? Outcome::good : Outcome::failed;
}

Trial::Outcome Trial::end() {
  world_ = nullptr;
  const String left = lifetime_.broken();
  if (!left.empty()) {
    fail("still alive: " + left);
  }
  return failure_.empty() ? Outcome::good : Outcome::failed;
}

void Trial::noteLimits(const Operation& operation) {
  using Kind = Operation::Kind;
  if (operation.kind == Kind::manager) {
    missed_.erase(operation.vrfName());
  }
  if (operation.kind != Kind::notificationsOff && operation.kind != Kind::notificationsOn) {
    for (const auto& [vrf, of] : model_.vrfs()) {
      if (of.manager && !of.manager->active) {
        missed_.insert(vrf);
      }
    }
  }
  if ((operation.kind == Kind::fec || operation.kind == Kind::route) && operation.fecId() == 0) {
    fecZero_ = true;
  }
}

bool Trial::counts(const Invariant& invariant, const VrfName& vrf) const {
  return (missed_.count(vrf) == 0 || invariant.holdsAfterMissedNotifications()) &&
         (!fecZero_ || invariant.holdsWithFecZero());
}

void Trial::listen(const OutputEvent& event) {
  for (const auto& invariant : invariants_) {
    const String broken = invariant->duringDelivery(*world_, event);
    if (!broken.empty() && counts(*invariant, event.vrf)) {
      fail(String("not so: ") + invariant->statement() + ": " + broken);
    }
  }
}

void Trial::performLive(const Operation& operation) {
  for (const auto& invariant : invariants_) {
    invariant->beforeStep(*world_, operation);
  }
  try {
    doIt(operation, *world_);
  } catch (const std::exception& error) {
    fail(String("an exception left the library: ") + error.what());
  }
}

void Trial::compareEvents(const OutputEvents& expected) {
  if (events_ != expected) {
    fail("the events differ; the library's:\n" + textOf(events_) + "expected:\n" +
         textOf(expected));
  }
}

void Trial::checkInvariants() {
  bool anyManager = false;
  for (const auto& [vrf, of] : world_->vrfs()) {
    if (!of.manager) {
      continue;
    }
    anyManager = true;
    for (const auto& invariant : invariants_) {
      const String broken =
          counts(*invariant, vrf) ? invariant->afterStep(*of.manager, *world_) : String();
      if (!broken.empty()) {
        fail(String("not so: ") + invariant->statement() + ": " + broken);
      }
    }
  }
  if (!anyManager) {
    const String left = NothingOfTheSystemLivesAfterDestruction::machinesLeft();
    if (!left.empty()) {
      fail("still alive: " + left);
    }
  }
}

Verdict judge(const Sequence& sequence) {
  Verdict verdict;
  Trial trial;
  for (const Operation& operation : sequence) {
    const Trial::Outcome outcome = trial.perform(operation);
    if (outcome == Trial::Outcome::unfit) {
      continue;
    }
    if (outcome == Trial::Outcome::ends) {
      break;
    }
    verdict.done.push_back(operation);
    if (outcome == Trial::Outcome::failed) {
      verdict.failure = trial.failure();
      return verdict;
    }
  }
  trial.end();
  verdict.failure = trial.failure();
  return verdict;
}

Verdict judgeApart(const Sequence& sequence) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    // Whatever it says would be said again for every attempt.
    static_cast<void>(std::freopen("/dev/null", "w", stderr));
    _exit(judge(sequence).failure.empty() ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    return {sequence, "there is no child process"};
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) <= 1) {
    return judge(sequence);
  }
  return {sequence, "the process ended"};
}

}  // namespace Routing::Support
