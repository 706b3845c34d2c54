#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Ptr.h"
#include "tests/platform/entity/TestEntities.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using Support::EventLog;
using Support::Events;

using Numbers = DenseSet<std::uint64_t>;
using Keys = std::vector<std::uint64_t>;

template <class Table>
auto keysOf(const Table& table) {
  std::vector<typename Table::Key> keys;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    keys.push_back(cursor.key());
  }
  return keys;
}

void fill(Numbers& numbers, const Keys& keys) {
  for (const std::uint64_t key : keys) {
    EXPECT_TRUE(numbers.insert(key));
  }
}

TEST(DenseTable, EmptyTableHasNothingAndTakesNoMemory) {
  Numbers numbers;
  EXPECT_TRUE(numbers.empty());
  EXPECT_EQ(numbers.size(), 0U);
  EXPECT_EQ(numbers.memory(), 0U);
  EXPECT_FALSE(numbers.has(1));
  EXPECT_EQ(numbers.find(1), nullptr);
  EXPECT_FALSE(numbers.remove(1));
  EXPECT_TRUE(numbers.cursor().atEnd());
  EXPECT_TRUE(numbers.cursorAt(1).atEnd());
  numbers.clear();
  EXPECT_TRUE(numbers.empty());
}

TEST(DenseTable, AWalkGoesInOrderOfInsertion) {
  Numbers numbers;
  const Keys keys{77, 3, 900, 12, 5, 1, 4000000000U, 2, 8};
  fill(numbers, keys);
  EXPECT_EQ(keysOf(numbers), keys);
  EXPECT_EQ(numbers.size(), keys.size());
}

TEST(DenseTable, AMemberInsertedAgainIsRefusedAndKeepsItsPlace) {
  Numbers numbers;
  fill(numbers, {1, 2, 3});
  EXPECT_FALSE(numbers.insert(2));
  EXPECT_EQ(keysOf(numbers), (Keys{1, 2, 3}));
}

TEST(DenseTable, InsertDoesNotTouchTheValueThatIsThere) {
  DenseMap<std::uint64_t, std::string> map;
  EXPECT_TRUE(map.insert({1, "first"}));
  EXPECT_FALSE(map.insert({1, "second"}));
  EXPECT_EQ(valueOf(map, std::uint64_t{1}), "first");
}

TEST(DenseTable, AReplacedMemberKeepsItsPlace) {
  DenseMap<std::uint64_t, std::string> map;
  EXPECT_TRUE(map.put({1, "one"}));
  EXPECT_TRUE(map.put({2, "two"}));
  EXPECT_TRUE(map.put({3, "three"}));
  EXPECT_FALSE(map.put({2, "deux"}));
  EXPECT_EQ(keysOf(map), (Keys{1, 2, 3}));
  EXPECT_EQ(map.find(2)->value, "deux");
  EXPECT_EQ(map.size(), 3U);
}

TEST(DenseTable, AMemberRemovedAndInsertedAgainGoesToTheEnd) {
  Numbers numbers;
  fill(numbers, {1, 2, 3, 4});
  EXPECT_EQ(numbers.remove(2), 2U);
  EXPECT_FALSE(numbers.has(2));
  EXPECT_EQ(keysOf(numbers), (Keys{1, 3, 4}));
  EXPECT_TRUE(numbers.insert(2));
  EXPECT_EQ(keysOf(numbers), (Keys{1, 3, 4, 2}));
}

TEST(DenseTable, RemoveReturnsTheMember) {
  DenseMap<std::string, std::unique_ptr<int>> map;
  map.insert({"a", std::make_unique<int>(1)});
  const auto removed = map.remove("a");
  ASSERT_TRUE(removed);
  EXPECT_EQ(removed->key, "a");
  EXPECT_EQ(*removed->value, 1);
  EXPECT_FALSE(map.remove("a"));
}

TEST(DenseTable, RemovingByTheKeyInTheTableItselfIsSafe) {
  DenseSet<std::string> names;
  const std::string longName(100, 'n');
  names.insert(longName);
  names.insert("other");
  EXPECT_EQ(names.remove(*names.find(longName)), longName);
  const auto cursor = names.cursor();
  EXPECT_EQ(names.remove(cursor.key()), "other");
  EXPECT_TRUE(names.empty());
}

TEST(DenseTable, OrderHoldsThroughGrowthHolesAndCompaction) {
  Numbers numbers;
  Keys expected;
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key * 7919);
  }
  for (std::uint64_t key = 0; key < 1000; ++key) {
    if (key % 5 == 0) {
      expected.push_back(key * 7919);
    } else {
      EXPECT_TRUE(numbers.remove(key * 7919));
    }
  }
  EXPECT_EQ(keysOf(numbers), expected);
  for (const std::uint64_t key : expected) {
    EXPECT_TRUE(numbers.has(key)) << key;
  }
}

