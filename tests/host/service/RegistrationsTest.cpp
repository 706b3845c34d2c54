// Who owns which registrations and for how long, over a real manager and virtual time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/service/Registrations.h"
#include "host/service/RequestError.h"
#include "platform/task/VirtualTime.h"

namespace Routing::Host {
namespace {

using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class MapStore final : public RegistrationStore {
 public:
  void put(const std::string& key, const std::string& value) override { values[key] = value; }
  void erase(const std::string& key) override { values.erase(key); }
  void walk(const Visit& visit) const override {
    for (const auto& [key, value] : values) {
      visit(key, value);
    }
  }
  std::vector<std::string> keys() const {
    std::vector<std::string> keys;
    for (const auto& [key, value] : values) {
      keys.push_back(key);
    }
    return keys;
  }

  std::map<std::string, std::string> values;
};

class RegistrationsTest : public ::testing::Test {
 protected:
  RegistrationsTest() {
    vrf = &vrfs.vrfIs("default", 254);
    FibGen::Fec fec(12);
    fec.viaIs({IntfId{1}, 1, *IpGenAddr::parse("192.0.2.1"), {}});
    vrf->fecs()->fecIs(fec);
    const IpGenPrefix prefix = *IpGenPrefix::parse("10.0.0.0/8");
    vrf->routes4()->routeIs(Prefix(prefix), Fib::Route(12, 20, 1, 0));
    vrf->trie4()->routeIs(prefix, true);
    vrfs.managerStart(*vrf);
    settle();
  }

  void settle() {
    runUntilIdle(*scheduler);
    registrations.reviewed();
    table.commit();
  }
  void advance(seconds time) {
    advanceTime(*scheduler, *clock, time);
    settle();
  }
  static RegistrationBatch batch(const std::string& client,
                                 const std::vector<std::string>& addrs,
                                 NexthopStatusFecIdType kind = NexthopStatusFecIdType::fibFecId) {
    RegistrationBatch batch{client, "default", kind, {}, {}};
    for (const std::string& addr : addrs) {
      batch.addrs.push_back(*IpGenAddr::parse(addr));
    }
    return batch;
  }
  // "FIELD: REASON" of what the work throws.
  static std::string fault(const std::function<void()>& work) {
    try {
      work();
    } catch (const RequestError& error) {
      return error.field() + ": " + error.what();
    }
    return "none";
  }
  Ptr<NexthopVrfStatus> statusOf(const std::string& client) const {
    const auto status = entityOf<NexthopStatus>(*vrfs.records().statuses, client);
    return status ? status->vrf("default") : nullptr;
  }
  bool known(const std::string& client) const {
    return vrfs.records().configs->entityPtr(client) != nullptr &&
           vrfs.records().statuses->entityPtr(client) != nullptr;
  }
  std::size_t published() const {
    return vrf->forwarding()->vrf("default")->nexthopResolverIdVia().size();
  }

