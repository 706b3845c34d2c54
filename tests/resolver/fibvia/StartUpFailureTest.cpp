// A start-up that throws: whatever it has reached by then, nothing of the machine stays behind.

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>

#include "platform/trace/TraceSink.h"
#include "tests/support/FibViaFixture.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::FibViaFixture;
using Support::Watcher;

class FibViaStartUpFailure : public FibViaFixture {
 protected:
  // Drops what the test holds; what is still live then is the machine's doing.
  void expectThrowsAndLeavesNothing() {
    const std::uint64_t before = TypeData::liveEntities();
    EXPECT_THROW(construct(), std::runtime_error);
    EXPECT_EQ(TypeData::liveEntities(), before);
    EXPECT_FALSE(table->hasSubscribers());
    EXPECT_FALSE(references->hasSubscribers());
    EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
    EXPECT_TRUE(endsWithItsHolder(table));
    EXPECT_TRUE(endsWithItsHolder(references));
    EXPECT_TRUE(endsWithItsHolder(map));
  }
  void construct() {
    makeEntity<NexthopResolverFibViaSm>("v1", table, records, references, map, context);
  }
  // True when nobody else holds the entity.
  template <class T>
  static bool endsWithItsHolder(Ptr<T>& entity) {
    const TypeData& type = entity->typeData();
    const std::uint64_t live = type.live();
    entity = nullptr;
    return type.live() == live - 1;
  }
  static void fail() { throw std::runtime_error("a subscriber's trouble"); }
};

TEST_F(FibViaStartUpFailure, OfTheContextsSubscriberLeavesNothing) {
  const Watcher watcher(*context, [](FieldId, const void*) { fail(); });
  expectThrowsAndLeavesNothing();
}

TEST_F(FibViaStartUpFailure, OfTheRecordsSubscriberLeavesNothing) {
  published({9});
  const Watcher watcher(*records, [](FieldId, const void*) { fail(); });
  expectThrowsAndLeavesNothing();
}

TEST_F(FibViaStartUpFailure, OfATraceWrittenAfterTheTimerWasArmedLeavesNoTimer) {
  published({5});
  firstUnallocated(6);
  const Support::TraceLog levels(log, "NexthopResolverFibViaSm");
  bool armed = false;
  CallbackTraceSink sink([this, &armed](const TraceMessage& message) {
    if (message.text == "[v1] handleInitialized resolverId starting at 5") {
      armed = scheduler->nextTimer().has_value();
      fail();
    }
  });
  sink.attachedIs(true);
  expectThrowsAndLeavesNothing();
  EXPECT_TRUE(armed);
}

TEST_F(FibViaStartUpFailure, CanBeFollowedByAStartThatSucceeds) {
  {
    const Watcher watcher(*context, [](FieldId, const void*) { fail(); });
    EXPECT_THROW(construct(), std::runtime_error);
  }
  start();
  EXPECT_TRUE(machine->initialized());
}

}  // namespace
}  // namespace Routing
