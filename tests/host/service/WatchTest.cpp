// Register, Unregister and Watch over the Unix socket.

#include <algorithm>

#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class Watch : public ServiceFixture {
 protected:
  Watch() { start(); }

  static Proto::WatchRequest observing(const std::string& client) {
    Proto::WatchRequest request = watchOf(client);
    request.set_observe(true);
    return request;
  }
  // 10.0.0.0 and the addresses after it, in as many requests as they need.
  static bool registerMany(Stub& stub, const std::string& client, std::uint32_t count) {
    constexpr std::uint32_t atOnce = 10'000;
    for (std::uint32_t first = 0; first < count; first += atOnce) {
      Proto::RegisterRequest request = registration(client, {});
      for (std::uint32_t index = first; index < std::min(count, first + atOnce); ++index) {
        addressTo(*request.add_addresses(), IpGenAddr::ipv4(0x0a000000U + index));
      }
      if (!registerAll(stub, request).ok()) {
        return false;
      }
    }
    return true;
  }
};

TEST_F(Watch, ARegisteredNexthopIsToldWithItsRoute) {
  routeIs("10.0.0.0/8", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  EXPECT_THAT(watching.snapshot(), ElementsAre());
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  const Proto::NexthopStatus status = watching.status();
  EXPECT_EQ(lineOf(status), "10.0.0.1 resolved 12 10.0.0.0/8");
  EXPECT_EQ(status.metric(), 20U);
  EXPECT_EQ(status.preference(), 1U);
  EXPECT_EQ(status.epoch(), 1U);
  EXPECT_GT(status.changed_at(), 0);
  EXPECT_FALSE(status.stale());
}

TEST_F(Watch, TheSnapshotIsBetweenItsMarksAndNamesTheRun) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1", "2001:db8::1"})).ok());
  onLoop([] {});
  Watching watching(*stub, watchOf("bgp"));
  const auto begin = watching.next();
  EXPECT_TRUE(begin->snapshot_begin());
  EXPECT_EQ(begin->run(), 7U);
  EXPECT_THAT(watching.snapshot(),
              ElementsAre("10.0.0.1 failed no-route", "2001:db8::1 failed no-route"));
}

TEST_F(Watch, ChangesFollowOneRouteAfterTheOther) {
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 failed no-route");
  routeIs("10.0.0.0/8", 12);
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 10.0.0.0/8");
  routeIs("10.0.0.0/24", 13);
  const Proto::NexthopStatus longer = watching.status();
  EXPECT_EQ(lineOf(longer), "10.0.0.1 resolved 13 10.0.0.0/24");
  EXPECT_EQ(longer.previous_identifier(), 12U);
  routeDel("10.0.0.0/24");
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 10.0.0.0/8");
  routeDel("10.0.0.0/8");
  const Proto::NexthopStatus failed = watching.status();
  EXPECT_EQ(lineOf(failed), "10.0.0.1 failed no-route");
  EXPECT_EQ(failed.epoch(), 5U);
}

// Of 30,000 nexthops a stream tells in three messages or more, each when the one before is on its
// way.
TEST_F(Watch, WhateverAStreamTellsLaterCountsFromItsCause) {
  const auto stub = connect();
  ASSERT_TRUE(registerMany(*stub, "bgp", 30'000));
  settle();
  Watching watching(*stub, watchOf("bgp"));
  EXPECT_EQ(watching.snapshot().size(), 30'000U);
  onLoop([this] { cause = Nanoseconds(5); });
  routeIs("10.0.0.0/8", 12);
  settle();
  onLoop([this] { cause = Nanoseconds(0); });
  for (int count = 0; count < 30'000; ++count) {
    watching.status();
  }
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"192.0.2.9"})).ok());
  watching.status();
  onLoop([this] {
    EXPECT_GE(causesTold.size(), 3U);
    EXPECT_THAT(causesTold, ::testing::Each(Nanoseconds(5)));
  });
}

