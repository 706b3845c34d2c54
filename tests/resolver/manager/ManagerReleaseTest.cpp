// The host drops the manager inside a notification of what the manager, or a machine of it, writes:
// the reaction under way completes, and then everything has gone.

#include <gtest/gtest.h>

#include <optional>

#include "platform/trace/TraceSink.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class ManagerRelease : public ManagerFixture {
 protected:
  Watcher::Reaction releases() {
    return [this](FieldId, const void*) { manager = nullptr; };
  }
  void expectEnded() {
    EXPECT_EQ(manager, nullptr);
    EXPECT_FALSE(world.configDir->hasSubscribers());
    EXPECT_FALSE(world.statusDir->hasSubscribers());
    EXPECT_FALSE(world.cellStatusDir->hasSubscribers());
    EXPECT_FALSE(world.fecs->hasSubscribers());
    EXPECT_FALSE(world.scheduler->hasRunnable());
    EXPECT_EQ(world.scheduler->nextTimer(), std::nullopt);
    world.scheduler->walkTasks([](const Task& task) { ADD_FAILURE() << task.taskName(); });
  }
};

TEST_F(ManagerRelease, WhenAStatusAppearsAfterADirectoryChange) {
  world.status("c1");
  startQuietly();
  const Watcher host(*world.status("c1"), releases());
  world.config("c1", fibFecId);
  expectEnded();
  EXPECT_TRUE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerRelease, WhenAStatusAppearsBeforeTheManagerIsTold) {
  world.status("c1");
  const Watcher host(*world.status("c1"), releases());
  startQuietly();
  world.config("c1", fibFecId);
  expectEnded();
}

TEST_F(ManagerRelease, WhenAStatusAppearsAfterAChangeOfARecord) {
  world.status("c1");
  const Ptr<NexthopConfig> record = makeEntity<NexthopConfig>("c1");
  world.configDir->entityIs("c1", record);
  startQuietly();
  const Watcher host(*world.status("c1"), releases());
  record->vrfIs("v1", fibFecId);
  expectEnded();
}

TEST_F(ManagerRelease, WhenAnEntryIsCleared) {
  client("c1");
  const Ptr<NexthopVrfStatus> kept = keptStatus("c1");
  startQuietly();
  const Watcher host(*kept, releases());
  config("c1")->vrfDel("v1");
  expectEnded();
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerRelease, WhenAStatusIsCleared) {
  client("c1");
  startQuietly();
  const Watcher host(*world.status("c1"), releases());
  world.configDir->entityDel("c1");
  expectEnded();
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerRelease, WhenAResolverWritesAnEntry) {
  clientWithNexthop("c1");
  startQuietly();
  const Watcher host(*world.status("c1")->vrf("v1"), releases());
  run();
  expectEnded();
}

TEST_F(ManagerRelease, WhenTheMachinePublishesARecord) {
  clientWithNexthop("c1");
  startQuietly();
  const Watcher host(*world.forwarding->vrf("v1"), releases());
  run();
  expectEnded();
}

TEST_F(ManagerRelease, WhenAReferenceIsRecorded) {
  clientWithNexthop("c1");
  startQuietly();
  const Watcher host(*manager->fecIdToClientHop(), releases());
  run();
  expectEnded();
}

TEST_F(ManagerRelease, WhenARecordOfARemovedClientGoes) {
  clientWithNexthop("c1");
  startQuietly();
  run();
  const Watcher host(*world.forwarding->vrf("v1"), releases());
  world.configDir->entityDel("c1");
  expectEnded();
}

TEST_F(ManagerRelease, InsideItsOwnTraceOfADirectoryChange) {
  client("c1");
  start();
  CallbackTraceSink sink([this](const TraceMessage&) { manager = nullptr; });
  sink.attachedIs(true);
  world.configDir->entityDel("c1");
  expectEnded();
}

TEST_F(ManagerRelease, TogetherWithEverythingItWorksOn) {
  clientWithNexthop("c1");
  startQuietly();
  const Ptr<NexthopVrfStatus> status = world.status("c1")->vrf("v1");
  const Watcher host(*status, [this](FieldId, const void*) {
    world.configDir->entityDel("c1");
    world.statusDir->entityDel("c1");
    manager = nullptr;
    world.forwarding->vrfDel("v1");
    world.fecs = makeEntity<FibGen::MemoryForwardingStatus>();
    world.context = makeEntity<NexthopResolverFibViaContext>();
  });
  run();
  expectEnded();
}

}  // namespace
}  // namespace Routing::Support
