#include "host/feed/Fecs.h"
#include "tests/host/feed/FeedFixture.h"

namespace Routing::Host::Testing {
namespace {

class FecsTest : public FeedTest {
 protected:
  void SetUp() override {
    FeedTest::SetUp();
    watcher_ =
        std::make_unique<Support::Watcher>(*vrf_->fecs(),
                                           [this](FieldId /*field*/, const void* key) {
                                             published_.push_back(Support::keyOf<FecId>(key));
                                           });
  }
  Fecs& fecs() { return feed_->fecs(); }
  std::vector<std::string> vias(FecId fec) {
    std::vector<std::string> texts;
    const FibGen::Fec content = vrf_->fecs()->fec(fec);
    for (const FibGen::Via& via : content.via()) {
      texts.push_back(via.hop.stringValue());
    }
    return texts;
  }
  using Vias = std::vector<std::string>;

  std::unique_ptr<Support::Watcher> watcher_;
  std::vector<FecId> published_;
};

TEST_F(FecsTest, EqualSetsOfHopsAreOneFecWhateverTheirOrder) {
  const FecId fec = fecOf({hop("10.0.0.2"), hop("10.0.0.3")});
  EXPECT_EQ(fecOf({hop("10.0.0.3"), hop("10.0.0.2")}), fec);
  EXPECT_EQ(fecs().findHops(AddressFamily::ipv4, {hop("10.0.0.3"), hop("10.0.0.2")}), fec);
  EXPECT_EQ(published_, std::vector<FecId>{fec});
  EXPECT_EQ(vias(fec), (Vias{"10.0.0.2", "10.0.0.3"}));
}

TEST_F(FecsTest, AnotherWeightInterfaceLabelOrFamilyIsAnotherFec) {
  Hop labelled = hop("10.0.0.2");
  labelled.via.labelAndAction.labelIs(100);
  labelled.via.labelAndAction.actionIs(labelPush);
  const FecId fec = fecOf({hop("10.0.0.2")});
  EXPECT_NE(fecOf({hop("10.0.0.2", 1, 2)}), fec);
  EXPECT_NE(fecOf({hop("10.0.0.2", 2)}), fec);
  EXPECT_NE(fecOf({labelled}), fec);
  EXPECT_NE(fecs().ofHops(AddressFamily::ipv6, {hop("10.0.0.2")}), fec);
  EXPECT_EQ(fecs().count(), 5U);
}

TEST_F(FecsTest, ADeadHopStaysInTheSetAndOutOfTheVias) {
  const FecId fec = fecOf({hop("10.0.0.2", 1), hop("10.0.0.3", 2)});
  EXPECT_EQ(fecOf({hop("10.0.0.2", 1), hop("10.0.0.3", 2, 1, true)}), fec);
  EXPECT_EQ(vias(fec), Vias{"10.0.0.2"});
  EXPECT_EQ(fecOf({hop("10.0.0.2", 1), hop("10.0.0.3", 2)}), fec);
  EXPECT_EQ(vias(fec), (Vias{"10.0.0.2", "10.0.0.3"}));
  EXPECT_EQ(published_.size(), 3U);
}

TEST_F(FecsTest, NoLiveHopMakesNoFec) {
  EXPECT_EQ(fecOf({hop("10.0.0.2", 1, 1, true)}), 0U);
  EXPECT_EQ(fecs().ofObject(7, {}), 0U);
  EXPECT_TRUE(published_.empty());
}

TEST_F(FecsTest, AnInterfaceThatDiesTakesItsHopsOutOfEveryFec) {
  const FecId both = fecOf({hop("10.0.0.2", 1), hop("10.0.0.3", 2)});
  const FecId other = fecOf({hop("10.0.0.2", 1)});
  published_.clear();
  fecs().interfaceDead(2, AddressFamily::unset);
  EXPECT_EQ(published_, std::vector<FecId>{both});
  EXPECT_EQ(vias(both), Vias{"10.0.0.2"});
  EXPECT_FALSE(fecs().takeUnusable());
  fecs().interfaceDead(1, AddressFamily::unset);
  EXPECT_TRUE(fecs().takeUnusable());
  EXPECT_FALSE(fecs().takeUnusable()) << "told once";
  EXPECT_FALSE(fecs().usable(both));
  EXPECT_FALSE(fecs().usable(other));
  EXPECT_EQ(vias(both), Vias{"10.0.0.2"}) << "never written without vias";
}

TEST_F(FecsTest, OneFamilysHopsMayDieAlone) {
  const FecId four = fecOf({hop("10.0.0.2", 1)});
  const FecId six = fecs().ofHops(AddressFamily::ipv6, {hop("2001:db8::2", 1)});
  fecs().interfaceDead(1, AddressFamily::ipv4);
  EXPECT_FALSE(fecs().usable(four));
  EXPECT_TRUE(fecs().usable(six));
}

TEST_F(FecsTest, AnObjectsFecChangesInPlace) {
  const FecId fec = fecs().ofObject(7, {hop("10.0.0.2")});
  EXPECT_NE(fecOf({hop("10.0.0.2")}), fec) << "an object's FEC is its own";
  EXPECT_EQ(fecs().ofObject(7, {hop("10.0.0.9")}), fec);
  EXPECT_EQ(vias(fec), Vias{"10.0.0.9"});
  EXPECT_EQ(fecs().object(fec), 7U);
  EXPECT_EQ(fecs().ofObject(7, {}), 0U);
  EXPECT_TRUE(fecs().takeUnusable());
}

TEST_F(FecsTest, EachRefusalHasOneFecWithoutVias) {
  const FecId blackhole = fecs().ofType(RouteType::blackhole);
  EXPECT_EQ(fecs().ofType(RouteType::blackhole), blackhole);
  EXPECT_NE(fecs().ofType(RouteType::local), blackhole);
  EXPECT_TRUE(vias(blackhole).empty());
  EXPECT_TRUE(vrf_->fecs()->fecHas(blackhole));
  EXPECT_TRUE(fecs().usable(blackhole));
}

TEST_F(FecsTest, MoreViasThanAFecMayHaveAreLeftOutAndCounted) {
  Hops hops;
  for (std::uint32_t interface = 1; interface <= 603; ++interface) {
    hops.push_back(hop("10.0.0.2", interface));
  }
  const FecId fec = fecOf(hops);
  EXPECT_EQ(vrf_->fecs()->fec(fec).viaCount(), FibGen::Fec::maxVias);
  EXPECT_EQ(fecs().viasBeyondLimit(), 3U);
}

TEST_F(FecsTest, AReleasedFecIsDeletedWhenNothingMoreUrgentIsToBeDone) {
  const FecId fec = fecOf({hop("10.0.0.2")});
  fecs().hold(fec);
  run();
  fecs().release(fec);
  EXPECT_TRUE(vrf_->fecs()->fecHas(fec));
  run();
  EXPECT_FALSE(vrf_->fecs()->fecHas(fec));
  EXPECT_EQ(fecs().count(), 0U);
  EXPECT_GT(fecOf({hop("10.0.0.2")}), fec) << "its identifier is never used again";
}

TEST_F(FecsTest, AFecThatIsHeldAgainInTimeStays) {
  const FecId fec = fecOf({hop("10.0.0.2")});
  fecs().hold(fec);
  fecs().release(fec);
  fecs().hold(fec);
  run();
  EXPECT_TRUE(vrf_->fecs()->fecHas(fec));
  fecs().release(fec);
  run();
  EXPECT_FALSE(vrf_->fecs()->fecHas(fec));
}

TEST_F(FecsTest, AFecThatNobodyCameToHoldIsDeletedToo) {
  fecOf({hop("10.0.0.2")});
  fecs().ofObject(7, {hop("10.0.0.2")});
  fecs().ofType(RouteType::local);
  run();
  EXPECT_EQ(vrf_->fecs()->fecCount(), 0U);
  EXPECT_EQ(fecs().findObject(7), 0U);
  EXPECT_EQ(fecs().findType(RouteType::local), 0U);
}

}  // namespace
}  // namespace Routing::Host::Testing
