#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using std::chrono::seconds;
using Support::Events;
using Support::fecOf;
using Support::fibViaLine;

class FibViaMachine : public Support::FibViaFixture {
 protected:
  FibViaMachine() { table->fecIs(fecOf(12)); }
  // Makes the machine without switching its notifications on.
  void construct() {
    machine = makeEntity<NexthopResolverFibViaSm>("v1", table, records, references, map, context);
    watchOutputs();
  }
  Events call(std::string_view operation, const std::vector<std::string>& arguments = {}) {
    result = callOperation(*machine, operation, arguments);
    return log.take();
  }

  std::optional<std::string> result;
};

TEST_F(FibViaMachine, HoldsItsInputs) {
  start();
  EXPECT_EQ(machine->vrfName(), "v1");
  EXPECT_EQ(machine->forwardingGenStatus(), table);
  EXPECT_EQ(machine->nhResolverVrfFs(), records);
  EXPECT_EQ(machine->fecIdToClientHop(), references);
  EXPECT_EQ(machine->fecIdToResolverId(), map);
  EXPECT_EQ(machine->nhResFibViaContext(), context);
  EXPECT_EQ(NexthopResolverFibViaSm::cleanupNhResVrfFsTime, seconds(300));
}

TEST_F(FibViaMachine, ReactsFromItsConstructionOn) {
  construct();
  EXPECT_FALSE(machine->hasNotificationActive());
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"),
            (Events{"context 5", "record 4, vias: 1", "map 12 -> 4"}));
  EXPECT_EQ(writeFec(fecOf(12, 2)), (Events{"record 4, vias: 2"}));
}

TEST_F(FibViaMachine, ConstructionAndSwitchingOnTogetherSubscribeOnce) {
  construct();
  machine->hasNotificationActiveIs(true);
  machine->hasNotificationActiveIs(true);
  EXPECT_TRUE(machine->hasNotificationActive());
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"),
            (Events{"context 5", "record 4, vias: 1", "map 12 -> 4"}));
  EXPECT_EQ(writeFec(fecOf(12, 2)), (Events{"record 4, vias: 2"}));
}

TEST_F(FibViaMachine, SwitchingOffWhatWasNeverOnHasNoEffect) {
  construct();
  machine->hasNotificationActiveIs(false);
  EXPECT_TRUE(table->hasSubscribers());
  EXPECT_TRUE(references->hasSubscribers());
}

TEST_F(FibViaMachine, SwitchedOffItReactsToNoInput) {
  published({9});
  firstUnallocated(10);
  start();
  addReference(12, "bgp", "10.0.0.1");
  machine->hasNotificationActiveIs(false);
  traces.reset();
  EXPECT_EQ(writeFec(fecOf(12, 2)), Events{});
  EXPECT_EQ(
      deleteReference("bgp", "10.0.0.1"),
      (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.1 removed", "fecIdRef 12 removed"}));
  EXPECT_EQ(advance(seconds(300)), Events{});
  EXPECT_FALSE(machine->cleanupNhResVrfFsTimer()->hasSubscribers());
}

TEST_F(FibViaMachine, SwitchedOnAgainItReactsToEachInputOnce) {
  published({9});
  firstUnallocated(10);
  start();
  machine->hasNotificationActiveIs(false);
  machine->hasNotificationActiveIs(true);
  traces.reset();
  referenceWatch.reset();
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"),
            (Events{"context 11", "record 10, vias: 1", "map 12 -> 10"}));
  EXPECT_EQ(writeFec(fecOf(12, 2)), (Events{"record 10, vias: 2"}));
  EXPECT_EQ(advance(seconds(300)), (Events{"record 9 removed"}));
}

TEST_F(FibViaMachine, AsAZombieItIgnoresEveryInput) {
  published({9});
  firstUnallocated(10);
  start();
  addReference(12, "bgp", "10.0.0.1");
  machine->doZombieReactors(true);
  EXPECT_EQ(writeFec(fecOf(12, 2)), Events{});
  EXPECT_EQ(
      deleteReference("bgp", "10.0.0.1"),
      (Events{"clientRef 12 bgp removed", "key bgp 10.0.0.1 removed", "fecIdRef 12 removed"}));
  EXPECT_EQ(advance(seconds(300)), Events{});
}

TEST_F(FibViaMachine, NoLongerAZombieItReactsAgain) {
  start();
  machine->doZombieReactors(true);
  machine->doZombieReactors(false);
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(4));
}

