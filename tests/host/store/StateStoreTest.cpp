// What is written at the end of a turn is what the next run finds.

#include <sys/stat.h>

#include "host/store/StateStore.h"
#include "tests/host/store/StoreFixture.h"

namespace Routing::Host {
namespace {

class StateStoreTest : public testing::Test {
 protected:
  TemporaryDirectory directory;
};

TEST_F(StateStoreTest, ANewStoreIsEmpty) {
  const StateStore store(directory.store());
  EXPECT_EQ(contentOf(store.reader()), std::vector<std::string>{});
  EXPECT_EQ(store.setAside(), "");
  EXPECT_FALSE(store.meta("nextFecId"));
}

TEST_F(StateStoreTest, StatusesForwardingAndContextsComeBackInTheNextRun) {
  {
    Records records;
    StateStore store(directory.store());
    store.follow(records.vrfs);
    records.vrfStatus("bgp")->nexthopIs(resolvedEntry("10.1.2.3", 4));
    records.vrfStatus("bgp")->nexthopIs(resolvedEntry("2001:db8::1", 5));
    NexthopResolverIdVia record(ResolverId(4));
    record.nexthopResolverViaIs({IntfId{3}, *IpGenAddr::parse("10.0.0.1")});
    records.forwarding()->nexthopResolverIdViaIs(record);
    records.vrfs.vrf("default")->context()->firstUnAllocatedNexthopResolverIdIs(6);
    store.commit();
  }
  Records records;
  records.client("bgp");
  const StateStore store(directory.store());
  store.statusesLoad(records.vrfs.records());
  store.vrfLoad(*records.vrfs.vrf("default"));

  const auto status = records.status("bgp")->vrf("default");
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->fecIdType(), NexthopStatusFecIdType::resolverId);
  EXPECT_EQ(*status->nexthop(*IpGenAddr::parse("10.1.2.3")), resolvedEntry("10.1.2.3", 4));
  EXPECT_EQ(*status->nexthop(*IpGenAddr::parse("2001:db8::1")), resolvedEntry("2001:db8::1", 5));
  EXPECT_TRUE(records.forwarding()->nexthopResolverIdViaHas(ResolverId(4)));
  EXPECT_EQ(records.vrfs.vrf("default")->context()->firstUnAllocatedNexthopResolverId(), 6U);
}

TEST_F(StateStoreTest, ConfigurationsComeBackInTheNextRunAndGoWhenTheyAreRemoved) {
  {
    Records records;
    StateStore store(directory.store());
    store.follow(records.vrfs);
    const auto vrf = records.client("bgp").vrf("default");
    vrf->nexthopIs({*IpGenAddr::parse("10.1.2.3")});
    vrf->nexthopIs({*IpGenAddr::parse("2001:db8::1")});
    records.client("gone").vrf("default")->nexthopIs({*IpGenAddr::parse("10.1.2.4")});
    store.commit();
    vrf->nexthopDel(*IpGenAddr::parse("10.1.2.3"));
    records.vrfs.records().configs->entityDel("gone");
    store.commit();
  }
  Records records;
  const StateStore store(directory.store());
  store.configsLoad(records.vrfs.records());
  EXPECT_EQ(records.vrfs.records().configs->entityPtr("gone"), nullptr);
  const auto vrf = records.client("bgp").vrf("default");
  EXPECT_EQ(vrf->fecIdType(), NexthopStatusFecIdType::resolverId);
  EXPECT_EQ(vrf->nexthop().size(), 1U);
  EXPECT_TRUE(vrf->nexthopConfigured(*IpGenAddr::parse("2001:db8::1")));
  EXPECT_EQ(contentOf(store.reader()),
            (std::vector<std::string>{"config bgp default 1",
                                      "config bgp default 2001:db8::1",
                                      "context 0"}));
}

TEST_F(StateStoreTest, AStatusThatNobodyConfiguresIsForgotten) {
  {
    Records records;
    StateStore store(directory.store());
    store.follow(records.vrfs);
    records.vrfStatus("gone")->nexthopIs(resolvedEntry("10.1.2.3", 4));
    store.commit();
  }
  Records records;
  StateStore store(directory.store());
  store.statusesLoad(records.vrfs.records());
  EXPECT_EQ(records.vrfs.records().statuses->entityPtr("gone"), nullptr);
  store.follow(records.vrfs);
  store.commit();
  EXPECT_EQ(contentOf(store.reader()), std::vector<std::string>{"context 0"});
}

TEST_F(StateStoreTest, EachTurnWritesWhatChangedAndNothingElse) {
  Records records;
  StateStore store(directory.store());
  store.follow(records.vrfs);
  const auto status = records.vrfStatus("bgp");
  status->nexthopIs(resolvedEntry("10.0.0.1", 4));
  status->nexthopIs(resolvedEntry("10.0.0.2", 4));
  store.commit();
  const std::uint64_t before = store.counters().writes;

  status->nexthopIs(resolvedEntry("10.0.0.1", 5));
  status->nexthopIs(resolvedEntry("10.0.0.1", 6));
  store.commit();
  EXPECT_EQ(store.counters().writes - before, 1U);
  const std::uint64_t commits = store.counters().commits;
  store.commit();
  EXPECT_EQ(store.counters().commits, commits);
  EXPECT_EQ(contentOf(store.reader()),
            (std::vector<std::string>{"bgp",
                                      "bgp default 1",
                                      "bgp default " + resolvedEntry("10.0.0.1", 6).stringValue(),
                                      "bgp default " + resolvedEntry("10.0.0.2", 4).stringValue(),
                                      "context 0"}));
}

TEST_F(StateStoreTest, WhatIsRemovedIsRemovedFromTheStore) {
  Records records;
  StateStore store(directory.store());
  store.follow(records.vrfs);
  for (const char* client : {"bgp", "bgp2"}) {
    records.vrfStatus(client)->nexthopIs(resolvedEntry("10.0.0.1", 4));
    records.vrfStatus(client)->nexthopIs(resolvedEntry("10.0.0.2", 4));
  }
  records.forwarding()->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(4)));
  records.forwarding()->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(5)));
  store.commit();

  records.vrfStatus("bgp")->nexthopDel(*IpGenAddr::parse("10.0.0.1"));
  records.status("bgp2")->vrfDel("default");
  records.forwarding()->nexthopResolverIdViaDel(ResolverId(4));
  store.commit();
  EXPECT_EQ(contentOf(store.reader()),
            (std::vector<std::string>{"bgp",
                                      "bgp default 1",
                                      "bgp default " + resolvedEntry("10.0.0.2", 4).stringValue(),
                                      "bgp2",
                                      "forwarding 5 vias 0",
                                      "context 0"}));

  records.vrfs.records().statuses->entityDel("bgp");
  records.vrfs.vrf("default")->forwarding()->vrfDel("default");
  store.commit();
  EXPECT_EQ(contentOf(store.reader()), (std::vector<std::string>{"bgp2", "context 0"}));
}

