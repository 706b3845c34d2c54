#include <gtest/gtest.h>

#include <cstdint>

#include "platform/entity/Exceptions.h"
#include "platform/fib/Fec.h"

namespace Routing {
namespace {

using FibGen::Fec;
using FibGen::Via;

TEST(MplsLabelAndActionTest, AFreshOneHasNoLabelAndNoAction) {
  constexpr MplsLabelAndAction value;
  EXPECT_EQ(value.label(), 0x100000U);
  EXPECT_EQ(value.label(), 1048576U);
  EXPECT_EQ(value.action(), 0U);
  EXPECT_EQ(sizeof(value), sizeof(std::uint32_t));
}

TEST(MplsLabelAndActionTest, LabelAndActionDoNotTouchEachOther) {
  MplsLabelAndAction value;
  value.actionIs(0xff);
  EXPECT_EQ(value.label(), MplsLabelAndAction::noLabel);
  value.labelIs(0xfffff);
  EXPECT_EQ(value.action(), 0xffU);
  value.actionIs(2);
  EXPECT_EQ(value.label(), 0xfffffU);
  EXPECT_EQ(value.action(), 2U);
  value.labelIs(0);
  EXPECT_EQ(value.label(), 0U);
  EXPECT_EQ(value.action(), 2U);
}

TEST(MplsLabelAndActionTest, LabelsGoFromZeroToNoLabel) {
  MplsLabelAndAction value;
  value.labelIs(0);
  EXPECT_EQ(value.label(), 0U);
  value.labelIs(1048575);
  EXPECT_EQ(value.label(), 1048575U);
  value.labelIs(1048576);
  EXPECT_EQ(value.label(), 1048576U);
}

TEST(MplsLabelAndActionTest, ALabelAboveNoLabelIsARangeErrorAndChangesNothing) {
  MplsLabelAndAction value;
  value.labelIs(17);
  value.actionIs(1);
  EXPECT_THROW(value.labelIs(1048577), RangeError);
  EXPECT_THROW(value.labelIs(0xffffffff), RangeError);
  EXPECT_EQ(value.label(), 17U);
  EXPECT_EQ(value.action(), 1U);
}

TEST(MplsLabelAndActionTest, EqualsByLabelAndAction) {
  MplsLabelAndAction left;
  MplsLabelAndAction right;
  EXPECT_EQ(left, right);
  right.actionIs(1);
  EXPECT_NE(left, right);
  left.actionIs(1);
  left.labelIs(5);
  EXPECT_NE(left, right);
  right.labelIs(5);
  EXPECT_EQ(left, right);
}

TEST(ViaTest, AFreshOneHasWeightOneAndNoLabel) {
  constexpr Via via;
  EXPECT_EQ(via.intfId, IntfId{0});
  EXPECT_EQ(via.weight, 1U);
  EXPECT_EQ(via.hop, IpGenAddr());
  EXPECT_EQ(via.mplsLabelAndAction(), MplsLabelAndAction());
}

Fec fullFec() {
  Fec fec(42);
  fec.viaIs({IntfId{1}, 10, IpGenAddr::ipv4(0x0a000001), {}});
  fec.viaIs({IntfId{2}, 20, IpGenAddr::ipv4(0x0a000002), {}});
  fec.viaIndexBoundaryIs(1);
  fec.backupViaIs(1);
  return fec;
}

TEST(FecTest, AFreshOneIsEmptyAndHasNoBoundary) {
  const Fec fec(7);
  EXPECT_EQ(fec.fecId(), 7U);
  EXPECT_EQ(fec.viaCount(), 0U);
  EXPECT_TRUE(fec.via().empty());
  EXPECT_EQ(fec.viaIndexBoundary(), 0U);
  EXPECT_TRUE(fec.backupVia().empty());
}

TEST(FecTest, ViasStandInIndexOrder) {
  const Fec fec = fullFec();
  ASSERT_EQ(fec.viaCount(), 2U);
  EXPECT_EQ(fec.via()[0].intfId.value, 1U);
  EXPECT_EQ(fec.via()[1].intfId.value, 2U);
  EXPECT_EQ(fec.viaIndexBoundary(), 1U);
}

TEST(FecTest, IsEqComparesEveryFieldTheKeyIncluded) {
  EXPECT_TRUE(fullFec().isEq(fullFec()));
  EXPECT_TRUE(Fec(7).isEq(Fec(7)));
  EXPECT_FALSE(Fec(7).isEq(Fec(0)));

  Fec moreVias = fullFec();
  moreVias.viaIs({});
  EXPECT_FALSE(moreVias.isEq(fullFec()));
  Fec anotherBoundary = fullFec();
  anotherBoundary.viaIndexBoundaryIs(2);
  EXPECT_FALSE(anotherBoundary.isEq(fullFec()));
  Fec moreBackups = fullFec();
  moreBackups.backupViaIs(0);
  EXPECT_FALSE(moreBackups.isEq(fullFec()));
}

TEST(FecTest, IsEqComparesEveryFieldOfAVia) {
  MplsLabelAndAction label;
  label.labelIs(3);
  const Via via{IntfId{1}, 2, IpGenAddr::ipv4(3), label};
  const Via others[] = {{IntfId{9}, 2, IpGenAddr::ipv4(3), label},
                        {IntfId{1}, 9, IpGenAddr::ipv4(3), label},
                        {IntfId{1}, 2, IpGenAddr::ipv4(9), label},
                        {IntfId{1}, 2, IpGenAddr::ipv4(3), {}}};
  Fec fec(5);
  fec.viaIs(via);
  for (const Via& otherVia : others) {
    Fec other(5);
    other.viaIs(otherVia);
    EXPECT_FALSE(fec.isEq(other));
  }
}

TEST(FecTest, AnEmptyFecWithAnotherKeyIsNotTheAbsentOne) {
  EXPECT_TRUE(Fec(0).isEq(Fec(0)));
  EXPECT_FALSE(Fec(4).isEq(Fec(0)));
}

}  // namespace
}  // namespace Routing