TEST_F(FibViaMachine, ItsEndLeavesRecordsContextAndMapAsTheyAre) {
  published({9});
  firstUnallocated(10);
  start();
  addReference(12, "bgp", "10.0.0.1");
  machine = nullptr;
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(publishedIds(), (std::vector<std::uint64_t>{9, 10}));
  EXPECT_EQ(firstUnallocated(), 11U);
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(10));
}

TEST_F(FibViaMachine, ItsEndTakesItsSubscriptionsAllocatorAndTimerAlong) {
  for (const bool active : {true, false}) {
    published({9});
    firstUnallocated(10);
    construct();
    machine->hasNotificationActiveIs(active);
    const Ptr<ResolverIdAllocator> allocator = machine->resIdAllocator();
    ASSERT_TRUE(scheduler->nextTimer());
    machine = nullptr;
    EXPECT_FALSE(table->hasSubscribers()) << active;
    EXPECT_FALSE(references->hasSubscribers()) << active;
    EXPECT_EQ(scheduler->nextTimer(), std::nullopt) << active;
    EXPECT_EQ(allocator->typeData().live(), 1U) << active;
  }
}

TEST_F(FibViaMachine, ItsEndReleasesEveryInput) {
  const std::uint64_t before = TypeData::liveEntities();
  construct();
  machine = nullptr;
  EXPECT_EQ(TypeData::liveEntities(), before);
  outputWatch.reset();
  const std::uint64_t tables = table->typeData().live();
  const TypeData& type = table->typeData();
  table = nullptr;
  EXPECT_EQ(type.live(), tables - 1);
}

TEST_F(FibViaMachine, AsksForAnAllocatorAndKeepsTheOneItHas) {
  start();
  const auto allocator = machine->resIdAllocator();
  EXPECT_EQ(machine->resIdAllocatorIs(ResolverId(40)), allocator);
  EXPECT_EQ(allocator->currentId(), ResolverId(40));
  machine->resIdAllocatorDel();
  EXPECT_EQ(machine->resIdAllocator(), nullptr);
  EXPECT_NE(machine->resIdAllocatorIs(ResolverId(50)), allocator);
  EXPECT_EQ(machine->resIdAllocator()->currentId(), ResolverId(50));
}

TEST_F(FibViaMachine, CanBeMadeWithoutWhatItWatches) {
  machine = NexthopResolverFibViaSm::NexthopResolverFibViaSmIs("v1",
                                                               nullptr,
                                                               records,
                                                               nullptr,
                                                               map,
                                                               context);
  EXPECT_TRUE(machine->initialized());
  machine->handleGenFecId(12);
  machine->hasNotificationActiveIs(false);
  machine->hasNotificationActiveIs(true);
  EXPECT_TRUE(publishedIds().empty());
}

TEST_F(FibViaMachine, OnlyTheFieldOfFecReferencesIsListenedTo) {
  start();
  references->clientNexthopToFecIdIs({"bgp", Support::addr("10.0.0.1")}, 12);
  EXPECT_EQ(log.take(), (Events{"key bgp 10.0.0.1 -> 12"}));
}

TEST_F(FibViaMachine, TwoMachinesOfTwoVrfsCountApart) {
  start();
  const auto otherContext = makeEntity<NexthopResolverFibViaContext>();
  const auto otherReferences = fecIdToClientHopFactory("v2");
  const auto otherMap = fecIdToResolverIdFactory("v2");
  const auto other = NexthopResolverFibViaSm::NexthopResolverFibViaSmIs(
      "v2",
      table,
      makeEntity<NexthopResolverVrfForwardingStatus>("v2"),
      otherReferences,
      otherMap,
      otherContext);
  addReference(12, "bgp", "10.0.0.1");
  otherReferences->addReference(12, "bgp", Support::addr("10.0.0.1"));
  EXPECT_EQ(map->fecIdToResolverIdMap(12), ResolverId(4));
  EXPECT_EQ(otherMap->fecIdToResolverIdMap(12), ResolverId(4));
  EXPECT_EQ(otherContext->firstUnAllocatedNexthopResolverId(), 5U);
}

