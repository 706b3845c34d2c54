#include <gtest/gtest.h>

#include "records/NexthopResolverFibViaContext.h"
#include "tests/records/RecordSupport.h"

namespace Routing {
namespace {

using Support::Events;

TEST(NexthopResolverFibViaContextTest, AFreshContextHasNoValueYet) {
  EXPECT_EQ(makeEntity<NexthopResolverFibViaContext>()->firstUnAllocatedNexthopResolverId(), 0U);
}

TEST(NexthopResolverFibViaContextTest, AllAllocatedIsOneAboveTheLargestCounterValue) {
  EXPECT_EQ(NexthopResolverFibViaContext::allAllocated, 0x0100000000000000U);
  EXPECT_EQ(NexthopResolverFibViaContext::allAllocated, ResolverId::maxResId + 1);
}

TEST(NexthopResolverFibViaContextTest, EveryWritePublishesWithoutAKeyAlsoOneThatChangesNothing) {
  const auto context = makeEntity<NexthopResolverFibViaContext>();
  Support::EventLog log;
  const Support::Watcher watcher(*context, [&](FieldId field, const void* key) {
    const bool expected =
        field == NexthopResolverFibViaContext::firstUnAllocatedNexthopResolverIdField &&
        key == nullptr;
    log.add((expected ? "first " : "other ") +
            std::to_string(context->firstUnAllocatedNexthopResolverId()));
  });
  context->firstUnAllocatedNexthopResolverIdIs(4);
  context->firstUnAllocatedNexthopResolverIdIs(5);
  context->firstUnAllocatedNexthopResolverIdIs(5);
  context->firstUnAllocatedNexthopResolverIdIs(NexthopResolverFibViaContext::allAllocated);
  EXPECT_EQ(log.take(), (Events{"first 4", "first 5", "first 5", "first 72057594037927936"}));
}

TEST(NexthopResolverFibViaContextTest, TypeDataTellsItsAttribute) {
  const auto context = makeEntity<NexthopResolverFibViaContext>();
  context->firstUnAllocatedNexthopResolverIdIs(12);
  EXPECT_EQ(context->typeData().name(), "Routing::NexthopResolverFibViaContext");
  EXPECT_EQ(Support::attributesOf(*context), Events{"firstUnAllocatedNexthopResolverId=12"});
}

}  // namespace
}  // namespace Routing