  const Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  const Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  MapStore store;
  Vrfs vrfs{scheduler};
  Vrf* vrf = nullptr;
  NexthopTable table{[](const VrfName&) { return VrfCondition(); }, [] { return 0; }};
  RegistrationLimits limits{3, 10};
  Registrations registrations{vrfs, table, &store, scheduler, limits, seconds(300)};
  StatusStream stream{table.slots(), {}, false};
};

TEST_F(RegistrationsTest, ARegisteredNexthopIsResolved) {
  EXPECT_EQ(registrations.add("alice", batch("bgp", {"10.0.0.1", "172.16.0.1"})), 2U);
  EXPECT_EQ(registrations.add("alice", batch("bgp", {"10.0.0.1", "10.0.0.2"})), 1U);
  settle();
  EXPECT_EQ(statusOf("bgp")->nexthop(*IpGenAddr::parse("10.0.0.2"))->fecId, 12U);
  EXPECT_EQ(statusOf("bgp")->nexthop().size(), 3U);
}

TEST_F(RegistrationsTest, ANameIsItsFirstUsers) {
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  const std::string refused = "client: the name bgp is another user's";
  EXPECT_EQ(fault([&] { registrations.add("bob", batch("bgp", {"10.0.0.2"})); }), refused);
  EXPECT_EQ(fault([&] { registrations.remove("bob", batch("bgp", {"10.0.0.1"})); }), refused);
  EXPECT_EQ(fault([&] { registrations.removeAll("bob", "bgp", "default"); }), refused);
  EXPECT_EQ(fault([&] { registrations.attach("bob", "bgp", stream); }), refused);
  EXPECT_EQ(table.slots().live(), 1U);
}

TEST_F(RegistrationsTest, ANameIsFreeAgainWhenItsClientHasGone) {
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  registrations.remove("alice", batch("bgp", {"10.0.0.1"}));
  EXPECT_FALSE(known("bgp"));
  EXPECT_EQ(registrations.add("bob", batch("bgp", {"10.0.0.1"})), 1U);
}

TEST_F(RegistrationsTest, ASecondLiveStreamOfANameIsRefused) {
  registrations.attach("alice", "bgp", stream);
  EXPECT_EQ(fault([&] { registrations.attach("alice", "bgp", stream); }),
            "client: the name bgp has a live stream");
  registrations.detach("bgp");
  EXPECT_FALSE(known("bgp"));
  registrations.attach("alice", "bgp", stream);
  registrations.detach("bgp");
}

TEST_F(RegistrationsTest, RegistrationsOutliveTheStreamForTheGraceTime) {
  registrations.attach("alice", "bgp", stream);
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  advance(seconds(1000));
  EXPECT_TRUE(known("bgp"));
  registrations.detach("bgp");
  advance(seconds(299));
  EXPECT_TRUE(known("bgp"));
  advance(seconds(1));
  EXPECT_FALSE(known("bgp"));
  EXPECT_EQ(table.slots().live(), 0U);
  EXPECT_THAT(store.keys(), IsEmpty());
}

TEST_F(RegistrationsTest, AClientThatComesBackInTimeFindsItsRegistrations) {
  registrations.attach("alice", "bgp", stream);
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  registrations.detach("bgp");
  advance(seconds(299));
  registrations.attach("alice", "bgp", stream);
  advance(seconds(1000));
  EXPECT_EQ(table.slots().live(), 1U);
  registrations.detach("bgp");
}

TEST_F(RegistrationsTest, WithoutAStreamEachRequestBeginsTheGraceTimeAnew) {
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  registrations.add("alice", batch("ospf", {"10.0.0.1"}));
  advance(seconds(200));
  registrations.add("alice", batch("bgp", {}));
  advance(seconds(200));
  EXPECT_TRUE(known("bgp"));
  EXPECT_FALSE(known("ospf"));
  advance(seconds(100));
  EXPECT_FALSE(known("bgp"));
}

TEST_F(RegistrationsTest, TheLimitOfNexthopsIsThatOfAllClientsTogether) {
  registrations.add("alice", batch("bgp", {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4"}));
  const RegistrationBatch seven =
      batch("ospf",
            {"10.0.0.1", "10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5", "10.0.0.6", "10.0.0.7"});
  EXPECT_EQ(fault([&] { registrations.add("alice", seven); }),
            "addresses: at most 10 nexthops are registered at a time, 4 are");
  EXPECT_FALSE(known("ospf"));
  EXPECT_EQ(table.slots().live(), 4U);
}

TEST_F(RegistrationsTest, AnAddressThatComesTwiceInARequestCountsOnceAgainstTheLimit) {
  const std::vector<std::string> six(6, "10.0.0.1");
  registrations.add("alice", batch("bgp", {"10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"}));
  registrations.add("alice", batch("ospf", {"10.0.0.2", "10.0.0.3", "10.0.0.4", "10.0.0.5"}));
  EXPECT_EQ(registrations.add("alice", batch("bgp", six)), 1U);
  EXPECT_EQ(registrations.add("alice", batch("ospf", six)), 1U);
  EXPECT_EQ(registrations.add("alice", batch("bgp", six)), 0U);
}

TEST_F(RegistrationsTest, TheNumberOfClientsIsLimited) {
  for (const char* name : {"a", "b", "c"}) {
    registrations.add("alice", batch(name, {"10.0.0.1"}));
  }
  EXPECT_EQ(fault([&] { registrations.add("alice", batch("d", {"10.0.0.1"})); }),
            "client: there are 3 clients already");
  EXPECT_EQ(registrations.remove("alice", batch("d", {"10.0.0.1"})), 0U);
}

TEST_F(RegistrationsTest, ARequestThatIsWrongInOnePlaceChangesNothing) {
  RegistrationBatch wrong = batch("bgp", {"2001:db8::1", "10.0.0.1"});
  wrong.policy.minimumPrefixLength = 64;
  EXPECT_EQ(fault([&] { registrations.add("alice", wrong); }),
            "policy.minimum_prefix_length: no prefix of 10.0.0.1 is that long");
  RegistrationBatch elsewhere = batch("bgp", {"10.0.0.1"});
  elsewhere.vrf = "red";
  EXPECT_EQ(fault([&] { registrations.add("alice", elsewhere); }), "vrf: there is no VRF red");
  EXPECT_EQ(fault([&] { registrations.add("alice", batch("b g p", {"10.0.0.1"})); }),
            "client: a client's name is 1 to 64 letters, digits, '-', '_' and '.'");
  EXPECT_THAT(store.keys(), IsEmpty());
  EXPECT_EQ(table.slots().live(), 0U);
}

TEST_F(RegistrationsTest, TheKindIsOneForAllNexthopsOfAClientInAVrf) {
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  const RegistrationBatch other = batch("bgp", {"10.0.0.2"}, NexthopStatusFecIdType::resolverId);
  EXPECT_EQ(fault([&] { registrations.add("alice", other); }),
            "kind: the client's nexthops in this VRF have the kind fibFecId");
  registrations.removeAll("alice", "bgp", "default");
  registrations.add("alice", other);
  settle();
  EXPECT_EQ(statusOf("bgp")->fecIdType(), NexthopStatusFecIdType::resolverId);
}

// The resolver gives up what is configured when it ends; whatever was taken out before and not
// reviewed yet would keep its identifier for ever.
TEST_F(RegistrationsTest, NoIdentifierIsLeftBehindHoweverTheNexthopsGo) {
  const auto kind = NexthopStatusFecIdType::resolverId;
  registrations.attach("alice", "bgp", stream);
  registrations.add("alice", batch("bgp", {"10.0.0.1", "10.0.0.2", "10.0.0.3"}, kind));
  settle();
  ASSERT_EQ(published(), 1U);
  registrations.remove("alice", batch("bgp", {"10.0.0.1"}));
  registrations.remove("alice", batch("bgp", {"10.0.0.2", "10.0.0.3"}));
  settle();
  EXPECT_EQ(published(), 0U);
  EXPECT_EQ(statusOf("bgp"), nullptr);
  registrations.detach("bgp");
}

TEST_F(RegistrationsTest, WhatIsTakenOutAndPutBackAtOnceIsResolvedAgain) {
  const auto kind = NexthopStatusFecIdType::resolverId;
  registrations.attach("alice", "bgp", stream);
  registrations.add("alice", batch("bgp", {"10.0.0.1"}, kind));
  settle();
  registrations.remove("alice", batch("bgp", {"10.0.0.1"}));
  registrations.add("alice", batch("bgp", {"10.0.0.1"}, kind));
  settle();
  EXPECT_EQ(published(), 1U);
  EXPECT_EQ(statusOf("bgp")->nexthop().size(), 1U);
  registrations.detach("bgp");
}

TEST_F(RegistrationsTest, OwnersAndPoliciesThatSayMoreThanTheDefaultAreKept) {
  RegistrationBatch strict = batch("bgp", {"10.0.0.1"});
  strict.policy.refuseDefaultRoute = true;
  registrations.add("alice", strict);
  registrations.add("alice", batch("bgp", {"10.0.0.2"}));
  EXPECT_THAT(store.keys(), ElementsAre("client/bgp", "policy/bgp/default/10.0.0.1"));
  registrations.add("alice", batch("bgp", {"10.0.0.1"}));
  EXPECT_THAT(store.values, ElementsAre(Pair("client/bgp", "alice")));
  registrations.add("alice", strict);
  registrations.remove("alice", batch("bgp", {"10.0.0.1"}));
  EXPECT_THAT(store.keys(), ElementsAre("client/bgp"));
}

// A daemon that starts over what an earlier one left: records and store, no manager yet.
class Restored : public ::testing::Test {
 protected:
  Restored() { vrfs.vrfIs("default", 254); }
  void leave(const std::string& client, const std::vector<std::string>& addrs) {
    const auto config = makeEntity<NexthopConfig>(client);
    const auto part = config->vrfIs("default", NexthopStatusFecIdType::fibFecId);
    for (const std::string& addr : addrs) {
      part->nexthopIs({*IpGenAddr::parse(addr)});
    }
    vrfs.records().configs->entityIs(client, config);
    vrfs.records().statuses->entityIs(client, makeEntity<NexthopStatus>(client));
  }

  const Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  const Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  MapStore store;
  Vrfs vrfs{scheduler};
  NexthopTable table{[](const VrfName&) { return VrfCondition(); }, [] { return 0; }};
  Registrations registrations{vrfs, table, &store, scheduler, {}, seconds(300)};
};

TEST_F(Restored, RegistrationsBelongToWhomTheyDidAndKeepTheirPolicies) {
  leave("bgp", {"10.0.0.1", "10.0.0.2"});
  store.values = {{"client/bgp", "alice"},
                  {"policy/bgp/default/10.0.0.1", std::string("\x10\1\0\0", 4)}};
  registrations.restore();
  const Registrations::Client* client = registrations.client("bgp");
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->user, "alice");
  const NexthopTable::Group& group = *client->parts.at("default").group;
  ASSERT_EQ(group.count(), 2U);
  const auto policyOf = [&](const char* addr) {
    return table.slots()[*NexthopTable::find(group, *IpGenAddr::parse(addr))].policy;
  };
  EXPECT_EQ(policyOf("10.0.0.1"), (Policy{16, true, false, false}));
  EXPECT_EQ(policyOf("10.0.0.2"), Policy());
}

TEST_F(Restored, RegistrationsNobodyComesForGoAfterTheGraceTime) {
  leave("bgp", {"10.0.0.1"});
  store.values = {{"client/bgp", "alice"}};
  registrations.restore();
  advanceTime(*scheduler, *clock, seconds(300));
  EXPECT_EQ(registrations.client("bgp"), nullptr);
  EXPECT_EQ(vrfs.records().configs->entityPtr("bgp"), nullptr);
}

TEST_F(Restored, AConfigurationWithoutAnOwnerIsRemoved) {
  leave("bgp", {"10.0.0.1"});
  registrations.restore();
  EXPECT_EQ(registrations.client("bgp"), nullptr);
  EXPECT_EQ(vrfs.records().configs->entityPtr("bgp"), nullptr);
  EXPECT_EQ(vrfs.records().statuses->entityPtr("bgp"), nullptr);
}

}  // namespace
}  // namespace Routing::Host
