#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/entity/DenseTable.h"

namespace Routing {
namespace {

using Numbers = DenseSet<std::uint64_t>;
using Keys = std::vector<std::uint64_t>;

class DenseTableCursor : public testing::Test {
 protected:
  std::unique_ptr<Numbers> numbers = std::make_unique<Numbers>();

  void SetUp() override {
    for (const std::uint64_t key : {10U, 20U, 30U, 40U, 50U}) {
      numbers->insert(key);
    }
  }
  // The keys that a walk visits, when each visit does that.
  Keys visited(const std::function<void(std::uint64_t)>& visit) const {
    Keys keys;
    for (auto cursor = numbers->cursor(); !cursor.atEnd(); cursor.next()) {
      keys.push_back(cursor.key());
      visit(keys.back());
    }
    return keys;
  }
  Keys keys() const {
    return visited([](std::uint64_t) {});
  }
};

TEST_F(DenseTableCursor, SurvivesTheRemovalOfTheMemberItStandsOn) {
  EXPECT_EQ(visited([this](std::uint64_t key) { numbers->remove(key); }),
            (Keys{10, 20, 30, 40, 50}));
  EXPECT_TRUE(numbers->empty());
  EXPECT_EQ(numbers->memory(), 0U);
}

TEST_F(DenseTableCursor, SkipsMembersRemovedAheadOfIt) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 10) {
                numbers->remove(20);
                numbers->remove(30);
                numbers->remove(50);
              }
            }),
            (Keys{10, 40}));
}

TEST_F(DenseTableCursor, IsNotDisturbedByRemovalBehindIt) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 40) {
                numbers->remove(10);
                numbers->remove(20);
                numbers->remove(30);
              }
            }),
            (Keys{10, 20, 30, 40, 50}));
  EXPECT_EQ(keys(), (Keys{40, 50}));
}

TEST_F(DenseTableCursor, VisitsMembersInsertedDuringTheWalk) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key < 30) {
                numbers->insert(key + 100);
              }
            }),
            (Keys{10, 20, 30, 40, 50, 110, 120}));
}

TEST_F(DenseTableCursor, VisitsWhatTheLastVisitInserted) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 50) {
                numbers->remove(50);
                numbers->insert(60);
              }
            }),
            (Keys{10, 20, 30, 40, 50, 60}));
}

TEST_F(DenseTableCursor, SurvivesGrowthDuringTheWalk) {
  const Keys walked = visited([this](std::uint64_t key) {
    if (key == 20) {
      for (std::uint64_t more = 1000; more < 2000; ++more) {
        numbers->insert(more);
      }
    }
  });
  EXPECT_EQ(walked, keys());
  EXPECT_EQ(walked.size(), 1005U);
}

TEST_F(DenseTableCursor, VisitsAMemberThatWasMovedToTheEndAgain) {
  EXPECT_EQ(visited([this, first = true](std::uint64_t key) mutable {
              if (key == 20 && first) {
                first = false;
                numbers->remove(20);
                numbers->insert(20);
              }
            }),
            (Keys{10, 20, 30, 40, 50, 20}));
}

TEST_F(DenseTableCursor, AWalkIsOverAfterAClear) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 20) {
                numbers->clear();
              }
            }),
            (Keys{10, 20}));
  EXPECT_TRUE(numbers->empty());
}

TEST_F(DenseTableCursor, VisitsWhatWasInsertedAfterAClear) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 20) {
                numbers->clear();
                numbers->insert(10);
                numbers->insert(70);
              }
            }),
            (Keys{10, 20, 10, 70}));
  EXPECT_EQ(keys(), (Keys{10, 70}));
}

TEST_F(DenseTableCursor, AWalkIsOverWhenItsTableEnds) {
  EXPECT_EQ(visited([this](std::uint64_t key) {
              if (key == 20) {
                numbers.reset();
              }
            }),
            (Keys{10, 20}));
}

TEST_F(DenseTableCursor, NestedWalksAndRemovalsDoNotDisturbEachOther) {
  Keys inner;
  const auto removeAllBut40 = [this](std::uint64_t key) {
    if (key != 40) {
      numbers->remove(key);
    }
  };
  const Keys outer = visited([&](std::uint64_t key) {
    if (key == 30) {
      inner = visited(removeAllBut40);
    }
  });
  EXPECT_EQ(inner, (Keys{10, 20, 30, 40, 50}));
  EXPECT_EQ(outer, (Keys{10, 20, 30, 40}));
  EXPECT_EQ(keys(), (Keys{40}));
}

TEST_F(DenseTableCursor, WalksMayEndInAnyOrder) {
  using Cursor = Numbers::Cursor;
  const auto open = [this] { return std::unique_ptr<Cursor>(new Cursor(numbers->cursor())); };
  auto first = open();
  auto second = open();
  auto third = open();
  for (const std::uint64_t key : {10U, 20U, 30U, 40U}) {
    numbers->remove(key);
  }
  second.reset();
  third.reset();
  first->next();
  EXPECT_EQ(first->key(), 50U);
  auto fourth = open();
  first.reset();
  EXPECT_EQ(fourth->key(), 50U);
  fourth.reset();
  EXPECT_EQ(keys(), (Keys{50}));
}