TEST_F(FibViaMachine, DescribesItsAttributesInDeclarationOrder) {
  published({9});
  firstUnallocated(10);
  start();
  Events attributes;
  for (const AttributeData& attribute : machine->typeData().attributes()) {
    attributes.push_back(std::string(attribute.name) + "=" + attribute.value(*machine));
  }
  EXPECT_EQ(machine->typeData().name(), "Routing::NexthopResolverFibViaSm");
  EXPECT_EQ(attributes,
            (Events{"vrfName=v1",
                    "forwardingGenStatus=Routing::FibGen::MemoryForwardingStatus",
                    "nhResolverVrfFs=Routing::NexthopResolverVrfForwardingStatus",
                    "fecIdToClientHop=Routing::FecIdToClientHop",
                    "fecIdToResolverId=Routing::FecIdToResolverId",
                    "nhResFibViaContext=Routing::NexthopResolverFibViaContext",
                    "resIdAllocator=Routing::ResolverIdAllocator",
                    "cleanupNhResVrfFsTimer=Routing::TimerTask",
                    "cleanupNhResVrfFsTime=300",
                    "currentId=9",
                    "initialized=true"}));
}

TEST_F(FibViaMachine, DescribesItsOperationsInDeclarationOrder) {
  start();
  Events operations;
  for (const OperationData& operation : machine->typeData().operations()) {
    operations.push_back(std::string(operation.name) + "/" +
                         std::to_string(operation.argumentCount));
  }
  EXPECT_EQ(operations,
            (Events{"cleanupNhResVrfFs/0",
                    "removeResolverIdForFecId/1",
                    "allocateResolverIdForGenFecId/1",
                    "handleFecIdReferenceUpdate/1",
                    "handleGenFecId/1",
                    "numResIdsForReservedFecIds/0",
                    "handleInitialized/0"}));
}

TEST_F(FibViaMachine, ItsOperationsOnFecsCanBeCalledByName) {
  start();
  traces.reset();
  EXPECT_EQ(call("allocateResolverIdForGenFecId", {"12"}),
            (Events{"context 5", "record 4, vias: 1", "map 12 -> 4"}));
  EXPECT_EQ(call("removeResolverIdForFecId", {"12"}),
            (Events{"record 4 removed", "map 12 removed"}));
  addReference(12, "bgp", "10.0.0.1");
  EXPECT_EQ(call("handleGenFecId", {"0xc"}), (Events{"record 5, vias: 1"}));
  EXPECT_FALSE(result);
}

TEST_F(FibViaMachine, AReferenceUpdateCanBeCalledByName) {
  start();
  EXPECT_EQ(call("handleFecIdReferenceUpdate", {"7"}),
            (Events{fibViaLine(9, "handleFecIdReferenceUpdate fecId: 7"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 7"),
                    fibViaLine(2,
                               "removeResolverIdForFecId received request to remove untracked "
                               "fecId: 7")}));
}

TEST_F(FibViaMachine, ItsOtherOperationsCanBeCalledByName) {
  published({1, 9});
  firstUnallocated(10);
  start();
  EXPECT_EQ(call("cleanupNhResVrfFs"), Events{});
  EXPECT_FALSE(result);
  EXPECT_EQ(call("numResIdsForReservedFecIds"), Events{});
  EXPECT_EQ(result, "1");
  EXPECT_EQ(call("handleInitialized").size(), 2U);
}

TEST_F(FibViaMachine, AnOperationsArgumentThatDoesNotReadIsAnError) {
  start();
  EXPECT_THROW(call("handleGenFecId", {"twelve"}), DeserialisationError);
  EXPECT_THROW(call("handleGenFecId"), DeserialisationError);
  EXPECT_THROW(call("noSuchOperation"), DeserialisationError);
}

}  // namespace
}  // namespace Routing
