// What a table costs, and what it does when there is no memory.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/entity/DenseTable.h"
#include "tests/support/Allocations.h"

namespace Routing {
namespace {

using Numbers = DenseSet<std::uint64_t>;
using Keys = std::vector<std::uint64_t>;

Keys keysOf(const Numbers& numbers) {
  Keys keys;
  for (auto cursor = numbers.cursor(); !cursor.atEnd(); cursor.next()) {
    keys.push_back(cursor.key());
  }
  return keys;
}

// Counts how often any of its kind is moved.
struct Moved {
  explicit Moved(std::uint64_t value) noexcept : number(value) {}
  Moved(const Moved&) = delete;
  Moved(Moved&& other) noexcept : number(other.number) { ++moves; }
  Moved& operator=(const Moved&) = delete;
  Moved& operator=(Moved&& other) noexcept {
    number = other.number;
    ++moves;
    return *this;
  }
  ~Moved() = default;

  std::uint64_t number;
  static std::uint64_t moves;
};
std::uint64_t Moved::moves = 0;
struct NumberOfMoved {
  static const std::uint64_t& key(const Moved& member) noexcept { return member.number; }
};
using MovedTable = DenseTable<Moved, NumberOfMoved>;

// What an operation may cost on average, in moves of members: a handful for passing the member in
// and out, and its share of growth and compaction.
constexpr std::uint64_t mostMovesEach = 12;

TEST(DenseTableCost, AMillionInsertionsMoveEachMemberAFewTimes) {
  constexpr std::uint64_t count = 1000000;
  MovedTable table;
  Moved::moves = 0;
  for (std::uint64_t number = 0; number < count; ++number) {
    table.insert(Moved(number));
  }
  EXPECT_LE(Moved::moves, count * mostMovesEach);
  Moved::moves = 0;
  for (std::uint64_t number = 0; number < count; ++number) {
    ASSERT_TRUE(table.remove(number));
  }
  EXPECT_LE(Moved::moves, count * mostMovesEach);
  EXPECT_EQ(table.memory(), 0U);
}

struct Turnover {
  const char* name;
  std::uint64_t size;
  bool newestFirst;
};

class DenseTableTurnover : public testing::TestWithParam<Turnover> {};

// At a steady size, whichever end is removed from, neither moves nor memory grow.
TEST_P(DenseTableTurnover, CostsAConstantEach) {
  constexpr std::uint64_t rounds = 500000;
  MovedTable table;
  for (std::uint64_t number = 0; number < GetParam().size; ++number) {
    table.insert(Moved(number));
  }
  const std::size_t memory = table.memory();
  Moved::moves = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    table.insert(Moved(GetParam().size + round));
    ASSERT_TRUE(table.remove(GetParam().newestFirst ? GetParam().size + round : round));
  }
  EXPECT_LE(Moved::moves, 2 * rounds * mostMovesEach);
  EXPECT_LE(table.memory(), 4 * memory);
}

INSTANTIATE_TEST_SUITE_P(Sizes,
                         DenseTableTurnover,
                         testing::Values(Turnover{"OldestOfOne", 1, false},
                                         Turnover{"NewestOfOne", 1, true},
                                         Turnover{"OldestOfThree", 3, false},
                                         Turnover{"OldestOfThousands", 5000, false},
                                         Turnover{"NewestOfThousands", 5000, true}),
                         [](const auto& turnover) { return std::string(turnover.param.name); });

TEST(DenseTableCost, LookingUpAndReplacingAllocateNothing) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 100; ++key) {
    numbers.insert(key);
  }
  const auto before = Support::allocations();
  EXPECT_TRUE(numbers.has(50));
  EXPECT_FALSE(numbers.put(50));
  EXPECT_FALSE(numbers.insert(50));
  EXPECT_FALSE(numbers.cursorAt(50).atEnd());
  EXPECT_EQ(Support::allocations(), before);
}

TEST(DenseTableCost, MemoryIsWhatIsAllocated) {
  const std::size_t before = Support::allocatedBytes();
  Numbers numbers;
  for (std::uint64_t key = 0; key < 100000; ++key) {
    numbers.insert(key);
  }
  const std::size_t taken = Support::allocatedBytes() - before;
  EXPECT_GE(taken, numbers.memory());
  EXPECT_LE(taken, numbers.memory() + numbers.memory() / 64);
}

TEST(DenseTableCost, ManyInsertionsInOneGoTakeOneReservation) {
  Numbers numbers;
  numbers.reserve(1000);
  const auto before = Support::allocations();
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
  }
  EXPECT_EQ(Support::allocations(), before);
}

TEST(DenseTableCost, AReservationCountsMembersNotHoles) {
  Numbers numbers;
  numbers.reserve(1000);
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
  }
  for (std::uint64_t key = 0; key < 500; ++key) {
    numbers.remove(key);
  }
  for (const std::size_t room : {std::size_t{1000}, std::size_t{2000}}) {
    numbers.reserve(room);
    const auto before = Support::allocations();
    while (numbers.size() < room) {
      numbers.insert(1000 + numbers.size());
    }
    EXPECT_EQ(Support::allocations(), before);
  }
}

