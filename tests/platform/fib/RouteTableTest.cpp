#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <string>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"
#include "platform/fib/RouteTable.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Fib::Route;
using Support::Events;
using testing::HasSubstr;
using testing::KilledBySignal;

TEST(Route, TheDefaultValueHasNoFecMetricZeroPreferenceOneAndTypeZero) {
  constexpr Route route;
  EXPECT_EQ(route.fecId(), 0U);
  EXPECT_EQ(route.metricPref(), std::uint64_t{1} << 32U);
  EXPECT_EQ(route.routeType(), 0U);
  EXPECT_TRUE(route.isEq(Route(0, 0, 1, 0)));
}

TEST(Route, MetricIsTheLowHalfOfMetricPrefAndPreferenceTheNextByte) {
  EXPECT_EQ(Route(0, 0x89abcdef, 0x42, 0xff).metricPref(), 0x4289abcdefULL);
  EXPECT_EQ(Route(0, std::numeric_limits<std::uint32_t>::max(), 0, 0).metricPref(), 0xffffffffULL);
  EXPECT_EQ(Route(0, 0, 255, 0).metricPref(), 0xff00000000ULL);
}

TEST(Route, KeepsWhatItIsMadeOf) {
  constexpr Route route(0xfedcba9876543210, 7, 20, 9);
  EXPECT_EQ(route.fecId(), 0xfedcba9876543210U);
  EXPECT_EQ(route.routeType(), 9U);
}

TEST(Route, IsEqComparesEveryField) {
  constexpr Route route(1, 2, 3, 4);
  EXPECT_TRUE(route.isEq(Route(1, 2, 3, 4)));
  EXPECT_FALSE(route.isEq(Route(9, 2, 3, 4)));
  EXPECT_FALSE(route.isEq(Route(1, 9, 3, 4)));
  EXPECT_FALSE(route.isEq(Route(1, 2, 9, 4)));
  EXPECT_FALSE(route.isEq(Route(1, 2, 3, 9)));
}

// The texts of one family: the default prefix, one inside it, a longer one, and one of the other.
struct Ipv4Table {
  using Key = Prefix;
  static constexpr const char* all = "0.0.0.0/0";
  static constexpr const char* wide = "10.0.0.0/8";
  static constexpr const char* narrow = "10.1.0.0/16";
  static constexpr const char* otherFamily = "2001:db8::/32";
  static constexpr const char* typeName = "Routing::Fib::MemoryRouteStatus";
};
struct Ipv6Table {
  using Key = Ip6Prefix;
  static constexpr const char* all = "::/0";
  static constexpr const char* wide = "2001:db8::/32";
  static constexpr const char* narrow = "2001:db8:1::/48";
  static constexpr const char* otherFamily = "10.0.0.0/8";
  static constexpr const char* typeName = "Routing::Fib6::MemoryRouteStatus";
};

template <class Family>
class RouteTable : public testing::Test {
 protected:
  using Key = typename Family::Key;

  static Key key(const char* text) { return Key(IpGenPrefix::parse(text).value()); }
  void logChanges() {
    watcher.emplace(*table, [this](FieldId field, const void* changed) {
      log.add((field == RouteStatusOf<Key>::routeField ? "route " : "other ") +
              Support::keyOf<Key>(changed).stringValue());
    });
  }

  const Key all = key(Family::all);
  const Key wide = key(Family::wide);
  const Key narrow = key(Family::narrow);
  const Route first{11, 1, 2, 3};
  const Route second{12, 4, 5, 6};
  Ptr<MemoryRouteStatus<Key>> table = makeEntity<MemoryRouteStatus<Key>>();
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};
template <class Family>
using RouteTableDeathTest = RouteTable<Family>;

struct FamilyNames {
  template <class Family>
  // NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest calls
  static std::string GetName(int) {
    return std::is_same_v<Family, Ipv4Table> ? "Ipv4" : "Ipv6";
  }
};
using Families = testing::Types<Ipv4Table, Ipv6Table>;
TYPED_TEST_SUITE(RouteTable, Families, FamilyNames);
TYPED_TEST_SUITE(RouteTableDeathTest, Families, FamilyNames);

TYPED_TEST(RouteTable, AnAbsentRouteReadsAsTheDefaultValue) {
  EXPECT_TRUE(this->table->route(this->wide).isEq(Route()));
  this->table->routeIs(this->wide, this->first);
  EXPECT_TRUE(this->table->route(this->narrow).isEq(Route()));
  EXPECT_FALSE(this->table->routeHas(this->narrow));
}

