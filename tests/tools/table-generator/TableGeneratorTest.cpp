#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/table-generator/TableGenerator.h"
#include "tools/table-generator/TableStats.h"

namespace Routing {
namespace {

// A tenth of the full table: as good for most promises and quickly made.
constexpr TableShape tenth{90'000, 16'000};

std::size_t countOf(const std::vector<IpGenPrefix>& table, AddressFamily family) {
  return static_cast<std::size_t>(std::ranges::count(table, family, &IpGenPrefix::family));
}

IpGenPrefix prefixOf(const char* text) { return IpGenPrefix::parse(text).value(); }

// FNV-1a of the table's text.
std::uint64_t fingerprint(const std::vector<IpGenPrefix>& table) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const IpGenPrefix& prefix : table) {
    for (const char character : prefix.stringValue() + '\n') {
      hash = (hash ^ static_cast<std::uint8_t>(character)) * 0x100000001b3U;
    }
  }
  return hash;
}

double share(std::size_t part, std::size_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole);
}

// Prefixes of which the other half of the block that the two halve is in the table too.
std::size_t neighbours(const std::vector<IpGenPrefix>& sortedTable) {
  return static_cast<std::size_t>(
      std::ranges::count_if(sortedTable, [&sortedTable](const IpGenPrefix& prefix) {
        IpGenAddr::Words words = prefix.words();
        const unsigned last = prefix.length() - 1U;
        words.at(last / 32) ^= std::uint32_t{1} << (31U - last % 32);
        const IpGenAddr address = prefix.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0])
                                                                         : IpGenAddr::ipv6(words);
        return std::ranges::binary_search(sortedTable, IpGenPrefix(address, prefix.length()));
      }));
}

// Aligned runs of 16 prefixes of one length of which at least one is in the table.
std::size_t runsOf16(const std::vector<IpGenPrefix>& table) {
  std::set<std::pair<IpGenAddr::Words, std::uint8_t>> runs;
  for (const IpGenPrefix& prefix : table) {
    const unsigned length = prefix.length() < 4U ? 0U : prefix.length() - 4U;
    runs.emplace(IpGenPrefix(prefix.address(), static_cast<std::uint8_t>(length)).words(),
                 prefix.length());
  }
  return runs.size();
}

TEST(TableGenerator, SameSeedGivesTheSameTable) {
  EXPECT_EQ(generateTable(tenth, 5), generateTable(tenth, 5));
}

TEST(TableGenerator, AnotherSeedGivesAnotherTable) {
  const std::vector<IpGenPrefix> one = generateTable(tenth, 5);
  const std::vector<IpGenPrefix> other = generateTable(tenth, 6);
  std::vector<IpGenPrefix> common;
  std::ranges::set_intersection(one, other, std::back_inserter(common));
  EXPECT_LT(common.size(), one.size() / 2);
}

TEST(TableGenerator, TheTableOfASeedIsTheSameOnEveryMachine) {
  EXPECT_EQ(fingerprint(generateTable({2'000, 1'000}, 1)), 0x73cf86d9e1be0dd0U);
}

