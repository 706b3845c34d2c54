// Records as words of a replay file.

#include <gtest/gtest.h>

#include "host/record/ReplayLines.h"

namespace Routing::Host {
namespace {

TEST(ReplayLines, ANameIsOneWordThatNothingElseIsWrittenAs) {
  EXPECT_EQ(ReplayLines::word("vrf-1"), "vrf-1");
  EXPECT_EQ(ReplayLines::word("a b"), "a%20b");
  EXPECT_EQ(ReplayLines::word("a#b%"), "a%23b%25");
  EXPECT_EQ(ReplayLines::word(""), "%");
}

TEST(ReplayLines, AFecIsWrittenWithItsViasInOrder) {
  FibGen::Fec fec(17);
  fec.viaIndexBoundaryIs(1);
  FibGen::Via labelled{IntfId{2}, 3, *IpGenAddr::parse("2001:db8::1"), {}};
  labelled.labelAndAction.labelIs(16);
  labelled.labelAndAction.actionIs(1);
  fec.viaIs(labelled);
  fec.viaIs({IntfId{5}, 1, IpGenAddr(), {}});
  EXPECT_EQ(ReplayLines::fec(fec),
            "fec 17 boundary 1 via 2001:db8::1 intf 2 weight 3 label 16 action 1"
            " via 0.0.0.0 intf 5");
}

TEST(ReplayLines, TimeHasThreeDecimals) {
  EXPECT_EQ(ReplayLines::advance(std::chrono::milliseconds(7)), "advance 0.007");
  EXPECT_EQ(ReplayLines::advance(std::chrono::milliseconds(300040)), "advance 300.040");
}

}  // namespace
}  // namespace Routing::Host