TYPED_TEST(RouteTable, ARouteIsFoundUnderExactlyItsPrefix) {
  this->table->routeIs(this->all, this->first);
  this->table->routeIs(this->narrow, this->second);
  EXPECT_TRUE(this->table->route(this->all).isEq(this->first));
  EXPECT_TRUE(this->table->route(this->narrow).isEq(this->second));
  EXPECT_TRUE(this->table->route(this->wide).isEq(Route()));
  EXPECT_EQ(this->table->routeCount(), 2U);
}

TYPED_TEST(RouteTable, PrefixesThatDifferInLengthAloneAreDifferentKeys) {
  const typename TypeParam::Key longer(IpGenPrefix(this->all.genPrefix().address(), 1));
  this->table->routeIs(this->all, this->first);
  EXPECT_TRUE(this->table->route(longer).isEq(Route()));
  this->table->routeIs(longer, this->second);
  EXPECT_TRUE(this->table->route(this->all).isEq(this->first));
}

TYPED_TEST(RouteTable, TheUnsetKeyFindsNothingEvenWithADefaultRouteStored) {
  this->table->routeIs(this->all, this->first);
  const typename TypeParam::Key unset{IpGenPrefix()};
  EXPECT_TRUE(unset.validAsPrefix());
  EXPECT_FALSE(this->table->routeHas(unset));
  EXPECT_TRUE(this->table->route(unset).isEq(Route()));
}

TYPED_TEST(RouteTable, AKeyOfTheOtherFamilyFindsNothing) {
  this->table->routeIs(this->all, this->first);
  const auto other = this->key(TypeParam::otherFamily);
  EXPECT_FALSE(other.validAsPrefix());
  EXPECT_TRUE(this->table->route(other).isEq(Route()));
}

TYPED_TEST(RouteTable, WritingPublishesThePrefixAfterEachChangeAlsoWhenNothingDiffers) {
  this->logChanges();
  this->table->routeIs(this->wide, this->first);
  this->table->routeIs(this->wide, this->second);
  this->table->routeIs(this->wide, this->second);
  const std::string event = std::string("route ") + TypeParam::wide;
  EXPECT_EQ(this->log.take(), (Events{event, event, event}));
  EXPECT_EQ(this->table->routeCount(), 1U);
}

TYPED_TEST(RouteTable, WhoeverIsNotifiedFindsTheTableAsItWillStand) {
  const Support::Watcher reader(*this->table, [this](FieldId, const void* changed) {
    const auto prefix = Support::keyOf<typename TypeParam::Key>(changed);
    this->log.add("fec " + std::to_string(this->table->route(prefix).fecId()));
  });
  this->table->routeIs(this->wide, this->first);
  this->table->routeIs(this->wide, this->second);
  this->table->routeDel(this->wide);
  EXPECT_EQ(this->log.take(), (Events{"fec 11", "fec 12", "fec 0"}));
}

TYPED_TEST(RouteTable, RemovingPublishesOnceAndTellsWhetherThereWasARoute) {
  this->table->routeIs(this->wide, this->first);
  this->logChanges();
  EXPECT_FALSE(this->table->routeDel(this->narrow));
  EXPECT_EQ(this->log.take(), Events{});
  EXPECT_TRUE(this->table->routeDel(this->wide));
  EXPECT_FALSE(this->table->routeDel(this->wide));
  EXPECT_EQ(this->log.take(), (Events{std::string("route ") + TypeParam::wide}));
  EXPECT_EQ(this->table->routeCount(), 0U);
}

TYPED_TEST(RouteTable, ACorruptKeyThrowsUntilItIsStored) {
  this->table->routeIs(this->wide, this->first);
  this->table->routeIs(this->narrow, this->second);
  this->table->corruptIs(this->wide);
  EXPECT_THROW(this->table->route(this->wide), RangeError);
  EXPECT_THROW(this->table->route(this->wide), RangeError);
  EXPECT_TRUE(this->table->route(this->narrow).isEq(this->second));
  this->table->routeIs(this->wide, this->second);
  EXPECT_TRUE(this->table->route(this->wide).isEq(this->second));
}

TYPED_TEST(RouteTable, ACorruptKeyThrowsUntilItIsRemoved) {
  this->table->corruptIs(this->wide);
  EXPECT_THROW(this->table->route(this->wide), RangeError);
  this->logChanges();
  EXPECT_FALSE(this->table->routeDel(this->wide));
  EXPECT_EQ(this->log.take(), Events{});
  EXPECT_TRUE(this->table->route(this->wide).isEq(Route()));
}

