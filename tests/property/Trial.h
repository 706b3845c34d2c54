#pragma once

// Trial: a sequence of operations done to the library and to the reference model, step by step,
// with everything that must hold checked after each: the order of events, the standing state, the
// invariants.
//
// Pauses and FecId 0 limit which invariants count (InvariantCheck.h); the model counts always.

#include <memory>
#include <string>
#include <vector>

#include "tests/invariant/InvariantCheck.h"
#include "tests/invariant/Lifetime.h"
#include "tests/property/LiveWorld.h"
#include "tests/property/Operation.h"
#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

class Trial {
 public:
  enum class Outcome : std::uint8_t {
    good,
    // The operation was not done: as things stand no host may do it.
    unfit,
    // It was not done: it would end the process. The trial is over.
    ends,
    // failure() says how. The trial is over.
    failed,
  };

  Trial();
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;
  ~Trial();

  Outcome perform(const Operation& operation);
  // Drops the library's world, after which nothing of it may be left. The trial is over.
  Outcome end();

  const ReferenceModel& model() const noexcept { return model_; }
  const String& failure() const noexcept { return failure_; }
  // What the last step made the library publish.
  const OutputEvents& events() const noexcept { return events_; }

 private:
  void performLive(const Operation& operation);
  void compareEvents(const OutputEvents& expected);
  void fail(const String& what);

  // First, so that it sees everything else come and go.
  NothingOfTheSystemLivesAfterDestruction lifetime_;
  ReferenceModel model_;
  std::unique_ptr<LiveWorld> world_;
  InvariantCheck invariants_;
  OutputEvents events_;
  String failure_;
};

// What became of a whole sequence. Operations that do not fit are left out of what was done.
struct Verdict {
  Sequence done;
  // Empty when nothing failed.
  String failure;
};

Verdict judge(const Sequence& sequence);
// The same in a child process, so that one that ends it is a failure like any other.
Verdict judgeApart(const Sequence& sequence);

}  // namespace Routing::Support
