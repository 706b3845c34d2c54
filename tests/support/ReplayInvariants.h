#pragma once

// ReplayInvariants: asks the world of a replay for every invariant of tests/invariant/, inside each
// notification and after each command.
//
// It sees all events of managers that are made after it. A client's status is observed from the
// moment it stands in its directory, before any manager hears of it. Made when there are managers
// already, it is good for the standing state alone.

#include <memory>
#include <string_view>
#include <vector>

#include "tests/invariant/InvariantCheck.h"
#include "tools/nexthop-replay/World.h"

namespace Routing::Support {

class ReplayInvariants {
 public:
  // The world outlives it.
  explicit ReplayInvariants(Replay::World& world);
  ReplayInvariants(const ReplayInvariants&) = delete;
  ReplayInvariants& operator=(const ReplayInvariants&) = delete;
  ~ReplayInvariants();

  // Each command stands between the two. The second returns a sentence for each violation until
  // now.
  void beforeCommand(const std::vector<std::string_view>& words);
  std::vector<String> afterCommand();

  // A table cannot be read.
  void readFailed() { check_.readFailed(); }

 private:
  class Watched;
  std::unique_ptr<Watched> watched_;
  InvariantCheck check_;
};

}  // namespace Routing::Support
