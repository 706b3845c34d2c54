#include <gtest/gtest.h>

#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"
#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"

namespace Routing {
namespace {

class TaskSchedulerRootTest : public testing::Test {
 protected:
  TaskSchedulerRootTest() { TaskSchedulerRoot::schedulerIs(nullptr); }
  ~TaskSchedulerRootTest() override { TaskSchedulerRoot::schedulerIs(nullptr); }
};

TEST_F(TaskSchedulerRootTest, FindsTheSchedulerThatItMadeOnTheRealClock) {
  const Ptr<TaskScheduler> made = TaskSchedulerRoot::findOrCreateScheduler();
  ASSERT_TRUE(made);
  EXPECT_TRUE(ptrCast<RealClock>(made->clock()));
  EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), made);
}

TEST_F(TaskSchedulerRootTest, FindsTheSchedulerThatWasInstalled) {
  const auto installed = makeEntity<TaskScheduler>(makeEntity<VirtualClock>());
  TaskSchedulerRoot::schedulerIs(installed);
  EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), installed);
}

TEST_F(TaskSchedulerRootTest, AnInstalledSchedulerReplacesTheOneBefore) {
  const Ptr<TaskScheduler> made = TaskSchedulerRoot::findOrCreateScheduler();
  const auto installed = makeEntity<TaskScheduler>(makeEntity<VirtualClock>());
  TaskSchedulerRoot::schedulerIs(installed);
  EXPECT_NE(TaskSchedulerRoot::findOrCreateScheduler(), made);
  EXPECT_EQ(TaskSchedulerRoot::findOrCreateScheduler(), installed);
}

TEST_F(TaskSchedulerRootTest, HoldsItsSchedulerUntilItIsDropped) {
  const auto clock = makeEntity<VirtualClock>();
  const TypeData& type = makeEntity<TaskScheduler>(clock)->typeData();
  const std::uint64_t before = type.live();
  TaskSchedulerRoot::schedulerIs(makeEntity<TaskScheduler>(clock));
  EXPECT_EQ(type.live(), before + 1);
  TaskSchedulerRoot::schedulerIs(nullptr);
  EXPECT_EQ(type.live(), before);
}

TEST_F(TaskSchedulerRootTest, MakesANewOneAfterTheLastWasDropped) {
  const Ptr<TaskScheduler> first = TaskSchedulerRoot::findOrCreateScheduler();
  TaskSchedulerRoot::schedulerIs(nullptr);
  const Ptr<TaskScheduler> second = TaskSchedulerRoot::findOrCreateScheduler();
  ASSERT_TRUE(second);
  EXPECT_NE(second, first);
}

}  // namespace
}  // namespace Routing
