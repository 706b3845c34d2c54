// What streams are told of registered nexthops, without a transport: the test writes the status
// entries that a resolver would.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/service/NexthopTable.h"

namespace Routing::Host {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

IpGenAddr addrOf(const std::string& text) { return *IpGenAddr::parse(text); }

class NexthopTableTest : public ::testing::Test {
 protected:
  NexthopTableTest() {
    status->vrfIs("default", NexthopStatusFecIdType::fibFecId);
    group = &table.groupAdd("bgp", "default", NexthopStatusFecIdType::fibFecId, status);
  }
  ~NexthopTableTest() override {
    for (const auto& stream : streams_) {
      table.unfollow(*stream);
    }
  }

  void resolve(const std::string& addr, std::uint64_t identifier) {
    NexthopStatusEntry entry;
    entry.addr = addrOf(addr);
    entry.prefix = *IpGenPrefix::parse("10.0.0.0/8");
    entry.fecId = identifier;
    entry.resolutionState = NexthopResolutionState::resolved;
    status->vrf("default")->nexthopIs(entry);
  }
  void fail(const std::string& addr) {
    NexthopStatusEntry entry;
    entry.addr = addrOf(addr);
    entry.resolutionState = NexthopResolutionState::failed;
    status->vrf("default")->nexthopIs(entry);
  }
  void add(const std::string& addr) { table.nexthopIs(*group, addrOf(addr), {}); }
  void commit() {
    ++time_;
    table.commit();
  }

  StatusStream& follow(const StreamFilter& filter = {}, bool everyWrite = false) {
    streams_.push_back(std::make_unique<StatusStream>(table.slots(), filter, everyWrite));
    table.follow(*streams_.back());
    return *streams_.back();
  }
  // Everything that waits: "begin", "end", "10.0.0.1 resolved 12 #3", "10.0.0.1 failed no-route
  // #4", where # is the epoch.
  static std::vector<std::string> drain(StatusStream& stream, std::size_t limit = 1000) {
    std::vector<std::string> lines;
    while (stream.pending()) {
      const StatusStream::Part part =
          stream.take(limit, [&lines](const IpGenAddr& addr, const Told& told) {
            const NexthopView& view = told.view;
            lines.push_back(addr.stringValue() + " " + nexthopStateName(view.state) + " " +
                            (view.identifier != 0 ? std::to_string(view.identifier)
                                                  : nexthopReasonName(view.reason)) +
                            " #" + std::to_string(told.epoch));
          });
      if (part.snapshotBegin) {
        lines.emplace_back("begin");
      }
      if (part.snapshotEnd) {
        lines.emplace_back("end");
      }
    }
    return lines;
  }
  const NexthopSlot& slot(const std::string& addr) const {
    return table.slots()[*NexthopTable::find(*group, addrOf(addr))];
  }

  VrfCondition condition;
  NexthopTable table{[this](const VrfName&) { return condition; }, [this] { return time_; }, 64};
  Ptr<NexthopStatus> status = makeEntity<NexthopStatus>("bgp");
  NexthopTable::Group* group = nullptr;

 private:
  std::int64_t time_ = 1000;
  std::vector<std::unique_ptr<StatusStream>> streams_;
};

TEST_F(NexthopTableTest, AStreamBeginsWithASnapshotAndGoesOnWithChanges) {
  add("10.0.0.1");
  add("10.0.0.2");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  fail("10.0.0.2");
  commit();
  EXPECT_THAT(
      drain(stream),
      ElementsAre("begin", "10.0.0.1 resolved 12 #1", "10.0.0.2 failed no-route #1", "end"));
  resolve("10.0.0.2", 13);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.2 resolved 13 #2"));
}

TEST_F(NexthopTableTest, NothingIsToldBeforeTheCommit) {
  StatusStream& stream = follow();
  drain(stream);
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  EXPECT_FALSE(stream.pending());
  commit();
  EXPECT_TRUE(stream.pending());
}

TEST_F(NexthopTableTest, SeveralWritesOfATurnAreOneChangeAndAllCounted) {
  add("10.0.0.1");
  StatusStream& stream = follow();
  commit();
  drain(stream);
  fail("10.0.0.1");
  resolve("10.0.0.1", 12);
  resolve("10.0.0.1", 13);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 resolved 13 #3"));
  EXPECT_EQ(table.history(*NexthopTable::find(*group, addrOf("10.0.0.1"))).size(), 1U);
}

TEST_F(NexthopTableTest, AWriteThatChangesNothingIsCountedAndNotTold) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  drain(stream);
  const std::int64_t changedAt = slot("10.0.0.1").told.changedAt;
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_FALSE(stream.pending());
  EXPECT_EQ(slot("10.0.0.1").told.epoch, 2U);
  EXPECT_EQ(slot("10.0.0.1").told.changedAt, changedAt);
}

