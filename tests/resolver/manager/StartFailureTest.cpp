// A start-up that throws: whatever it has reached by then, nothing of the manager stays behind.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <optional>
#include <stdexcept>

#include "platform/trace/TraceSink.h"
#include "tests/support/Allocations.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class StartFailure : public ManagerFixture {
 protected:
  static void fail() { throw std::runtime_error("a subscriber's trouble"); }
  static Watcher::Reaction fails() {
    return [](FieldId, const void*) { fail(); };
  }
  // Live entities but for those that a manager writes into shared state.
  std::uint64_t liveButForOutputs() const {
    std::uint64_t outputs = world.forwarding->vrf().size();
    for (const Dir* dir : {world.statusDir.get(), world.cellStatusDir.get()}) {
      for (auto cursor = dir->entry().cursor(); !cursor.atEnd(); cursor.next()) {
        outputs += ptrCast<NexthopStatus>(cursor.member().value)->vrf().size();
      }
    }
    return TypeData::liveEntities() - outputs;
  }
  void expectNobodySubscribed() {
    EXPECT_FALSE(world.configDir->hasSubscribers());
    EXPECT_FALSE(world.statusDir->hasSubscribers());
    EXPECT_FALSE(world.cellStatusDir->hasSubscribers());
    EXPECT_FALSE(world.fecs->hasSubscribers());
    EXPECT_FALSE(world.trie4->hasSubscribers());
    EXPECT_FALSE(world.routing6->hasSubscribers());
    for (auto cursor = world.configDir->entry().cursor(); !cursor.atEnd(); cursor.next()) {
      const auto record = ptrCast<NexthopConfig>(cursor.member().value);
      EXPECT_FALSE(record->hasSubscribers()) << record->name();
      EXPECT_FALSE(record->vrf("v1")->hasSubscribers()) << record->name();
    }
    EXPECT_FALSE(world.scheduler->hasRunnable());
    EXPECT_EQ(world.scheduler->nextTimer(), std::nullopt);
  }
  template <class Error>
  void expectThrowsAndLeavesNothing() {
    const std::uint64_t before = liveButForOutputs();
    EXPECT_THROW(startQuietly(), Error);
    EXPECT_EQ(manager, nullptr);
    EXPECT_EQ(liveButForOutputs(), before);
    expectNobodySubscribed();
  }
};

TEST_F(StartFailure, OfTheForwardingStatussSubscriberLeavesNothing) {
  const Watcher host(*world.forwarding, fails());
  expectThrowsAndLeavesNothing<std::runtime_error>();
}

TEST_F(StartFailure, OfTheMachinesStartLeavesNothing) {
  client("c1");
  const Watcher host(*world.context, fails());
  expectThrowsAndLeavesNothing<std::runtime_error>();
}

TEST_F(StartFailure, OfAStatussSubscriberLeavesNothingOfTheClientsBeforeIt) {
  client("c1");
  client("c2");
  client("c3");
  const Watcher host(*world.status("c2"), fails());
  expectThrowsAndLeavesNothing<std::runtime_error>();
}

// Subscribed after the manager's own watcher: the resolver is there when the exception comes.
TEST_F(StartFailure, AfterTheResolverWasMadeInsideLeavesNothing) {
  client("c1");
  client("c2");
  TraceLog levels(log, "NexthopResolverSm");
  bool made = false;
  CallbackTraceSink sink([&](const TraceMessage& message) {
    if (message.text.starts_with("[v1:c2] handleInitialized")) {
      made = true;
      fail();
    }
  });
  sink.attachedIs(true);
  expectThrowsAndLeavesNothing<std::runtime_error>();
  EXPECT_TRUE(made);
}

TEST_F(StartFailure, LeavesNoTimerOfAMachineThatHadStarted) {
  client("c1");
  world.forwarding->vrfIs("v1")->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(9)));
  world.context->firstUnAllocatedNexthopResolverIdIs(10);
  const Watcher host(*world.status("c1"), fails());
  expectThrowsAndLeavesNothing<std::runtime_error>();
}

TEST_F(StartFailure, InTheCellPassLeavesNothing) {
  client("c1");
  world.config("c2", fibFecId);
  const Ptr<NexthopStatus> status = makeEntity<NexthopStatus>("c2");
  world.cellStatusDir->entityIs("c2", status);
  const Watcher host(*status, fails());
  expectThrowsAndLeavesNothing<std::runtime_error>();
}

TEST_F(StartFailure, CanBeFollowedByAStartThatSucceeds) {
  client("c1");
  {
    const Watcher host(*world.status("c1"), fails());
    EXPECT_THROW(startQuietly(), std::runtime_error);
  }
  startQuietly();
  EXPECT_TRUE(resolver("c1"));
}

// Every allocation of a start-up fails once.
TEST_F(StartFailure, OfAnyAllocationLeavesNothing) {
  clientWithNexthop("c1");
  world.config("c2", resolverId);
  world.cellStatusDir->entityIs("c2", makeEntity<NexthopStatus>("c2"));
  bool started = false;
  std::uint64_t failures = 0;
  for (std::uint64_t successes = 0; !started; ++successes) {
    world.status("c1")->vrfDelAll();
    const std::uint64_t before = liveButForOutputs();
    try {
      const FailingAllocation failing(successes);
      startQuietly();
      started = true;
    } catch (const std::bad_alloc&) {
      ++failures;
      ASSERT_EQ(liveButForOutputs(), before) << "after " << successes << " allocations";
      expectNobodySubscribed();
    }
  }
  EXPECT_GT(failures, 20U);
  EXPECT_EQ(manager->resolverSm().size(), 2U);
}

}  // namespace
}  // namespace Routing::Support