TEST(TableGenerator, OneFamilyDoesNotDependOnTheSizeOfTheOther) {
  const std::vector<IpGenPrefix> both = generateTable({1'000, 1'000}, 9);
  std::vector<IpGenPrefix> joined = generateTable({1'000, 0}, 9);
  const std::vector<IpGenPrefix> ipv6 = generateTable({0, 1'000}, 9);
  joined.insert(joined.end(), ipv6.begin(), ipv6.end());
  EXPECT_EQ(both, joined);
}

TEST(TableGenerator, HasExactlyTheCountsAskedFor) {
  for (const std::size_t count : {0U, 1U, 2U, 3U, 17U, 100U, 1'000U, 54'321U}) {
    SCOPED_TRACE(count);
    const std::vector<IpGenPrefix> table = generateTable({count, count / 2}, 3);
    EXPECT_EQ(countOf(table, AddressFamily::ipv4), count);
    EXPECT_EQ(countOf(table, AddressFamily::ipv6), count / 2);
  }
}

TEST(TableGenerator, PrefixesAreDistinctAndInOrder) {
  const std::vector<IpGenPrefix> table = generateTable(tenth, 1);
  const auto notBefore = [](const IpGenPrefix& left, const IpGenPrefix& right) {
    return left >= right;
  };
  EXPECT_EQ(std::ranges::adjacent_find(table, notBefore), table.end());
}

TEST(TableGenerator, HostBitsAreClear) {
  for (const IpGenPrefix& prefix : generateTable(tenth, 1)) {
    ASSERT_EQ(prefix.words(), maskedWords(prefix.words(), prefix.length())) << prefix.stringValue();
  }
}

TEST(TableGenerator, PrefixesLieInBlocksThatRegistriesHandOut) {
  for (const IpGenPrefix& prefix : generateTable(tenth, 1)) {
    const Block block{prefix.words(), prefix.length()};
    const auto overlaps = [&block](const Block& other) { return other.overlaps(block); };
    ASSERT_TRUE(std::ranges::any_of(addressBlocks(prefix.family()), overlaps, &AddressBlock::block))
        << prefix.stringValue();
    ASSERT_TRUE(std::ranges::none_of(reservedBlocks(prefix.family()), overlaps))
        << prefix.stringValue();
  }
}

TEST(TableGenerator, BeyondTheMaximumThereIsNoTable) {
  EXPECT_THROW(generateTable({maximumPrefixes + 1, 0}, 1), std::length_error);
  EXPECT_THROW(generateTable({0, maximumPrefixes + 1}, 1), std::length_error);
}

class TableOfFamily : public testing::TestWithParam<AddressFamily> {
 protected:
  // The part-th part of the full table.
  static std::vector<IpGenPrefix> table(std::uint32_t part) {
    const std::size_t count = measuredPrefixes(GetParam()) / part;
    return generateTable(
        GetParam() == AddressFamily::ipv4 ? TableShape{count, 0} : TableShape{0, count},
        1);
  }
};

TEST_P(TableOfFamily, HasTheMeasuredLengthsAndNestsAsManyOfEach) {
  const std::span<const LengthCount> measured = measuredLengths(GetParam());
  const TableStats stats = tableStats(table(1), GetParam());
  ASSERT_EQ(stats.lengths.size(), measured.size());
  for (std::size_t index = 0; index < measured.size(); ++index) {
    SCOPED_TRACE(int{measured[index].length});
    EXPECT_EQ(stats.lengths[index].length, measured[index].length);
    EXPECT_EQ(stats.lengths[index].prefixes, measured[index].prefixes);
    EXPECT_EQ(stats.lengths[index].inside, measured[index].inside);
  }
}

TEST_P(TableOfFamily, CoversOfEachLengthComeNearTheMeasuredOnes) {
  const std::vector<LengthCount> wanted =
      scaledLengths(GetParam(), measuredPrefixes(GetParam()) / 4);
  const TableStats stats = tableStats(table(4), GetParam());
  std::map<std::uint8_t, LengthCount> found;
  for (const LengthCount& entry : stats.lengths) {
    found[entry.length] = entry;
  }
  for (const LengthCount& entry : wanted) {
    SCOPED_TRACE(int{entry.length});
    EXPECT_NEAR(found[entry.length].covers, entry.covers, 5 + 0.05 * entry.covers);
  }
}

TEST_P(TableOfFamily, NestsAboutAsDeepAsARealTable) {
  // Shares of a measured table, by depth.
  const std::vector<double> measured = GetParam() == AddressFamily::ipv4
                                           ? std::vector{0.4931, 0.3587, 0.1079, 0.0290, 0.0072}
                                           : std::vector{0.4312, 0.3772, 0.1511, 0.0344, 0.0051};
  const TableStats stats = tableStats(table(4), GetParam());
  ASSERT_GE(stats.depths.size(), measured.size());
  for (std::size_t depth = 0; depth < measured.size(); ++depth) {
    EXPECT_NEAR(share(stats.depths[depth], stats.prefixes), measured[depth], 0.03) << depth;
  }
}

TEST_P(TableOfFamily, HasAboutAsManyNeighboursAsARealTable) {
  const double measured = GetParam() == AddressFamily::ipv4 ? 0.701 : 0.575;
  const std::vector<IpGenPrefix> tested = table(1);
  EXPECT_NEAR(share(neighbours(tested), tested.size()), measured, 0.03);
}

// How close together prefixes stand decides what a trie of them takes.
TEST_P(TableOfFamily, ClustersAboutAsMuchAsARealTable) {
  const double measured = GetParam() == AddressFamily::ipv4 ? 0.225 : 0.347;
  const std::vector<IpGenPrefix> tested = table(1);
  EXPECT_NEAR(share(runsOf16(tested), tested.size()), measured, 0.05);
}

INSTANTIATE_TEST_SUITE_P(Families,
                         TableOfFamily,
                         testing::Values(AddressFamily::ipv4, AddressFamily::ipv6),
                         [](const testing::TestParamInfo<AddressFamily>& tested) {
                           return tested.param == AddressFamily::ipv4 ? "Ipv4" : "Ipv6";
                         });

TEST(PickNexthops, AreDistinctAndLieInPrefixesOfTheTable) {
  const std::vector<IpGenPrefix> table = generateTable(tenth, 1);
  const std::vector<IpGenAddr> nexthops = pickNexthops(table, 20'000, 4);
  EXPECT_EQ(std::set<IpGenAddr>(nexthops.begin(), nexthops.end()).size(), 20'000U);
  for (const IpGenAddr& nexthop : nexthops) {
    // The last prefix that is not behind the address, or one that covers it.
    auto at = std::ranges::upper_bound(table, IpGenPrefix::host(nexthop));
    bool found = false;
    while (!found && at != table.begin()) {
      found = (--at)->contains(IpGenPrefix::host(nexthop));
    }
    ASSERT_TRUE(found) << nexthop.stringValue();
  }
}

TEST(PickNexthops, AreSpreadEvenlyOverThePrefixes) {
  std::vector<IpGenPrefix> table;
  for (std::uint32_t number = 0; number < 1'000; ++number) {
    table.emplace_back(IpGenAddr::ipv4((20U << 24U) + (number << 8U)), std::uint8_t{24});
  }
  std::set<IpGenPrefix> used;
  for (const IpGenAddr& nexthop : pickNexthops(table, table.size(), 4)) {
    used.emplace(nexthop, std::uint8_t{24});
  }
  EXPECT_EQ(used.size(), table.size());
}

TEST(PickNexthops, SameSeedGivesTheSameAddressesInTheSameOrder) {
  const std::vector<IpGenPrefix> table = generateTable({1'000, 1'000}, 1);
  EXPECT_EQ(pickNexthops(table, 500, 4), pickNexthops(table, 500, 4));
  EXPECT_NE(pickNexthops(table, 500, 4), pickNexthops(table, 500, 5));
}

TEST(PickNexthops, ComeInRandomOrder) {
  const std::vector<IpGenPrefix> table = generateTable({1'000, 0}, 1);
  const std::vector<IpGenAddr> nexthops = pickNexthops(table, 500, 4);
  std::size_t ascents = 0;
  for (std::size_t index = 1; index < nexthops.size(); ++index) {
    ascents += nexthops[index - 1] < nexthops[index] ? 1U : 0U;
  }
  EXPECT_NEAR(static_cast<double>(ascents), 250, 50);
}

TEST(PickNexthops, TakeTheLastAddressOfTheTableAndThenFail) {
  const std::vector<IpGenPrefix> table{prefixOf("20.0.0.0/28"),
                                       prefixOf("20.0.0.4/30"),
                                       prefixOf("20.1.0.0/32"),
                                       prefixOf("2400::/125")};
  const std::vector<IpGenAddr> nexthops = pickNexthops(table, 16 + 1 + 8, 4);
  const std::set<IpGenAddr> distinct(nexthops.begin(), nexthops.end());
  EXPECT_EQ(distinct.size(), 25U);
  EXPECT_TRUE(distinct.contains(IpGenAddr::parse("20.0.0.0").value()));
  EXPECT_TRUE(distinct.contains(IpGenAddr::parse("20.0.0.15").value()));
  EXPECT_TRUE(distinct.contains(IpGenAddr::parse("2400::7").value()));
  EXPECT_THROW(pickNexthops(table, 26, 4), std::length_error);
}

TEST(PickNexthops, AnEmptyTableHasNone) {
  EXPECT_TRUE(pickNexthops({}, 0, 1).empty());
  EXPECT_THROW(pickNexthops({}, 1, 1), std::length_error);
}

}  // namespace
}  // namespace Routing
