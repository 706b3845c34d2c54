#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

using ReviewQueue = ResolverFixture;

TEST_F(ReviewQueue, AddedChangedAndRemovedNexthopsAreAllQueued) {
  start();
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
  nexthop("10.0.0.1");
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  EXPECT_TRUE(scheduled());
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
  nexthopDel("10.0.0.1");
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 removed"}));
}

TEST_F(ReviewQueue, AnAddressQueuedTenTimesIsProcessedOnce) {
  start();
  for (int i = 0; i < 10; ++i) {
    nexthop("10.0.0.1");
  }
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
  EXPECT_EQ(resolver->reviewNexthopTask()->taskWorkCount(), 1U);
}

TEST_F(ReviewQueue, ABudgetOfOneProcessesOneAddressARunInOrderAndReschedulesUntilEmpty) {
  start();
  world.scheduler->workBudgetIs(1);
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  nexthop("10.0.0.3");
  traced();
  const Events first = step();
  EXPECT_EQ(first.front(), resolverLine(8, "handleNexthopReview"));
  EXPECT_EQ(first.back(), resolverLine(8, "handleNexthopReview yield after processing 1"));
  EXPECT_EQ(resolver->reviewNexthopBookmark(), addr("10.0.0.2"));
  EXPECT_TRUE(scheduled());
  step();
  EXPECT_EQ(resolver->reviewNexthopBookmark(), addr("10.0.0.3"));
  EXPECT_EQ(step().back(), resolverLine(1, "handleNexthopReview finished processing 1"));
  EXPECT_EQ(resolver->reviewNexthopBookmark(), IpGenAddr());
  EXPECT_FALSE(scheduled());
  EXPECT_EQ(resolver->reviewNexthopTask()->taskWorkCount(), 3U);
}

TEST_F(ReviewQueue, AnAddressQueuedBehindTheBookmarkComesInTheSamePass) {
  start();
  world.scheduler->workBudgetIs(1);
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  EXPECT_EQ(step(), (Events{"status 10.0.0.1 failed"}));
  nexthop("10.0.0.1");
  EXPECT_EQ(step(), (Events{"status 10.0.0.2 failed"}));
  EXPECT_EQ(step(), (Events{"status 10.0.0.1 failed"}));
  EXPECT_TRUE(queued().empty());
}

TEST_F(ReviewQueue, ABookmarkedMemberThatHasGoneLetsTheRunDrainTheSet) {
  start();
  world.scheduler->workBudgetIs(1);
  nexthop("10.0.0.1");
  nexthop("10.0.0.2");
  nexthop("10.0.0.3");
  step();
  resolver->reviewNexthopDel(addr("10.0.0.2"));
  world.scheduler->workBudgetIs(0);
  EXPECT_EQ(run(), (Events{"status 10.0.0.3 failed"}));
  EXPECT_TRUE(queued().empty());
}

// A member before the bookmark cannot come about through the inputs; the set allows it.
TEST_F(ReviewQueue, AWalkThatEndsWithMembersBeforeTheBookmarkTracesAYieldAndReschedules) {
  start();
  world.scheduler->workBudgetIs(2);
  for (const char* text : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) {
    nexthop(text);
  }
  step();
  ASSERT_EQ(resolver->reviewNexthopBookmark(), addr("10.0.0.3"));
  // Emptied and filled in another order: the bookmarked member stands last.
  resolver->reviewNexthopDelAll();
  resolver->reviewNexthopIs(addr("10.0.0.1"));
  resolver->reviewNexthopIs(addr("10.0.0.3"));
  traced();
  EXPECT_EQ(step().back(), resolverLine(8, "handleNexthopReview yield after processing 1"));
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  EXPECT_TRUE(scheduled());
  EXPECT_EQ(step().back(), resolverLine(1, "handleNexthopReview finished processing 1"));
}

