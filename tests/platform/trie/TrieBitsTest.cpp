#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "platform/trie/TrieBits.h"
#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

std::vector<LocalPrefix> allLocals() {
  std::vector<LocalPrefix> locals;
  for (unsigned length = 0; length <= 6; ++length) {
    for (unsigned value = 0; value < (1U << length); ++value) {
      locals.push_back({length, value});
    }
  }
  return locals;
}

bool covers(LocalPrefix outer, LocalPrefix inner) {
  return outer.length <= inner.length &&
         inner.value >> (inner.length - outer.length) == outer.value;
}

TEST(TrieBits, TheBitOfALocalPrefixIsTwoToItsLengthPlusItsValue) {
  for (const LocalPrefix local : allLocals()) {
    TrieBits bits;
    bits.set(local);
    const unsigned index = (1U << local.length) + local.value;
    const std::uint64_t expected = std::uint64_t{1} << index % 64;
    EXPECT_EQ(index < 64 ? expected : 0, bits.low);
    EXPECT_EQ(index < 64 ? 0 : expected, bits.high);
    EXPECT_EQ(local.length, bits.onlyPrefix().length);
    EXPECT_EQ(local.value, bits.onlyPrefix().value);
  }
}

TEST(TrieBits, ClearingTakesBackExactlyOneBit) {
  for (const LocalPrefix local : allLocals()) {
    TrieBits bits{~std::uint64_t{1}, ~std::uint64_t{0}, 0};
    bits.clear(local);
    EXPECT_EQ(126U, bits.prefixCount());
    EXPECT_FALSE(bits.has(local));
  }
}

TEST(TrieBits, LongestIsTheLongestCoverWithinTheLimit) {
  std::mt19937_64 random(testSeed());
  SCOPED_TRACE(seedText());
  for (unsigned round = 0; round < 200; ++round) {
    const std::uint64_t thin = random();
    const TrieBits bits{random() & thin & ~std::uint64_t{1}, random() & thin, 0};
    for (unsigned chunk = 0; chunk < 64; ++chunk) {
      int expected = -1;
      for (unsigned limit = 0; limit <= 6; ++limit) {
        expected = bits.has({limit, chunk >> (6 - limit)}) ? static_cast<int>(limit) : expected;
        EXPECT_EQ(expected, bits.longest(chunk, limit)) << chunk << " within " << limit;
      }
      EXPECT_EQ(expected >= 0, bits.meets(chunk)) << chunk;
    }
  }
}

TEST(TrieBits, InsideHoldsExactlyWhatALocalPrefixCovers) {
  for (const LocalPrefix outer : allLocals()) {
    const TrieMask mask = TrieMask::inside(outer);
    for (const LocalPrefix inner : allLocals()) {
      TrieBits bits;
      bits.set(inner);
      EXPECT_EQ(covers(outer, inner), ((bits.low & mask.low) | (bits.high & mask.slots)) != 0);
      const bool strictly = covers(outer, inner) && outer.length != inner.length;
      EXPECT_EQ(strictly, bits.hasInside(outer));
    }
  }
}

TEST(TrieBits, AChildIsInsideEveryLocalPrefixThatCoversItsSlot) {
  for (unsigned slot = 0; slot < 64; ++slot) {
    const TrieBits bits{0, 0, std::uint64_t{1} << slot};
    for (const LocalPrefix outer : allLocals()) {
      EXPECT_EQ(covers(outer, {6, slot}), bits.hasInside(outer));
    }
  }
}

TEST(TrieBits, EveryShortPrefixStartsAtItsFirstSlot) {
  for (const LocalPrefix local : allLocals()) {
    if (local.length < 6) {
      TrieBits bits;
      bits.set(local);
      const unsigned first = local.value << (6 - local.length);
      EXPECT_EQ(std::uint64_t{1} << first, TrieBits::startsOf(bits.low));
      EXPECT_NE(0U, bits.low & TrieMasks::starters[first / 2]);
    }
  }
}

TEST(TrieBits, RankCountsTheChildrenBeforeASlot) {
  const TrieBits bits{0, 0, std::uint64_t{1} << 3 | std::uint64_t{1} << 5 | std::uint64_t{1} << 63};
  EXPECT_EQ(0U, bits.rank(3));
  EXPECT_EQ(1U, bits.rank(5));
  EXPECT_EQ(2U, bits.rank(63));
  EXPECT_EQ(3U, bits.childCount());
}

}  // namespace
}  // namespace Routing
