#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include "platform/entity/Exceptions.h"
#include "records/NexthopStatus.h"
#include "tests/records/RecordSupport.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;
using Support::prefix;
using enum NexthopStatusFecIdType;

NexthopStatusEntry resolvedEntry() {
  return {.fecId = 12,
          .metric = 34,
          .preference = 56,
          .prefix = prefix("10.0.0.0/8"),
          .addr = addr("10.0.0.1"),
          .routeType = 7,
          .route6Type = 8,
          .resolutionState = NexthopResolutionState::resolved};
}

NexthopStatusEntry failedEntry() {
  NexthopStatusEntry entry;
  entry.addr = addr("10.0.0.1");
  entry.resolutionState = NexthopResolutionState::failed;
  return entry;
}

TEST(NexthopStatusEntryTest, AFreshEntryIsUnknownAndUnset) {
  const NexthopStatusEntry entry;
  EXPECT_EQ(entry.addr, IpGenAddr());
  EXPECT_EQ(entry.resolutionState, NexthopResolutionState::unknown);
}

TEST(NexthopStatusEntryTest, AFailedEntryKeepsTheDefaultsOfEveryOtherField) {
  const NexthopStatusEntry entry = failedEntry();
  EXPECT_EQ(entry.fecId, 0U);
  EXPECT_EQ(entry.metric, 0U);
  EXPECT_EQ(entry.preference, 1U);
  EXPECT_EQ(entry.prefix, IpGenPrefix());
  EXPECT_EQ(entry.routeType, 0U);
  EXPECT_EQ(entry.route6Type, 0U);
  EXPECT_EQ(static_cast<int>(entry.resolutionState), 1);
}

TEST(NexthopStatusEntryTest, TheStatesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(NexthopResolutionState::unknown), 0);
  EXPECT_EQ(static_cast<int>(NexthopResolutionState::failed), 1);
  EXPECT_EQ(static_cast<int>(NexthopResolutionState::resolved), 2);
  EXPECT_EQ(sizeof(NexthopResolutionState), 1U);
}

TEST(NexthopStatusEntryDeathTest, AStateThatIsNoMemberHasNoName) {
  NexthopStatusEntry entry;
  entry.resolutionState = NexthopResolutionState{3};
  EXPECT_EXIT(static_cast<void>(entry.stringValue()),
              testing::KilledBySignal(SIGABRT),
              testing::HasSubstr("invalid resolution state"));
}

TEST(NexthopStatusEntryTest, EveryFieldCountsForEquality) {
  NexthopStatusEntry others[8] = {resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry(),
                                  resolvedEntry()};
  others[0].fecId = 99;
  others[1].metric = 99;
  others[2].preference = 99;
  others[3].prefix = prefix("10.0.0.0/9");
  others[4].addr = addr("10.0.0.2");
  others[5].routeType = 99;
  others[6].route6Type = 99;
  others[7].resolutionState = NexthopResolutionState::failed;
  EXPECT_EQ(resolvedEntry(), resolvedEntry());
  for (const NexthopStatusEntry& other : others) {
    EXPECT_NE(resolvedEntry(), other) << other.stringValue();
  }
}

TEST(NexthopStatusEntryTest, StringValueIsOneLineWithEveryField) {
  EXPECT_EQ(resolvedEntry().stringValue(),
            "addr=10.0.0.1 state=resolved fecId=12 prefix=10.0.0.0/8 metric=34 preference=56 "
            "routeType=7 route6Type=8");
  EXPECT_EQ(failedEntry().stringValue(),
            "addr=10.0.0.1 state=failed fecId=0 prefix=- metric=0 preference=1 routeType=0 "
            "route6Type=0");
  EXPECT_EQ(NexthopStatusEntry().stringValue(),
            "addr=none state=unknown fecId=0 prefix=- metric=0 preference=1 routeType=0 "
            "route6Type=0");
}

class NexthopVrfStatusTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(*status,
                    Support::logsKeys<IpGenAddr>(log, NexthopVrfStatus::nexthopField, "nexthop"));
  }
  void entryIs(std::string_view address) {
    NexthopStatusEntry entry = failedEntry();
    entry.addr = addr(address);
    status->nexthopIs(entry);
  }

  Ptr<NexthopVrfStatus> status = makeEntity<NexthopVrfStatus>("v1", resolverId);
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(NexthopVrfStatusTest, AnAbsentEntryReadsAsNull) {
  EXPECT_EQ(status->nexthop(addr("10.0.0.1")), nullptr);
  EXPECT_FALSE(status->nexthopHas(addr("10.0.0.1")));
}

TEST_F(NexthopVrfStatusTest, AnEntryStandsUnderItsAddress) {
  status->nexthopIs(resolvedEntry());
  ASSERT_NE(status->nexthop(addr("10.0.0.1")), nullptr);
  EXPECT_EQ(*status->nexthop(addr("10.0.0.1")), resolvedEntry());
  EXPECT_TRUE(status->nexthopHas(addr("10.0.0.1")));
  EXPECT_EQ(status->nexthop(addr("10.0.0.2")), nullptr);
}

TEST_F(NexthopVrfStatusTest, AFailedEntryReplacesEveryFieldOfAResolvedOne) {
  status->nexthopIs(resolvedEntry());
  status->nexthopIs(failedEntry());
  EXPECT_EQ(*status->nexthop(addr("10.0.0.1")), failedEntry());
  EXPECT_EQ(status->nexthop().size(), 1U);
}

TEST_F(NexthopVrfStatusTest, AResolvedEntryReplacesEveryFieldOfAFailedOne) {
  status->nexthopIs(failedEntry());
  status->nexthopIs(resolvedEntry());
  EXPECT_EQ(*status->nexthop(addr("10.0.0.1")), resolvedEntry());
  EXPECT_EQ(status->nexthop().size(), 1U);
}

TEST_F(NexthopVrfStatusTest, EveryWritePublishesTheAddressAlsoOneThatChangesNothing) {
  logChanges();
  status->nexthopIs(failedEntry());
  status->nexthopIs(resolvedEntry());
  status->nexthopIs(resolvedEntry());
  EXPECT_EQ(log.take(), (Events{"nexthop 10.0.0.1", "nexthop 10.0.0.1", "nexthop 10.0.0.1"}));
}

TEST_F(NexthopVrfStatusTest, WhoeverIsNotifiedFindsTheEntryAsItWillStand) {
  const Support::Watcher reader(*status, [this](FieldId, const void* key) {
    const NexthopStatusEntry* entry = status->nexthop(Support::keyOf<IpGenAddr>(key));
    log.add(entry == nullptr ? "gone" : "fecId " + std::to_string(entry->fecId));
  });
  status->nexthopIs(resolvedEntry());
  status->nexthopIs(failedEntry());
  status->nexthopDel(addr("10.0.0.1"));
  EXPECT_EQ(log.take(), (Events{"fecId 12", "fecId 0", "gone"}));
}

TEST_F(NexthopVrfStatusTest, RemovingPublishesOnlyWhatWasThere) {
  status->nexthopIs(resolvedEntry());
  logChanges();
  status->nexthopDel(addr("10.0.0.2"));
  status->nexthopDel(addr("10.0.0.1"));
  status->nexthopDel(addr("10.0.0.1"));
  EXPECT_EQ(log.take(), Events{"nexthop 10.0.0.1"});
}

TEST_F(NexthopVrfStatusTest, RemovingByTheKeyInsideTheEntryIsSafe) {
  status->nexthopIs(resolvedEntry());
  logChanges();
  status->nexthopDel(status->nexthop(addr("10.0.0.1"))->addr);
  EXPECT_EQ(log.take(), Events{"nexthop 10.0.0.1"});
  EXPECT_TRUE(status->nexthop().empty());
}

