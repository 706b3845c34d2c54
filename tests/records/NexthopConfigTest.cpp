#include <gtest/gtest.h>

#include <optional>

#include "platform/entity/Exceptions.h"
#include "records/NexthopConfig.h"
#include "tests/records/RecordSupport.h"

namespace Routing {
namespace {

using Support::addr;
using Support::Events;
using enum NexthopStatusFecIdType;

class NexthopVrfConfigTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(*config, [this](FieldId field, const void* key) {
      if (field == NexthopVrfConfig::nexthopField) {
        log.add("nexthop " + Support::keyOf<IpGenAddr>(key).stringValue());
      } else {
        log.add(field == NexthopVrfConfig::fecIdTypeField && key == nullptr ? "fecIdType"
                                                                            : "other");
      }
    });
  }
  Events configured() const {
    Events addresses;
    for (auto cursor = config->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
      addresses.push_back(cursor.key().stringValue());
    }
    return addresses;
  }

  Ptr<NexthopVrfConfig> config = makeEntity<NexthopVrfConfig>("v1", resolverId);
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(NexthopVrfConfigTest, AnAbsentNexthopReadsAsTheDefaultEntry) {
  EXPECT_EQ(config->nexthop(addr("10.0.0.1")), NexthopConfigEntry());
  EXPECT_EQ(config->nexthop(addr("10.0.0.1")).addr, IpGenAddr());
  EXPECT_FALSE(config->nexthopConfigured(addr("10.0.0.1")));
  EXPECT_FALSE(config->nexthopHas(addr("10.0.0.1")));
}

TEST(NexthopConfigEntryTest, EntriesOfTwoAddressesDiffer) {
  EXPECT_NE(NexthopConfigEntry{addr("10.0.0.1")}, NexthopConfigEntry{addr("10.0.0.2")});
}

TEST_F(NexthopVrfConfigTest, AConfiguredNexthopReadsAsItsEntry) {
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopIs({addr("2001:db8::1")});
  EXPECT_EQ(config->nexthop(addr("10.0.0.1")).addr, addr("10.0.0.1"));
  EXPECT_TRUE(config->nexthopConfigured(addr("2001:db8::1")));
  EXPECT_TRUE(config->nexthopHas(addr("2001:db8::1")));
  EXPECT_FALSE(config->nexthopConfigured(addr("2001:db8::2")));
}

TEST_F(NexthopVrfConfigTest, AnEntryWithTheUnspecifiedAddressIsTreatedLikeAMissingOne) {
  config->nexthopIs(NexthopConfigEntry());
  EXPECT_EQ(config->nexthop(IpGenAddr()), NexthopConfigEntry());
  EXPECT_FALSE(config->nexthopConfigured(IpGenAddr()));
}

TEST_F(NexthopVrfConfigTest, TheAllZeroAddressesOfBothFamiliesAreOrdinaryNexthops) {
  config->nexthopIs({addr("0.0.0.0")});
  EXPECT_TRUE(config->nexthopConfigured(addr("0.0.0.0")));
  EXPECT_FALSE(config->nexthopConfigured(addr("::")));
  config->nexthopIs({addr("::")});
  EXPECT_TRUE(config->nexthopConfigured(addr("::")));
}

TEST_F(NexthopVrfConfigTest, AddingChangingAndRemovingANexthopPublishesItsAddress) {
  logChanges();
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopIs({addr("2001:db8::1")});
  config->nexthopDel(addr("10.0.0.1"));
  config->nexthopDel(addr("10.0.0.1"));
  EXPECT_EQ(
      log.take(),
      (Events{"nexthop 10.0.0.1", "nexthop 10.0.0.1", "nexthop 2001:db8::1", "nexthop 10.0.0.1"}));
}

TEST_F(NexthopVrfConfigTest, WhoeverIsNotifiedFindsTheNexthopAsItWillStand) {
  const Support::Watcher reader(*config, [this](FieldId, const void* key) {
    log.add(config->nexthopConfigured(Support::keyOf<IpGenAddr>(key)) ? "there" : "gone");
  });
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopDel(addr("10.0.0.1"));
  EXPECT_EQ(log.take(), (Events{"there", "gone"}));
}

TEST_F(NexthopVrfConfigTest, NexthopsAreWalkedInOrderOfInsertion) {
  config->nexthopIs({addr("10.0.0.3")});
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopIs({addr("10.0.0.2")});
  config->nexthopIs({addr("10.0.0.3")});
  config->nexthopDel(addr("10.0.0.1"));
  config->nexthopIs({addr("10.0.0.1")});
  EXPECT_EQ(configured(), (Events{"10.0.0.3", "10.0.0.2", "10.0.0.1"}));
}

TEST_F(NexthopVrfConfigTest, RemovingAllPublishesEachNexthopOnce) {
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopIs({addr("10.0.0.2")});
  logChanges();
  config->nexthopDelAll();
  EXPECT_EQ(log.take(), (Events{"nexthop 10.0.0.1", "nexthop 10.0.0.2"}));
  EXPECT_TRUE(config->nexthop().empty());
}

TEST_F(NexthopVrfConfigTest, RemovingAllWithoutSubscribersClearsSilently) {
  config->nexthopIs({addr("10.0.0.1")});
  config->nexthopDelAll();
  logChanges();
  EXPECT_TRUE(config->nexthop().empty());
  config->nexthopDelAll();
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopVrfConfigTest, WritingTheKindPublishesItWithoutAKey) {
  logChanges();
  config->fecIdTypeIs(fibFecId);
  config->fecIdTypeIs(fibFecId);
  EXPECT_EQ(log.take(), (Events{"fecIdType", "fecIdType"}));
  EXPECT_EQ(config->fecIdType(), fibFecId);
}

TEST_F(NexthopVrfConfigTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  config->nexthopIs({addr("10.0.0.1")});
  EXPECT_EQ(config->typeData().name(), "Routing::NexthopVrfConfig");
  EXPECT_EQ(Support::attributesOf(*config),
            (Events{"vrfName=v1", "fecIdType=resolverId", "nexthop={10.0.0.1}"}));
}

class NexthopConfigTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(*config, Support::logsKeys<VrfName>(log, NexthopConfig::vrfField, "vrf"));
  }

  Ptr<NexthopConfig> config = makeEntity<NexthopConfig>("bgp");
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(NexthopConfigTest, AnAbsentVrfReadsAsNull) {
  EXPECT_FALSE(config->vrf("v1"));
  EXPECT_FALSE(config->vrfHas("v1"));
}

