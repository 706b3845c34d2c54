// Notifiees that do what they please: at every single delivery one steps out of the line, dies or
// publishes again, on every record that the managers share with others and on their own
// bookkeeping. Nobody else may notice.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/RecordFollower.h"
#include "tests/support/StoryRun.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Support {

namespace {

std::vector<String> allStories() {
  std::vector<String> names;
  for (const auto& entry : std::filesystem::directory_iterator("tests/replay")) {
    if (entry.path().extension() == ".replay") {
      names.push_back(entry.path().stem().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

String contents(const String& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// What the story prints when `mischief` is done with a follower at each of its deliveries.
using Mischief = void (*)(RecordFollower& follower, const RecordFollower::Write& write);

struct Told {
  String output;
  std::uint64_t deliveries = 0;
};

Told tell(const String& name, Mischief mischief) {
  const int file = memfd_create("output", 0);
  Told told;
  {
    Replay::Output output(file, Replay::Form::text);
    Replay::Session session(output);
    RecordFollower* self = nullptr;
    RecordFollower follower(session.world(), [&](const RecordFollower::Write& write) {
      ++told.deliveries;
      self->followTheRest();
      mischief(*self, write);
    });
    self = &follower;
    EXPECT_EQ(session.run({storyFile(name, ".replay")}), Replay::ExitCode::good);
  }
  std::array<char, 4096> block{};
  lseek(file, 0, SEEK_SET);
  for (ssize_t size = 0; (size = read(file, block.data(), block.size())) > 0;) {
    told.output.append(block.data(), static_cast<std::size_t>(size));
  }
  close(file);
  return told;
}

TEST(NotifieeFault, OneThatUnsubscribesAtEveryDeliveryDisturbsNoStory) {
  for (const String& name : allStories()) {
    const Told told = tell(name, [](RecordFollower& follower, const RecordFollower::Write& write) {
      follower.rejoin(write.publisher);
    });
    EXPECT_EQ(told.output, contents(storyFile(name, ".expected"))) << name;
    EXPECT_GT(told.deliveries, 0U) << name;
  }
}

TEST(NotifieeFault, OneThatDiesAtEveryDeliveryDisturbsNoStory) {
  for (const String& name : allStories()) {
    const Told told = tell(name, [](RecordFollower& follower, const RecordFollower::Write& write) {
      follower.renew(write.publisher);
    });
    EXPECT_EQ(told.output, contents(storyFile(name, ".expected"))) << name;
    EXPECT_GT(told.deliveries, 0U) << name;
  }
}

class NotifieeFaultInStory : public testing::TestWithParam<String> {};

// The one thing that only the index itself may publish: told again of a FEC's first reference, the
// FIB-via machine is asked for a second identifier, which is an error of who tells it.
bool isFirstReference(const RecordFollower::Write& write) {
  const auto* const index = dynamic_cast<const FecIdToClientHop*>(&write.entity);
  return index != nullptr && write.field == FecIdToClientHop::fecIdRefField &&
         index->fecIdRefHas(*static_cast<const FecId*>(write.key));
}

TEST_P(NotifieeFaultInStory, OneThatPublishesAgainLeavesTheEndAsItIs) {
  const Story story = Story::load(GetParam());
  const StoryEnd end = endOf(story);
  StoryRun run;
  bool again = false;
  std::uint64_t published = 0;
  RecordFollower* self = nullptr;
  RecordFollower follower(run.world(), [&](const RecordFollower::Write& write) {
    self->followTheRest();
    if (!again && !isFirstReference(write)) {
      again = true;
      ++published;
      write.publisher.publish(write.field, write.key);
      again = false;
    }
  });
  self = &follower;
  run.watchInvariants();
  for (const String& command : story.commands) {
    run.execute(command);
    EXPECT_EQ(run.violations(), std::vector<String>()) << command;
  }
  run.settle(end.served);
  EXPECT_EQ(standingState(run.world()), end.state);
  EXPECT_GT(published, 10U);
}

INSTANTIATE_TEST_SUITE_P(Stories,
                         NotifieeFaultInStory,
                         testing::ValuesIn(faultStories()),
                         [](const testing::TestParamInfo<String>& story) {
                           return storyTestName(story.param);
                         });

}  // namespace

}  // namespace Routing::Support
