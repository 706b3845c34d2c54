#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>

#include "records/ResolverId.h"

namespace Routing {
namespace {

constexpr std::uint64_t maxCounter = (std::uint64_t{1} << 56U) - 1;

TEST(ResolverIdTest, TheUpperEightBitsAreInformationTheRestTheCounter) {
  EXPECT_EQ(ResolverId::informationBits, 0xff00000000000000U);
  EXPECT_EQ(ResolverId::maxResId, maxCounter);
  EXPECT_EQ(ResolverId::informationBits ^ ResolverId::maxResId,
            std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(ResolverId::firstCounterValue, 4U);
}

TEST(ResolverIdTest, StrippingTheInformationBitsLeavesTheCounterPart) {
  EXPECT_EQ(ResolverId(0xab00000000000007).stripInformationBits(), 7U);
  EXPECT_EQ(ResolverId(0x0123456789abcdef).stripInformationBits(), 0x23456789abcdefU);
  EXPECT_EQ(ResolverId(maxCounter).stripInformationBits(), maxCounter);
  EXPECT_EQ(ResolverId(maxCounter + 1).stripInformationBits(), 0U);
  EXPECT_EQ(ResolverId(std::numeric_limits<std::uint64_t>::max()).stripInformationBits(),
            maxCounter);
  EXPECT_EQ(ResolverId().stripInformationBits(), 0U);
}

TEST(ResolverIdTest, StrippingLeavesTheIdentifierItselfWhole) {
  const ResolverId id(0xab00000000000007);
  static_cast<void>(id.stripInformationBits());
  EXPECT_EQ(id.value(), 0xab00000000000007U);
}

TEST(ResolverIdTest, ZeroToThreeStandForReservedFecIds) {
  for (std::uint64_t value = 0; value <= 3; ++value) {
    EXPECT_TRUE(ResolverId(value).isResIdForReservedFecId()) << value;
    EXPECT_TRUE(isReservedFecId(value)) << value;
  }
}

TEST(ResolverIdTest, NoCounterValueStandsForAReservedFecId) {
  EXPECT_FALSE(ResolverId(4).isResIdForReservedFecId());
  EXPECT_FALSE(ResolverId(5).isResIdForReservedFecId());
  EXPECT_FALSE(ResolverId(maxCounter).isResIdForReservedFecId());
}

TEST(ResolverIdTest, ReservedIsJudgedByTheWholeValueInformationBitsIncluded) {
  EXPECT_FALSE(ResolverId(0x0100000000000000).isResIdForReservedFecId());
  EXPECT_FALSE(ResolverId(0xff00000000000003).isResIdForReservedFecId());
  EXPECT_FALSE(isReservedFecId(0x0100000000000000));
  EXPECT_FALSE(isReservedFecId(4));
}

TEST(ResolverIdTest, ComparesByTheWholeValue) {
  EXPECT_EQ(ResolverId(7), ResolverId(7));
  EXPECT_NE(ResolverId(7), ResolverId(0x0100000000000007));
  EXPECT_LT(ResolverId(7), ResolverId(8));
  EXPECT_LT(ResolverId(8), ResolverId(0x0100000000000007));
  EXPECT_LE(ResolverId(8), ResolverId(8));
}

TEST(ResolverIdTest, EqualIdentifiersHashAlikeAndTheSeedCounts) {
  EXPECT_EQ(ResolverId(7).hash(1), ResolverId(7).hash(1));
  EXPECT_NE(ResolverId(7).hash(1), ResolverId(7).hash(2));
  EXPECT_NE(ResolverId(7).hash(1), ResolverId(0x0100000000000007).hash(1));
}

TEST(ResolverIdTest, IsPrintedAndReadAsAnUnsignedNumberOf64Bits) {
  EXPECT_EQ(ResolverId(0).stringValue(), "0");
  EXPECT_EQ(ResolverId(0xff00000000000004).stringValue(), "18374686479671623684");
  EXPECT_EQ(ResolverId::parse("18374686479671623684"), ResolverId(0xff00000000000004));
  EXPECT_EQ(ResolverId::parse("0x10"), ResolverId(16));
  EXPECT_EQ(ResolverId::parse("18446744073709551616"), std::nullopt);
  EXPECT_EQ(ResolverId::parse("-1"), std::nullopt);
  EXPECT_EQ(ResolverId::parse(""), std::nullopt);
  EXPECT_EQ(ResolverId::parse("7 "), std::nullopt);
}

}  // namespace
}  // namespace Routing