TEST_F(NexthopConfigTest, AskingForAVrfMakesItOnceAndPublishesOnce) {
  logChanges();
  const Ptr<NexthopVrfConfig> made = config->vrfIs("v1", resolverId);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->vrfName(), "v1");
  EXPECT_EQ(made->fecIdType(), resolverId);
  EXPECT_EQ(config->vrfIs("v1", resolverId), made);
  EXPECT_EQ(config->vrf("v1"), made);
  EXPECT_TRUE(config->vrfHas("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(NexthopConfigTest, AskingForAVrfOfAnotherKindIsAReinstantiationErrorThatChangesNothing) {
  const Ptr<NexthopVrfConfig> made = config->vrfIs("v1", resolverId);
  logChanges();
  try {
    config->vrfIs("v1", fibFecId);
    FAIL() << "re-instantiated with another kind";
  } catch (const ReinstantiationError& error) {
    EXPECT_EQ(error.type(), "Routing::NexthopVrfConfig");
    EXPECT_EQ(error.attribute(), "fecIdType");
  }
  EXPECT_EQ(config->vrf("v1"), made);
  EXPECT_EQ(made->fecIdType(), resolverId);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopConfigTest, TheKindThatCountsForReinstantiationIsThePresentOne) {
  const Ptr<NexthopVrfConfig> made = config->vrfIs("v1", resolverId);
  made->fecIdTypeIs(fibFecId);
  EXPECT_THROW(config->vrfIs("v1", resolverId), ReinstantiationError);
  EXPECT_EQ(config->vrfIs("v1", fibFecId), made);
}

TEST_F(NexthopConfigTest, AGivenVrfReplacesTheOneOfItsName) {
  const Ptr<NexthopVrfConfig> first = config->vrfIs("v1", resolverId);
  logChanges();
  const auto second = makeEntity<NexthopVrfConfig>("v1", fibFecId);
  config->vrfIs(second);
  EXPECT_EQ(config->vrf("v1"), second);
  EXPECT_EQ(config->vrf().size(), 1U);
  EXPECT_EQ(log.take(), Events{"vrf v1"});
}

TEST_F(NexthopConfigTest, ANullVrfIsAnErrorThatChangesNothing) {
  logChanges();
  try {
    config->vrfIs(nullptr);
    FAIL() << "took null";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::NexthopConfig");
    EXPECT_EQ(error.attribute(), "vrf");
  }
  EXPECT_TRUE(config->vrf().empty());
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(NexthopConfigTest, RemovingAVrfReturnsItAndPublishesOnce) {
  const Ptr<NexthopVrfConfig> made = config->vrfIs("v1", resolverId);
  logChanges();
  EXPECT_FALSE(config->vrfDel("v2"));
  EXPECT_EQ(config->vrfDel("v1"), made);
  EXPECT_FALSE(config->vrfDel("v1"));
  EXPECT_EQ(log.take(), Events{"vrf v1"});
  EXPECT_FALSE(config->vrf("v1"));
}

TEST_F(NexthopConfigTest, RemovingAllPublishesEachVrfOnceAndNothingWithoutSubscribers) {
  config->vrfIs("v1", resolverId);
  config->vrfDelAll();
  EXPECT_TRUE(config->vrf().empty());
  config->vrfIs("v2", resolverId);
  config->vrfIs("v1", fibFecId);
  logChanges();
  config->vrfDelAll();
  EXPECT_EQ(log.take(), (Events{"vrf v2", "vrf v1"}));
  EXPECT_TRUE(config->vrf().empty());
}

TEST_F(NexthopConfigTest, TypeDataTellsItsAttributesInDeclarationOrder) {
  config->vrfIs("v2", resolverId);
  config->vrfIs("v1", fibFecId);
  EXPECT_EQ(config->typeData().name(), "Routing::NexthopConfig");
  EXPECT_EQ(Support::attributesOf(*config), (Events{"name=bgp", "vrf={v2, v1}"}));
}

}  // namespace
}  // namespace Routing
