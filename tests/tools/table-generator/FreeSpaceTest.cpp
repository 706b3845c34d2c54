#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tools/table-generator/FreeSpace.h"

namespace Routing {
namespace {

const Block wholeSpace{{20U << 24U, 0, 0, 0}, 8};

TEST(FreeSpace, TheWholeOfItCanBeTakenShortestFirst) {
  FreeSpace free;
  free.pieceIs(wholeSpace);
  RandomSource random(1);
  std::vector<Block> taken;
  // A half, a quarter, an eighth and the rest in blocks of a 1024th.
  for (std::uint8_t length = 9; length <= 11; ++length) {
    taken.push_back(free.take(length, random));
  }
  for (int count = 0; count < 128; ++count) {
    taken.push_back(free.take(18, random));
  }
  for (std::size_t index = 0; index < taken.size(); ++index) {
    EXPECT_TRUE(wholeSpace.overlaps(taken[index]));
    EXPECT_TRUE(std::none_of(taken.begin(),
                             taken.begin() + static_cast<std::ptrdiff_t>(index),
                             [&](const Block& other) { return other.overlaps(taken[index]); }));
  }
}

TEST(FreeSpace, ABlockAsLongAsThePieceIsThePiece) {
  FreeSpace free;
  free.pieceIs(wholeSpace);
  RandomSource random(1);
  const Block taken = free.take(8, random);
  EXPECT_EQ(taken.words, wholeSpace.words);
  EXPECT_EQ(taken.length, 8);
}

TEST(FreeSpace, TakingMoreThanThereIsFailsAnAssertion) {
  FreeSpace free;
  free.pieceIs(wholeSpace);
  RandomSource random(1);
  free.take(8, random);
  EXPECT_DEATH(free.take(9, random), "the plan leaves room");
}

TEST(FreeSpace, ClearForgetsEverything) {
  FreeSpace free;
  free.pieceIs(wholeSpace);
  RandomSource random(1);
  free.take(24, random);
  free.clear();
  EXPECT_DEATH(free.take(24, random), "the plan leaves room");
}

TEST(Block, OverlapsWhatSharesItsFirstBits) {
  const Block block{{0x20010db8, 0, 0, 0}, 32};
  EXPECT_TRUE(block.overlaps({{0x20010000, 0, 0, 0}, 16}));
  EXPECT_TRUE(block.overlaps({{0x20010db8, 7, 0, 0}, 64}));
  EXPECT_TRUE(block.overlaps({{}, 0}));
  EXPECT_FALSE(block.overlaps({{0x20010db9, 0, 0, 0}, 32}));
}

TEST(Block, HalvesMeetInTheMiddle) {
  const Block block{{0, 0, 0, 0}, 32};
  EXPECT_EQ(block.half(false).words, (IpGenAddr::Words{0, 0, 0, 0}));
  EXPECT_EQ(block.half(true).words, (IpGenAddr::Words{0, 0x80000000, 0, 0}));
  EXPECT_EQ(block.half(true).length, 33);
}

}  // namespace
}  // namespace Routing