TEST(DenseTable, ClearRemovesEveryMember) {
  Numbers numbers;
  fill(numbers, {1, 2, 3});
  numbers.clear();
  EXPECT_TRUE(numbers.empty());
  EXPECT_FALSE(numbers.has(1));
  EXPECT_EQ(numbers.memory(), 0U);
  fill(numbers, {3, 1});
  EXPECT_EQ(keysOf(numbers), (Keys{3, 1}));
}

TEST(DenseTable, ValueOfAnAbsentKeyIsTheDefault) {
  DenseMap<std::uint64_t, Ptr<Support::Shape>> shapes;
  DenseMap<std::uint64_t, int> numbers;
  EXPECT_EQ(valueOf(shapes, std::uint64_t{1}), nullptr);
  EXPECT_EQ(valueOf(numbers, std::uint64_t{1}), 0);
}

TEST(DenseTable, FindGivesTheMemberToChange) {
  DenseMap<std::uint64_t, int> map;
  map.insert({1, 10});
  map.find(1)->value = 11;
  EXPECT_EQ(valueOf(map, std::uint64_t{1}), 11);
}

// Members that carry their key, returned by reference or by value.
struct Numbered {
  std::uint64_t number;
  std::string text;
};
struct NumberByValue {
  static std::uint64_t key(const Numbered& member) noexcept { return member.number; }
};

TEST(DenseTable, TheKeyOfAMemberMayBeComputed) {
  DenseTable<Numbered, NumberByValue> table;
  table.insert({2, "two"});
  table.insert({1, "one"});
  EXPECT_EQ(keysOf(table), (Keys{2, 1}));
  EXPECT_EQ(table.find(1)->text, "one");
  EXPECT_EQ(table.remove(table.cursor().key())->text, "two");
}

struct alignas(64) Wide {
  std::uint64_t number = 0;
};
struct NumberOfWide {
  static const std::uint64_t& key(const Wide& member) noexcept { return member.number; }
};

TEST(DenseTable, MembersAreAlignedAsTheirTypeAsks) {
  DenseTable<Wide, NumberOfWide> table;
  for (std::uint64_t number = 0; number < 20; ++number) {
    table.insert({number});
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table.find(number)) % alignof(Wide), 0U);
  }
}

struct Single {
  std::uint8_t byte = 0;
  std::uint32_t hash(std::uint32_t seed) const noexcept { return seed + byte; }
  friend bool operator==(const Single&, const Single&) = default;
};

TEST(DenseTable, MembersOfOneByteLeaveTheIndexAligned) {
  DenseSet<Single> set;
  for (std::uint8_t byte = 0; byte < 250; ++byte) {
    EXPECT_TRUE(set.insert({byte}));
  }
  for (std::uint8_t byte = 0; byte < 250; ++byte) {
    EXPECT_TRUE(set.has({byte}));
  }
}

// Keys that all share their hash, or share it but for its low or its high bits.
struct AllCollide {
  static constexpr std::uint32_t mask = 0;
};
struct LowBitsOnly {
  static constexpr std::uint32_t mask = 0x7U;
};
struct HighBitsOnly {
  static constexpr std::uint32_t mask = 0xff000000U;
};

template <class Spread>
struct Colliding {
  std::uint32_t number = 0;
  std::uint32_t hash(std::uint32_t /*seed*/) const noexcept {
    return number * 0x01010101U & Spread::mask;
  }
  friend bool operator==(const Colliding&, const Colliding&) = default;
};

template <class Spread>
class DenseTableCollisions : public testing::Test {};
using Spreads = testing::Types<AllCollide, LowBitsOnly, HighBitsOnly>;
TYPED_TEST_SUITE(DenseTableCollisions, Spreads);

TYPED_TEST(DenseTableCollisions, EveryKeyIsFoundUntilItIsRemoved) {
  constexpr std::uint32_t count = 200;
  DenseSet<Colliding<TypeParam>> set;
  for (std::uint32_t number = 0; number < count; ++number) {
    EXPECT_TRUE(set.insert({number}));
    EXPECT_FALSE(set.insert({number}));
  }
  for (std::uint32_t number = 0; number < count; number += 3) {
    EXPECT_TRUE(set.remove({number}));
  }
  for (std::uint32_t number = 0; number < 2 * count; ++number) {
    EXPECT_EQ(set.has({number}), number < count && number % 3 != 0) << number;
  }
}

