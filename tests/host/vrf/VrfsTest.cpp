// The library's objects of a VRF, with real managers.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/vrf/Vrfs.h"
#include "platform/task/Clock.h"

namespace Routing::Host {
namespace {

class VrfsTest : public testing::Test {
 protected:
  void run() const {
    while (scheduler->runTurn()) {
    }
  }
  void clientIs(const VrfName& vrf, const char* addr) const {
    const auto config = makeEntity<NexthopConfig>("bgp");
    config->vrfIs(vrf, NexthopStatusFecIdType::resolverId)->nexthopIs({*IpGenAddr::parse(addr)});
    vrfs.records().configs->entityIs("bgp", config);
    vrfs.records().statuses->entityIs("bgp", makeEntity<NexthopStatus>("bgp"));
  }
  static void routeIs(const Vrf& vrf, const char* text, FecId fecId) {
    FibGen::Fec fec(fecId);
    fec.viaIs({IntfId{2}, 1, *IpGenAddr::parse("10.0.0.1"), {}});
    vrf.fecs()->fecIs(fec);
    const IpGenPrefix prefix = *IpGenPrefix::parse(text);
    vrf.routes4()->routeIs(Prefix(prefix), Fib::Route(fecId, 0, 1, 0));
    vrf.trie4()->routeIs(prefix, true);
  }
  Ptr<NexthopVrfStatus> statusOf(const VrfName& vrf) const {
    return entityOf<NexthopStatus>(*vrfs.records().statuses, "bgp")->vrf(vrf);
  }

  Ptr<VirtualClock> clock = makeEntity<VirtualClock>();
  Ptr<TaskScheduler> scheduler = makeEntity<TaskScheduler>(clock);
  Vrfs vrfs{scheduler};
};

TEST_F(VrfsTest, ANexthopIsResolvedOnceTheManagerStarts) {
  Vrf& vrf = vrfs.vrfIs("default", 254);
  clientIs("default", "10.1.2.3");
  routeIs(vrf, "10.0.0.0/8", 4);
  run();
  EXPECT_FALSE(vrf.managed());
  EXPECT_EQ(statusOf("default"), nullptr);

  vrfs.managerStart(vrf);
  run();

  const NexthopStatusEntry* entry = statusOf("default")->nexthop(*IpGenAddr::parse("10.1.2.3"));
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->resolutionState, NexthopResolutionState::resolved);
  EXPECT_EQ(vrf.forwarding()->vrf("default")->nexthopResolverIdVia().size(), 1U);
}

TEST_F(VrfsTest, RemovingAVrfKeepsWhatItPublished) {
  Vrf& vrf = vrfs.vrfIs("default", 254);
  clientIs("default", "10.1.2.3");
  routeIs(vrf, "10.0.0.0/8", 4);
  vrfs.managerStart(vrf);
  run();
  const Ptr<NexthopResolverForwardingStatus> forwarding = vrf.forwarding();
  const Ptr<NexthopResolverFibViaContext> context = vrf.context();

  vrfs.vrfDel("default");

  EXPECT_EQ(forwarding->vrf("default")->nexthopResolverIdVia().size(), 1U);
  EXPECT_GT(context->firstUnAllocatedNexthopResolverId(), 0U);
  EXPECT_EQ(vrfs.vrf("default"), nullptr);
  EXPECT_EQ(vrfs.records().routing4->entityPtr("default"), nullptr);
  EXPECT_EQ(vrfs.records().routing6->entityPtr("default"), nullptr);
}

TEST_F(VrfsTest, AVrfIsFoundByItsNameAndByItsTable) {
  Vrf& red = vrfs.vrfIs("red", 10);
  Vrf& blue = vrfs.vrfIs("blue", 1000);
  EXPECT_EQ(vrfs.vrf("red"), &red);
  EXPECT_EQ(vrfs.vrfOfTable(1000), &blue);
  EXPECT_EQ(vrfs.vrf("green"), nullptr);
  EXPECT_EQ(vrfs.vrfOfTable(11), nullptr);
  EXPECT_EQ(&vrfs.vrfIs("red", 10), &red);
}

TEST_F(VrfsTest, ANameOrATableIsNeverSharedByTwoVrfs) {
  vrfs.vrfIs("red", 10);
  EXPECT_THROW(vrfs.vrfIs("red", 11), VrfError);
  EXPECT_THROW(vrfs.vrfIs("blue", 10), VrfError);
  EXPECT_EQ(vrfs.all().size(), 1U);
}

TEST_F(VrfsTest, ListenersHearOfAnAddedVrfAndOfOneThatGoes) {
  std::vector<std::string> events;
  vrfs.listenerIs([&](Vrf& vrf, bool added) {
    // Its routing information is there at both moments.
    EXPECT_NE(vrfs.records().routing4->entityPtr(vrf.name()), nullptr);
    events.push_back((added ? "added " : "goes ") + vrf.name());
  });
  vrfs.vrfIs("red", 10);
  vrfs.vrfIs("blue", 20);
  vrfs.vrfDel("red");
  vrfs.vrfDel("red");
  EXPECT_EQ(events, (std::vector<std::string>{"added red", "added blue", "goes red"}));
}

}  // namespace
}  // namespace Routing::Host