TEST_F(NexthopTableTest, EveryWriteIsToldWhenAskedFor) {
  add("10.0.0.1");
  StatusStream& stream = follow({}, true);
  commit();
  drain(stream);
  resolve("10.0.0.1", 12);
  resolve("10.0.0.1", 12);
  fail("10.0.0.1");
  commit();
  EXPECT_THAT(drain(stream),
              ElementsAre("10.0.0.1 resolved 12 #1",
                          "10.0.0.1 resolved 12 #2",
                          "10.0.0.1 failed no-route #3"));
  EXPECT_EQ(stream.writesLost(), 0U);
}

TEST_F(NexthopTableTest, AReaderOfEveryWriteThatFallsBehindGetsTheNewestState) {
  add("10.0.0.1");
  add("10.0.0.2");
  StatusStream& stream = follow({}, true);
  commit();
  drain(stream);
  const std::size_t writes = StatusStream::writeLimit + 10;
  for (std::size_t write = 0; write < writes; ++write) {
    resolve(write % 2 == 0 ? "10.0.0.1" : "10.0.0.2", 12);
  }
  commit();
  EXPECT_LE(stream.backlog(), 2U);
  EXPECT_THAT(drain(stream),
              ElementsAre("10.0.0.1 resolved 12 #32773", "10.0.0.2 resolved 12 #32773"));
  EXPECT_EQ(stream.writesLost(), writes - 2);
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 resolved 12 #32774"));
}

TEST_F(NexthopTableTest, ASlowReaderGetsTheNewestStateOnce) {
  add("10.0.0.1");
  StatusStream& stream = follow();
  commit();
  drain(stream);
  for (std::uint64_t identifier = 12; identifier < 1000; ++identifier) {
    resolve("10.0.0.1", identifier);
    commit();
  }
  EXPECT_EQ(stream.backlog(), 1U);
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 resolved 999 #988"));
}

TEST_F(NexthopTableTest, ThePreviousIdentifierIsTheLastOtherOne) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.previousIdentifier, 0U);
  fail("10.0.0.1");
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.previousIdentifier, 12U);
  resolve("10.0.0.1", 13);
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.previousIdentifier, 12U);
  resolve("10.0.0.1", 14);
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.previousIdentifier, 13U);
}

TEST_F(NexthopTableTest, ANexthopNobodyHasLookedAtIsOnlyInSnapshots) {
  StatusStream& stream = follow();
  drain(stream);
  add("10.0.0.1");
  commit();
  EXPECT_FALSE(stream.pending());
  EXPECT_THAT(drain(follow()), ElementsAre("begin", "10.0.0.1 unknown pending #0", "end"));
}

TEST_F(NexthopTableTest, AnotherPolicyIsJudgedWithoutAWrite) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  drain(stream);
  Policy policy;
  policy.minimumPrefixLength = 24;
  EXPECT_FALSE(table.nexthopIs(*group, addrOf("10.0.0.1"), policy));
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 failed prefix-too-short #1"));
}

TEST_F(NexthopTableTest, ResyncingFailuresAreJudgedAgainWhenTheKernelIsRead) {
  condition.synced = false;
  add("10.0.0.1");
  add("10.0.0.2");
  fail("10.0.0.1");
  resolve("10.0.0.2", 12);
  StatusStream& stream = follow();
  commit();
  EXPECT_THAT(drain(stream), Contains("10.0.0.1 failed resyncing #1"));
  condition.synced = true;
  table.syncedChanged();
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 failed no-route #1"));
}