TYPED_TEST(RouteTable, ANotifieeReadsTheHealedKey) {
  this->table->corruptIs(this->wide);
  const Support::Watcher reader(*this->table, [this](FieldId, const void*) {
    this->log.add(this->table->route(this->wide).isEq(this->first) ? "healed" : "another");
  });
  this->table->routeIs(this->wide, this->first);
  EXPECT_EQ(this->log.take(), Events{"healed"});
}

TYPED_TEST(RouteTable, AReadOfACorruptKeyNamesThePrefixAndCallsNoHook) {
  this->table->corruptionHookIs([this](const String& message) { this->log.add(message); });
  this->table->corruptIs(this->wide);
  try {
    this->table->route(this->wide);
    FAIL() << "read a corrupt key";
  } catch (const RangeError& error) {
    EXPECT_THAT(error.what(), HasSubstr(TypeParam::wide));
  }
  EXPECT_EQ(this->log.take(), Events{});
}

TYPED_TEST(RouteTable, TheHookGetsTheMessage) {
  this->table->doCorruptionDetected("nobody listens");
  this->table->corruptionHookIs([this](const String& message) { this->log.add(message); });
  const Ptr<const RouteStatusOf<typename TypeParam::Key>> asReader = this->table;
  asReader->doCorruptionDetected("checksum of slot 7");
  EXPECT_EQ(this->log.take(), Events{"checksum of slot 7"});
}

TYPED_TEST(RouteTable, TellsAheadWhatARouteReadsAs) {
  EXPECT_TRUE(this->table->routeHint(this->wide).isEq(Route()));
  this->table->routeIs(this->wide, this->first);
  EXPECT_TRUE(this->table->routeHint(this->wide).isEq(this->first));
  EXPECT_TRUE(this->table->routeHint(this->narrow).isEq(Route()));
  this->table->routeIs(this->wide, this->second);
  EXPECT_TRUE(this->table->routeHint(this->wide).isEq(this->second));
  this->table->routeDel(this->wide);
  EXPECT_TRUE(this->table->routeHint(this->wide).isEq(Route()));
}

TYPED_TEST(RouteTable, HintsOfACorruptKeyNeitherThrowNorCallTheHookNorHealIt) {
  this->table->routeIs(this->wide, this->first);
  this->table->corruptionHookIs([this](const String& message) { this->log.add(message); });
  this->table->corruptIs(this->wide);
  this->logChanges();
  this->table->prefetchFar(this->wide);
  this->table->prefetchNear(this->wide);
  static_cast<void>(this->table->routeHint(this->wide));
  EXPECT_EQ(this->log.take(), Events{});
  EXPECT_THROW(this->table->route(this->wide), RangeError);
  EXPECT_EQ(this->table->routeCount(), 1U);
}

// A table that offers no more than it must.
template <class Key>
class PlainTable final : public RouteStatusOf<Key> {
 public:
  Route route(const Key& /*prefix*/) const override { return {11, 1, 2, 3}; }
  void doCorruptionDetected(const String& /*message*/) const override {}
  const TypeData& typeData() const override {
    static const TypeData type("PlainTable");
    return type;
  }
};

TYPED_TEST(RouteTable, ATableNeedNotTellAnythingAhead) {
  const Ptr<RouteStatusOf<typename TypeParam::Key>> plain =
      makeEntity<PlainTable<typename TypeParam::Key>>();
  plain->prefetchFar(this->wide);
  plain->prefetchNear(this->wide);
  EXPECT_TRUE(plain->routeHint(this->wide).isEq(Route()));
  EXPECT_TRUE(plain->route(this->wide).isEq(this->first));
}

TYPED_TEST(RouteTable, TypeDataCountsTheRoutes) {
  this->table->routeIs(this->wide, this->first);
  const TypeData& type = this->table->typeData();
  EXPECT_EQ(type.name(), TypeParam::typeName);
  ASSERT_EQ(type.attributes().size(), 1U);
  EXPECT_EQ(type.attributes()[0].name, "routes");
  EXPECT_EQ(type.attributes()[0].value(*this->table), "1");
}

TYPED_TEST(RouteTableDeathTest, OnlyAPrefixOfTheTablesFamilyCanBeStored) {
  const typename TypeParam::Key unset{IpGenPrefix()};
  const auto text = HasSubstr("a route stands under a prefix of the table's family");
  EXPECT_EXIT(this->table->routeIs(unset, this->first), KilledBySignal(SIGABRT), text);
  EXPECT_EXIT(this->table->routeIs(this->key(TypeParam::otherFamily), this->first),
              KilledBySignal(SIGABRT),
              text);
}

}  // namespace
}  // namespace Routing
