// The machine under random changes of FECs and references: after each one exactly the FECs that are
// referenced and present have a ResolverId and a record with their vias, and no counter value was
// handed out twice.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "tests/support/FibViaFixture.h"
#include "tests/support/Seed.h"

namespace Routing {
namespace {

using Support::fecOf;

// Reserved ones, ordinary ones, and one with information bits.
constexpr std::array<FecId, 7> fecs{1, 2, 3, 4, 5, 300, 0x2a00000000000001};

class FibViaModel : public Support::FibViaFixture {
 protected:
  std::uint32_t draw(std::uint32_t below) { return static_cast<std::uint32_t>(random() % below); }
  void step() {
    const FecId fecId = fecs[draw(fecs.size())];
    const String client = "c" + std::to_string(draw(2));
    const IpGenAddr nexthop = IpGenAddr::ipv4(0x0a000000 + draw(4));
    switch (draw(8)) {
      case 0:
        table->fecDel(fecId);
        break;
      case 1:
        references->deleteReferenceForClientNexthop(client, nexthop);
        break;
      case 2:
      case 3:
      case 4:
        table->fecIs(fecOf(fecId, draw(4)));
        break;
      default:
        references->addReference(fecId, client, nexthop);
    }
  }
  void check(FecId fecId) const {
    const bool served = references->fecIdRef(fecId) && table->fecHas(fecId);
    ASSERT_EQ(map->fecIdToResolverIdMapHas(fecId), served) << fecId;
    if (served) {
      const ResolverId resolverId = map->fecIdToResolverIdMap(fecId);
      const auto* published = record(resolverId.value());
      ASSERT_NE(published, nullptr) << fecId;
      EXPECT_EQ(published->nexthopResolverVia().size(), table->fec(fecId).viaCount()) << fecId;
      EXPECT_EQ(resolverId.value() >> 56U, fecId >> 56U);
      EXPECT_EQ(resolverId.isResIdForReservedFecId(), fecId <= 3) << fecId;
    }
  }
  void checkAll() {
    for (const FecId fecId : fecs) {
      check(fecId);
    }
    EXPECT_EQ(records->nexthopResolverIdVia().size(), map->fecIdToResolverIdMap().size());
  }

  std::mt19937_64 random;
};

TEST_F(FibViaModel, ExactlyTheReferencedFecsThatArePresentArePublished) {
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  random.seed(seed);
  start();
  traces.reset();
  referenceWatch.reset();
  outputWatch.reset();
  // Counter values by the FEC that got them: a value that comes again belongs to the same FEC.
  std::map<std::uint64_t, FecId> owners;
  const Support::Watcher watcher(*map, [&](FieldId, const void* key) {
    const FecId fecId = Support::keyOf<FecId>(key);
    if (map->fecIdToResolverIdMapHas(fecId) && fecId > 3) {
      const std::uint64_t counter = map->fecIdToResolverIdMap(fecId).stripInformationBits();
      EXPECT_TRUE(owners.emplace(counter, fecId).second) << counter << " is handed out again";
    }
  });
  for (int i = 0; i < 5000 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    step();
    checkAll();
  }
  EXPECT_GT(owners.size(), 100U);
}

}  // namespace
}  // namespace Routing
