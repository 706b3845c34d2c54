#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "host/service/ChangeQueue.h"
#include "host/service/SlotSet.h"

namespace Routing::Host {
namespace {

using ::testing::ElementsAre;

std::vector<unsigned> take(ChangeQueue<unsigned>& queue, std::size_t limit) {
  std::vector<unsigned> taken;
  queue.takeWhile(
      [&](unsigned key) {
        if (taken.size() == limit) {
          return false;
        }
        taken.push_back(key);
        return true;
      },
      [](unsigned) {});
  return taken;
}

TEST(ChangeQueue, AKeyThatChangesAgainKeepsItsPlace) {
  ChangeQueue<unsigned> queue;
  EXPECT_TRUE(queue.add(3));
  EXPECT_TRUE(queue.add(1));
  EXPECT_FALSE(queue.add(3));
  EXPECT_THAT(take(queue, 10), ElementsAre(3, 1));
  EXPECT_TRUE(queue.empty());
}

TEST(ChangeQueue, WhatIsRefusedStays) {
  ChangeQueue<unsigned> queue;
  for (unsigned key = 0; key < 20; ++key) {
    queue.add(key);
  }
  EXPECT_EQ(take(queue, 12).size(), 12U);
  EXPECT_THAT(take(queue, 3), ElementsAre(12, 13, 14));
  EXPECT_EQ(queue.size(), 5U);
}

TEST(ChangeQueue, ASnapshotEndsBehindItsLastKeyAndBeforeWhatCameLater) {
  ChangeQueue<unsigned> queue;
  queue.add(1);
  queue.add(2);
  queue.snapshotIs();
  queue.add(3);
  EXPECT_FALSE(queue.snapshotEndDue());
  EXPECT_THAT(take(queue, 10), ElementsAre(1, 2));
  EXPECT_TRUE(queue.snapshotEndDue());
  EXPECT_THAT(take(queue, 10), ElementsAre());
  queue.snapshotEndTold();
  EXPECT_THAT(take(queue, 10), ElementsAre(3));
}

TEST(ChangeQueue, OfSlotsTellsThoseFarApartFromEachOther) {
  ChangeQueue<SlotId, SlotSet> queue;
  for (const SlotId id : {5'000'000U, 63U, 64U, 1023U, 1024U, 0U}) {
    EXPECT_TRUE(queue.add(id));
    EXPECT_FALSE(queue.add(id));
  }
  std::vector<SlotId> taken;
  const auto takeOne = [&taken](SlotId id) {
    taken.push_back(id);
    return true;
  };
  queue.takeWhile(takeOne, [](SlotId) {});
  EXPECT_THAT(taken, ElementsAre(5'000'000U, 63U, 64U, 1023U, 1024U, 0U));
  EXPECT_TRUE(queue.add(64U));
  queue.clear();
  EXPECT_TRUE(queue.add(64U));
}

TEST(ChangeQueue, TheSnapshotOfNothingEndsAtOnce) {
  ChangeQueue<unsigned> queue;
  queue.snapshotIs();
  EXPECT_TRUE(queue.inSnapshot());
  EXPECT_TRUE(queue.snapshotEndDue());
}

TEST(ChangeQueue, EachKeyIsAnnouncedBeforeItIsTaken) {
  ChangeQueue<unsigned> queue;
  for (unsigned key = 0; key < 50; ++key) {
    queue.add(key);
  }
  std::vector<unsigned> announced;
  queue.takeWhile(
      [&](unsigned key) {
        EXPECT_EQ(announced.at(key), key);
        return true;
      },
      [&](unsigned key) { announced.push_back(key); });
  EXPECT_EQ(announced.size(), 50U);
}

}  // namespace
}  // namespace Routing::Host
