#include "tests/property/Campaign.h"

#include "tests/property/Generator.h"
#include "tests/property/ProcessEnd.h"
#include "tests/property/Shrink.h"

namespace Routing::Support {

bool Campaign::tryNumber(std::uint64_t number) {
  Verdict verdict;
  const LastWords lastWords(seed_, number, verdict.done);
  tryUntilItFails(number, verdict);
  stepsDone_ += verdict.done.size();
  if (!verdict.failure.empty()) {
    report(number, verdict);
  }
  return failure_.empty();
}

// The trial is over when this returns: another one would count its entities.
void Campaign::tryUntilItFails(std::uint64_t number, Verdict& verdict) {
  Generator generator(seed_, number);
  Trial trial;
  Sequence& done = verdict.done;
  done.reserve(steps);
  Trial::Outcome outcome = Trial::Outcome::good;
  while (outcome == Trial::Outcome::good && done.size() < steps) {
    done.push_back(generator.next(trial.model()));
    outcome = trial.perform(done.back());
    if (outcome == Trial::Outcome::good && done.size() > 1) {
      reach_.countPair(done[done.size() - 2].kind, done.back().kind);
    }
  }
  if (outcome != Trial::Outcome::failed) {
    trial.end();
  }
  reach_.countSituations(trial.model().situations());
  verdict.failure = trial.failure();
}

bool Campaign::tryApart(std::uint64_t number) {
  const Verdict verdict = judgeApart(draw(seed_, number));
  if (!verdict.failure.empty()) {
    report(number, verdict);
  }
  return failure_.empty();
}

void Campaign::report(std::uint64_t number, const Verdict& failing) {
  const Verdict smallest = shrink(failing);
  failure_ = headLine(seed_, number) + textOf(smallest.done) + "# " + smallest.failure + '\n';
}

Sequence Campaign::draw(std::uint64_t seed, std::uint64_t number) {
  Generator generator(seed, number);
  ReferenceModel model;
  Sequence sequence;
  try {
    while (sequence.size() < steps) {
      sequence.push_back(generator.next(model));
      doIt(sequence.back(), model);
      model.takeEvents();
    }
  } catch (const ModelEnds&) {
    sequence.pop_back();
  }
  return sequence;
}

String Campaign::eventLog(std::uint64_t seed, std::uint64_t number) {
  Trial trial;
  String log;
  for (const Operation& operation : draw(seed, number)) {
    trial.perform(operation);
    log += "# " + operation.text() + textOf(trial.events());
  }
  return log;
}

}  // namespace Routing::Support
