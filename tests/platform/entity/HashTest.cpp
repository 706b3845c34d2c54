#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/entity/Hash.h"

namespace Routing {
namespace {

TEST(Hash, IsTheSameInEveryRun) {
  EXPECT_EQ(hashOf(std::uint64_t{42}), hashOf(std::uint32_t{42}));
  EXPECT_EQ(hashOf(std::string("bgp")), hashOf(std::string_view("bgp")));
  // A hash that depends on an address or a start value of the process would not be this one.
  EXPECT_EQ(hashOf(std::uint64_t{42}), HashState(0).mix(std::uint64_t{42}).result());
}

TEST(Hash, DiffersByTextByLengthAndByTrailingZeros) {
  using namespace std::string_view_literals;
  std::set<std::uint32_t> hashes;
  const std::array texts{""sv,
                         "\0"sv,
                         "\0\0"sv,
                         "a"sv,
                         "a\0"sv,
                         "b"sv,
                         "bgp"sv,
                         "bgp-ipv4"sv,
                         "bgp-ipv4\0"sv,
                         "bgp-ipv4bgp-ipv4"sv,
                         "bgp-ipv4bgp-ipv5"sv};
  for (const std::string_view text : texts) {
    hashes.insert(hashOf(text));
  }
  EXPECT_EQ(hashes.size(), texts.size());
}

TEST(Hash, DependsOnTheSeedAndOnTheOrderOfParts) {
  EXPECT_NE(HashState(1).mix(std::uint64_t{7}).result(),
            HashState(2).mix(std::uint64_t{7}).result());
  EXPECT_NE(HashState(0).mix(std::uint64_t{1}).mix(std::uint64_t{2}).result(),
            HashState(0).mix(std::uint64_t{2}).mix(std::uint64_t{1}).result());
}

// Keys that count up by some stride, as addresses and identifiers do.
struct Stride {
  const char* name;
  std::uint64_t stride;
};

class HashSpread : public testing::TestWithParam<Stride> {};

TEST_P(HashSpread, FillsTheLowAndTheHighBitsEvenly) {
  constexpr std::size_t buckets = 256;
  constexpr std::size_t each = 64;
  std::vector<std::size_t> low(buckets);
  std::vector<std::size_t> high(buckets);
  for (std::uint64_t i = 0; i < buckets * each; ++i) {
    const std::uint32_t hash = hashOf(i * GetParam().stride);
    ++low[hash % buckets];
    ++high[hash >> 24U];
  }
  // Eight standard deviations of a fair throw to either side.
  EXPECT_LT(*std::max_element(low.begin(), low.end()), 2 * each);
  EXPECT_GT(*std::min_element(low.begin(), low.end()), 0U);
  EXPECT_LT(*std::max_element(high.begin(), high.end()), 2 * each);
  EXPECT_GT(*std::min_element(high.begin(), high.end()), 0U);
}

INSTANTIATE_TEST_SUITE_P(Strides,
                         HashSpread,
                         testing::Values(Stride{"One", 1},
                                         Stride{"Two", 2},
                                         Stride{"Bit8", std::uint64_t{1} << 8U},
                                         Stride{"Bit16", std::uint64_t{1} << 16U},
                                         Stride{"Bit32", std::uint64_t{1} << 32U},
                                         Stride{"Bit40", std::uint64_t{1} << 40U},
                                         Stride{"Bit48", std::uint64_t{1} << 48U}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Routing
