#pragma once

// A golden story of tests/replay/, driven command by command, so that a test can do something to it
// at any moment: let an allocation fail, kill the run, put a table of its own under a manager.
//
//   Story     the commands that do something, in order; those that only print are left out
//   StoryRun  a world and the execution of commands in it, by nexthop-replay's own parser
//
// What the library throws leaves execute() as it came.

#include <functional>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "tests/support/ReplayInvariants.h"
#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Session.h"
#include "tools/nexthop-replay/World.h"

namespace Routing::Support {

// The path of a golden story, or of what it prints.
String storyFile(std::string_view name, std::string_view extension);

struct Story {
  String name;
  std::vector<String> commands;

  // Reads tests/replay/NAME.replay.
  static Story load(const String& name);
};

// The first word of a command.
String commandWord(const String& command);

// The stories that faults are injected into: a move between FECs, a move pending while its FEC
// appears, the loss of a FEC under four nexthops, routing off and on, a restart with its cleanup,
// and a client that leaves.
const std::vector<String>& faultStories();
// The name of a test's instance for a story.
String storyTestName(String story);

class StoryRun {
 public:
  // Nothing is printed.
  StoryRun();
  StoryRun(const StoryRun&) = delete;
  StoryRun& operator=(const StoryRun&) = delete;

  Replay::World& world() noexcept { return session_.world(); }

  // Called instead of World::makeManager.
  using MakeManager = std::function<void(Replay::World&, Replay::Vrf&)>;
  void makeManagerIs(MakeManager makeManager) { makeManager_ = std::move(makeManager); }

  // From now on every invariant is asked inside each notification and after each command.
  // Requires: there is no manager.
  void watchInvariants();
  // What was violated since the last call; of the standing state alone when they are not watched.
  std::vector<String> violations();
  // A table cannot be read.
  void readFailed();

  void execute(const String& command);
  void execute(const Story& story);

  // The names of VRFs that have a manager now.
  std::set<VrfName> managed();
  void dropManagers();
  void makeManagers(const std::set<VrfName>& vrfs);
  // Whatever the story did: every VRF in `vrfs` gets a manager if it has none, the reviews run, and
  // the cleanup of what earlier runs published comes and goes.
  void settle(const std::set<VrfName>& vrfs);

 private:
  void executeWords(const std::vector<std::string_view>& words, const String& command);

  Replay::Output output_;
  Replay::Session session_;
  MakeManager makeManager_;
  std::unique_ptr<ReplayInvariants> invariants_;
  std::vector<String> violations_;
};

// The whole standing state, a line a fact, sorted. A resolver identifier is named by the FEC that
// it stands for, so that two runs which hand out different numbers are equal; one that stands for
// no FEC is "withdrawn".
std::vector<String> standingState(Replay::World& world);

// A story told without any trouble: which VRFs ever had a manager, and how everything stands when
// it has settled.
struct StoryEnd {
  std::set<VrfName> served;
  std::vector<String> state;
};
StoryEnd endOf(const Story& story);

}  // namespace Routing::Support
