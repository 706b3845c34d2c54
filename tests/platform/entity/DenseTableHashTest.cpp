// What a table offers to who looks far ahead: keys by a hash that is known already, hints, and
// members of whole cache lines.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Prefetch.h"
#include "tests/support/Allocations.h"

namespace Routing {
namespace {

using Numbers = DenseSet<std::uint64_t>;
using Names = DenseMap<std::uint64_t, std::string>;

template <class Table>
auto keysOf(const Table& table) {
  std::vector<typename Table::Key> keys;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    keys.push_back(cursor.key());
  }
  return keys;
}

// Below and above the size from which on a table has an index.
constexpr std::array<std::uint64_t, 5> sizes{0, 1, 5, 100, 3000};

TEST(DenseTableHash, AKeyIsFoundByItsHashAsWithoutIt) {
  for (const std::uint64_t size : sizes) {
    Names names;
    for (std::uint64_t key = 0; key < size; ++key) {
      names.insert({key, std::to_string(key)});
    }
    for (std::uint64_t key = 0; key < size + 10; ++key) {
      ASSERT_EQ(names.find(key, hashOf(key)), names.find(key)) << key << " of " << size;
      ASSERT_EQ(names.find(key) != nullptr, key < size);
    }
    for (std::uint64_t key = 0; key < size; ++key) {
      names.find(key, hashOf(key))->value = "new";
      ASSERT_EQ(valueOf(names, key), "new");
    }
  }
}

// Another member may look alike, one that went never does.
TEST(DenseTableHash, AHintIsNearlyAlwaysTheMemberAndNeverOneThatHasGone) {
  constexpr std::uint64_t count = 3000;
  Numbers numbers;
  for (std::uint64_t key = 0; key < count; ++key) {
    numbers.insert(key);
  }
  for (std::uint64_t key = 1; key < count; key += 2) {
    numbers.remove(key);
  }
  std::uint64_t right = 0;
  for (std::uint64_t key = 0; key < count; ++key) {
    const std::uint64_t* const hint = numbers.hint(hashOf(key));
    ASSERT_TRUE(hint == nullptr || (*hint % 2 == 0 && *hint < count)) << key;
    right += (hint == nullptr ? key % 2 == 1 : *hint == key) ? 1U : 0U;
    if (key % 2 == 0) {
      ASSERT_NE(hint, nullptr) << key;
    }
  }
  EXPECT_GE(right, count - count / 100);
}

TEST(DenseTableHash, ATableWithoutAnIndexGivesNoHint) {
  Numbers numbers;
  EXPECT_EQ(numbers.hint(hashOf(std::uint64_t{1})), nullptr);
  numbers.insert(1);
  EXPECT_EQ(numbers.hint(hashOf(std::uint64_t{1})), nullptr);
}

TEST(DenseTableHash, AKeyIsRemovedByItsHashOnce) {
  for (const std::uint64_t size : sizes) {
    Numbers numbers;
    for (std::uint64_t key = 0; key < size; ++key) {
      numbers.insert(key);
    }
    for (std::uint64_t key = 0; key < size; key += 2) {
      ASSERT_EQ(numbers.remove(key, hashOf(key)), key);
      ASSERT_FALSE(numbers.remove(key, hashOf(key)));
    }
    for (std::uint64_t key = 0; key < size; ++key) {
      ASSERT_EQ(numbers.has(key), key % 2 == 1);
    }
    EXPECT_EQ(numbers.size(), size / 2);
  }
}

// Growth on the way begins an index, makes it larger and moves members.
TEST(DenseTableHash, WhatIsInsertedByItsHashIsFoundThroughGrowthAndHoles) {
  Names names;
  for (std::uint64_t key = 0; key < 6000; ++key) {
    names.insertNew({key, std::to_string(key)}, hashOf(key));
    if (key % 3 == 2) {
      names.remove(key - 1, hashOf(key - 1));
    }
    ASSERT_EQ(valueOf(names, key), std::to_string(key));
  }
  for (std::uint64_t key = 0; key < 6000; ++key) {
    ASSERT_EQ(names.has(key), key % 3 != 1);
    ASSERT_EQ(names.insert({key, ""}), key % 3 == 1);
  }
}

TEST(DenseTableHash, InsertingAMemberOfTheTableItselfIsRefused) {
  Numbers numbers;
  numbers.insert(7);
  EXPECT_FALSE(numbers.insert(*numbers.find(7)));
  EXPECT_EQ(keysOf(numbers), std::vector<std::uint64_t>{7});
}

TEST(DenseTablePrefetch, HintsChangeNothingForPresentAbsentAndRemovedKeys) {
  for (const std::uint64_t size : sizes) {
    Numbers numbers;
    for (std::uint64_t key = 0; key < size; ++key) {
      numbers.insert(key);
    }
    for (std::uint64_t key = 0; key < size; key += 2) {
      numbers.remove(key);
    }
    const auto keys = keysOf(numbers);
    const auto allocations = Support::allocations();
    for (std::uint64_t key = 0; key < 2 * size + 10; ++key) {
      numbers.prefetchFar(hashOf(key));
      numbers.prefetchNear(hashOf(key));
    }
    EXPECT_EQ(Support::allocations(), allocations);
    EXPECT_EQ(keysOf(numbers), keys);
  }
}

TEST(DenseTablePrefetch, AFullTableMayBeHintedForOneMore) {
  Numbers numbers;
  numbers.reserve(1000);
  for (std::uint64_t key = 0; key < 1000; ++key) {
    numbers.insert(key);
    numbers.prefetchFar(hashOf(key + 1));
    numbers.prefetchNear(hashOf(key + 1));
  }
  EXPECT_EQ(numbers.size(), 1000U);
}

TEST(DenseTablePrefetch, ATableThatWasEmptiedHasNothingToFetch) {
  Numbers numbers;
  numbers.insert(1);
  numbers.clear();
  EXPECT_EQ(numbers.memory(), 0U);
  numbers.prefetchFar(hashOf(std::uint64_t{1}));
  numbers.prefetchNear(hashOf(std::uint64_t{1}));
  EXPECT_TRUE(numbers.empty());
}

// A member of so many bytes with its number for a key.
template <std::size_t bytes, std::size_t alignment>
struct alignas(alignment) Block {
  std::uint64_t number = 0;
  std::array<std::uint64_t, bytes / sizeof(std::uint64_t) - 1> rest{};
};
struct NumberOfBlock {
  template <class Member>
  static const std::uint64_t& key(const Member& member) noexcept {
    return member.number;
  }
};

template <class Member>
void expectAligned(std::size_t alignment) {
  DenseTable<Member, NumberOfBlock> table;
  // Removed now and then: a table moves to another block when it grows and when it shrinks.
  for (std::uint64_t number = 0; number < 500; ++number) {
    table.insert({number, {}});
    for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(&cursor.member()) % alignment, 0U);
    }
  }
  for (std::uint64_t number = 0; number < 500; ++number) {
    table.remove(number);
    for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(&cursor.member()) % alignment, 0U);
    }
  }
}

TEST(DenseTableAlignment, MembersOfWholeCacheLinesBeginWithOne) {
  static_assert(sizeof(Block<64, 8>) == cacheLineBytes);
  expectAligned<Block<64, 8>>(cacheLineBytes);
  expectAligned<Block<128, 8>>(cacheLineBytes);
}

TEST(DenseTableAlignment, MembersThatAskForMoreThanACacheLineGetIt) {
  expectAligned<Block<256, 256>>(256);
}

}  // namespace
}  // namespace Routing
