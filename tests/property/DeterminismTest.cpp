// What the library does depends on what it is told alone: a sequence done again gives the same
// event log, byte for byte, and so does the same sequence as a replay file, printed and read back
// by nexthop-replay.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/property/Campaign.h"
#include "tests/support/Seed.h"
#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Session.h"

namespace Routing::Support {
namespace {

constexpr std::uint64_t sequences = 100;

TEST(Determinism, TheSameSeedGivesTheSameEventLog) {
  const SeedTrace trace(seed());
  for (std::uint64_t number = 0; number < sequences; ++number) {
    // What stands elsewhere on the heap moves the second world's objects to other addresses.
    const std::string first = Campaign::eventLog(seed(), number);
    const std::vector<std::unique_ptr<int>> ballast(number + 1);
    ASSERT_EQ(first, Campaign::eventLog(seed(), number)) << "sequence " << number;
  }
}

TEST(Determinism, AnotherSeedGivesAnotherEventLog) {
  const SeedTrace trace(seed());
  EXPECT_NE(Campaign::eventLog(seed(), 0), Campaign::eventLog(seed() + 1, 0));
}

class PrintedSequence : public testing::Test {
 protected:
  ~PrintedSequence() override {
    std::remove(replay_.c_str());
    std::remove(output_.c_str());
  }

  // What nexthop-replay prints for the sequence.
  std::string replayed(const Sequence& sequence) const {
    std::ofstream(replay_, std::ios::binary) << "watch on\n" << textOf(sequence);
    std::FILE* const file = std::fopen(output_.c_str(), "wb");
    {
      Replay::Output output(fileno(file), Replay::Form::text);
      Replay::Session session(output);
      EXPECT_EQ(session.run({replay_}), Replay::ExitCode::good);
    }
    std::fclose(file);
    std::ifstream stream(output_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static std::string eventsOf(const Sequence& sequence) {
    Trial trial;
    std::string text;
    for (const Operation& operation : sequence) {
      trial.perform(operation);
      text += textOf(trial.events());
    }
    return text;
  }

 private:
  std::string stem_ = testing::TempDir() + "printed-sequence-" + std::to_string(getpid());
  std::string replay_ = stem_ + ".replay";
  std::string output_ = stem_ + ".out";
};

TEST_F(PrintedSequence, IsAReplayFileThatDoesTheSame) {
  const SeedTrace trace(seed());
  for (std::uint64_t number = 0; number < sequences; ++number) {
    const Sequence sequence = Campaign::draw(seed(), number);
    ASSERT_EQ(replayed(sequence), eventsOf(sequence)) << textOf(sequence);
  }
}

}  // namespace
}  // namespace Routing::Support
