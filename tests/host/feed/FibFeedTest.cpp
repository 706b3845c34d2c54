#include "host/feed/FibFeed.h"
#include "platform/task/Task.h"
#include "tests/host/feed/FeedFixture.h"

namespace Routing::Host::Testing {
namespace {

using Support::prefix;

class FibFeedTest : public FeedTest {
 protected:
  // What the VRF's FEC table, route table and trie publish from now on, in order.
  void watch() {
    fecs_ = std::make_unique<Support::Watcher>(*vrf_->fecs(), [this](FieldId, const void* key) {
      const FecId fec = Support::keyOf<FecId>(key);
      log_.push_back((vrf_->fecs()->fecHas(fec) ? "fec " : "no fec ") + std::to_string(fec));
    });
    routes_ =
        std::make_unique<Support::Watcher>(*vrf_->routes4(), [this](FieldId, const void* key) {
          const auto& prefix = Support::keyOf<Prefix>(key);
          log_.push_back((vrf_->routes4()->routeHas(prefix) ? "route " : "no route ") +
                         prefix.stringValue());
        });
    trie_ = std::make_unique<Support::Watcher>(*vrf_->trie4(), [this](FieldId, const void*) {
      const IpGenPrefix prefix = vrf_->trie4()->changedPrefix();
      log_.push_back((vrf_->trie4()->routeHas(prefix) ? "trie " : "no trie ") +
                     prefix.stringValue());
    });
  }
  using Log = std::vector<std::string>;
  Log taken() { return std::exchange(log_, {}); }

  std::unique_ptr<Support::Watcher> fecs_;
  std::unique_ptr<Support::Watcher> routes_;
  std::unique_ptr<Support::Watcher> trie_;
  Log log_;
};

TEST_F(FibFeedTest, ARouteIsWrittenAfterItsFecAndBeforeItsTrieEntry) {
  watch();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  EXPECT_EQ(taken(), (Log{"fec 4", "route 10.0.0.0/8", "trie 10.0.0.0/8"}));
}

TEST_F(FibFeedTest, AReplacedRouteIsNeverMissingAndItsOldFecGoesLast) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  run();
  watch();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.2")})));
  EXPECT_EQ(taken(), (Log{"fec 5", "route 10.0.0.0/8", "trie 10.0.0.0/8"}));
  run();
  EXPECT_EQ(taken(), Log{"no fec 4"});
}

TEST_F(FibFeedTest, ARemovedRouteLeavesTheTableThenTheTrieThenItsFec) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  run();
  watch();
  feed_->routeDel(prefix("10.0.0.0/8"));
  EXPECT_EQ(taken(), (Log{"no route 10.0.0.0/8", "no trie 10.0.0.0/8"}));
  run();
  EXPECT_EQ(taken(), Log{"no fec 4"});
}

TEST_F(FibFeedTest, WhatIsWrittenAgainUnchangedCausesNoEvent) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  run();
  watch();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  feed_->routeDel(prefix("11.0.0.0/8"));
  run();
  EXPECT_TRUE(taken().empty());
  EXPECT_EQ(feed_->changes(), 1U);
}

TEST_F(FibFeedTest, AnotherMetricAloneIsAChangeOfTheRoute) {
  const FecId fec = fecOf({hop("192.0.2.1")});
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fec, 1));
  watch();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fec, 2));
  EXPECT_EQ(taken(), (Log{"route 10.0.0.0/8", "trie 10.0.0.0/8"}));
}

TEST_F(FibFeedTest, TheOtherFamilyHasItsOwnTables) {
  const FecId fec = feed_->fecs().ofHops(AddressFamily::ipv6, {hop("2001:db8::1")});
  feed_->routeIs(prefix("2001:db8::/32"), routeOver(fec));
  EXPECT_EQ(feed_->route(prefix("2001:db8::/32")), routeOver(fec));
  EXPECT_TRUE(vrf_->trie6()->routeHas(prefix("2001:db8::/32")));
  EXPECT_EQ(vrf_->routes6()->routeCount(), 1U);
  EXPECT_EQ(vrf_->routes4()->routeCount(), 0U);
  EXPECT_EQ(feed_->routeCount(), 1U);
}

TEST_F(FibFeedTest, AClientOfResolverIdentifiersSeesNoFailureOnAReplace) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  track(NexthopStatusFecIdType::resolverId, "10.0.0.1");
  ASSERT_EQ(entry("10.0.0.1").resolutionState, NexthopResolutionState::resolved);
  const std::uint64_t first = entry("10.0.0.1").fecId;
  watchStatus();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.2")})));
  run();
  for (const std::string& write : writes_) {
    EXPECT_NE(write.find("state=resolved"), std::string::npos) << write;
  }
  EXPECT_FALSE(writes_.empty());
  EXPECT_GT(entry("10.0.0.1").fecId, first);
  EXPECT_EQ(vrf_->fecs()->fecCount(), 1U);
}

TEST_F(FibFeedTest, AClientOfFecIdentifiersSeesNoFailureOnAReplace) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  track(NexthopStatusFecIdType::fibFecId, "10.0.0.1");
  watchStatus();
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.2")})));
  run();
  EXPECT_EQ(writes_.size(), 1U);
  EXPECT_EQ(entry("10.0.0.1").fecId, 5U);
  EXPECT_EQ(entry("10.0.0.1").resolutionState, NexthopResolutionState::resolved);
}

TEST_F(FibFeedTest, TheOldFecStaysUntilALongReviewIsThrough) {
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.1")})));
  track(NexthopStatusFecIdType::resolverId, "10.0.0.1");
  scheduler_->workBudgetIs(1);
  feed_->routeIs(prefix("10.0.0.0/8"), routeOver(fecOf({hop("192.0.2.2")})));
  ASSERT_TRUE(vrf_->fecs()->fecHas(4));
  while (entry("10.0.0.1").fecId == 4) {
    EXPECT_TRUE(vrf_->fecs()->fecHas(4)) << "the client still has its identifier";
    ASSERT_TRUE(scheduler_->runTask());
  }
  run();
  EXPECT_FALSE(vrf_->fecs()->fecHas(4));
}

TEST_F(FibFeedTest, AFecThatLosesAViaIsPublishedUnderTheSameIdentifiers) {
  feed_->routeIs(prefix("10.0.0.0/8"),
                 routeOver(fecOf({hop("192.0.2.1", 1), hop("192.0.2.2", 2)})));
  track(NexthopStatusFecIdType::resolverId, "10.0.0.1");
  const std::uint64_t identifier = entry("10.0.0.1").fecId;
  watchStatus();
  feed_->fecs().interfaceDead(2, AddressFamily::unset);
  run();
  EXPECT_TRUE(writes_.empty()) << "the client keeps its identifier";
  const auto forwarding = vrf_->forwarding()->vrf("default");
  const NexthopResolverIdVia* published =
      forwarding->nexthopResolverIdVia().find(ResolverId(identifier));
  ASSERT_NE(published, nullptr);
  EXPECT_EQ(published->nexthopResolverVia().size(), 1U);
}

}  // namespace
}  // namespace Routing::Host::Testing