TEST_F(DenseTableCursor, StartsAtABookmark) {
  Keys visited;
  for (auto cursor = numbers->cursorAt(30); !cursor.atEnd(); cursor.next()) {
    visited.push_back(cursor.key());
  }
  EXPECT_EQ(visited, (Keys{30, 40, 50}));
}

TEST_F(DenseTableCursor, StartsAtTheFirstWhenTheBookmarkIsAbsent) {
  numbers->remove(10);
  EXPECT_EQ(numbers->cursorAt(35).key(), 20U);
  EXPECT_EQ(numbers->cursorAt(10).key(), 20U);
}

TEST_F(DenseTableCursor, ABookmarkHoldsAcrossCompaction) {
  for (std::uint64_t key = 100; key < 200; ++key) {
    numbers->insert(key);
  }
  for (std::uint64_t key = 100; key < 190; ++key) {
    numbers->remove(key);
  }
  EXPECT_EQ(numbers->cursorAt(195).key(), 195U);
  EXPECT_EQ(numbers->cursorAt(40).key(), 40U);
}

TEST_F(DenseTableCursor, AtTheEndItStandsOnWhatIsInsertedNext) {
  auto cursor = numbers->cursorAt(50);
  cursor.next();
  EXPECT_TRUE(cursor.atEnd());
  numbers->insert(60);
  EXPECT_FALSE(cursor.atEnd());
  EXPECT_EQ(cursor.key(), 60U);
}

TEST_F(DenseTableCursor, InAnEmptyTableItStandsOnWhatIsInsertedNext) {
  Numbers empty;
  auto cursor = empty.cursor();
  EXPECT_TRUE(cursor.atEnd());
  empty.insert(1);
  ASSERT_FALSE(cursor.atEnd());
  EXPECT_EQ(cursor.key(), 1U);
}

TEST_F(DenseTableCursor, AReservationDuringAWalkKeepsItsPlace) {
  numbers->remove(10);
  auto cursor = numbers->cursorAt(30);
  numbers->remove(50);
  numbers->reserve(1000);
  EXPECT_EQ(cursor.key(), 30U);
  cursor.next();
  EXPECT_EQ(cursor.key(), 40U);
}

TEST_F(DenseTableCursor, ACursorBeyondTheLastMemberStaysThereWhenTheTableGrows) {
  auto cursor = numbers->cursorAt(50);
  numbers->remove(50);
  numbers->remove(40);
  for (std::uint64_t key = 100; key < 200; ++key) {
    numbers->insert(key);
  }
  cursor.next();
  EXPECT_EQ(cursor.key(), 100U);
}

TEST_F(DenseTableCursor, ThePlaceOfAMemberIsItsOwnUntilTheWalkEnds) {
  auto cursor = numbers->cursorAt(30);
  const std::uint32_t place = cursor.place();
  EXPECT_EQ(numbers->cursorAt(30).place(), place);
  EXPECT_NE(numbers->cursorAt(20).place(), place);
  numbers->remove(10);
  numbers->remove(20);
  numbers->remove(30);
  numbers->insert(30);
  for (std::uint64_t key = 100; key < 1100; ++key) {
    numbers->insert(key);
  }
  EXPECT_EQ(cursor.place(), place);
  EXPECT_GT(numbers->cursorAt(30).place(), numbers->cursorAt(50).place());
  cursor.next();
  EXPECT_EQ(cursor.key(), 40U);
  EXPECT_EQ(cursor.place(), place + 1);
}

TEST_F(DenseTableCursor, AheadItSeesMembersByPlacesAndNoHoles) {
  const auto cursor = numbers->cursorAt(20);
  numbers->remove(40);
  EXPECT_EQ(*cursor.ahead(0), 20U);
  EXPECT_EQ(*cursor.ahead(1), 30U);
  EXPECT_EQ(cursor.ahead(2), nullptr);
  EXPECT_EQ(*cursor.ahead(3), 50U);
  EXPECT_EQ(cursor.ahead(4), nullptr);
  EXPECT_EQ(cursor.ahead(0xffffffffU), nullptr);
  numbers->insert(60);
  EXPECT_EQ(*cursor.ahead(4), 60U);
  numbers = nullptr;
  EXPECT_EQ(cursor.ahead(0), nullptr);
}

using DenseTableCursorDeathTest = DenseTableCursor;

TEST_F(DenseTableCursorDeathTest, TheMemberUnderItMustBeThere) {
  const auto cursor = numbers->cursor();
  numbers->remove(10);
  EXPECT_DEATH(static_cast<void>(cursor.key()), "the cursor stands on a member");
}

TEST_F(DenseTableCursorDeathTest, AWalkGoesNoFurtherThanItsEnd) {
  auto cursor = numbers->cursorAt(50);
  cursor.next();
  EXPECT_DEATH(cursor.next(), "a walk goes no further than its end");
}

}  // namespace
}  // namespace Routing