TEST(DenseTableCompaction, WaitsUntilHolesOutnumberTheMembers) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
  }
  const std::size_t full = numbers.memory();
  for (std::uint64_t key = 0; key < 500; ++key) {
    numbers.remove(key);
  }
  EXPECT_EQ(numbers.memory(), full);
  const std::uint64_t* const place = numbers.find(999);
  numbers.remove(500);
  EXPECT_NE(numbers.find(999), place);
  EXPECT_EQ(keysOf(numbers).size(), 499U);
  EXPECT_EQ(keysOf(numbers).front(), 501U);
}

TEST(DenseTableCompaction, WaitsUntilTheLastCursorIsClosed) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
  }
  const std::size_t full = numbers.memory();
  const std::uint64_t* const place = numbers.find(999);
  {
    const auto outer = numbers.cursor();
    {
      const auto inner = numbers.cursor();
      for (std::uint64_t key = 0; key < 990; ++key) {
        numbers.remove(key);
      }
      EXPECT_EQ(numbers.find(999), place);
    }
    EXPECT_EQ(numbers.find(999), place);
    EXPECT_EQ(numbers.memory(), full);
  }
  EXPECT_LT(numbers.memory(), full / 10);
  EXPECT_EQ(keysOf(numbers), (Keys{990, 991, 992, 993, 994, 995, 996, 997, 998, 999}));
}

TEST(DenseTableCompaction, GivesMemoryBackAsATableShrinks) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 100000; ++key) {
    numbers.insert(key);
  }
  const std::size_t full = numbers.memory();
  for (std::uint64_t key = 0; key < 99000; ++key) {
    numbers.remove(key);
  }
  EXPECT_LT(numbers.memory(), full / 8);
  EXPECT_EQ(numbers.size(), 1000U);
}

TEST(DenseTableCompaction, HolesAtTheFrontOfALargeTableAreReusedBeforeItGrows) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 100000; ++key) {
    numbers.insert(key);
  }
  const std::size_t full = numbers.memory();
  for (std::uint64_t key = 0; key < 1000000; ++key) {
    numbers.remove(key);
    numbers.insert(100000 + key);
  }
  EXPECT_LE(numbers.memory(), 2 * full);
  EXPECT_EQ(numbers.size(), 100000U);
  EXPECT_EQ(numbers.cursor().key(), 1000000U);
}

// With the numbers below the count, in as many places.
void fill(Numbers& numbers, std::uint64_t count) {
  numbers.reserve(count);
  for (std::uint64_t key = 0; key < count; ++key) {
    numbers.insert(key);
  }
}

// Calls with each new key and the oldest, ten times as often as the table has members at
// first, in as many places. The memory that it takes then, in shares of what it took.
template <class Turn>
double growthOf(const Turn& turn) {
  constexpr std::uint64_t count = 100000;
  Numbers numbers;
  fill(numbers, count);
  const auto before = static_cast<double>(numbers.memory());
  for (std::uint64_t key = 0; key < 10 * count; ++key) {
    turn(numbers, count + key, key);
  }
  EXPECT_EQ(numbers.size(), count);
  return static_cast<double>(numbers.memory()) / before;
}

// A word of the bitmap, in shares of so large a table.
constexpr double aWord = 0.00001;

TEST(DenseTableCompaction, ATableWhoseMembersComeAndGoTakesHalfAsMuchAgainAtMost) {
  EXPECT_LE(growthOf([](Numbers& numbers, std::uint64_t comes, std::uint64_t goes) {
              numbers.remove(goes);
              numbers.insert(comes);
            }),
            1.5);
}

// The first that comes finds the table full.
TEST(DenseTableCompaction, ATableWhoseMembersGoAfterOthersCameTakesTwiceAsMuchAtMost) {
  EXPECT_LE(growthOf([](Numbers& numbers, std::uint64_t comes, std::uint64_t goes) {
              numbers.insert(comes);
              numbers.remove(goes);
            }),
            2 + aWord);
}

TEST(DenseTableCompaction, ATableWhoseRoomIsReservedTakesHalfAsMuchAgainAtMostAsMembersComeAndGo) {
  EXPECT_LE(growthOf([](Numbers& numbers, std::uint64_t comes, std::uint64_t goes) {
              numbers.reserve(numbers.size() + 1);
              numbers.insert(comes);
              numbers.remove(goes);
            }),
            1.5 + aWord);
}

TEST(DenseTableCompaction, AReservationTakesHalfAsMuchAgainAtMost) {
  constexpr std::uint64_t count = 100000;
  Numbers numbers;
  fill(numbers, count);
  const std::size_t before = numbers.memory();
  numbers.reserve(count + 1);
  EXPECT_LE(numbers.memory(), before + before / 2);
}

