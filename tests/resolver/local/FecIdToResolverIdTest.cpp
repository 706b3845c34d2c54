#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "resolver/NexthopResolverLocal.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::Events;
using Support::keyOf;

class FecIdToResolverIdMap : public testing::Test {
 protected:
  void watch() {
    watcher.emplace(*map, [this](FieldId field, const void* key) {
      EXPECT_EQ(field, FecIdToResolverId::fecIdToResolverIdMapField);
      const FecId fecId = keyOf<FecId>(key);
      log.add(std::to_string(fecId) + (map->fecIdToResolverIdMapHas(fecId)
                                           ? " -> " + map->fecIdToResolverIdMap(fecId).stringValue()
                                           : std::string(" removed")));
    });
  }

  Support::EventLog log;
  Ptr<FecIdToResolverId> map = FecIdToResolverId::FecIdToResolverIdIs("v1");
  std::optional<Support::Watcher> watcher;
};

TEST_F(FecIdToResolverIdMap, StartsWithItsVrfAndEmpty) {
  EXPECT_EQ(map->vrfName(), "v1");
  EXPECT_TRUE(map->fecIdToResolverIdMap().empty());
  EXPECT_EQ(fecIdToResolverIdFactory("v2")->vrfName(), "v2");
}

TEST_F(FecIdToResolverIdMap, AnAbsentFecReadsAsResolverIdZero) {
  EXPECT_FALSE(map->fecIdToResolverIdMapHas(12));
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(0));
}

TEST_F(FecIdToResolverIdMap, ANewFecIsPublishedWithItsResolverIdInPlace) {
  watch();
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  EXPECT_EQ(log.take(), (Events{"12 -> 4"}));
}

TEST_F(FecIdToResolverIdMap, TheSameResolverIdAgainPublishesNothing) {
  watch();
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  EXPECT_EQ(log.take(), (Events{"12 -> 4"}));
}

TEST_F(FecIdToResolverIdMap, AnotherResolverIdReplacesAndIsPublished) {
  watch();
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  map->fecIdToResolverIdMapIs(12, ResolverId(5));
  EXPECT_EQ(log.take(), (Events{"12 -> 4", "12 -> 5"}));
  EXPECT_EQ(map->fecIdToResolverIdMap().size(), 1U);
}

TEST_F(FecIdToResolverIdMap, ResolverIdZeroIsAMappingLikeAnyOther) {
  watch();
  map->fecIdToResolverIdMapIs(0, ResolverId(0));
  map->fecIdToResolverIdMapIs(0, ResolverId(0));
  EXPECT_TRUE(map->fecIdToResolverIdMapHas(0));
  EXPECT_EQ(map->fecIdToResolverIdMapDel(0), ResolverId(0));
  EXPECT_EQ(log.take(), (Events{"0 -> 0", "0 removed"}));
}

TEST_F(FecIdToResolverIdMap, RemovingReturnsTheResolverIdAndPublishes) {
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  watch();
  EXPECT_EQ(map->fecIdToResolverIdMapDel(12), ResolverId(4));
  EXPECT_EQ(log.take(), (Events{"12 removed"}));
}

TEST_F(FecIdToResolverIdMap, RemovingAnAbsentFecReturnsZeroAndPublishesNothing) {
  watch();
  EXPECT_EQ(map->fecIdToResolverIdMapDel(12), ResolverId(0));
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(FecIdToResolverIdMap, RemovingAllPublishesEachRemoval) {
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  map->fecIdToResolverIdMapIs(13, ResolverId(5));
  watch();
  map->fecIdToResolverIdMapDelAll();
  EXPECT_EQ(log.take(), (Events{"12 removed", "13 removed"}));
  EXPECT_TRUE(map->fecIdToResolverIdMap().empty());
}

TEST_F(FecIdToResolverIdMap, RemovingAllWithoutSubscribersClears) {
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  map->fecIdToResolverIdMapDelAll();
  EXPECT_TRUE(map->fecIdToResolverIdMap().empty());
}

TEST_F(FecIdToResolverIdMap, ItsEndPublishesNothing) {
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  watch();
  map = nullptr;
  EXPECT_EQ(log.take(), Events{});
  EXPECT_FALSE(watcher->subscribed());
}

TEST_F(FecIdToResolverIdMap, DescribesItsAttributesInDeclarationOrder) {
  map->fecIdToResolverIdMapIs(12, ResolverId(4));
  const TypeData& type = map->typeData();
  EXPECT_EQ(type.name(), "Routing::FecIdToResolverId");
  ASSERT_EQ(type.attributes().size(), 2U);
  EXPECT_EQ(type.attributes()[0].name, "vrfName");
  EXPECT_EQ(type.attributes()[0].value(*map), "v1");
  EXPECT_EQ(type.attributes()[1].name, "fecIdToResolverIdMap");
  EXPECT_EQ(type.attributes()[1].value(*map), "{12}");
}

}  // namespace
}  // namespace Routing
