// Random changes of the directories and of the clients' records under the managers of two VRFs.
// After each of them the rule must hold: a client has a resolver exactly when it has a
// configuration of the VRF and a status record, and its status of the VRF is there exactly as long.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/support/ManagerFixture.h"
#include "tests/support/Seed.h"

namespace Routing::Support {
namespace {

std::vector<String> sorted(std::vector<String> names) {
  std::sort(names.begin(), names.end());
  return names;
}

class ManagerModel : public ManagerFixture {
 protected:
  static constexpr std::array<const char*, 4> clients{"a", "b", "c", "d"};
  static constexpr std::array<const char*, 2> vrfs{"v1", "v2"};

  ManagerModel() {
    world.fec(12);
    world.fec(13);
    world.route("10.0.0.0/8", {12, 0, 1, 0});
    world.routing4Dir->entityIs("v2", world.routing4);
    world.routing6Dir->entityIs("v2", world.routing6);
    for (std::size_t i = 0; i < vrfs.size(); ++i) {
      inputs.emplace_back(world, vrfs[i]);
      inputs[i].context = makeEntity<NexthopResolverFibViaContext>();
      managers.push_back(inputs[i].make());
    }
  }
  ~ManagerModel() override { managers.clear(); }

  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(random()) % bound; }
  // A kind for good, so that no configuration is asked for with another.
  static NexthopStatusFecIdType kindOf(const String& client) {
    return client < "c" ? fibFecId : resolverId;
  }
  Ptr<NexthopStatus> statusOf(const String& client) const {
    const Ptr<NexthopStatus> global = entityOf<NexthopStatus>(*world.statusDir, client);
    return global ? global : entityOf<NexthopStatus>(*world.cellStatusDir, client);
  }

  void changeConfiguration(const String& client) {
    if (config(client)) {
      world.configDir->entityDel(client);
      return;
    }
    const Ptr<NexthopConfig> record = makeEntity<NexthopConfig>(client);
    for (const char* vrf : vrfs) {
      if (below(2) == 0) {
        record->vrfIs(vrf, kindOf(client));
      }
    }
    world.configDir->entityIs(client, record);
  }
  void changeStatus(const String& client) {
    if (statusOf(client)) {
      world.statusDir->entityDel(client);
      world.cellStatusDir->entityDel(client);
      return;
    }
    const Ptr<Dir>& dir = below(2) == 0 ? world.statusDir : world.cellStatusDir;
    const Ptr<NexthopStatus> record = makeEntity<NexthopStatus>(client);
    if (below(2) == 0) {
      record->vrfIs(vrfs[below(2)], kindOf(client));
    }
    dir->entityIs(client, record);
  }
  void changeVrf(const String& client) {
    const Ptr<NexthopConfig> record = config(client);
    const VrfName vrf = vrfs[below(2)];
    if (!record) {
      return;
    }
    if (record->vrfHas(vrf)) {
      record->vrfDel(vrf);
    } else {
      record->vrfIs(vrf, kindOf(client));
    }
  }
  void addNexthop(const String& client) {
    const Ptr<NexthopConfig> record = config(client);
    const Ptr<NexthopVrfConfig> vrfConfig = record ? record->vrf(vrfs[below(2)]) : nullptr;
    if (vrfConfig) {
      vrfConfig->nexthopIs({IpGenAddr::ipv4(0x0a000000 + below(8))});
    }
  }
  void restart() {
    const std::size_t which = below(2);
    managers[which] = nullptr;
    managers[which] = inputs[which].make();
  }
  void change() {
    const String client = clients[below(clients.size())];
    switch (below(10)) {
      case 0:
      case 1:
        return changeConfiguration(client);
      case 2:
      case 3:
        return changeStatus(client);
      case 4:
      case 5:
        return changeVrf(client);
      case 6:
        return addNexthop(client);
      case 7:
        return world.route("10.0.0.0/8", {FecId{12} + below(2), 0, 1, 0});
      case 8:
        return world.runUntilIdle();
      default:
        return below(4) == 0 ? restart() : world.configDir->entityAnnounce(client);
    }
  }

  void expectRule(const NexthopResolverManagerSm& of) {
    const VrfName& vrf = of.vrfName();
    std::vector<String> resolvers;
    for (const char* client : clients) {
      const Ptr<NexthopConfig> record = config(client);
      const Ptr<NexthopStatus> status = statusOf(client);
      const bool expected = record && record->vrfHas(vrf) && status;
      if (expected) {
        resolvers.emplace_back(client);
      }
      EXPECT_EQ(status && status->vrfHas(vrf), expected) << client << " in " << vrf;
    }
    EXPECT_EQ(sorted(keysOf(of.resolverSm())), resolvers) << vrf;
    expectRecords(of);
    expectReferencesOf(of, resolvers);
  }
  void expectRecords(const NexthopResolverManagerSm& of) {
    std::vector<String> statuses = keysOf(world.statusDir->entry());
    for (const String& name : keysOf(world.cellStatusDir->entry())) {
      statuses.push_back(name);
    }
    EXPECT_EQ(sorted(keysOf(of.nexthopConfigPtr())), sorted(keysOf(world.configDir->entry())));
    EXPECT_EQ(sorted(keysOf(of.nexthopConfig())), sorted(keysOf(world.configDir->entry())));
    EXPECT_EQ(sorted(keysOf(of.nexthopStatusPtr())), sorted(statuses));
    EXPECT_EQ(sorted(keysOf(of.nexthopStatus())), sorted(statuses));
  }
  // No reference outlives its client's resolver, no identifier its last reference.
  void expectReferencesOf(const NexthopResolverManagerSm& of,
                          const std::vector<String>& resolvers) {
    const FecIdToClientHop& references = *of.fecIdToClientHop();
    for (auto cursor = references.clientNexthopToFecId().cursor(); !cursor.atEnd(); cursor.next()) {
      EXPECT_TRUE(
          std::binary_search(resolvers.begin(), resolvers.end(), cursor.key().clientName()));
    }
    const FecIdToResolverId::Map& map = of.fecIdToResolverId()->fecIdToResolverIdMap();
    for (auto cursor = map.cursor(); !cursor.atEnd(); cursor.next()) {
      EXPECT_TRUE(references.fecIdRef(cursor.key()));
    }
  }

  std::mt19937 random{static_cast<std::uint32_t>(seed())};
  std::vector<ManagerInputs> inputs;
  std::vector<Ptr<NexthopResolverManagerSm>> managers;
};

TEST_F(ManagerModel, AResolverIsThereExactlyWhileItsRecordsAre) {
  const SeedTrace trace(seed());
  for (int step = 0; step < 6000 && !HasFailure(); ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    change();
    for (const auto& each : managers) {
      expectRule(*each);
    }
  }
}

}  // namespace
}  // namespace Routing::Support
