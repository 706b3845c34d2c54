#include <gtest/gtest.h>

#include <vector>

#include "tools/table-generator/TableStats.h"

namespace Routing {
namespace {

std::vector<IpGenPrefix> tableOf(std::initializer_list<const char*> texts) {
  std::vector<IpGenPrefix> table;
  for (const char* text : texts) {
    table.push_back(IpGenPrefix::parse(text).value());
  }
  return table;
}

TEST(TableStats, CountsWhatLiesInsideTheNearestCover) {
  const std::vector<IpGenPrefix> table =
      tableOf({"20.0.1.0/24", "20.0.0.0/8", "20.0.0.0/16", "20.0.2.0/24", "30.0.0.0/24"});
  const TableStats stats = tableStats(table, AddressFamily::ipv4);
  EXPECT_EQ(stats.prefixes, 5U);
  EXPECT_EQ(stats.inside(), 3U);
  EXPECT_EQ(stats.depths, (std::vector<std::size_t>{2, 1, 2}));
  ASSERT_EQ(stats.lengths.size(), 3U);
  EXPECT_EQ(stats.lengths[0].covered, 1U);
  EXPECT_EQ(stats.lengths[1].covers, 1U);
  EXPECT_EQ(stats.lengths[1].covered, 2U);
  EXPECT_EQ(stats.lengths[2].prefixes, 3U);
  EXPECT_EQ(stats.lengths[2].inside, 2U);
}

TEST(TableStats, CountsRepeatedPrefixesOnce) {
  const TableStats stats =
      tableStats(tableOf({"20.0.0.0/8", "30.0.0.0/8", "20.0.0.0/8"}), AddressFamily::ipv4);
  EXPECT_EQ(stats.prefixes, 2U);
  EXPECT_EQ(stats.repeated, 1U);
  EXPECT_EQ(stats.inside(), 0U);
}

TEST(TableStats, LooksAtOneFamily) {
  const std::vector<IpGenPrefix> table = tableOf({"0.0.0.0/0", "::/0", "2400::/12"});
  EXPECT_EQ(tableStats(table, AddressFamily::ipv4).prefixes, 1U);
  EXPECT_EQ(tableStats(table, AddressFamily::ipv6).prefixes, 2U);
  EXPECT_EQ(tableStats(table, AddressFamily::ipv6).inside(), 1U);
}

TEST(TableStats, OfNothingAreEmpty) {
  EXPECT_EQ(tableStats({}, AddressFamily::ipv4).stringValue(),
            "0 prefixes, 0 (0.00 %) inside another\n"
            "length   prefixes     share     inside     share   covers    covered\n"
            "depth    prefixes     share\n");
}

TEST(TableStats, PrintATableForPeople) {
  const TableStats stats =
      tableStats(tableOf({"20.0.0.0/8", "20.0.0.0/24", "30.0.0.0/24", "30.0.0.0/24"}),
                 AddressFamily::ipv4);
  EXPECT_EQ(stats.stringValue(),
            "3 prefixes, 1 (33.33 %) inside another, 1 repeated\n"
            "length   prefixes     share     inside     share   covers    covered\n"
            "   /8          1   33.33 %          0    0.00 %        1          1\n"
            "  /24          2   66.67 %          1   50.00 %        0          0\n"
            "depth    prefixes     share\n"
            "    0          2   66.67 %\n"
            "    1          1   33.33 %\n");
}

}  // namespace
}  // namespace Routing
