#include <gtest/gtest.h>

#include <optional>

#include "records/NexthopResolverForwardingStatus.h"
#include "tests/records/RecordSupport.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;

NexthopResolverVia viaOf(std::uint32_t intf, std::string_view hop) {
  return {IntfId{intf}, addr(hop)};
}

TEST(NexthopResolverViaTest, AFreshViaHasWeightOneNoLabelNoActionAndIsWithinTheBoundary) {
  const NexthopResolverVia via = viaOf(7, "10.0.0.1");
  EXPECT_EQ(via.intfId(), IntfId{7});
  EXPECT_EQ(via.hop(), addr("10.0.0.1"));
  EXPECT_EQ(via.weight(), 1U);
  EXPECT_EQ(via.mplsLabelAndAction().label(), 0x100000U);
  EXPECT_EQ(via.mplsLabelAndAction().action(), 0U);
  EXPECT_FALSE(via.beyondBoundary());
}

TEST(NexthopResolverViaTest, KeepsWhatItIsGiven) {
  NexthopResolverVia via = viaOf(7, "2001:db8::1");
  MplsLabelAndAction label;
  label.labelIs(100);
  label.actionIs(2);
  via.mplsLabelAndActionIs(label);
  via.weightIs(0xffffffff);
  via.beyondBoundaryIs(true);
  EXPECT_EQ(via.mplsLabelAndAction(), label);
  EXPECT_EQ(via.weight(), 0xffffffffU);
  EXPECT_TRUE(via.beyondBoundary());
  EXPECT_EQ(via.hop(), addr("2001:db8::1"));
}

TEST(NexthopResolverViaTest, EveryFieldCountsForEquality) {
  const NexthopResolverVia via = viaOf(7, "10.0.0.1");
  EXPECT_EQ(via, viaOf(7, "10.0.0.1"));
  EXPECT_NE(via, viaOf(8, "10.0.0.1"));
  EXPECT_NE(via, viaOf(7, "10.0.0.2"));
  NexthopResolverVia other = via;
  other.weightIs(2);
  EXPECT_NE(via, other);
  other = via;
  other.beyondBoundaryIs(true);
  EXPECT_NE(via, other);
  other = via;
  MplsLabelAndAction label;
  label.actionIs(1);
  other.mplsLabelAndActionIs(label);
  EXPECT_NE(via, other);
}

TEST(NexthopResolverIdViaTest, AFreshRecordHasItsKeyAndNoVias) {
  const NexthopResolverIdVia record(ResolverId(4));
  EXPECT_EQ(record.resolverId(), ResolverId(4));
  EXPECT_TRUE(record.nexthopResolverVia().empty());
}

TEST(NexthopResolverIdViaTest, ViasAreAppendedEqualOnesToo) {
  NexthopResolverIdVia record(ResolverId(4));
  record.nexthopResolverViaIs(viaOf(2, "10.0.0.2"));
  record.nexthopResolverViaIs(viaOf(1, "10.0.0.1"));
  record.nexthopResolverViaIs(viaOf(2, "10.0.0.2"));
  EXPECT_EQ(record.nexthopResolverVia(),
            (std::vector{viaOf(2, "10.0.0.2"), viaOf(1, "10.0.0.1"), viaOf(2, "10.0.0.2")}));
}

TEST(NexthopResolverIdViaTest, ACopyIsItsOwn) {
  NexthopResolverIdVia record(ResolverId(4));
  record.nexthopResolverViaIs(viaOf(1, "10.0.0.1"));
  NexthopResolverIdVia copy = record;
  EXPECT_EQ(copy, record);
  copy.nexthopResolverViaIs(viaOf(2, "10.0.0.2"));
  EXPECT_EQ(record.nexthopResolverVia().size(), 1U);
  EXPECT_NE(copy, record);
  EXPECT_NE(NexthopResolverIdVia(ResolverId(4)), NexthopResolverIdVia(ResolverId(5)));
}

class VrfForwardingStatusTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(
        *status,
        Support::logsKeys<ResolverId>(log,
                                      NexthopResolverVrfForwardingStatus::nexthopResolverIdViaField,
                                      "id"));
  }
  static NexthopResolverIdVia record(std::uint64_t id, std::uint32_t vias) {
    NexthopResolverIdVia made{ResolverId(id)};
    for (std::uint32_t i = 0; i < vias; ++i) {
      made.nexthopResolverViaIs(viaOf(i + 1, "10.0.0.1"));
    }
    return made;
  }
  const NexthopResolverIdVia* find(std::uint64_t id) const {
    return status->nexthopResolverIdVia().find(ResolverId(id));
  }

  Ptr<NexthopResolverVrfForwardingStatus> status =
      makeEntity<NexthopResolverVrfForwardingStatus>("v1");
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(VrfForwardingStatusTest, ARecordStandsUnderItsWholeResolverId) {
  status->nexthopResolverIdViaIs(record(0xab00000000000004, 2));
  ASSERT_NE(find(0xab00000000000004), nullptr);
  EXPECT_EQ(*find(0xab00000000000004), record(0xab00000000000004, 2));
  EXPECT_EQ(find(4), nullptr);
  EXPECT_TRUE(status->nexthopResolverIdViaHas(ResolverId(0xab00000000000004)));
  EXPECT_FALSE(status->nexthopResolverIdViaHas(ResolverId(4)));
}

