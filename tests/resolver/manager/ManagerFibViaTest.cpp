#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/support/FibViaWatch.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

// A table without FECs that tells of its end.
class MortalForwardingStatus final : public FibGen::ForwardingStatus {
 public:
  explicit MortalForwardingStatus(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) {}
  ~MortalForwardingStatus() override { atEnd_(); }

  FibGen::Fec fec(FecId /*fecId*/) const override { return FibGen::Fec(0); }
  void doCorruptionDetected(const String& /*message*/) const override {}
  const TypeData& typeData() const override {
    static const TypeData type("MortalForwardingStatus");
    return type;
  }

 private:
  std::function<void()> atEnd_;
};

struct MachineInputs {
  VrfName vrfName;
  Ptr<const FibGen::ForwardingStatus> fecs;
  Ptr<NexthopResolverVrfForwardingStatus> records;
  Ptr<FecIdToClientHop> references;
  Ptr<FecIdToResolverId> map;
  Ptr<NexthopResolverFibViaContext> context;
};

class ManagerFibVia : public ManagerFixture {
 protected:
  MachineInputs presentInputs() const {
    const Ptr<NexthopResolverFibViaSm>& machine = manager->nexthopResolverFibViaSm();
    return {machine->vrfName(),
            machine->forwardingGenStatus(),
            machine->nhResolverVrfFs(),
            machine->fecIdToClientHop(),
            machine->fecIdToResolverId(),
            machine->nhResFibViaContext()};
  }
  Ptr<NexthopResolverFibViaSm> machineIs(const MachineInputs& in) {
    return manager->nexthopResolverFibViaSmIs(in.vrfName,
                                              in.fecs,
                                              in.records,
                                              in.references,
                                              in.map,
                                              in.context);
  }
  void expectReplaced(const MachineInputs& inputs) {
    const Ptr<NexthopResolverFibViaSm> before = manager->nexthopResolverFibViaSm();
    const Ptr<NexthopResolverFibViaSm> after = machineIs(inputs);
    EXPECT_NE(after, before);
    EXPECT_EQ(manager->nexthopResolverFibViaSm(), after);
    EXPECT_TRUE(after->hasNotificationActive());
    EXPECT_EQ(machineIs(inputs), after);
  }
};

TEST_F(ManagerFibVia, IsKeptWhenEveryArgumentIsTheSame) {
  startQuietly();
  const Ptr<NexthopResolverFibViaSm> before = manager->nexthopResolverFibViaSm();
  EXPECT_EQ(machineIs(presentInputs()), before);
  EXPECT_EQ(manager->nexthopResolverFibViaSm(), before);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherName) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.vrfName = "v2";
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherForwardingTable) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.fecs = makeEntity<FibGen::MemoryForwardingStatus>();
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherForwardingStatusOfTheSameName) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.records = makeEntity<NexthopResolverVrfForwardingStatus>("v1");
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherReferenceIndex) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.references = fecIdToClientHopFactory("v1");
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherIdentifierMap) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.map = fecIdToResolverIdFactory("v1");
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, IsReplacedForAnotherContext) {
  startQuietly();
  MachineInputs inputs = presentInputs();
  inputs.context = makeEntity<NexthopResolverFibViaContext>();
  expectReplaced(inputs);
}

TEST_F(ManagerFibVia, TheOldOneStandsWhileTheNewOneStarts) {
  startQuietly();
  const Ptr<NexthopResolverFibViaSm> before = manager->nexthopResolverFibViaSm();
  MachineInputs inputs = presentInputs();
  inputs.records = makeEntity<NexthopResolverVrfForwardingStatus>("v1");
  const Watcher watcher(*world.context, [&](FieldId, const void*) {
    EXPECT_EQ(manager->nexthopResolverFibViaSm(), before);
    EXPECT_TRUE(before->hasNotificationActive());
    log.add("start-up of the new one");
  });
  machineIs(inputs);
  EXPECT_EQ(log.take(), (Events{"start-up of the new one"}));
}

TEST_F(ManagerFibVia, TheNewOneIsOnWhenTheOldOneIsReleased) {
  startQuietly();
  const MachineInputs lasting = presentInputs();
  MachineInputs mortal = lasting;
  mortal.fecs = makeEntity<MortalForwardingStatus>([this] {
    const bool isOn = manager->nexthopResolverFibViaSm()->hasNotificationActive();
    log.add(isOn ? "old one released, new one on" : "old one released, new one off");
  });
  machineIs(mortal);
  mortal.fecs = nullptr;
  EXPECT_EQ(log.take(), Events{});
  machineIs(lasting);
  EXPECT_EQ(log.take(), (Events{"old one released, new one on"}));
}

// A FEC's references are adopted when the first of them appears, never later.
TEST_F(ManagerFibVia, TheNewOneAdoptsNoReferencesThatAreThere) {
  clientWithNexthop("c1");
  startQuietly();
  run();
  MachineInputs inputs = presentInputs();
  ASSERT_TRUE(inputs.references->fecIdRef(12));
  inputs.records = makeEntity<NexthopResolverVrfForwardingStatus>("v1");
  inputs.map = fecIdToResolverIdFactory("v1");
  const FibViaWatch outputs(*world.context, *inputs.records, *inputs.map, log);
  machineIs(inputs);
  EXPECT_EQ(log.take(), (Events{"context 4"}));
  EXPECT_TRUE(inputs.records->nexthopResolverIdVia().empty());
  EXPECT_TRUE(inputs.map->fecIdToResolverIdMap().empty());
}

TEST_F(ManagerFibVia, IsMadeAgainAfterItWasTakenOut) {
  startQuietly();
  const MachineInputs inputs = presentInputs();
  const Ptr<NexthopResolverFibViaSm> before = manager->nexthopResolverFibViaSmDel();
  const Ptr<NexthopResolverFibViaSm> after = machineIs(inputs);
  EXPECT_NE(after, before);
  EXPECT_TRUE(after->hasNotificationActive());
}

TEST_F(ManagerFibVia, DelTakesItOutSwitchedOff) {
  startQuietly();
  const Ptr<NexthopResolverFibViaSm> before = manager->nexthopResolverFibViaSm();
  EXPECT_EQ(manager->nexthopResolverFibViaSmDel(), before);
  EXPECT_FALSE(manager->nexthopResolverFibViaSm());
  EXPECT_FALSE(before->hasNotificationActive());
  EXPECT_FALSE(world.fecs->hasSubscribers());
}

TEST_F(ManagerFibVia, DelOfNoneReturnsNull) {
  startQuietly();
  manager->nexthopResolverFibViaSmDel();
  EXPECT_FALSE(manager->nexthopResolverFibViaSmDel());
}

}  // namespace
}  // namespace Routing::Support