// A queue is emptied from its front over many walks; none of them has to pay for all the others.
TEST(DenseTableCompaction, AWalkThatHasRemovedHalfOfALargeTableMovesNothingAtItsEnd) {
  constexpr std::uint64_t count = 100000;
  MovedTable table;
  for (std::uint64_t number = 0; number < count; ++number) {
    table.insert(Moved(number));
  }
  for (std::uint64_t slice = 0; slice < 9; ++slice) {
    {
      const auto walk = table.cursor();
      for (std::uint64_t number = slice * count / 10; number < (slice + 1) * count / 10; ++number) {
        table.remove(number);
      }
      Moved::moves = 0;
    }
    EXPECT_EQ(Moved::moves, 0U) << slice;
    EXPECT_EQ(table.cursor().key(), (slice + 1) * count / 10);
  }
}

TEST(DenseTableCompaction, GivesEverythingBackWhenTheLastMemberGoes) {
  const std::size_t before = Support::allocatedBytes();
  Numbers numbers;
  numbers.insert(1);
  numbers.insert(2);
  numbers.remove(1);
  numbers.remove(2);
  EXPECT_EQ(numbers.memory(), 0U);
  EXPECT_EQ(Support::allocatedBytes(), before);
}

TEST(DenseTableCompaction, WithoutMemoryForASmallerBlockThePresentOneServesOn) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
  }
  const std::size_t full = numbers.memory();
  {
    // Outlives the cursor, whose end asks for the smaller block.
    const Support::FailingAllocation failing;
    auto cursor = numbers.cursor();
    for (; !cursor.atEnd() && cursor.key() < 990; cursor.next()) {
      numbers.remove(cursor.key());
    }
  }
  EXPECT_EQ(numbers.memory(), full);
  EXPECT_EQ(keysOf(numbers), (Keys{990, 991, 992, 993, 994, 995, 996, 997, 998, 999}));
  EXPECT_TRUE(numbers.has(995));
  EXPECT_FALSE(numbers.has(5));
  EXPECT_TRUE(numbers.insert(5));
}

TEST(DenseTableNoMemory, AFailedInsertionChangesNothing) {
  DenseMap<std::uint64_t, std::string> map;
  int failures = 0;
  for (std::uint64_t key = 0; key < 5000; ++key) {
    try {
      const Support::FailingAllocation failing;
      map.insert({key, "v"});
    } catch (const std::bad_alloc&) {
      ++failures;
      ASSERT_EQ(map.size(), key);
      ASSERT_FALSE(map.has(key));
      ASSERT_TRUE(map.insert({key, "v"}));
    }
    ASSERT_TRUE(map.has(key / 2));
  }
  EXPECT_GT(failures, 5);
  std::uint64_t next = 0;
  for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
    ASSERT_EQ(cursor.key(), next++);
  }
  EXPECT_EQ(next, 5000U);
}

TEST(DenseTableNoMemory, AFailedInsertionDuringAWalkLeavesTheCursorWhereItStands) {
  Numbers numbers;
  for (std::uint64_t key = 0; key < 4; ++key) {
    numbers.insert(key);
  }
  auto cursor = numbers.cursorAt(2);
  {
    const Support::FailingAllocation failing;
    EXPECT_THROW(numbers.insert(4), std::bad_alloc);
  }
  EXPECT_EQ(cursor.key(), 2U);
  EXPECT_TRUE(numbers.insert(4));
  EXPECT_EQ(cursor.key(), 2U);
  EXPECT_EQ(keysOf(numbers), (Keys{0, 1, 2, 3, 4}));
}

TEST(DenseTableNoMemory, AFailedReservationChangesNothing) {
  Numbers numbers;
  numbers.insert(1);
  const std::size_t memory = numbers.memory();
  {
    const Support::FailingAllocation failing;
    EXPECT_THROW(numbers.reserve(1000), std::bad_alloc);
  }
  EXPECT_EQ(numbers.memory(), memory);
  EXPECT_EQ(keysOf(numbers), Keys{1});
}

TEST(DenseTableNoMemory, AReservationBeyondEveryIndexIsRefused) {
  Numbers numbers;
  numbers.insert(1);
  EXPECT_THROW(numbers.reserve(std::size_t{1} << 40U), std::bad_alloc);
  EXPECT_EQ(keysOf(numbers), Keys{1});
}

TEST(DenseTableNoMemory, AMemberThatCannotBeInsertedEnds) {
  DenseMap<std::uint64_t, std::shared_ptr<int>> map;
  const auto value = std::make_shared<int>(1);
  {
    const Support::FailingAllocation failing;
    EXPECT_THROW(map.insert({1, value}), std::bad_alloc);
  }
  EXPECT_EQ(value.use_count(), 1);
}

}  // namespace
}  // namespace Routing
