// Dumps: what a reading of a table adds, leaves alone and takes away.

#include "tests/host/kernel/StateFixture.h"

namespace Routing::Host::Testing {
namespace {

class DumpTest : public StateTest {
 protected:
  DumpTest() { dump(main4(), {}); }  // The first one has nothing to take away.
};

TEST_F(DumpTest, WhatADumpDoesNotNameIsGone) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.3.0/24", "10.0.0.2"));
  dump(main4(), {via("192.0.3.0/24", "10.0.0.2")});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.0.0.2");
}

TEST_F(DumpTest, ATornDumpTakesNothingAway) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  dump(main4(), {via("192.0.3.0/24", "10.0.0.2")}, false);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.0.0.2") << "what it named is there";
}

TEST_F(DumpTest, ADumpWithADamagedMessageTakesNothingAwayAndSaysSo) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  MessageBuilder route = routeMessage(via("192.0.2.0/24", "10.0.0.2"));
  Message message = route.message();
  message.body = message.body.first(message.body.size() - 3);
  state_->dumpBegin(main4());
  state_->dumpMessage(message);
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  EXPECT_TRUE(state_->takeRecheck().damaged);
}

TEST_F(DumpTest, WhatHasNotChangedCausesNoEvent) {
  const TestRoute first = via("192.0.2.0/24", "10.0.0.2");
  const TestRoute second = via("192.0.2.0/24", "10.0.0.3", 5);
  const TestRoute list{.prefix = "192.0.3.0/24", .hops = {{"10.0.0.2"}, {"10.0.0.3", 2, 7}}};
  const TestRoute refusal{.prefix = "192.0.4.0/24", .type = RTN_BLACKHOLE};
  for (const TestRoute& route : {first, second, list, refusal}) {
    add(route);
  }
  runUntilIdle(*scheduler_);
  watch();
  dump(main4(), {first, second, list, refusal});
  runUntilIdle(*scheduler_);
  EXPECT_EQ(events_, 0);
}

TEST_F(DumpTest, WhatArrivesDuringTheDumpIsNotTakenAway) {
  state_->dumpBegin(main4());
  add(via("192.0.2.0/24", "10.0.0.2"));
  dumped(via("192.0.3.0/24", "10.0.0.2"));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
}

TEST_F(DumpTest, WhatWasRemovedDuringTheDumpDoesNotComeBackWithIt) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.9", 9));
  state_->dumpBegin(main4());
  remove(via("192.0.2.0/24", "10.0.0.2"));
  dumped(via("192.0.2.0/24", "10.0.0.2"));
  dumped(via("192.0.2.0/24", "10.0.0.9", 9));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.9");
}

TEST_F(DumpTest, WhatIsRemovedWhenTheDumpHasJustNamedItStaysRemoved) {
  for (const std::string prefix : {"192.0.2.0/24", "2001:db8::/32"}) {
    const bool ipv4 = prefix[0] == '1';
    const TestRoute gone = via(prefix, ipv4 ? "10.0.0.2" : "fe80::2", 1024);
    add(gone);
    state_->dumpBegin(ipv4 ? main4() : main6());
    dumped(gone);
    remove(gone);
    state_->dumpEnd(true);
    EXPECT_EQ(shown(prefix), "absent");
  }
}

TEST_F(DumpTest, WhatIsRemovedAfterAnotherOfItsMetricDoesNotComeBackEither) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  add(via("192.0.2.0/24", "10.0.0.3"), append);
  state_->dumpBegin(main4());
  remove(via("192.0.2.0/24", "10.0.0.2"));
  dumped(via("192.0.2.0/24", "10.0.0.3"));
  remove(via("192.0.2.0/24", "10.0.0.3"));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(DumpTest, WhatIsNamedJustBeforeAnotherOfItsMetricIsRemovedStays) {
  state_->dumpBegin(main4());
  dumped(via("192.0.2.0/24", "10.0.0.2"));
  dumped(via("192.0.2.0/24", "10.0.0.3"));
  remove(via("192.0.2.0/24", "10.0.0.2"));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
}

TEST_F(DumpTest, WhatWasReplacedDuringTheDumpStaysReplaced) {
  add(via("192.0.2.0/24", "10.0.0.2"));
  state_->dumpBegin(main4());
  add(via("192.0.2.0/24", "10.0.0.3"), replace);
  dumped(via("192.0.2.0/24", "10.0.0.2"));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
}

