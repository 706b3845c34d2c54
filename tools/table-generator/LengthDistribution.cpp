#include "tools/table-generator/LengthDistribution.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>

namespace Routing {
namespace {

// Length, prefixes, inside another, covers, covered by them.
constexpr LengthCount ipv4Lengths[] = {
    {8, 16, 0, 11, 6419},
    {9, 13, 4, 11, 3677},
    {10, 38, 0, 25, 5608},
    {11, 103, 4, 66, 9156},
    {12, 299, 31, 178, 11980},
    {13, 581, 96, 386, 11548},
    {14, 1203, 178, 773, 19507},
    {15, 2100, 464, 1148, 20931},
    {16, 13490, 3206, 5875, 82900},
    {17, 8235, 3754, 3408, 32295},
    {18, 13798, 6875, 4938, 34696},
    {19, 24870, 9815, 9585, 55366},
    {20, 42611, 23206, 10807, 46144},
    {21, 50750, 27723, 10581, 32602},
    {22, 108623, 49227, 22434, 52954},
    {23, 96510, 55056, 17955, 31131},
    {24, 537698, 276616, 178, 295},
    {25, 20, 20, 0, 0},
    {26, 3, 3, 0, 0},
    {27, 11, 11, 0, 0},
    {28, 18, 17, 0, 0},
    {29, 17, 17, 0, 0},
    {30, 3, 3, 0, 0},
    {31, 3, 3, 0, 0},
    {32, 886, 880, 0, 0},
};

constexpr LengthCount ipv6Lengths[] = {
    {16, 1, 0, 0, 0},
    {19, 1, 0, 1, 1},
    {20, 16, 0, 9, 6048},
    {21, 3, 0, 1, 3},
    {22, 7, 0, 4, 120},
    {23, 8, 0, 4, 13},
    {24, 30, 3, 8, 1270},
    {25, 8, 1, 2, 5},
    {26, 15, 0, 5, 16},
    {27, 20, 2, 13, 243},
    {28, 193, 85, 50, 834},
    {29, 4371, 54, 564, 10001},
    {30, 650, 283, 113, 1775},
    {31, 284, 130, 68, 494},
    {32, 22548, 5727, 4085, 40130},
    {33, 2926, 2367, 837, 3588},
    {34, 2603, 1873, 351, 2260},
    {35, 1043, 649, 287, 878},
    {36, 5996, 3392, 592, 4836},
    {37, 880, 663, 74, 565},
    {38, 1617, 848, 183, 1481},
    {39, 1377, 1130, 205, 478},
    {40, 13418, 10235, 928, 7382},
    {41, 903, 480, 64, 210},
    {42, 2301, 1832, 172, 2191},
    {43, 1001, 434, 336, 1027},
    {44, 14365, 10306, 607, 2800},
    {45, 1553, 1268, 93, 385},
    {46, 3039, 1618, 310, 601},
    {47, 3153, 2477, 807, 1410},
    {48, 75488, 44913, 24, 44},
    {49, 11, 11, 0, 0},
    {50, 3, 3, 0, 0},
    {52, 1, 1, 0, 0},
    {55, 1, 1, 0, 0},
    {56, 24, 23, 0, 0},
    {58, 20, 20, 0, 0},
    {60, 2, 0, 0, 0},
    {64, 184, 179, 2, 2},
    {112, 2, 2, 0, 0},
    {122, 1, 1, 0, 0},
    {124, 4, 4, 0, 0},
    {125, 9, 9, 0, 0},
    {126, 19, 19, 0, 0},
    {127, 42, 42, 0, 0},
    {128, 6, 6, 0, 0},
};

// Prefixes in each /8, by its first octet; 0 where a public table has none. A /8 in which none was
// measured counts 1.
constexpr std::uint32_t ipv4Prefixes[224] = {
    0,    2617, 2412, 250,   20,    7686,  593,   11,    2113,  1,     0,     285,   1846,  904,
    4240, 527,  154,  1223,  993,   9,     372,   5,     228,   9730,  5581,  7,     1,     4848,
    1,    25,   1,    4313,  213,   1,     1359,  1001,  3818,  7833,  5481,  1693,  421,   7335,
    1567, 3227, 368,  25609, 7878,  1238,  1,     3433,  3565,  982,   2124,  2,     793,   1070,
    28,   326,  2869, 2067,  1525,  4326,  4511,  2791,  8536,  3591,  7794,  4875,  3578,  6512,
    3145, 2145, 5424, 1,     4763,  2430,  1239,  4343,  3457,  4333,  3965,  3044,  2732,  2339,
    2882, 5590, 1338, 3605,  2242,  6061,  1995,  11139, 4116,  4225,  6423,  6871,  2614,  1013,
    2185, 1150, 269,  2242,  5134,  38520, 7781,  1625,  2372,  3855,  1778,  6501,  3768,  5481,
    3914, 3059, 2625, 3937,  3503,  6112,  3728,  3219,  3745,  2081,  4398,  4273,  2767,  3844,
    246,  0,    2079, 1938,  1725,  3680,  1708,  746,   2962,  584,   1543,  1752,  4789,  2714,
    1998, 2384, 2726, 2725,  2069,  803,   2798,  2770,  3323,  3204,  1662,  2362,  2691,  850,
    6141, 2411, 3054, 2102,  1944,  3331,  3676,  2568,  5185,  2113,  2604,  2609,  1803,  2850,
    5923, 1338, 7633, 2620,  4468,  5250,  2860,  1851,  6289,  10444, 6290,  5033,  4281,  5999,
    4313, 3681, 4047, 32643, 9981,  9350,  7096,  9058,  13576, 3139,  14143, 12257, 10308, 8123,
    5727, 4586, 8009, 8667,  11724, 10083, 13867, 13837, 6307,  4956,  5776,  5074,  6286,  6963,
    6270, 4272, 6629, 6124,  1624,  112,   9855,  4751,  2551,  1276,  2843,  1695,  1808,  4335,
};

constexpr std::size_t ipv4BlockCount =
    std::size(ipv4Prefixes) - static_cast<std::size_t>(std::ranges::count(ipv4Prefixes, 0U));

constexpr std::array<AddressBlock, ipv4BlockCount> makeIpv4Blocks() {
  std::array<AddressBlock, ipv4BlockCount> blocks{};
  std::size_t count = 0;
  for (std::uint32_t octet = 0; octet < std::size(ipv4Prefixes); ++octet) {
    if (ipv4Prefixes[octet] != 0) {
      blocks.at(count++) = {{{octet << 24, 0, 0, 0}, 8}, 1, ipv4Prefixes[octet]};
    }
  }
  return blocks;
}
constexpr std::array<AddressBlock, ipv4BlockCount> ipv4Blocks = makeIpv4Blocks();

// The blocks that the five registries hand out from, with the /20s in use.
constexpr AddressBlock ipv6Blocks[] = {
    {{{0x20010000, 0, 0, 0}, 16}, 9, 20154},
    {{{0x24000000, 0, 0, 0}, 12}, 154, 52268},
    {{{0x26000000, 0, 0, 0}, 12}, 106, 19437},
    {{{0x26100000, 0, 0, 0}, 12}, 1, 470},
    {{{0x26200000, 0, 0, 0}, 12}, 1, 2886},
    {{{0x28000000, 0, 0, 0}, 12}, 36, 28380},
    {{{0x2a000000, 0, 0, 0}, 12}, 236, 32244},
    {{{0x2a100000, 0, 0, 0}, 12}, 60, 2813},
    {{{0x2c000000, 0, 0, 0}, 12}, 14, 1479},
};

constexpr Block ipv4Reserved[] = {
    {{0x64400000, 0, 0, 0}, 10},  // 100.64.0.0, shared between provider and customer
    {{0xa9fe0000, 0, 0, 0}, 16},  // 169.254.0.0, link local
    {{0xac100000, 0, 0, 0}, 12},  // 172.16.0.0, private
    {{0xc0000000, 0, 0, 0}, 24},  // 192.0.0.0, protocol assignments
    {{0xc0000200, 0, 0, 0}, 24},  // 192.0.2.0, documentation
    {{0xc0a80000, 0, 0, 0}, 16},  // 192.168.0.0, private
    {{0xc6120000, 0, 0, 0}, 15},  // 198.18.0.0, benchmarks
    {{0xc6336400, 0, 0, 0}, 24},  // 198.51.100.0, documentation
    {{0xcb007100, 0, 0, 0}, 24},  // 203.0.113.0, documentation
};

constexpr Block ipv6Reserved[] = {
    {{0x20010000, 0, 0, 0}, 23},  // 2001::, protocol assignments
    {{0x20010db8, 0, 0, 0}, 32},  // 2001:db8::, documentation
};

// The shortest length that a table longer than the measured one has more prefixes of.
std::uint8_t growthLength(AddressFamily family) { return family == AddressFamily::ipv4 ? 22 : 32; }

// value * part / whole, rounded to the nearest.
std::uint32_t scaled(std::uint32_t value, std::uint32_t part, std::uint32_t whole) {
  return static_cast<std::uint32_t>((std::uint64_t{value} * part + whole / 2) / whole);
}

// Adds `prefixes` to the entries of the result in the proportions of the measured ones. Rounding
// the running sums, not the entries, makes the sum come out exactly.
void distribute(std::span<const LengthCount> measured,
                std::uint32_t prefixes,
                std::span<LengthCount> result) {
  std::uint32_t total = 0;
  for (const LengthCount& entry : measured) {
    total += entry.prefixes;
  }
  std::uint32_t seen = 0;
  std::uint32_t given = 0;
  for (std::size_t index = 0; index < measured.size(); ++index) {
    seen += measured[index].prefixes;
    const std::uint32_t upToHere = scaled(prefixes, seen, total);
    result[index].prefixes += upToHere - given;
    given = upToHere;
  }
}

void scaleNesting(const LengthCount& measured, LengthCount& result) {
  result.inside = scaled(measured.inside, result.prefixes, measured.prefixes);
  result.covers = scaled(measured.covers, result.prefixes, measured.prefixes);
  result.covered = scaled(measured.covered, result.prefixes, measured.prefixes);
}

template <class T>
std::span<const T> byFamily(AddressFamily family,
                            std::span<const T> ipv4,
                            std::span<const T> ipv6) {
  switch (family) {
    case AddressFamily::ipv4:
      return ipv4;
    case AddressFamily::ipv6:
      return ipv6;
    case AddressFamily::unset:
      break;
  }
  return {};
}

}  // namespace

std::span<const LengthCount> measuredLengths(AddressFamily family) {
  return byFamily<LengthCount>(family, ipv4Lengths, ipv6Lengths);
}

std::uint32_t measuredPrefixes(AddressFamily family) {
  const std::span<const LengthCount> lengths = measuredLengths(family);
  return std::accumulate(
      lengths.begin(),
      lengths.end(),
      0U,
      [](std::uint32_t sum, const LengthCount& entry) { return sum + entry.prefixes; });
}

std::vector<LengthCount> scaledLengths(AddressFamily family, std::uint32_t prefixes) {
  const std::span<const LengthCount> measured = measuredLengths(family);
  const std::uint32_t total = measuredPrefixes(family);
  std::vector<LengthCount> result(measured.begin(), measured.end());
  if (prefixes <= total) {
    for (LengthCount& entry : result) {
      entry.prefixes = 0;
    }
    distribute(measured, prefixes, result);
  } else {
    const auto first =
        std::ranges::lower_bound(measured, growthLength(family), {}, [](const LengthCount& entry) {
          return entry.length;
        });
    const auto fixed = first - measured.begin();
    distribute(measured.subspan(static_cast<std::size_t>(fixed)),
               prefixes - total,
               std::span(result).subspan(static_cast<std::size_t>(fixed)));
  }
  for (std::size_t index = 0; index < result.size(); ++index) {
    scaleNesting(measured[index], result[index]);
  }
  return result;
}

std::span<const AddressBlock> addressBlocks(AddressFamily family) {
  return byFamily<AddressBlock>(family, ipv4Blocks, ipv6Blocks);
}

std::span<const Block> reservedBlocks(AddressFamily family) {
  return byFamily<Block>(family, ipv4Reserved, ipv6Reserved);
}

std::uint8_t siteLength(AddressFamily family) { return family == AddressFamily::ipv4 ? 8 : 20; }

}  // namespace Routing
