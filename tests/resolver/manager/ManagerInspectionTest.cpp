#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

class ManagerInspection : public ManagerFixture {
 protected:
  ManagerInspection() {
    client("c1");
    start();
  }
  Events call(std::string_view operation, const std::vector<std::string>& arguments = {}) {
    EXPECT_EQ(callOperation(*manager, operation, arguments), std::nullopt);
    return log.take();
  }
};

TEST_F(ManagerInspection, ShowsInputsThenWhatItOwnsInOrder) {
  const TypeData& type = manager->typeData();
  EXPECT_EQ(type.name(), "Routing::NexthopResolverManagerSm");
  std::vector<std::string> shown;
  for (const AttributeData& attribute : type.attributes()) {
    shown.push_back(std::string(attribute.name) + "=" + attribute.value(*manager));
  }
  EXPECT_EQ(shown,
            (std::vector<std::string>{
                "vrfName=v1",
                "nexthopConfigDir=" + String(world.configDir->typeData().name()),
                "nexthopStatusDir=" + String(world.configDir->typeData().name()),
                "nexthopCellSpecificStatusDir=" + String(world.configDir->typeData().name()),
                "trie4=" + String(world.trie4->typeData().name()),
                "trie6=" + String(world.trie6->typeData().name()),
                "routeStatus=" + String(world.routes4->typeData().name()),
                "route6Status=" + String(world.routes6->typeData().name()),
                "forwardingGenStatus=" + String(world.fecs->typeData().name()),
                "nexthopForwardingStatus=Routing::NexthopResolverForwardingStatus",
                "nexthopFibViaContext=Routing::NexthopResolverFibViaContext",
                "routingInfoDir=" + String(world.configDir->typeData().name()),
                "routing6InfoDir=" + String(world.configDir->typeData().name()),
                "scheduler=" + String(world.scheduler->typeData().name()),
                "fecIdToClientHop=Routing::FecIdToClientHop",
                "fecIdToResolverId=Routing::FecIdToResolverId",
                "nexthopResolverFibViaSm=Routing::NexthopResolverFibViaSm",
                "resolverSm={c1}",
                "nexthopConfigPtr={c1}",
                "nexthopStatusPtr={c1}",
                "nexthopConfig={c1}",
                "nexthopStatus={c1}",
                "initialized=true",
            }));
}

TEST_F(ManagerInspection, ListsItsOperations) {
  std::vector<std::string> names;
  for (const OperationData& operation : manager->typeData().operations()) {
    names.emplace_back(operation.name);
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"clearVrfStatus",
                                      "handleClient",
                                      "handleClientEntry",
                                      "handleClientConfigDir",
                                      "handleClientStatusDir",
                                      "handleCellSpecificClientStatusDir",
                                      "handleInitialized",
                                      "handleCleanup"}));
}

TEST_F(ManagerInspection, HandlersCanBeCalledByName) {
  EXPECT_EQ(call("handleClient", {"c1", "v2"}),
            (Events{managerLine(8, "handleClient c1 vrf v2"),
                    managerLine(8, "handleClient c1 ignore update for vrf v2")}));
  EXPECT_EQ(call("handleClientEntry", {"nobody"}),
            (Events{managerLine(8, "handleClientEntry nobody"),
                    managerLine(8, "handleClient nobody vrf v1")}));
  EXPECT_EQ(call("handleClientConfigDir", {"c1"}),
            (Events{managerLine(8, "handleClientConfigDir c1")}));
  EXPECT_EQ(call("handleClientStatusDir", {"c1"}),
            (Events{managerLine(8, "handleClientStatusDir c1")}));
  EXPECT_EQ(call("handleCellSpecificClientStatusDir", {"nobody"}),
            (Events{managerLine(8, "handleCellSpecificClientStatusDir nobody")}));
}

TEST_F(ManagerInspection, ClearVrfStatusCanBeCalledByName) {
  manager->hasNotificationActiveIs(false);
  EXPECT_EQ(call("clearVrfStatus", {"c1"}),
            (Events{managerLine(1, "clearVrfStatus clear status for c1")}));
  EXPECT_FALSE(world.status("c1")->vrfHas("v1"));
}

TEST_F(ManagerInspection, CleanupByNameStopsTheHandlersAndTheMachineAndKeepsTheRest) {
  const Ptr<NexthopResolverSm> before = resolver("c1");
  EXPECT_EQ(call("handleCleanup"), (Events{managerLine(8, "handleCleanup")}));
  EXPECT_FALSE(manager->initialized());
  EXPECT_FALSE(manager->nexthopResolverFibViaSm());
  EXPECT_TRUE(manager->fecIdToClientHop());
  EXPECT_TRUE(manager->fecIdToResolverId());
  EXPECT_EQ(resolver("c1"), before);
  EXPECT_EQ(manager->nexthopConfigPtr().size(), 1U);
  EXPECT_EQ(manager->nexthopStatusPtr().size(), 1U);
  EXPECT_EQ(manager->nexthopConfig().size(), 1U);
  EXPECT_EQ(manager->nexthopStatus().size(), 1U);
  EXPECT_EQ(call("handleClientConfigDir", {"c1"}), Events{});
}

TEST_F(ManagerInspection, StartUpByNameReplacesIndexMapAndMachine) {
  const Ptr<FecIdToClientHop> references = manager->fecIdToClientHop();
  const Ptr<FecIdToResolverId> map = manager->fecIdToResolverId();
  const Ptr<NexthopResolverFibViaSm> machine = manager->nexthopResolverFibViaSm();
  call("handleCleanup");
  EXPECT_EQ(call("handleInitialized"),
            (Events{
                managerLine(8, "handleInitialized"),
                managerLine(8, "handleClientConfigDir c1"),
                managerLine(8, "handleClientStatusDir c1"),
            }));
  EXPECT_TRUE(manager->initialized());
  EXPECT_NE(manager->fecIdToClientHop(), references);
  EXPECT_NE(manager->fecIdToResolverId(), map);
  EXPECT_NE(manager->nexthopResolverFibViaSm(), machine);
  EXPECT_EQ(manager->nexthopResolverFibViaSm()->fecIdToClientHop(), manager->fecIdToClientHop());
}

TEST_F(ManagerInspection, AnUnknownOperationOrAWrongNumberOfArgumentsIsAnError) {
  EXPECT_THROW(callOperation(*manager, "resolverSmDelAll", {}), DeserialisationError);
  EXPECT_THROW(callOperation(*manager, "handleClient", std::vector<std::string>{"c1"}),
               DeserialisationError);
}

}  // namespace
}  // namespace Routing::Support