TEST_F(DumpTest, WhatIsAddedBesideARouteDuringTheFirstDumpHidesNoneOfIt) {
  const TestRoute one{.prefix = "fe80::/64", .hops = {{"", 1}}, .metric = 256, .protocol = 2};
  const TestRoute two{.prefix = "fe80::/64", .hops = {{"", 2}}, .metric = 256, .protocol = 2};
  state_->dumpBegin(main6());
  add(two, prepend);
  dumped(one);
  dumped(two);
  state_->dumpEnd(true);
  EXPECT_EQ(alternatives("fe80::/64").size(), 2U);
}

TEST_F(DumpTest, WhatIsRemovedDuringTheFirstDumpDoesNotComeBackWithIt) {
  state_->dumpBegin(main6());
  remove(via("2001:db8::/32", "fe80::2", 1024));
  dumped(via("2001:db8::/32", "fe80::2", 1024));
  dumped(via("2001:db8:1::/48", "fe80::2", 1024));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("2001:db8::/32"), "absent");
  EXPECT_EQ(shown("2001:db8:1::/48"), "fe80::2");
}

// The kernel resumes by counting: it passed over the second for the first, which it had named.
TEST_F(DumpTest, AnIpv6RouteThatADumpPassedOverForARemovedOneIsNotTakenAway) {
  const TestRoute first = via("2001:db8:1::/48", "fe80::2", 1024);
  const TestRoute second = via("2001:db8:2::/48", "fe80::2", 1024);
  const TestRoute third = via("2001:db8:3::/48", "fe80::2", 1024);
  dump(main6(), {first, second, third});
  state_->dumpBegin(main6());
  dumped(first);
  dumped(via("2001:db8:1:1::/64", "fe80::2", 1024));
  remove(first);
  add(via("2001:db8:9::/48", "fe80::2", 1024));
  dumped(third);
  state_->dumpEnd(true);
  EXPECT_EQ(shown("2001:db8:1::/48"), "absent");
  EXPECT_EQ(shown("2001:db8:2::/48"), "fe80::2");
  EXPECT_TRUE(state_->takeRecheck().disturbed);
}

TEST_F(DumpTest, TheFirstIpv6DumpIsReadAgainWhenARouteWentMeanwhile) {
  state_->dumpBegin(main6());
  dumped(via("2001:db8:1::/48", "fe80::2", 1024));
  remove(via("2001:db8:1::/48", "fe80::2", 1024));
  state_->dumpEnd(true);
  EXPECT_TRUE(state_->takeRecheck().disturbed);
}

TEST_F(DumpTest, AnIpv6PrefixThatKeepsARouteDisturbsNoDump) {
  dump(main6(), {via("2001:db8:1::/48", "fe80::2", 1024), via("2001:db8:2::/48", "fe80::2", 1024)});
  state_->dumpBegin(main6());
  add(via("2001:db8:1::/48", "fe80::3", 1024), append);
  remove(via("2001:db8:1::/48", "fe80::2", 1024));
  remove({.prefix = "2001:db8::/32", .hops = {{"fe80::2"}}, .table = 1000});
  remove(via("192.0.2.0/24", "10.0.0.2"));
  state_->dumpEnd(true);
  EXPECT_EQ(shown("2001:db8:1::/48"), "fe80::3");
  EXPECT_EQ(shown("2001:db8:2::/48"), "absent");
  EXPECT_FALSE(state_->takeRecheck().disturbed);
}