TYPED_TEST(DenseTableCollisions, ATableThatIsAlwaysFullEndsItsSearches) {
  DenseSet<Colliding<TypeParam>> set;
  for (std::uint32_t number = 0; number < 20000; ++number) {
    ASSERT_TRUE(set.insert({number}));
    ASSERT_FALSE(set.has({number + 1}));
    if (number >= 6) {
      ASSERT_TRUE(set.remove({number - 6}));
    }
  }
  EXPECT_EQ(set.size(), 6U);
}

// A member whose end is seen, and may do something.
class Ending : public Support::Mortal {
 public:
  Ending(std::string name, EventLog& log, std::function<void()> atEnd)
      : Mortal(std::move(name), log), atEnd_(std::move(atEnd)) {}
  ~Ending() override { atEnd_(); }

 private:
  std::function<void()> atEnd_;
};
using Endings = DenseMap<std::uint64_t, Ptr<Ending>>;

class DenseTableReentry : public testing::Test {
 protected:
  EventLog log;
  std::unique_ptr<Endings> table = std::make_unique<Endings>();

  void insert(std::uint64_t key, std::function<void()> atEnd) {
    table->insert({key, makeEntity<Ending>(std::to_string(key), log, std::move(atEnd))});
  }
  std::string keys() const {
    std::string text;
    for (const std::uint64_t key : keysOf(*table)) {
      text += std::to_string(key) + " ";
    }
    return text;
  }
};

TEST_F(DenseTableReentry, AReplacedMemberEndsAfterTheTableIsInOrder) {
  insert(1, [this] { log.add("keys " + keys()); });
  insert(2, [] {});
  table->put({1, makeEntity<Ending>("new", log, [] {})});
  EXPECT_EQ(log.take(), (Events{"keys 1 2 ", "1 ends"}));
}

TEST_F(DenseTableReentry, ARemovedMemberEndsAfterTheTableIsInOrder) {
  insert(1, [this] {
    log.add("keys " + keys());
    insert(3, [] {});
  });
  insert(2, [] {});
  table->remove(1);
  EXPECT_EQ(log.take(), (Events{"keys 2 ", "1 ends"}));
  EXPECT_EQ(keys(), "2 3 ");
}

TEST_F(DenseTableReentry, MembersThatEndInAClearFindAnEmptyTable) {
  insert(1, [this] { log.add("keys " + keys()); });
  insert(2, [this] { table->remove(1); });
  table->clear();
  EXPECT_EQ(log.take(), (Events{"keys ", "1 ends", "2 ends"}));
}

TEST_F(DenseTableReentry, WhatAnEndingMemberInsertsDuringAClearStays) {
  insert(1, [this] { insert(3, [] {}); });
  insert(2, [] {});
  table->clear();
  EXPECT_EQ(keys(), "3 ");
}

TEST_F(DenseTableReentry, WhatAnEndingMemberInsertsDuringAClearInAWalkStays) {
  insert(1, [this] { insert(3, [] {}); });
  insert(2, [] {});
  {
    const auto walk = table->cursor();
    table->clear();
  }
  EXPECT_EQ(keys(), "3 ");
}

TEST_F(DenseTableReentry, AWalkThatAnEndingMemberClosesDoesNotDisturbTheClear) {
  auto walk = std::unique_ptr<Endings::Cursor>(new Endings::Cursor(table->cursor()));
  for (std::uint64_t key = 0; key < 50; ++key) {
    insert(key, [&walk, key] {
      if (key == 40) {
        walk.reset();
      }
    });
  }
  table->clear();
  EXPECT_TRUE(table->empty());
  EXPECT_EQ(log.take().size(), 50U);
}

TEST_F(DenseTableReentry, WhatAnEndingMemberInsertsIntoAnEndingTableEndsWithIt) {
  insert(1, [this, again = table.get()] {
    again->insert({3, makeEntity<Ending>("3", log, [] {})});
  });
  table.reset();
  EXPECT_EQ(log.take(), (Events{"1 ends", "3 ends"}));
}

TEST_F(DenseTableReentry, TheTableMayEndWithAMemberOfItsOwnClear) {
  insert(1, [this] { table.reset(); });
  insert(2, [] {});
  table->clear();
  EXPECT_EQ(log.take(), (Events{"1 ends", "2 ends"}));
}

TEST_F(DenseTableReentry, TheTableMayEndWithAMemberOfItsOwnClearInAWalk) {
  insert(1, [this] { table.reset(); });
  insert(2, [] {});
  const auto walk = table->cursor();
  table->clear();
  EXPECT_TRUE(walk.atEnd());
  EXPECT_EQ(log.take(), (Events{"2 ends", "1 ends"}));
}

}  // namespace
}  // namespace Routing