TEST_F(StateStoreTest, ARecordReplacedInOneTurnIsWrittenWhole) {
  Records records;
  StateStore store(directory.store());
  store.follow(records.vrfs);
  records.vrfStatus("bgp")->nexthopIs(resolvedEntry("10.0.0.1", 4));
  store.commit();
  records.status("bgp")->vrfDel("default");
  records.status("bgp")
      ->vrfIs("default", NexthopStatusFecIdType::fibFecId)
      ->nexthopIs(resolvedEntry("10.0.0.9", 12));
  store.commit();
  EXPECT_EQ(contentOf(store.reader()),
            (std::vector<std::string>{"bgp",
                                      "bgp default 0",
                                      "bgp default " + resolvedEntry("10.0.0.9", 12).stringValue(),
                                      "context 0"}));
}

TEST_F(StateStoreTest, AVrfThatComesAgainFindsWhatItPublished) {
  Records records;
  StateStore store(directory.store());
  store.follow(records.vrfs);
  Vrf& red = records.vrfs.vrfIs("red", 10);
  red.forwarding()->vrfIs("red")->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(4)));
  red.context()->firstUnAllocatedNexthopResolverIdIs(5);
  store.commit();
  records.vrfs.vrfDel("red");
  store.commit();

  const Vrf& again = records.vrfs.vrfIs("red", 11);

  EXPECT_TRUE(again.forwarding()->vrf("red")->nexthopResolverIdViaHas(ResolverId(4)));
  EXPECT_EQ(again.context()->firstUnAllocatedNexthopResolverId(), 5U);
}