TEST_F(DumpTest, TheOtherTableAndFamilyAndVrfAreLeftAlone) {
  add({.prefix = "10.0.0.1/32", .table = 255, .type = RTN_LOCAL});
  add(via("2001:db8::/32", "fe80::2", 1024));
  add({.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2"}}, .table = 1000});
  dump(main4(), {});
  EXPECT_EQ(shown("10.0.0.1/32"), "local");
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::2");
  EXPECT_EQ(shown(*blue_, "192.0.2.0/24"), "10.0.0.2");
}

TEST_F(DumpTest, OneMetricOfAPrefixMayBeGone) {
  add(via("192.0.2.0/24", "10.0.0.2", 1));
  add(via("192.0.2.0/24", "10.0.0.3", 2));
  add(via("192.0.2.0/24", "10.0.0.4", 3));
  dump(main4(), {via("192.0.2.0/24", "10.0.0.3", 2), via("192.0.2.0/24", "10.0.0.4", 3)});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 2U);
}

TEST_F(DumpTest, ADumpOfAnInterfaceTakesAwayOnlyWhatUsesIt) {
  const TestRoute one = via("192.0.2.0/24", "10.0.0.2");
  const TestRoute two = via("192.0.3.0/24", "10.0.0.2");
  const TestRoute other{.prefix = "192.0.4.0/24", .hops = {{"10.1.0.2", 2}}};
  const TestRoute both{.prefix = "192.0.5.0/24", .hops = {{"10.0.0.2", 1}, {"10.1.0.2", 2}}};
  for (const TestRoute& route : {one, two, other, both}) {
    add(route);
  }
  dump({Kind::routes, AddressFamily::ipv4, 254, 1}, {two});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.0.0.2");
  EXPECT_EQ(shown("192.0.4.0/24"), "10.1.0.2");
  EXPECT_EQ(shown("192.0.5.0/24"), "absent");
}

TEST_F(DumpTest, ADumpOfAnInterfaceSaysNothingOfOtherRoutesAtTheMetric) {
  add({.prefix = "192.0.2.0/24", .hops = {{"10.1.0.2", 2}}});
  dump({Kind::routes, AddressFamily::ipv4, 254, 1}, {via("192.0.2.0/24", "10.0.0.2")});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.1.0.2");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 2U);
}

TEST_F(DumpTest, ADumpOfAnInterfaceLeavesTheOrderAtAMetricAsItIs) {
  const TestRoute one{.prefix = "fe80::/64", .hops = {{"", 1}}, .metric = 256, .protocol = 2};
  const TestRoute two{.prefix = "fe80::/64", .hops = {{"", 2}}, .metric = 256, .protocol = 2};
  add(one);
  add(two, prepend);
  const VrfRoutes::Alternatives before = alternatives("fe80::/64");
  watch();
  dump({Kind::routes, AddressFamily::ipv6, 254, 1}, {one});
  EXPECT_EQ(alternatives("fe80::/64"), before);
  EXPECT_EQ(events_, 0);
}

TEST_F(DumpTest, WhatADumpOfAnInterfaceAddsBesideOthersAsksForTheirOrder) {
  const TestRoute one = via("192.0.2.0/24", "10.0.0.2");
  const TestRoute two{.prefix = "192.0.2.0/24", .hops = {{"10.1.0.2", 2}}};
  add(two);
  dump({Kind::routes, AddressFamily::ipv4, 254, 1}, {one, via("192.0.3.0/24", "10.0.0.2")});
  EXPECT_TRUE(state_->takeRecheck().everything) << "the kernel may have it before the other";
  dump({Kind::routes, AddressFamily::ipv4, 254, 1}, {one, via("192.0.3.0/24", "10.0.0.2")});
  EXPECT_FALSE(state_->takeRecheck().any()) << "it is known";
}

TEST_F(DumpTest, ADumpOfEverythingTellsTheOrderAtAMetric) {
  const TestRoute one = via("192.0.2.0/24", "10.0.0.2");
  const TestRoute two = via("192.0.2.0/24", "10.0.0.3");
  add(one);
  add(two, append);
  dump(main4(), {two, one});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 2U);
}

TEST_F(DumpTest, ADumpOfAnInterfaceTakesAwayTheLocalRoutesOfThatInterfaceOnly) {
  const TestRoute one{.prefix = "10.9.0.1/32", .hops = {{"", 1}}, .table = 255, .type = RTN_LOCAL};
  const TestRoute two{.prefix = "10.9.0.1/32", .hops = {{"", 2}}, .table = 255, .type = RTN_LOCAL};
  add(one);
  add(two, append);
  dump({Kind::routes, AddressFamily::ipv4, 255, 1}, {});
  EXPECT_EQ(shown("10.9.0.1/32"), "local") << "of the other interface";
  dump({Kind::routes, AddressFamily::ipv4, 255, 2}, {});
  EXPECT_EQ(shown("10.9.0.1/32"), "absent");
}

TEST_F(DumpTest, AReplaceDuringADumpThatReadBothEndsInTheLast) {
  const TestRoute last = via("192.0.2.0/24", "10.0.0.4");
  add(via("192.0.2.0/24", "10.0.0.2"));
  state_->dumpBegin(main4());
  add(via("192.0.2.0/24", "10.0.0.3"), replace);
  dumped(last);
  dumped(via("192.0.9.0/24", "10.0.0.2"));
  add(last, replace);
  state_->dumpEnd(true);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.4");
  EXPECT_EQ(alternatives("192.0.2.0/24").size(), 1U);
}