TEST_F(ReviewQueue, AYieldOnTheLastMemberLeavesNoBookmarkAndFinishes) {
  start();
  world.scheduler->workBudgetIs(1);
  nexthop("10.0.0.1");
  traced();
  EXPECT_EQ(step().back(), resolverLine(1, "handleNexthopReview finished processing 1"));
  EXPECT_EQ(resolver->reviewNexthopBookmark(), IpGenAddr());
}

TEST_F(ReviewQueue, AnEmptySetFinishesWithZeroAndIsNotRescheduled) {
  start();
  traced();
  resolver->reviewNexthopTask()->scheduleTask();
  EXPECT_EQ(run(),
            (Events{resolverLine(8, "handleNexthopReview"),
                    resolverLine(1, "handleNexthopReview finished processing 0")}));
  EXPECT_FALSE(scheduled());
}

TEST_F(ReviewQueue, TheAddressLeavesTheSetOnlyAfterItWasProcessed) {
  start();
  nexthop("10.0.0.1");
  bool queuedDuringWrite = false;
  const Watcher watcher(*status, [&](FieldId, const void*) {
    queuedDuringWrite = resolver->reviewNexthopHas(addr("10.0.0.1"));
  });
  run();
  EXPECT_TRUE(queuedDuringWrite);
  EXPECT_FALSE(resolver->reviewNexthopHas(addr("10.0.0.1")));
}

TEST_F(ReviewQueue, TheTaskIsKeptForTheSameSchedulerPriorityAndNameAndReplacedOtherwise) {
  start();
  const Ptr<Task> task = resolver->reviewNexthopTask();
  const String name = task->taskName();
  EXPECT_EQ(resolver->reviewNexthopTaskIs(world.scheduler, TaskPriority{3}, name), task);
  const Ptr<Task> byPriority =
      resolver->reviewNexthopTaskIs(world.scheduler, TaskPriority{4}, name);
  EXPECT_NE(byPriority, task);
  const Ptr<Task> byName = resolver->reviewNexthopTaskIs(world.scheduler, TaskPriority{4}, "other");
  EXPECT_NE(byName, byPriority);
  const auto otherScheduler = makeEntity<TaskScheduler>(world.clock);
  EXPECT_NE(resolver->reviewNexthopTaskIs(otherScheduler, TaskPriority{4}, "other"), byName);
}

TEST_F(ReviewQueue, AReplacedTaskNoLongerReachesTheResolver) {
  start();
  const Ptr<Task> old = resolver->reviewNexthopTask();
  resolver->reviewNexthopTaskIs(world.scheduler, TaskPriority{4}, "other");
  resolver->reviewNexthopIs(addr("10.0.0.1"));
  old->scheduleTask();
  run();
  EXPECT_EQ(queued(), std::vector<std::string>{"10.0.0.1"});
  resolver->reviewNexthopTask()->scheduleTask();
  run();
  EXPECT_TRUE(queued().empty());
}

TEST_F(ReviewQueue, TaskDelHandsTheOldTaskBackUnsubscribed) {
  start();
  const Ptr<Task> task = resolver->reviewNexthopTask();
  EXPECT_EQ(resolver->reviewNexthopTaskDel(), task);
  EXPECT_FALSE(resolver->reviewNexthopTask());
  EXPECT_FALSE(task->hasSubscribers());
  EXPECT_FALSE(resolver->reviewNexthopTaskDel());
}

TEST_F(ReviewQueue, ReviewNexthopIsReturnsTheMemberAndKeepsItOnce) {
  start();
  EXPECT_EQ(resolver->reviewNexthopIs(addr("10.0.0.1")), addr("10.0.0.1"));
  EXPECT_EQ(resolver->reviewNexthopIs(addr("10.0.0.1")), addr("10.0.0.1"));
  EXPECT_EQ(queued().size(), 1U);
  resolver->reviewNexthopDel(addr("10.0.0.9"));
  EXPECT_EQ(queued().size(), 1U);
  resolver->reviewNexthopDelAll();
  EXPECT_TRUE(queued().empty());
}

}  // namespace
}  // namespace Routing::Support
