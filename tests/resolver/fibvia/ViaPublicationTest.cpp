#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "tests/resolver/fibvia/ScriptedForwardingStatus.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using Support::addr;
using Support::fecOf;

class FibViaPublication : public Support::FibViaFixture {
 protected:
  // The record that the FEC is published as.
  std::vector<NexthopResolverVia> publish(const FibGen::Fec& fec) {
    addReference(fec.fecId(), "bgp", "10.0.0.1");
    table->fecIs(fec);
    const auto* published = record(map->fecIdToResolverIdMap(fec.fecId()).value());
    return published == nullptr ? std::vector<NexthopResolverVia>{}
                                : published->nexthopResolverVia();
  }
  static std::vector<bool> beyondBoundary(const std::vector<NexthopResolverVia>& vias) {
    std::vector<bool> flags;
    for (const auto& via : vias) {
      flags.push_back(via.beyondBoundary());
    }
    return flags;
  }
};

TEST_F(FibViaPublication, AViaCarriesInterfaceHopWeightAndLabel) {
  start();
  MplsLabelAndAction labelled;
  labelled.labelIs(1234);
  labelled.actionIs(2);
  FibGen::Fec fec(12);
  fec.viaIs(
      {.intfId = IntfId{7}, .weight = 50, .hop = addr("2001:db8::1"), .labelAndAction = labelled});
  const auto vias = publish(fec);
  ASSERT_EQ(vias.size(), 1U);
  EXPECT_EQ(vias[0].intfId(), IntfId{7});
  EXPECT_EQ(vias[0].hop(), addr("2001:db8::1"));
  EXPECT_EQ(vias[0].weight(), 50U);
  EXPECT_EQ(vias[0].mplsLabelAndAction(), labelled);
  EXPECT_FALSE(vias[0].beyondBoundary());
}

TEST_F(FibViaPublication, AViaWithoutMplsCarriesWhatTheFibViaReturns) {
  start();
  FibGen::Fec fec(12);
  fec.viaIs({.intfId = IntfId{7}, .weight = 1, .hop = addr("10.0.0.9"), .labelAndAction = {}});
  MplsLabelAndAction zero;
  zero.labelIs(0);
  fec.viaIs({.intfId = IntfId{8}, .weight = 1, .hop = addr("10.0.0.9"), .labelAndAction = zero});
  const auto vias = publish(fec);
  ASSERT_EQ(vias.size(), 2U);
  EXPECT_EQ(vias[0].mplsLabelAndAction().label(), 0x100000U);
  EXPECT_EQ(vias[0].mplsLabelAndAction().action(), 0U);
  EXPECT_EQ(vias[1].mplsLabelAndAction().label(), 0U);
}

TEST_F(FibViaPublication, AWeightOfZeroIsCarriedAsItIs) {
  start();
  FibGen::Fec fec(12);
  fec.viaIs({.intfId = IntfId{7}, .weight = 0, .hop = addr("10.0.0.9"), .labelAndAction = {}});
  EXPECT_EQ(publish(fec).at(0).weight(), 0U);
}

TEST_F(FibViaPublication, ViasStandInTheFecsOrderEqualOnesToo) {
  start();
  FibGen::Fec fec(12);
  for (const std::uint32_t intf : {3U, 1U, 3U, 2U}) {
    fec.viaIs({.intfId = IntfId{intf}, .weight = 1, .hop = {}, .labelAndAction = {}});
  }
  std::vector<std::uint32_t> interfaces;
  for (const auto& via : publish(fec)) {
    interfaces.push_back(via.intfId().value);
  }
  EXPECT_EQ(interfaces, (std::vector<std::uint32_t>{3, 1, 3, 2}));
}

TEST_F(FibViaPublication, AViaAtOrBeyondTheBoundaryIsMarked) {
  start();
  FibGen::Fec fec = fecOf(12, 4);
  fec.viaIndexBoundaryIs(2);
  EXPECT_EQ(beyondBoundary(publish(fec)), (std::vector<bool>{false, false, true, true}));
}

TEST_F(FibViaPublication, WithoutABoundaryNoViaIsMarked) {
  start();
  EXPECT_EQ(beyondBoundary(publish(fecOf(12, 3))), (std::vector<bool>{false, false, false}));
}

TEST_F(FibViaPublication, ABoundaryBehindTheLastViaMarksNone) {
  start();
  FibGen::Fec fec = fecOf(12, 3);
  fec.viaIndexBoundaryIs(3);
  EXPECT_EQ(beyondBoundary(publish(fec)), (std::vector<bool>{false, false, false}));
}

TEST_F(FibViaPublication, AnUpdateReplacesTheWholeViaList) {
  start();
  publish(fecOf(12, 5));
  EXPECT_EQ(publish(fecOf(12, 2)).size(), 2U);
  EXPECT_EQ(publish(FibGen::Fec(12)).size(), 0U);
  EXPECT_NE(record(4), nullptr);
}

TEST_F(FibViaPublication, SixHundredViasArePublishedWithABoundaryAmongThem) {
  start();
  FibGen::Fec fec = fecOf(12, 600);
  fec.viaIndexBoundaryIs(599);
  const auto vias = publish(fec);
  ASSERT_EQ(vias.size(), 600U);
  EXPECT_FALSE(vias[598].beyondBoundary());
  EXPECT_TRUE(vias[599].beyondBoundary());
  EXPECT_EQ(vias[599].intfId(), IntfId{600});
}

TEST_F(FibViaPublication, TheBackupViasAreNotPublished) {
  start();
  FibGen::Fec fec = fecOf(12, 2);
  fec.backupViaIs(1);
  EXPECT_EQ(publish(fec), publish(fecOf(12, 2)));
}

TEST_F(FibViaPublication, WithABoundaryAViaIndexAbove599IsARangeErrorThatPublishesNothing) {
  const auto lenient = makeEntity<Support::ScriptedForwardingStatus>();
  FibGen::Fec fec = fecOf(12, 601);
  fec.viaIndexBoundaryIs(1);
  lenient->readIs([&](FecId) { return fec; });
  start(lenient);
  EXPECT_THROW(addReference(12, "bgp", "10.0.0.1"), RangeError);
  EXPECT_EQ(firstUnallocated(), 5U);
  EXPECT_EQ(record(4), nullptr);
  EXPECT_FALSE(map->fecIdToResolverIdMapHas(12));
}

TEST_F(FibViaPublication, WithoutABoundaryTheViaIndexIsNotChecked) {
  const auto lenient = makeEntity<Support::ScriptedForwardingStatus>();
  lenient->readIs([](FecId) { return fecOf(12, 601); });
  start(lenient);
  addReference(12, "bgp", "10.0.0.1");
  ASSERT_NE(record(4), nullptr);
  EXPECT_EQ(record(4)->nexthopResolverVia().size(), 601U);
}

}  // namespace
}  // namespace Routing
