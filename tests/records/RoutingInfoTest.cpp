#include <gtest/gtest.h>

#include <string>

#include "platform/entity/Dir.h"
#include "records/RoutingInfo.h"
#include "tests/records/RecordSupport.h"

namespace Routing {
namespace {

using Support::Events;

struct Ipv4Record {
  using Record = RoutingInfo;
  static constexpr const char* typeName = "Routing::RoutingInfo";
};
struct Ipv6Record {
  using Record = Routing6::RoutingInfo;
  static constexpr const char* typeName = "Routing::Routing6::RoutingInfo";
};

template <class Family>
class RoutingInfoTest : public testing::Test {};
struct FamilyNames {
  template <class Family>
  // NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest calls
  static std::string GetName(int) {
    return std::is_same_v<Family, Ipv4Record> ? "Ipv4" : "Ipv6";
  }
};
using Families = testing::Types<Ipv4Record, Ipv6Record>;
TYPED_TEST_SUITE(RoutingInfoTest, Families, FamilyNames);

TYPED_TEST(RoutingInfoTest, HasTheFlagThatItIsMadeWith) {
  using Record = typename TypeParam::Record;
  EXPECT_TRUE(makeEntity<Record>(true)->routingEnabled());
  EXPECT_FALSE(makeEntity<Record>(false)->routingEnabled());
}

TYPED_TEST(RoutingInfoTest, EveryWritePublishesWithoutAKeyAlsoOneThatChangesNothing) {
  using Record = typename TypeParam::Record;
  const auto info = makeEntity<Record>(false);
  Support::EventLog log;
  const Support::Watcher watcher(*info, [&](FieldId field, const void* key) {
    const bool expected = field == Record::routingEnabledField && key == nullptr;
    log.add((expected ? "enabled " : "other ") + readableText(info->routingEnabled()));
  });
  info->routingEnabledIs(true);
  info->routingEnabledIs(true);
  info->routingEnabledIs(false);
  EXPECT_EQ(log.take(), (Events{"enabled true", "enabled true", "enabled false"}));
}

TYPED_TEST(RoutingInfoTest, NoRecordReadsAsRoutingDisabled) {
  using Record = typename TypeParam::Record;
  EXPECT_FALSE(routingEnabled(Ptr<const Record>()));
  EXPECT_FALSE(routingEnabled(Ptr<const Record>(makeEntity<Record>(false))));
  EXPECT_TRUE(routingEnabled(Ptr<const Record>(makeEntity<Record>(true))));
}

TYPED_TEST(RoutingInfoTest, TypeDataTellsItsAttribute) {
  using Record = typename TypeParam::Record;
  const auto info = makeEntity<Record>(true);
  EXPECT_EQ(info->typeData().name(), TypeParam::typeName);
  EXPECT_EQ(Support::attributesOf(*info), Events{"routingEnabled=true"});
}

TEST(RoutingInfoFamilies, TheRecordOfOneFamilyIsNeverTakenForTheOthers) {
  const Ptr<Entity> ipv4 = makeEntity<RoutingInfo>(true);
  const Ptr<Entity> ipv6 = makeEntity<Routing6::RoutingInfo>(true);
  EXPECT_TRUE(ptrCast<RoutingInfo>(ipv4));
  EXPECT_FALSE(ptrCast<Routing6::RoutingInfo>(ipv4));
  EXPECT_TRUE(ptrCast<Routing6::RoutingInfo>(ipv6));
  EXPECT_FALSE(ptrCast<RoutingInfo>(ipv6));
}

TEST(RoutingInfoFamilies, ARecordOfTheOtherFamilyInADirectoryReadsAsNone) {
  const auto dir = makeEntity<Dir>("routing");
  dir->entityIs("v1", makeEntity<Routing6::RoutingInfo>(true));
  EXPECT_FALSE(routingEnabled(Ptr<const RoutingInfo>(entityOf<RoutingInfo>(*dir, "v1"))));
  EXPECT_TRUE(routingEnabled(
      Ptr<const Routing6::RoutingInfo>(entityOf<Routing6::RoutingInfo>(*dir, "v1"))));
}

}  // namespace
}  // namespace Routing