TEST_F(Watch, AResolverIdentifierComesWithTheStatus) {
  routeIs("10.0.0.0/8", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  Proto::RegisterRequest request = registration("bgp", {"10.0.0.1"});
  request.set_kind(Proto::IDENTIFIER_KIND_RESOLVER);
  ASSERT_TRUE(registerAll(*stub, request).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 4 10.0.0.0/8");
}

TEST_F(Watch, RoutingSwitchedOffIsTheReasonGiven) {
  routeIs("10.0.0.0/8", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 10.0.0.0/8");
  onLoop([this] {
    entityOf<RoutingInfo>(*vrfs->records().routing4, "default")->routingEnabledIs(false);
  });
  EXPECT_EQ(watching.line(), "10.0.0.1 failed routing-off");
}

TEST_F(Watch, ARefusedDefaultRouteIsTheReasonGiven) {
  routeIs("0.0.0.0/0", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  Proto::RegisterRequest request = registration("bgp", {"10.0.0.1"});
  request.mutable_policy()->set_refuse_default_route(true);
  ASSERT_TRUE(registerAll(*stub, request).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 failed default-route-only");
  request.mutable_policy()->set_refuse_default_route(false);
  ASSERT_TRUE(registerAll(*stub, request).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 0.0.0.0/0");
}

TEST_F(Watch, AnUnregisteredNexthopIsToldAsRemoved) {
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1", "10.0.0.2"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 failed no-route");
  EXPECT_EQ(watching.line(), "10.0.0.2 failed no-route");
  Proto::UnregisterRequest request;
  request.set_client("bgp");
  request.add_addresses(bytesOf("10.0.0.1"));
  request.add_addresses(bytesOf("10.9.9.9"));
  Proto::UnregisterResponse response;
  {
    grpc::ClientContext context;
    ASSERT_TRUE(stub->Unregister(&context, request, &response).ok());
  }
  EXPECT_EQ(response.removed(), 1U);
  EXPECT_EQ(watching.line(), "10.0.0.1 removed");
  request.clear_addresses();
  request.set_all(true);
  grpc::ClientContext context;
  ASSERT_TRUE(stub->Unregister(&context, request, &response).ok());
  EXPECT_EQ(response.removed(), 1U);
  EXPECT_EQ(watching.line(), "10.0.0.2 removed");
}

TEST_F(Watch, ASecondLiveStreamOfANameIsRefusedAndTheFirstGoesOn) {
  const auto stub = connect();
  const auto other = connect();
  Watching watching(*stub, watchOf("bgp"));
  watching.snapshot();
  Watching second(*other, watchOf("bgp"));
  const grpc::Status status = second.finish();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::ALREADY_EXISTS);
  EXPECT_EQ(badField(status), "client: the name bgp has a live stream");
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 failed no-route");
}

TEST_F(Watch, AfterAStreamHasEndedTheNameCanHaveAnother) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  {
    Watching first(*stub, watchOf("bgp"));
    first.snapshot();
  }
  // The end of the first is on its way to the daemon.
  for (;;) {
    Watching next(*stub, watchOf("bgp"));
    if (next.next()) {
      EXPECT_THAT(next.snapshot(), ElementsAre("10.0.0.1 failed no-route"));
      return;
    }
    ASSERT_EQ(next.finish().error_code(), grpc::StatusCode::ALREADY_EXISTS);
  }
}

TEST_F(Watch, AnObserverSeesAllClientsAndIsNone) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  ASSERT_TRUE(registerAll(*stub, registration("ospf", {"10.0.0.2"})).ok());
  onLoop([] {});
  Watching all(*stub, observing(""));
  Watching ospf(*stub, observing("ospf"));
  EXPECT_THAT(all.snapshot(),
              UnorderedElementsAre("10.0.0.1 failed no-route", "10.0.0.2 failed no-route"));
  EXPECT_THAT(ospf.snapshot(), ElementsAre("10.0.0.2 failed no-route"));
  Watching client(*stub, watchOf("ospf"));
  EXPECT_THAT(client.snapshot(), ElementsAre("10.0.0.2 failed no-route"));
}

TEST_F(Watch, AnObserverOfAnUnknownClientIsToldSo) {
  const auto stub = connect();
  Watching watching(*stub, observing("nobody"));
  const grpc::Status status = watching.finish();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::NOT_FOUND);
  EXPECT_EQ(badField(status), "client: there is no client nobody");
}

TEST_F(Watch, ASnapshotOnlyStreamEndsByItself) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  onLoop([] {});
  Proto::WatchRequest request = observing("");
  request.set_snapshot_only(true);
  Watching watching(*stub, request);
  EXPECT_THAT(watching.snapshot(), ElementsAre("10.0.0.1 failed no-route"));
  EXPECT_FALSE(watching.next().has_value());
  EXPECT_TRUE(watching.finish().ok());
}

