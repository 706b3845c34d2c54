// Random sequences of everything that a host can do, over a small universe. After each operation
// the library's events, in order, and its standing state are those of the reference model, and
// every invariant holds. 2,000 sequences of 200 operations, in parts, so that they run side by
// side.
//
// NEXTHOP_SEED chooses other sequences. One that fails is shrunk and told as a replay file.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/property/Campaign.h"
#include "tests/support/Seed.h"

namespace Routing::Support {
namespace {

constexpr std::uint64_t sequences = 2000;
constexpr std::uint64_t parts = 8;

class RandomSequences : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomSequences, DoWhatTheReferenceModelDoes) {
  Campaign campaign(seed());
  for (std::uint64_t number = GetParam(); number < sequences; number += parts) {
    ASSERT_TRUE(campaign.tryNumber(number)) << campaign.failure();
  }
  // All but those that a pause has led to where the library would end the process.
  EXPECT_GT(campaign.stepsDone(), sequences / parts * Campaign::steps * 9 / 10);
}

INSTANTIATE_TEST_SUITE_P(Part,
                         RandomSequences,
                         testing::Range(std::uint64_t{0}, parts),
                         [](const testing::TestParamInfo<std::uint64_t>& part) {
                           return std::to_string(part.param + 1);
                         });

}  // namespace
}  // namespace Routing::Support