TEST_F(NexthopTableTest, AVrfThatGoesIsNewsForEachOfItsNexthops) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  drain(stream);
  condition.present = false;
  table.vrfChanged("default");
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 unknown vrf-gone #1"));
}

// Its entries stay on record, and what they say is of before.
TEST_F(NexthopTableTest, ANexthopOfAVrfThatCameBackIsUnknownUntilItIsWrittenAgain) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  condition.present = false;
  table.vrfChanged("default");
  commit();
  StatusStream& stream = follow();
  EXPECT_THAT(drain(stream), ElementsAre("begin", "10.0.0.1 unknown vrf-gone #1", "end"));
  condition = {true, false, true, true};
  table.vrfChanged("default");
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.view.reason, NexthopReason::resyncing);
  condition.synced = true;
  table.syncedChanged();
  commit();
  EXPECT_EQ(slot("10.0.0.1").told.view.reason, NexthopReason::pending);
  EXPECT_FALSE(stream.pending());
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 resolved 12 #2"));
}

TEST_F(NexthopTableTest, ARestoredEntryIsStaleUntilItIsWritten) {
  resolve("10.0.0.1", 12);
  const auto restored = makeEntity<NexthopStatus>("ospf");
  restored->vrfIs(status->vrf("default"));
  NexthopTable::Group& other =
      table.groupAdd("ospf", "default", NexthopStatusFecIdType::fibFecId, restored);
  table.nexthopIs(other, addrOf("10.0.0.1"), {});
  commit();
  const NexthopSlot& slot = table.slots()[*NexthopTable::find(other, addrOf("10.0.0.1"))];
  EXPECT_TRUE(slot.told.stale());
  EXPECT_EQ(slot.told.view.identifier, 12U);
  StatusStream& stream = follow({"ospf", ""});
  EXPECT_THAT(drain(stream), ElementsAre("begin", "10.0.0.1 resolved 12 #0", "end"));
  resolve("10.0.0.1", 12);
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_FALSE(slot.told.stale());
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 resolved 12 #2"));
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_FALSE(stream.pending());
}

TEST_F(NexthopTableTest, ARemovedNexthopIsToldOfAndItsSlotUsedAgainAfterwards) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  drain(stream);
  EXPECT_TRUE(table.nexthopDel(*group, addrOf("10.0.0.1")));
  EXPECT_FALSE(table.nexthopDel(*group, addrOf("10.0.0.1")));
  EXPECT_EQ(table.slots().live(), 0U);
  EXPECT_EQ(table.slots().used(), 1U);
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 removed none #1"));
  EXPECT_EQ(table.slots().used(), 0U);
}

TEST_F(NexthopTableTest, ANexthopThatCameBackIsToldAfterItsRemoval) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  StatusStream& stream = follow();
  drain(stream);
  table.nexthopDel(*group, addrOf("10.0.0.1"));
  add("10.0.0.1");
  resolve("10.0.0.1", 13);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 removed none #1", "10.0.0.1 resolved 13 #1"));
}

TEST_F(NexthopTableTest, AReaderThatDoesNotReadWhileNexthopsComeAndGoBeginsAgain) {
  StatusStream& stream = follow();
  drain(stream);
  add("10.255.0.1");
  for (std::uint32_t index = 0; index < 3 * StatusStream::removedAllowance; ++index) {
    const IpGenAddr addr = IpGenAddr::ipv4(0x0a000000U + index);
    table.nexthopIs(*group, addr, {});
    table.nexthopDel(*group, addr);
  }
  EXPECT_LE(table.slots().used(), StatusStream::removedAllowance + 3);
  commit();
  const std::vector<std::string> lines = drain(stream);
  EXPECT_EQ(lines.at(0), "begin");
  EXPECT_EQ(lines.at(1), "10.255.0.1 unknown pending #0");
  EXPECT_EQ(lines.at(2), "end");
}