TEST_F(Watch, EveryWriteIsToldWhenAskedFor) {
  const auto stub = connect();
  Proto::WatchRequest request = watchOf("bgp");
  request.set_every_write(true);
  Watching watching(*stub, request);
  watching.snapshot();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.status().epoch(), 1U);
  onLoop([this] {
    const auto status = entityOf<NexthopStatus>(*vrfs->records().statuses, "bgp")->vrf("default");
    const NexthopStatusEntry entry = *status->nexthop(*IpGenAddr::parse("10.0.0.1"));
    status->nexthopIs(entry);
    status->nexthopIs(entry);
  });
  EXPECT_EQ(watching.status().epoch(), 2U);
  EXPECT_EQ(watching.status().epoch(), 3U);
}

TEST_F(Watch, AVrfThatGoesAndComesBackIsTold) {
  routeIs("10.0.0.0/8", 12);
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 resolved 12 10.0.0.0/8");
  onLoop([this] { vrfs->vrfDel("default"); });
  EXPECT_EQ(watching.line(), "10.0.0.1 unknown vrf-gone");
  onLoop([this] { vrf = &vrfs->vrfIs("default", 254); });
  Watching observer(*stub, observing("bgp"));
  EXPECT_THAT(observer.snapshot(), ElementsAre("10.0.0.1 unknown resyncing"));
  onLoop([this] { vrfs->managerStart(*vrf); });
  EXPECT_EQ(watching.line(), "10.0.0.1 failed no-route");
}

TEST_F(Watch, AClientComesBackToAVrfThatHasGone) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  onLoop([this] { vrfs->vrfDel("default"); });
  Proto::WatchRequest request = watchOf("bgp");
  request.set_vrf("default");
  Watching watching(*stub, request);
  EXPECT_THAT(watching.snapshot(), ElementsAre("10.0.0.1 unknown vrf-gone"));
}

TEST_F(Watch, AVrfThatNobodyWaitsForIsRefused) {
  const auto stub = connect();
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  Proto::WatchRequest request = watchOf("bgp");
  request.set_vrf("red");
  Watching watching(*stub, request);
  EXPECT_EQ(badField(watching.finish()), "vrf: there is no VRF red");
}

TEST_F(Watch, ManyNexthopsComeInMessagesOfTenThousand) {
  const auto stub = connect();
  ASSERT_TRUE(registerMany(*stub, "bgp", 25'000));
  onLoop([] {});
  Watching watching(*stub, watchOf("bgp"));
  std::vector<int> sizes;
  for (auto message = watching.next(); !message->snapshot_end(); message = watching.next()) {
    sizes.push_back(message->nexthops_size());
  }
  EXPECT_THAT(sizes, ElementsAre(0, 10'000, 10'000, 5'000));
}

TEST_F(Watch, TheEndOfTheDaemonEndsStreamsAndSaysSo) {
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  watching.snapshot();
  onLoop([this] { service->stop(); });
  const grpc::Status status = watching.finish();
  EXPECT_EQ(status.error_code(), grpc::StatusCode::UNAVAILABLE);
  EXPECT_EQ(status.error_message(), "the daemon is ending");
}

}  // namespace
}  // namespace Routing::Host
