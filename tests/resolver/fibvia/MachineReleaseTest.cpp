// Whoever is notified may release the machine: it completes its reaction and ends then.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "platform/trace/TraceSink.h"
#include "tests/support/FibViaFixture.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using Support::Events;
using Support::fecOf;
using Support::FibViaFixture;
using Support::Watcher;

class FibViaRelease : public FibViaFixture {
 protected:
  FibViaRelease() {
    table->fecIs(fecOf(12));
    published({9});
    firstUnallocated(10);
  }
  void startQuietly() {
    start();
    traces.reset();
    referenceWatch.reset();
  }
  Watcher::Reaction releases() {
    return [this](FieldId, const void*) { machine = nullptr; };
  }
  void expectEnded() const {
    EXPECT_EQ(machine, nullptr);
    EXPECT_FALSE(table->hasSubscribers());
    EXPECT_EQ(scheduler->nextTimer(), std::nullopt);
  }
};

const Events allocation{"context 11", "record 10, vias: 1", "map 12 -> 10"};

TEST_F(FibViaRelease, InsideTheContextsNotificationCompletesTheAllocation) {
  startQuietly();
  const Watcher watcher(*context, releases());
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"), allocation);
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheRecordsNotificationCompletesTheAllocation) {
  startQuietly();
  const Watcher watcher(*records, releases());
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"), allocation);
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheMapsNotificationCompletesTheAllocation) {
  startQuietly();
  const Watcher watcher(*map, releases());
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"), allocation);
  expectEnded();
}

TEST_F(FibViaRelease, InsideAFirstPublicationCompletesIt) {
  table->fecDel(12);
  startQuietly();
  addReference(12, "bgp", "10.0.0.1");
  const Watcher watcher(*context, releases());
  EXPECT_EQ(writeFec(fecOf(12)), allocation);
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheRecordsRemovalCompletesTheWithdrawal) {
  startQuietly();
  addReference(12, "bgp", "10.0.0.1");
  const Watcher watcher(*records, releases());
  EXPECT_EQ(deleteReference("bgp", "10.0.0.1"), (Events{"record 10 removed", "map 12 removed"}));
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheRemovalOfReferencesCompletesItAndTheWithdrawal) {
  startQuietly();
  addReference(12, "bgp", "10.0.0.1");
  addReference(12, "ospf", "10.0.0.1");
  const Watcher watcher(*references, releases());
  EXPECT_EQ(removeFec(12), (Events{"record 10 removed", "map 12 removed"}));
  EXPECT_TRUE(references->clientNexthopToFecId().empty());
  expectEnded();
}

TEST_F(FibViaRelease, TogetherWithTheIndexOfReferencesCompletesTheRemoval) {
  startQuietly();
  addReference(12, "bgp", "10.0.0.1");
  addReference(12, "ospf", "10.0.0.1");
  const TypeData& type = references->typeData();
  const Watcher watcher(*references, [this](FieldId, const void*) {
    machine = nullptr;
    references = nullptr;
  });
  EXPECT_EQ(removeFec(12), (Events{"record 10 removed", "map 12 removed"}));
  EXPECT_EQ(type.live(), 0U);
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheCleanupCompletesIt) {
  published({5, 10});
  startQuietly();
  const Watcher watcher(*records, releases());
  EXPECT_EQ(advance(std::chrono::seconds(300)), (Events{"record 9 removed", "record 5 removed"}));
  expectEnded();
}

TEST_F(FibViaRelease, InsideItsOwnTraceCompletesTheReaction) {
  start();
  referenceWatch.reset();
  CallbackTraceSink sink([this](const TraceMessage&) { machine = nullptr; });
  sink.attachedIs(true);
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(10));
  expectEnded();
}

TEST_F(FibViaRelease, InsideTheCorruptionHookCompletesTheReaction) {
  startQuietly();
  addReference(12, "bgp", "10.0.0.1");
  table->corruptionHookIs([this](const String&) { machine = nullptr; });
  table->corruptIs(12);
  table->fecAnnounce(12);
  EXPECT_EQ(log.take(), (Events{"record 10 removed", "map 12 removed"}));
  expectEnded();
}

}  // namespace
}  // namespace Routing