TEST_F(NexthopVrfStatusTest, EntriesAreWalkedInOrderOfInsertion) {
  for (const char* address : {"10.0.0.3", "2001:db8::1", "10.0.0.1", "10.0.0.3"}) {
    entryIs(address);
  }
  status->nexthopDel(addr("2001:db8::1"));
  entryIs("2001:db8::1");
  Events walked;
  for (auto cursor = status->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    walked.push_back(cursor.key().stringValue());
  }
  EXPECT_EQ(walked, (Events{"10.0.0.3", "10.0.0.1", "2001:db8::1"}));
}

TEST_F(NexthopVrfStatusTest, RemovingAllPublishesEachEntryOnceWhenItIsGone) {
  entryIs("10.0.0.2");
  entryIs("10.0.0.1");
  const Support::Watcher counter(*status, [this](FieldId, const void* key) {
    log.add(Support::keyOf<IpGenAddr>(key).stringValue() + ", left " +
            std::to_string(status->nexthop().size()));
  });
  status->nexthopDelAll();
  EXPECT_EQ(log.take(), (Events{"10.0.0.2, left 1", "10.0.0.1, left 0"}));
}

TEST_F(NexthopVrfStatusTest, RemovingAllWithoutSubscribersClearsSilently) {
  entryIs("10.0.0.1");
  entryIs("10.0.0.2");
  status->nexthopDelAll();
  EXPECT_TRUE(status->nexthop().empty());
  logChanges();
  status->nexthopDelAll();
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopVrfStatusTest, RemovingAllMayReleaseTheStatus) {
  entryIs("10.0.0.1");
  entryIs("10.0.0.2");
  const Support::Watcher releasing(*status, [this](FieldId, const void* key) {
    log.add(Support::keyOf<IpGenAddr>(key).stringValue());
    status = nullptr;
  });
  NexthopVrfStatus* const plain = status.get();
  plain->nexthopDelAll();
  EXPECT_EQ(log.take(), Events{"10.0.0.1"});
}

TEST_F(NexthopVrfStatusTest, WritingAnEntryMayReleaseTheStatus) {
  const Support::Watcher releasing(*status, [this](FieldId, const void*) { status = nullptr; });
  NexthopVrfStatus* const plain = status.get();
  plain->nexthopIs(resolvedEntry());
  EXPECT_FALSE(status);
  EXPECT_FALSE(releasing.subscribed());
}

TEST_F(NexthopVrfStatusTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  entryIs("10.0.0.1");
  entryIs("2001:db8::1");
  EXPECT_EQ(status->typeData().name(), "Routing::NexthopVrfStatus");
  EXPECT_EQ(Support::attributesOf(*status),
            (Events{"vrfName=v1", "fecIdType=resolverId", "nexthop={10.0.0.1, 2001:db8::1}"}));
}

class NexthopStatusTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(*status, Support::logsKeys<VrfName>(log, NexthopStatus::vrfField, "vrf"));
  }

  Ptr<NexthopStatus> status = makeEntity<NexthopStatus>("bgp");
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(NexthopStatusTest, AnAbsentVrfReadsAsNull) {
  EXPECT_FALSE(status->vrf("v1"));
  EXPECT_FALSE(status->vrfHas("v1"));
}

