#include "tests/property/Campaign.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <string>

#include "tests/property/Generator.h"
#include "tests/property/Shrink.h"

namespace Routing::Support {

namespace {

String headLine(std::uint64_t seed, std::uint64_t number) {
  return "# NEXTHOP_SEED=" + std::to_string(seed) + ", sequence " + std::to_string(number) + '\n';
}

// While it lives, a signal by which this process ends itself tells first what it was doing.
class LastWords {
 public:
  LastWords(std::uint64_t seed, std::uint64_t number, const Sequence& sequence)
      : seed_(seed), number_(number), sequence_(sequence) {
    speaking() = this;
    for (std::size_t i = 0; i < signals.size(); ++i) {
      before_[i] = std::signal(signals[i], &LastWords::speak);
    }
  }
  LastWords(const LastWords&) = delete;
  LastWords& operator=(const LastWords&) = delete;
  ~LastWords() {
    for (std::size_t i = 0; i < signals.size(); ++i) {
      std::signal(signals[i], before_[i]);
    }
    speaking() = nullptr;
  }

 private:
  // A sanitizer has its own handler for the others.
  static constexpr std::array signals{SIGABRT};

  static LastWords*& speaking() {
    static LastWords* instance = nullptr;
    return instance;
  }
  // The process is lost: that text is put together in a handler harms nobody any more.
  static void speak(int signal) {
    std::signal(signal, SIG_DFL);
    if (const LastWords* const words = speaking()) {
      const String text = headLine(words->seed_, words->number_) + "# ended the process\n" +
                          textOf(words->sequence_);
      static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size()));
    }
    std::raise(signal);
  }

  std::uint64_t seed_;
  std::uint64_t number_;
  const Sequence& sequence_;
  std::array<void (*)(int), signals.size()> before_{};
};

}  // namespace

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