TEST_F(StateStoreTest, MetaAndRegistrationsComeBackInTheNextRun) {
  {
    StateStore store(directory.store());
    store.metaNumberIs("nextFecId", 4100);
    store.metaIs("name", "value");
    store.registrationIs("bgp/default/1", "policy");
    store.registrationIs("bgp/default/2", "policy");
    store.registrationDel("bgp/default/1");
    store.commit();
    store.metaIs("name", "not committed");
    EXPECT_EQ(store.meta("name"), "not committed");
  }
  const StateStore store(directory.store());
  EXPECT_EQ(store.metaNumber("nextFecId"), 4100U);
  EXPECT_EQ(store.meta("name"), "value");
  std::vector<std::string> registrations;
  store.walkRegistrations([&](std::string_view key, std::string_view value) {
    registrations.push_back(std::string(key) + "=" + std::string(value));
  });
  EXPECT_EQ(registrations, std::vector<std::string>{"bgp/default/2=policy"});
}

TEST_F(StateStoreTest, AFullStoreGrowsAndLosesNothing) {
  Records records;
  StateStore::Options options;
  options.mapSize = std::size_t{256} << 10U;
  StateStore store(directory.store(), options);
  store.follow(records.vrfs);
  const auto status = records.vrfStatus("bgp");
  NexthopStatusEntry entry = resolvedEntry("10.0.0.0", 4);
  constexpr std::uint32_t entries = 20000;
  for (std::uint32_t index = 0; index < entries; ++index) {
    entry.addr = IpGenAddr::ipv4(0x0a000000U + index);
    status->nexthopIs(entry);
  }
  store.commit();
  EXPECT_GT(store.counters().enlargements, 0U);
  EXPECT_EQ(contentOf(store.reader()).size(), entries + 3);
}

TEST_F(StateStoreTest, AStoreThatMayNotGrowFailsAndKeepsTheLastWholeTurn) {
  Records records;
  StateStore::Options options;
  options.mapSize = std::size_t{256} << 10U;
  options.maxMapSize = options.mapSize;
  StateStore store(directory.store(), options);
  store.follow(records.vrfs);
  const auto status = records.vrfStatus("bgp");
  status->nexthopIs(resolvedEntry("10.0.0.1", 4));
  store.commit();
  const std::vector<std::string> before = contentOf(store.reader());
  for (std::uint32_t index = 0; index < 20000; ++index) {
    NexthopStatusEntry entry = resolvedEntry("10.0.0.0", 4);
    entry.addr = IpGenAddr::ipv4(0x0a000000U + index);
    status->nexthopIs(entry);
  }
  EXPECT_THROW(store.commit(), StoreError);
  EXPECT_EQ(contentOf(store.reader()), before);
}

TEST_F(StateStoreTest, ADirectoryThatOthersMayWriteIsRefused) {
  ASSERT_EQ(::mkdir(directory.store().c_str(), 0700), 0);
  ASSERT_EQ(::chmod(directory.store().c_str(), 0777), 0);
  EXPECT_THROW(StateStore(directory.store()), SystemError);
}

}  // namespace
}  // namespace Routing::Host
