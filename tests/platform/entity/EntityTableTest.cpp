#include <gtest/gtest.h>

#include <string>

#include "platform/entity/EntityTable.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"
#include "tests/platform/entity/TestEntities.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using Support::EventLog;
using Table = EntityTable<Support::Mortal, &Support::Mortal::name>;

std::string nameOf(int number) { return "an entity with a long name " + std::to_string(number); }

TEST(EntityTable, FindsEachEntityByTheKeyThatItCarries) {
  EventLog log;
  Table table;
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(table.insert({makeEntity<Support::Mortal>(nameOf(i), log)}));
  }
  for (int i = 0; i < 100; i += 2) {
    EXPECT_EQ(table.remove(nameOf(i))->value->name(), nameOf(i));
  }
  for (int i = 0; i < 100; ++i) {
    const Ptr<Support::Mortal> found = valueOf(table, nameOf(i));
    EXPECT_EQ(found ? found->name() : "", i % 2 == 0 ? "" : nameOf(i));
  }
}

TEST(EntityTable, ReplacesTheEntityOfTheSameKeyInItsPlace) {
  EventLog log;
  Table table;
  const auto first = makeEntity<Support::Mortal>("a", log);
  const auto second = makeEntity<Support::Mortal>("a", log);
  table.put({first});
  table.put({makeEntity<Support::Mortal>("b", log)});
  EXPECT_FALSE(table.put({second}));
  EXPECT_FALSE(table.insert({first}));
  EXPECT_EQ(valueOf(table, "a"), second);
  EXPECT_EQ(table.cursor().key(), "a");
}

TEST(EntityTable, ReleasesWhatItHeldAlsoDuringAWalk) {
  const auto before = TypeData::liveEntities();
  EventLog log;
  Table table;
  for (int i = 0; i < 20; ++i) {
    table.insert({makeEntity<Support::Mortal>(nameOf(i), log)});
  }
  EXPECT_EQ(TypeData::liveEntities(), before + 20);
  // The key that is asked for goes with the entity.
  table.remove(table.find(nameOf(3))->value->name());
  EXPECT_EQ(TypeData::liveEntities(), before + 19);
  const auto walk = table.cursor();
  table.clear();
  EXPECT_EQ(TypeData::liveEntities(), before);
  EXPECT_TRUE(table.empty());
}

}  // namespace
}  // namespace Routing