TEST_F(DumpTest, HopsThatAreDumpedOneByOneAreOneRoute) {
  dump(main6(), {via("2001:db8::/32", "fe80::2", 1024), via("2001:db8::/32", "fe80::3", 1024)});
  EXPECT_EQ(shown("2001:db8::/32"), "fe80::2 fe80::3");
  EXPECT_EQ(alternatives("2001:db8::/32").size(), 1U);
}

TEST_F(DumpTest, ObjectsLinksAndAddressesThatAreNotNamedAreGone) {
  tell(nexthopMessage(1, "10.0.0.2", 1));
  tell(addressMessage(2, "10.1.0.1"));
  add({.prefix = "192.0.2.0/24", .object = 1});
  add({.prefix = "192.0.3.0/24", .hops = {{"10.1.0.2", 2}}});
  dump({Kind::nexthops}, {});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  dump({Kind::addresses}, {});
  EXPECT_EQ(shown("192.0.3.0/24"), "absent");
  add(via("192.0.2.0/24", "10.0.0.2"));
  dump({Kind::links}, {});
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
  EXPECT_EQ(state_->links().link(1), nullptr);
}

TEST_F(DumpTest, WhatAReadingMissesTakesNoRouteAwayBeforeTheRoutesAreRead) {
  tell(nexthopMessage(10, "10.0.0.2", 1));
  add({.prefix = "192.0.2.0/24", .object = 10});
  add(via("192.0.3.0/24", "10.0.0.2"));
  add({.prefix = "192.0.4.0/24", .hops = {{"10.1.0.2", 2}}});
  // Moved to interface 2 and object 30 by messages that were lost.
  dumpMore({Kind::links}, {});
  state_->dumpBegin({Kind::nexthops});
  state_->dumpMessage(nexthopMessage(30, "10.1.0.3", 2).message());
  state_->dumpEnd(true);
  state_->batchEnd();
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.0.0.2");
  dumpMore(main4(),
           {{.prefix = "192.0.2.0/24", .object = 30},
            {.prefix = "192.0.3.0/24", .hops = {{"10.1.0.2", 2}}}});
  EXPECT_EQ(shown("192.0.2.0/24"), "10.1.0.3");
  EXPECT_EQ(shown("192.0.3.0/24"), "10.1.0.2");
  EXPECT_EQ(shown("192.0.4.0/24"), "absent");
}

TEST_F(DumpTest, WhatIsLeftWithoutALiveHopGoesWithTheEndOfTheReading) {
  tell(nexthopMessage(10, "10.0.0.2", 1));
  add({.prefix = "192.0.2.0/24", .object = 10});
  dumpMore({Kind::nexthops}, {});
  dumpMore(main4(), {}, false);
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  state_->readingEnd();
  EXPECT_EQ(shown("192.0.2.0/24"), "absent");
}

TEST_F(DumpTest, AGroupThatIsNamedBeforeItsMemberKeepsItsRoutes) {
  tell(nexthopMessage(11, "10.0.0.2", 1));
  tell(groupMessage(10, {{11, 1}}));
  add({.prefix = "192.0.2.0/24", .object = 10});
  state_->dumpBegin({Kind::nexthops});
  state_->dumpMessage(groupMessage(10, {{20, 1}}).message());
  state_->batchEnd();
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.2");
  state_->dumpMessage(nexthopMessage(20, "10.0.0.3", 1).message());
  state_->dumpEnd(true);
  state_->readingEnd();
  EXPECT_EQ(shown("192.0.2.0/24"), "10.0.0.3");
}

TEST_F(DumpTest, AVrfMayGoInTheMiddleOfItsDump) {
  state_->dumpBegin({Kind::routes, AddressFamily::ipv4, 1000, 0});
  const TestRoute route{.prefix = "192.0.2.0/24", .hops = {{"10.0.0.2"}}, .table = 1000};
  dumped(route);
  vrfs_.vrfDel("blue");
  dumped(route);
  state_->dumpEnd(true);
  EXPECT_EQ(state_->counters().otherTables, 1U);
}

}  // namespace
}  // namespace Routing::Host::Testing
