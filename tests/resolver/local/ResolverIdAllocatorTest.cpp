#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "resolver/NexthopResolverLocal.h"

namespace Routing {
namespace {

constexpr std::uint64_t ordinaryFec = 100;

TEST(ResolverIdAllocator, StartsAtWhatItIsGiven) {
  EXPECT_EQ(ResolverIdAllocator::ResolverIdAllocatorIs(ResolverId(3))->currentId(), ResolverId(3));
  EXPECT_EQ(resolverIdAllocatorFactory(ResolverId(9))->currentId(), ResolverId(9));
  EXPECT_EQ(ResolverIdAllocator::maxResId, ResolverId(0x00ffffffffffffff));
}

TEST(ResolverIdAllocator, AStartAtThreeHandsOutFourFirst) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  EXPECT_EQ(allocator->newId(ordinaryFec), ResolverId(4));
  EXPECT_EQ(allocator->newId(ordinaryFec), ResolverId(5));
  EXPECT_EQ(allocator->newId(ordinaryFec + 1), ResolverId(6));
  EXPECT_EQ(allocator->currentId(), ResolverId(6));
}

TEST(ResolverIdAllocator, AReservedFecIdKeepsItsNumberAndTakesNoCounterValue) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  for (const FecId fecId : {0U, 1U, 2U, 3U}) {
    EXPECT_EQ(allocator->newId(fecId), ResolverId(fecId));
    EXPECT_EQ(allocator->currentId(), ResolverId(3));
  }
  EXPECT_EQ(allocator->newId(4), ResolverId(4));
}

TEST(ResolverIdAllocator, TheFecIdsTopByteBecomesTheInformationBits) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  EXPECT_EQ(allocator->newId(0x1234567812345678), ResolverId(0x1200000000000004));
  EXPECT_EQ(allocator->newId(0xff00000000000000), ResolverId(0xff00000000000005));
  EXPECT_EQ(allocator->currentId(), ResolverId(5));
}

TEST(ResolverIdAllocator, AFecIdIsReservedByItsWholeValue) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  EXPECT_EQ(allocator->newId(0x1200000000000002), ResolverId(0x1200000000000004));
}

TEST(ResolverIdAllocator, TheLastCounterValueIsHandedOut) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(0x00fffffffffffffe));
  EXPECT_EQ(allocator->newId(ordinaryFec), ResolverId(0x00ffffffffffffff));
}

TEST(ResolverIdAllocator, CurrentIdCanBeSetAndAdvanced) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  allocator->currentIdIs(ResolverId(20));
  EXPECT_EQ(allocator->newId(ordinaryFec), ResolverId(21));
  allocator->currentIdInc(ResolverId(9));
  EXPECT_EQ(allocator->currentId(), ResolverId(30));
  EXPECT_EQ(allocator->newId(ordinaryFec), ResolverId(31));
}

TEST(ResolverIdAllocatorDeathTest, AUsedUpCounterStopsTheProcessForAReservedFecIdToo) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(0x00ffffffffffffff));
  constexpr const char* text =
      ": newId: Assertion \"0 && \"ran out of ResolverId space\"\" failed.\n";
  EXPECT_EXIT(allocator->newId(ordinaryFec),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr(text));
  EXPECT_EXIT(allocator->newId(0), testing::KilledBySignal(SIGABRT), testing::HasSubstr(text));
}

TEST(ResolverIdAllocator, DescribesItsAttributes) {
  const auto allocator = resolverIdAllocatorFactory(ResolverId(3));
  const TypeData& type = allocator->typeData();
  EXPECT_EQ(type.name(), "Routing::ResolverIdAllocator");
  ASSERT_EQ(type.attributes().size(), 1U);
  EXPECT_EQ(type.attributes()[0].name, "currentId");
  EXPECT_EQ(type.attributes()[0].value(*allocator), "3");
}

}  // namespace
}  // namespace Routing
