#include "tests/property/Trial.h"

#include <exception>

#include "tests/property/Comparison.h"
#include "tests/property/ProcessEnd.h"

namespace Routing::Support {

Trial::Trial() : world_(std::make_unique<LiveWorld>()), invariants_(*world_) {}

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

void Trial::performLive(const Operation& operation) {
  invariants_.beforeStep(operation.step());
  try {
    doIt(operation, *world_);
  } catch (const std::exception& error) {
    fail(String("an exception left the library: ") + error.what());
  }
  for (const String& violation : invariants_.afterStep()) {
    fail(violation);
  }
}

void Trial::compareEvents(const OutputEvents& expected) {
  if (events_ != expected) {
    fail("the events differ; the library's:\n" + textOf(events_) + "expected:\n" +
         textOf(expected));
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
  return askApart([&] { return judge(sequence).failure.empty(); })
             ? judge(sequence)
             : Verdict{sequence, "the process ended"};
}

}  // namespace Routing::Support
