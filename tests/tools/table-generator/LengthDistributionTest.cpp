#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "tools/table-generator/LengthDistribution.h"

namespace Routing {
namespace {

constexpr AddressFamily families[] = {AddressFamily::ipv4, AddressFamily::ipv6};

std::uint32_t sumOf(std::span<const LengthCount> lengths, std::uint32_t LengthCount::*member) {
  return std::accumulate(
      lengths.begin(),
      lengths.end(),
      0U,
      [member](std::uint32_t sum, const LengthCount& entry) { return sum + entry.*member; });
}

TEST(LengthDistribution, CountsTheWholeMeasuredTable) {
  EXPECT_EQ(measuredPrefixes(AddressFamily::ipv4), 901'899U);
  EXPECT_EQ(measuredPrefixes(AddressFamily::ipv6), 160'147U);
}

TEST(LengthDistribution, EachPrefixInsideAnotherIsCoveredByOne) {
  for (const AddressFamily family : families) {
    const std::span<const LengthCount> lengths = measuredLengths(family);
    EXPECT_EQ(sumOf(lengths, &LengthCount::inside), sumOf(lengths, &LengthCount::covered));
  }
}

TEST(LengthDistribution, ScaledCountsAddUpToTheSize) {
  for (const AddressFamily family : families) {
    for (const std::uint32_t size : {0U, 1U, 7U, 1'000U, 123'457U, 901'899U, 2'000'000U}) {
      EXPECT_EQ(sumOf(scaledLengths(family, size), &LengthCount::prefixes), size);
    }
  }
}

TEST(LengthDistribution, ASmallerTableKeepsTheShares) {
  for (const AddressFamily family : families) {
    const std::span<const LengthCount> measured = measuredLengths(family);
    const std::vector<LengthCount> tenth = scaledLengths(family, measuredPrefixes(family) / 10);
    ASSERT_EQ(tenth.size(), measured.size());
    for (std::size_t index = 0; index < tenth.size(); ++index) {
      EXPECT_NEAR(tenth[index].prefixes, measured[index].prefixes / 10.0, 1);
      EXPECT_LE(tenth[index].inside, tenth[index].prefixes);
      EXPECT_NEAR(tenth[index].inside, measured[index].inside / 10.0, 1.5);
    }
  }
}

TEST(LengthDistribution, ALargerTableGrowsInItsLongPrefixesOnly) {
  const std::span<const LengthCount> measured = measuredLengths(AddressFamily::ipv4);
  const std::vector<LengthCount> larger = scaledLengths(AddressFamily::ipv4, 1'500'000);
  ASSERT_EQ(larger.size(), measured.size());
  for (std::size_t index = 0; index < larger.size(); ++index) {
    SCOPED_TRACE(int{measured[index].length});
    if (measured[index].length < 22) {
      EXPECT_EQ(larger[index].prefixes, measured[index].prefixes);
    } else {
      EXPECT_GT(larger[index].prefixes, measured[index].prefixes);
    }
  }
}

}  // namespace
}  // namespace Routing