TEST_F(NexthopTableTest, AGroupThatEndsTellsOfEachOfItsNexthops) {
  add("10.0.0.1");
  add("10.0.0.2");
  commit();
  StatusStream& stream = follow();
  drain(stream);
  table.groupDel(*group);
  commit();
  EXPECT_THAT(drain(stream), ElementsAre("10.0.0.1 removed none #0", "10.0.0.2 removed none #0"));
  commit();
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_FALSE(stream.pending());
}

TEST_F(NexthopTableTest, AStreamHearsOfWhatItsFilterAdmits) {
  const auto other = makeEntity<NexthopStatus>("ospf");
  NexthopTable::Group& red =
      table.groupAdd("ospf", "red", NexthopStatusFecIdType::resolverId, other);
  StatusStream& ofBgp = follow({"bgp", ""});
  StatusStream& ofRed = follow({"", "red"});
  add("10.0.0.1");
  table.nexthopIs(red, addrOf("10.0.0.2"), {});
  resolve("10.0.0.1", 12);
  other->vrfIs("red", NexthopStatusFecIdType::resolverId);
  NexthopStatusEntry entry;
  entry.addr = addrOf("10.0.0.2");
  entry.resolutionState = NexthopResolutionState::failed;
  other->vrf("red")->nexthopIs(entry);
  commit();
  EXPECT_THAT(drain(ofBgp), ElementsAre("begin", "end", "10.0.0.1 resolved 12 #1"));
  EXPECT_THAT(drain(ofRed), ElementsAre("begin", "end", "10.0.0.2 failed no-route #1"));
}

TEST_F(NexthopTableTest, APartHoldsNexthopsOfOneGroupAndNoMoreThanTheLimit) {
  const auto other = makeEntity<NexthopStatus>("ospf");
  NexthopTable::Group& red =
      table.groupAdd("ospf", "red", NexthopStatusFecIdType::resolverId, other);
  for (const char* addr : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) {
    add(addr);
  }
  table.nexthopIs(red, addrOf("10.0.0.4"), {});
  StatusStream& stream = follow();
  std::vector<std::string> parts;
  while (stream.pending()) {
    std::size_t count = 0;
    const auto part = stream.take(2, [&count](const IpGenAddr&, const Told&) { ++count; });
    parts.push_back(part.group == nullptr ? "mark" : part.group->client + std::to_string(count));
  }
  EXPECT_THAT(parts, ElementsAre("mark", "bgp2", "bgp1", "ospf1", "mark"));
}

TEST_F(NexthopTableTest, TheCensusFollowsEveryNexthop) {
  const auto count = [this](NexthopState state, NexthopReason reason) {
    return table.census()[static_cast<std::size_t>(state)][static_cast<std::size_t>(reason)];
  };
  add("10.0.0.1");
  add("10.0.0.2");
  resolve("10.0.0.1", 12);
  commit();
  EXPECT_EQ(count(NexthopState::resolved, NexthopReason::none), 1U);
  EXPECT_EQ(count(NexthopState::unknown, NexthopReason::pending), 1U);
  fail("10.0.0.1");
  commit();
  EXPECT_EQ(count(NexthopState::resolved, NexthopReason::none), 0U);
  EXPECT_EQ(count(NexthopState::failed, NexthopReason::noRoute), 1U);
  table.groupDel(*group);
  for (const auto& ofState : table.census()) {
    EXPECT_THAT(ofState, ::testing::Each(0U));
  }
}

TEST_F(NexthopTableTest, HistoryTellsWhatWasToldInOrder) {
  add("10.0.0.1");
  resolve("10.0.0.1", 12);
  commit();
  fail("10.0.0.1");
  commit();
  const auto events = table.history(*NexthopTable::find(*group, addrOf("10.0.0.1")));
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].identifier, 12U);
  EXPECT_EQ(events[0].epoch, 1U);
  EXPECT_EQ(events[1].reason, NexthopReason::noRoute);
  EXPECT_LT(events[0].at, events[1].at);
}

}  // namespace
}  // namespace Routing::Host
