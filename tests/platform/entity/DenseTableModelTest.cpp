// Random changes of a table with walks open, against a model that is too slow to be wrong: an
// ordered std::map from the serial number of each insertion to the member.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <utility>
#include <vector>

#include "platform/entity/DenseTable.h"
#include "tests/support/Allocations.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

// Keys with a good hash, with the same hash for all, and with hashes that differ in few bits.
struct WellSpread {
  static constexpr std::uint32_t mask = 0xffffffffU;
};
struct AllCollide {
  static constexpr std::uint32_t mask = 0;
};
struct HighBitsOnly {
  static constexpr std::uint32_t mask = 0xe0000000U;
};

template <class Spread>
struct MaskedKey {
  std::uint32_t number = 0;
  std::uint32_t hash(std::uint32_t /*seed*/) const noexcept {
    return hashOf(number) & Spread::mask;
  }
  friend bool operator==(const MaskedKey&, const MaskedKey&) = default;
};

template <class Key>
class TableStory {
 public:
  TableStory(std::uint64_t seed, std::uint32_t keys) : random_(seed), keys_(keys) {}

  void run(int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      if (step % 500 == 0) {
        insertPercent_ = 20 + below(50);
      }
      act();
      if (step % 16 == 0) {
        compare();
      }
    }
    walks_.clear();
    compare();
  }
  // How often an allocation was made to fail and did.
  int failures() const { return failures_; }

 private:
  using Table = DenseMap<Key, std::uint64_t>;
  using Model = std::map<std::uint64_t, std::pair<std::uint32_t, std::uint64_t>>;
  static constexpr std::size_t mostWalks = 4;

  // An open cursor, and the serial that it stands on in the model.
  struct Walk {
    typename Table::Cursor cursor;
    std::uint64_t serial;
  };

  std::uint32_t below(std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_);
  }
  void act() {
    const std::uint32_t choice = below(100);
    const std::uint32_t key = below(keys_);
    if (choice < insertPercent_) {
      insert(key, below(2) == 0);
    } else if (choice < 80) {
      remove(key);
    } else if (choice < 84) {
      openWalk(key, below(2) == 0);
    } else if (choice < 98) {
      advanceWalk();
    } else if (choice < 99) {
      table_.reserve(below(2 * keys_));
    } else if (below(10) == 0) {
      table_.clear();
      model_.clear();
      serialOf_.clear();
    }
  }
  void insert(std::uint32_t key, bool replaces) {
    const std::uint64_t value = random_();
    const bool had = serialOf_.contains(key);
    try {
      std::unique_ptr<Support::FailingAllocation> failing;
      if (below(4) == 0) {
        failing = std::make_unique<Support::FailingAllocation>();
      }
      EXPECT_EQ(replaces ? table_.put({{key}, value}) : table_.insert({{key}, value}), !had);
    } catch (const std::bad_alloc&) {
      ++failures_;
      EXPECT_FALSE(had);
      return;
    }
    if (!had) {
      serialOf_[key] = nextSerial_;
      model_[nextSerial_++] = {key, value};
    } else if (replaces) {
      model_[serialOf_[key]].second = value;
    }
  }
  void remove(std::uint32_t key) {
    const auto removed = table_.remove({key});
    const auto serial = serialOf_.find(key);
    ASSERT_EQ(removed.has_value(), serial != serialOf_.end());
    if (removed) {
      EXPECT_EQ(removed->value, model_[serial->second].second);
      model_.erase(serial->second);
      serialOf_.erase(serial);
    }
  }
  std::uint64_t firstFrom(std::uint64_t serial) const {
    const auto found = model_.lower_bound(serial);
    return found == model_.end() ? nextSerial_ : found->first;
  }
  void openWalk(std::uint32_t key, bool atBookmark) {
    if (walks_.size() == mostWalks) {
      walks_.erase(walks_.begin() + below(mostWalks));
      return;
    }
    const auto serial = serialOf_.find(key);
    const bool found = atBookmark && serial != serialOf_.end();
    const std::uint64_t place = found ? serial->second : firstFrom(0);
    walks_.push_back(std::unique_ptr<Walk>(atBookmark ? new Walk{table_.cursorAt({key}), place}
                                                      : new Walk{table_.cursor(), place}));
    check(*walks_.back());
  }
  void advanceWalk() {
    if (walks_.empty()) {
      return;
    }
    auto& walk = walks_[below(static_cast<std::uint32_t>(walks_.size()))];
    check(*walk);
    if (walk->cursor.atEnd()) {
      if (below(2) == 0) {
        std::swap(walk, walks_.back());
        walks_.pop_back();
      }
      return;
    }
    walk->cursor.next();
    walk->serial = firstFrom(walk->serial + 1);
    check(*walk);
  }
  void check(const Walk& walk) const {
    ASSERT_EQ(walk.cursor.atEnd(), walk.serial == nextSerial_);
    const auto member = model_.find(walk.serial);
    if (member != model_.end()) {
      ASSERT_EQ(walk.cursor.key().number, member->second.first);
      ASSERT_EQ(walk.cursor.member().value, member->second.second);
    }
  }
  void compare() const {
    ASSERT_EQ(table_.size(), model_.size());
    auto expected = model_.begin();
    for (auto cursor = table_.cursor(); !cursor.atEnd(); cursor.next(), ++expected) {
      ASSERT_NE(expected, model_.end());
      ASSERT_EQ(cursor.key().number, expected->second.first);
      ASSERT_EQ(cursor.member().value, expected->second.second);
    }
    ASSERT_EQ(expected, model_.end());
    for (std::uint32_t key = 0; key < keys_; key += 1 + keys_ / 50) {
      ASSERT_EQ(table_.has({key}), serialOf_.contains(key)) << key;
    }
  }

  std::mt19937_64 random_;
  std::uint32_t keys_;
  std::uint32_t insertPercent_ = 50;
  Table table_;
  Model model_;
  std::map<std::uint32_t, std::uint64_t> serialOf_;
  std::uint64_t nextSerial_ = 0;
  std::vector<std::unique_ptr<Walk>> walks_;
  int failures_ = 0;
};

template <class Spread>
class DenseTableModel : public testing::Test {};
using Spreads = testing::Types<WellSpread, AllCollide, HighBitsOnly>;
TYPED_TEST_SUITE(DenseTableModel, Spreads);

TYPED_TEST(DenseTableModel, RandomChangesWithOpenWalksAgreeWithTheModel) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  int failures = 0;
  for (const std::uint32_t keys : {3U, 20U, 150U}) {
    for (std::uint64_t round = 0; round < 6 && !this->HasFailure(); ++round) {
      TableStory<MaskedKey<TypeParam>> story(seed + round, keys);
      story.run(8000);
      failures += story.failures();
    }
  }
  EXPECT_GT(failures, 50) << "too few allocations failed to tell anything";
}

}  // namespace
}  // namespace Routing
