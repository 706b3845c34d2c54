// A process that runs managers can be killed at any moment. Each story is cut after every single
// write to the records that outlive it, and a new process goes on from what is left.
//
// The cut is made without ending anything: right at the write, before anybody hears of it, the
// records are copied, and the story goes on to its end. Then each copy is put into a world of its
// own, together with the tables as the story's commands up to there made them, and the managers
// that the killed process ran are made anew. What the others had begun to write (a client's
// registration, say) they write to its end, and the rest of the story follows.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/fault/SharedRecords.h"
#include "tests/support/RecordFollower.h"
#include "tests/support/StoryRun.h"

namespace Routing::Support {

namespace {

struct Cut {
  // The index of the command that was under way.
  std::size_t command;
  RecordKind write;
  std::set<VrfName> managed;
  SharedRecords left;
};

std::vector<Cut> cutsOf(const Story& story) {
  std::vector<Cut> cuts;
  StoryRun run;
  std::size_t at = 0;
  std::set<VrfName> managed;
  RecordFollower follower(run.world(), [&](const RecordFollower::Write& write) {
    cuts.push_back({at, write.kind, managed, SharedRecords(run.world())});
  });
  run.world().vrf("v1");
  follower.followTheRest();
  for (; at < story.commands.size(); ++at) {
    managed = run.managed();
    run.execute(story.commands[at]);
  }
  return cuts;
}

// What changes the tables, routing and the scheduler: they stand as the commands left them.
bool changesTables(const String& word) {
  static const std::set<String> words{"vrf",
                                      "routing",
                                      "route",
                                      "route-del",
                                      "fec",
                                      "fec-del",
                                      "announce",
                                      "announce-fec",
                                      "budget"};
  return words.count(word) != 0;
}

// The new process's run from one cut to the end of the story.
class Continuation {
 public:
  Continuation(const Story& story, const Cut& cut, const std::set<VrfName>& served)
      : follower_(run_.world(), [this](const RecordFollower::Write& write) { judge(write); }) {
    run_.watchInvariants();
    for (std::size_t at = 0; at <= cut.command; ++at) {
      if (changesTables(commandWord(story.commands[at]))) {
        run_.execute(story.commands[at]);
      }
    }
    cut.left.putInto(run_.world());
    const auto identifiers = cut.left.counterIdentifiers();
    old_.insert(identifiers.begin(), identifiers.end());
    run_.makeManagers(cut.managed);
    for (std::size_t at = cut.command; at < story.commands.size(); ++at) {
      const String& command = story.commands[at];
      const String word = commandWord(command);
      const bool done = at == cut.command && (changesTables(word) || word == "manager-del");
      if (!done && !(word == "manager-del" && run_.managed().empty())) {
        run_.execute(command);
      }
    }
    run_.settle(served);
    for (const String& violation : run_.violations()) {
      violations.push_back(violation);
    }
  }

  std::vector<String> violations;
  std::vector<String> end() { return standingState(run_.world()); }

 private:
  // An old record may go; while it stands nobody writes it, because that would say that its
  // identifier was handed out again.
  void judge(const RecordFollower::Write& write) {
    const auto* records = dynamic_cast<const NexthopResolverVrfForwardingStatus*>(&write.entity);
    if (records == nullptr) {
      return;
    }
    const ResolverId id = *static_cast<const ResolverId*>(write.key);
    const std::pair identifier(records->vrfName(), id);
    if (!records->nexthopResolverIdViaHas(id)) {
      old_.erase(identifier);
    } else if (old_.count(identifier) != 0) {
      violations.push_back("identifier " + std::to_string(id.value()) +
                           " is handed out while its old record stands");
    }
  }

  std::set<std::pair<VrfName, ResolverId>> old_;
  StoryRun run_;
  RecordFollower follower_;
};

class KillPoint : public testing::TestWithParam<String> {};

TEST_P(KillPoint, AFreshManagerEndsWhereTheUncutRunEnds) {
  const Story story = Story::load(GetParam());
  const StoryEnd uncut = endOf(story);
  const std::vector<Cut> cuts = cutsOf(story);
  ASSERT_GT(cuts.size(), 15U);
  std::printf("%s: cut at %zu writes\n", story.name.c_str(), cuts.size());
  for (std::size_t index = 0; index < cuts.size(); ++index) {
    const Cut& cut = cuts[index];
    SCOPED_TRACE("cut " + std::to_string(index) + " in: " + story.commands[cut.command]);
    Continuation continuation(story, cut, uncut.served);
    EXPECT_EQ(continuation.violations, std::vector<String>());
    EXPECT_EQ(continuation.end(), uncut.state);
  }
}

TEST_P(KillPoint, EveryKindOfRecordIsAmongTheCuts) {
  std::set<RecordKind> kinds;
  for (const Cut& cut : cutsOf(Story::load(GetParam()))) {
    kinds.insert(cut.write);
  }
  EXPECT_EQ(kinds,
            (std::set{RecordKind::configuration,
                      RecordKind::status,
                      RecordKind::forwarding,
                      RecordKind::context}));
}

INSTANTIATE_TEST_SUITE_P(Stories,
                         KillPoint,
                         testing::ValuesIn(faultStories()),
                         [](const testing::TestParamInfo<String>& story) {
                           return storyTestName(story.param);
                         });

}  // namespace

}  // namespace Routing::Support