TEST_F(NexthopStatusTest, AskingForAVrfMakesItWithTheKindAndPublishesOnce) {
  logChanges();
  const Ptr<NexthopVrfStatus> made = status->vrfIs("v1", resolverId);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->vrfName(), "v1");
  EXPECT_EQ(made->fecIdType(), resolverId);
  EXPECT_EQ(status->vrf("v1"), made);
  EXPECT_TRUE(status->vrfHas("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(NexthopStatusTest, AVrfThatExistsIsReturnedWhateverItsKindWhichNeverChanges) {
  const Ptr<NexthopVrfStatus> made = status->vrfIs("v1", resolverId);
  logChanges();
  EXPECT_EQ(status->vrfIs("v1", fibFecId), made);
  EXPECT_EQ(status->vrfIs("v1", resolverId), made);
  EXPECT_EQ(made->fecIdType(), resolverId);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopStatusTest, AVrfRemovedAndAskedForAgainIsANewOneOfTheNewKind) {
  const Ptr<NexthopVrfStatus> old = status->vrfIs("v1", resolverId);
  old->nexthopIs(resolvedEntry());
  status->vrfDel("v1");
  const Ptr<NexthopVrfStatus> made = status->vrfIs("v1", fibFecId);
  EXPECT_NE(made, old);
  EXPECT_EQ(made->fecIdType(), fibFecId);
  EXPECT_TRUE(made->nexthop().empty());
}

TEST_F(NexthopStatusTest, TheVrfIsThereDuringItsOwnNotification) {
  const Support::Watcher reader(*status, [this](FieldId, const void* key) {
    log.add(status->vrf(Support::keyOf<VrfName>(key)) ? "there" : "gone");
  });
  status->vrfIs("v1", resolverId);
  status->vrfDel("v1");
  EXPECT_EQ(log.take(), (Events{"there", "gone"}));
}

TEST_F(NexthopStatusTest, AVrfMadeIsReturnedAlsoWhenANotifieeRemovesIt) {
  const Support::Watcher removing(*status, [this](FieldId, const void*) { status->vrfDel("v1"); });
  const Ptr<NexthopVrfStatus> made = status->vrfIs("v1", resolverId);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->vrfName(), "v1");
  EXPECT_FALSE(status->vrf("v1"));
}

TEST_F(NexthopStatusTest, AGivenVrfReplacesTheOneOfItsName) {
  status->vrfIs("v1", resolverId);
  logChanges();
  const auto second = makeEntity<NexthopVrfStatus>("v1", fibFecId);
  status->vrfIs(second);
  EXPECT_EQ(status->vrf("v1"), second);
  EXPECT_EQ(status->vrf().size(), 1U);
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(NexthopStatusTest, ANullVrfIsAnErrorThatChangesNothing) {
  logChanges();
  try {
    status->vrfIs(nullptr);
    FAIL() << "took null";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::NexthopStatus");
    EXPECT_EQ(error.attribute(), "vrf");
  }
  EXPECT_TRUE(status->vrf().empty());
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopStatusTest, RemovingAVrfReturnsItWithItsEntriesAndPublishesItAlone) {
  const Ptr<NexthopVrfStatus> made = status->vrfIs("v1", resolverId);
  made->nexthopIs(resolvedEntry());
  logChanges();
  const Support::Watcher entries(
      *made,
      Support::logsKeys<IpGenAddr>(log, NexthopVrfStatus::nexthopField, "nexthop"));
  EXPECT_FALSE(status->vrfDel("v2"));
  EXPECT_EQ(status->vrfDel("v1"), made);
  EXPECT_FALSE(status->vrfDel("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
  EXPECT_EQ(made->nexthop().size(), 1U);
}

TEST_F(NexthopStatusTest, RemovingAllPublishesEachVrfOnceAndNothingWithoutSubscribers) {
  status->vrfIs("v1", resolverId);
  status->vrfDelAll();
  EXPECT_TRUE(status->vrf().empty());
  status->vrfIs("v2", resolverId);
  status->vrfIs("v1", fibFecId);
  logChanges();
  status->vrfDelAll();
  EXPECT_EQ(log.take(), (Events{"vrf v2", "vrf v1"}));
  EXPECT_TRUE(status->vrf().empty());
}

TEST_F(NexthopStatusTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  status->vrfIs("v2", resolverId);
  status->vrfIs("v1", fibFecId);
  EXPECT_EQ(status->typeData().name(), "Routing::NexthopStatus");
  EXPECT_EQ(Support::attributesOf(*status), (Events{"name=bgp", "vrf={v2, v1}"}));
}

}  // namespace
}  // namespace Routing