TEST_F(VrfForwardingStatusTest, ARecordWithoutViasIsKeptWithAnEmptyList) {
  logChanges();
  status->nexthopResolverIdViaIs(record(4, 0));
  ASSERT_NE(find(4), nullptr);
  EXPECT_TRUE(find(4)->nexthopResolverVia().empty());
  EXPECT_EQ(log.take(), Events{"id 4"});
}

TEST_F(VrfForwardingStatusTest, ReplacingARecordReplacesItsWholeViaList) {
  status->nexthopResolverIdViaIs(record(4, 3));
  status->nexthopResolverIdViaIs(record(4, 1));
  EXPECT_EQ(*find(4), record(4, 1));
  status->nexthopResolverIdViaIs(record(4, 0));
  EXPECT_EQ(*find(4), record(4, 0));
  EXPECT_EQ(status->nexthopResolverIdVia().size(), 1U);
}

TEST_F(VrfForwardingStatusTest, EveryWritePublishesAlsoOneThatChangesNothing) {
  logChanges();
  status->nexthopResolverIdViaIs(record(4, 1));
  status->nexthopResolverIdViaIs(record(4, 2));
  status->nexthopResolverIdViaIs(record(4, 2));
  status->nexthopResolverIdViaIs(record(5, 0));
  EXPECT_EQ(log.take(), (Events{"id 4", "id 4", "id 4", "id 5"}));
}

TEST_F(VrfForwardingStatusTest, RemovingPublishesOnlyWhatWasThere) {
  status->nexthopResolverIdViaIs(record(4, 1));
  logChanges();
  status->nexthopResolverIdViaDel(ResolverId(5));
  status->nexthopResolverIdViaDel(ResolverId(4));
  status->nexthopResolverIdViaDel(ResolverId(4));
  EXPECT_EQ(log.take(), Events{"id 4"});
  EXPECT_EQ(find(4), nullptr);
}

TEST_F(VrfForwardingStatusTest, RemovingAllPublishesEachRecordOnce) {
  status->nexthopResolverIdViaIs(record(5, 1));
  status->nexthopResolverIdViaIs(record(4, 1));
  logChanges();
  status->nexthopResolverIdViaDelAll();
  EXPECT_EQ(log.take(), (Events{"id 5", "id 4"}));
  EXPECT_TRUE(status->nexthopResolverIdVia().empty());
}

TEST_F(VrfForwardingStatusTest, RemovingAllWithoutSubscribersClearsSilently) {
  status->nexthopResolverIdViaIs(record(4, 1));
  status->nexthopResolverIdViaDelAll();
  EXPECT_TRUE(status->nexthopResolverIdVia().empty());
  logChanges();
  status->nexthopResolverIdViaDelAll();
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(VrfForwardingStatusTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  status->nexthopResolverIdViaIs(record(5, 1));
  status->nexthopResolverIdViaIs(record(4, 1));
  EXPECT_EQ(status->typeData().name(), "Routing::NexthopResolverVrfForwardingStatus");
  EXPECT_EQ(Support::attributesOf(*status), (Events{"vrfName=v1", "nexthopResolverIdVia={5, 4}"}));
}

class ForwardingRecordTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(
        *status,
        Support::logsKeys<VrfName>(log, NexthopResolverForwardingStatus::vrfField, "vrf"));
  }

  Ptr<NexthopResolverForwardingStatus> status = makeEntity<NexthopResolverForwardingStatus>();
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(ForwardingRecordTest, AnAbsentVrfReadsAsNull) {
  EXPECT_FALSE(status->vrf("v1"));
  EXPECT_FALSE(status->vrfHas("v1"));
}

TEST_F(ForwardingRecordTest, AskingForAVrfMakesItOnceAndPublishesOnce) {
  logChanges();
  const auto made = status->vrfIs("v1");
  ASSERT_TRUE(made);
  EXPECT_EQ(made->vrfName(), "v1");
  EXPECT_EQ(status->vrfIs("v1"), made);
  EXPECT_EQ(status->vrf("v1"), made);
  EXPECT_TRUE(status->vrfHas("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(ForwardingRecordTest, WhatWasPublishedIsThereForTheNextWhoAsks) {
  status->vrfIs("v1")->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(4)));
  EXPECT_EQ(status->vrfIs("v1")->nexthopResolverIdVia().size(), 1U);
  EXPECT_TRUE(status->vrfIs("v2")->nexthopResolverIdVia().empty());
}

TEST_F(ForwardingRecordTest, RemovingAVrfReturnsItAndPublishesOnce) {
  const auto made = status->vrfIs("v1");
  logChanges();
  EXPECT_FALSE(status->vrfDel("v2"));
  EXPECT_EQ(status->vrfDel("v1"), made);
  EXPECT_FALSE(status->vrfDel("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(ForwardingRecordTest, RemovingAllPublishesEachVrfOnceAndNothingWithoutSubscribers) {
  status->vrfIs("v1");
  status->vrfDelAll();
  EXPECT_TRUE(status->vrf().empty());
  status->vrfIs("v2");
  status->vrfIs("v1");
  logChanges();
  status->vrfDelAll();
  EXPECT_EQ(log.take(), (Events{"vrf v2", "vrf v1"}));
  EXPECT_TRUE(status->vrf().empty());
}

TEST_F(ForwardingRecordTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  status->vrfIs("v2");
  status->vrfIs("v1");
  EXPECT_EQ(status->typeData().name(), "Routing::NexthopResolverForwardingStatus");
  EXPECT_EQ(Support::attributesOf(*status), (Events{"vrf={v2, v1}"}));
}

}  // namespace
}  // namespace Routing
