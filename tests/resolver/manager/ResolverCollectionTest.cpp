#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

// The arguments of resolverSmIs, as they are for a resolver that is there.
struct ResolverArguments {
  explicit ResolverArguments(const NexthopResolverSm& resolver)
      : vrfName(resolver.vrfName()),
        name(resolver.name()),
        nexthopVrfConfig(resolver.nexthopVrfConfig()),
        nexthopVrfStatus(resolver.nexthopVrfStatus()),
        trie4(resolver.trie4()),
        trie6(resolver.trie6()),
        routeStatus(resolver.routeStatus()),
        route6Status(resolver.route6Status()),
        vrfRoutingInfo(resolver.vrfRoutingInfo()),
        vrfRouting6Info(resolver.vrfRouting6Info()),
        fecIdToClientHop(resolver.fecIdToClientHop()),
        fecIdToResolverId(resolver.fecIdToResolverId()),
        scheduler(resolver.scheduler()) {}

  Ptr<NexthopResolverSm> resolverIn(NexthopResolverManagerSm& manager) const {
    return manager.resolverSmIs(vrfName,
                                name,
                                nexthopVrfConfig,
                                nexthopVrfStatus,
                                trie4,
                                trie6,
                                routeStatus,
                                route6Status,
                                vrfRoutingInfo,
                                vrfRouting6Info,
                                fecIdToClientHop,
                                fecIdToResolverId,
                                scheduler);
  }

  VrfName vrfName;
  String name;
  Ptr<const NexthopVrfConfig> nexthopVrfConfig;
  Ptr<NexthopVrfStatus> nexthopVrfStatus;
  Ptr<const TrieGen> trie4;
  Ptr<const TrieGen> trie6;
  Ptr<const Fib::RouteStatus> routeStatus;
  Ptr<const Fib6::RouteStatus> route6Status;
  Ptr<const RoutingInfo> vrfRoutingInfo;
  Ptr<const Routing6::RoutingInfo> vrfRouting6Info;
  Ptr<FecIdToClientHop> fecIdToClientHop;
  Ptr<const FecIdToResolverId> fecIdToResolverId;
  Ptr<TaskScheduler> scheduler;
};

struct Difference {
  const char* attribute;
  // Another object of the kind.
  std::function<void(ResolverArguments&)> toAnother;
  // Null where there was an object.
  std::function<void(ResolverArguments&)> toNull;
};

template <auto member>
void setNull(ResolverArguments& arguments) {
  arguments.*member = nullptr;
}

constexpr auto kind = NexthopStatusFecIdType::fibFecId;

// In the order in which they are compared.
const std::vector<Difference>& differences() {
  using A = ResolverArguments;
  static const std::vector<Difference> rows{
      {"vrfName", [](A& a) { a.vrfName = "v2"; }, [](A& a) { a.vrfName = ""; }},
      {"nexthopVrfConfig",
       [](A& a) { a.nexthopVrfConfig = makeEntity<NexthopVrfConfig>("v1", kind); },
       setNull<&A::nexthopVrfConfig>},
      {"nexthopVrfStatus",
       [](A& a) { a.nexthopVrfStatus = makeEntity<NexthopVrfStatus>("v1", kind); },
       setNull<&A::nexthopVrfStatus>},
      {"trie4",
       [](A& a) { a.trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4); },
       setNull<&A::trie4>},
      {"trie6",
       [](A& a) { a.trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6); },
       setNull<&A::trie6>},
      {"routeStatus",
       [](A& a) { a.routeStatus = makeEntity<Fib::MemoryRouteStatus>(); },
       setNull<&A::routeStatus>},
      {"route6Status",
       [](A& a) { a.route6Status = makeEntity<Fib6::MemoryRouteStatus>(); },
       setNull<&A::route6Status>},
      {"vrfRoutingInfo",
       [](A& a) { a.vrfRoutingInfo = makeEntity<RoutingInfo>(true); },
       setNull<&A::vrfRoutingInfo>},
      {"vrfRouting6Info",
       [](A& a) { a.vrfRouting6Info = makeEntity<Routing6::RoutingInfo>(true); },
       setNull<&A::vrfRouting6Info>},
      {"fecIdToClientHop",
       [](A& a) { a.fecIdToClientHop = fecIdToClientHopFactory("v1"); },
       setNull<&A::fecIdToClientHop>},
      {"fecIdToResolverId",
       [](A& a) { a.fecIdToResolverId = fecIdToResolverIdFactory("v1"); },
       setNull<&A::fecIdToResolverId>},
      {"scheduler",
       [](A& a) { a.scheduler = makeEntity<TaskScheduler>(makeEntity<VirtualClock>()); },
       setNull<&A::scheduler>}};
  return rows;
}

class ResolverCollection : public ManagerFixture {
 protected:
  ResolverCollection() {
    client("c1");
    startQuietly();
  }
  // The attribute that the error names; the manager's resolver stays.
  std::string errorOf(const ResolverArguments& arguments) {
    const Ptr<NexthopResolverSm> before = resolver("c1");
    try {
      arguments.resolverIn(*manager);
    } catch (const ReinstantiationError& error) {
      EXPECT_EQ(error.type(), "Routing::NexthopResolverSm");
      EXPECT_EQ(resolver("c1"), before);
      return error.attribute();
    }
    return "none";
  }
  // A configuration that a resolver cannot go on with.
  Ptr<NexthopConfig> replacement() const {
    Ptr<NexthopConfig> record = makeEntity<NexthopConfig>("c1");
    record->vrfIs("v1", fibFecId);
    return record;
  }
  static std::string terminatedFor(const std::string& attribute) {
    return "Routing::NexthopResolverSm: re-instantiated with a different " + attribute;
  }
};

TEST_F(ResolverCollection, TheSameArgumentsReturnTheResolverThatIsThere) {
  const Ptr<NexthopResolverSm> before = resolver("c1");
  EXPECT_EQ(ResolverArguments(*before).resolverIn(*manager), before);
  EXPECT_EQ(manager->resolverSm().size(), 1U);
}

TEST_F(ResolverCollection, EachOfTheTwelveComparedArgumentsIsNamedWhenItDiffers) {
  for (const Difference& difference : differences()) {
    ResolverArguments another(*resolver("c1"));
    difference.toAnother(another);
    EXPECT_EQ(errorOf(another), difference.attribute);
    ResolverArguments null(*resolver("c1"));
    difference.toNull(null);
    EXPECT_EQ(errorOf(null), difference.attribute);
  }
  EXPECT_EQ(differences().size(), 12U);
}

TEST_F(ResolverCollection, TheFirstOfSeveralDifferencesIsNamed) {
  for (std::size_t first = 0; first < differences().size(); ++first) {
    ResolverArguments arguments(*resolver("c1"));
    for (std::size_t i = first; i < differences().size(); ++i) {
      differences()[i].toAnother(arguments);
    }
    EXPECT_EQ(errorOf(arguments), differences()[first].attribute);
  }
}

TEST_F(ResolverCollection, NullIsTheSameAsNull) {
  ResolverArguments arguments(*resolver("c1"));
  arguments.name = "c2";
  arguments.vrfRoutingInfo = nullptr;
  arguments.vrfRouting6Info = nullptr;
  const Ptr<NexthopResolverSm> made = arguments.resolverIn(*manager);
  EXPECT_EQ(arguments.resolverIn(*manager), made);
}

TEST_F(ResolverCollection, ANewResolverStandsUnderItsNameSwitchedOn) {
  ResolverArguments arguments(*resolver("c1"));
  arguments.name = "c2";
  const Ptr<NexthopResolverSm> made = arguments.resolverIn(*manager);
  EXPECT_EQ(made->name(), "c2");
  EXPECT_TRUE(made->hasNotificationActive());
  EXPECT_EQ(resolver("c2"), made);
}

TEST_F(ResolverCollection, DelReturnsTheResolverAndOfNoneNull) {
  const Ptr<NexthopResolverSm> before = resolver("c1");
  EXPECT_EQ(manager->resolverSmDel("c1"), before);
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_FALSE(manager->resolverSmDel("c1"));
}

TEST_F(ResolverCollection, DelAllDestroysEveryResolver) {
  client("c2");
  client("c3");
  const TypeData& type = resolver("c1")->typeData();
  EXPECT_EQ(type.live(), 3U);
  manager->resolverSmDelAll();
  EXPECT_TRUE(manager->resolverSm().empty());
  EXPECT_EQ(type.live(), 0U);
}

TEST_F(ResolverCollection, AReplacedConfigurationRecordEndsTheProcess) {
  EXPECT_DEATH(world.configDir->entityIs("c1", replacement()), terminatedFor("nexthopVrfConfig"));
}

TEST_F(ResolverCollection, AReplacedStatusRecordEndsTheProcess) {
  EXPECT_DEATH(world.statusDir->entityIs("c1", makeEntity<NexthopStatus>("c1")),
               terminatedFor("nexthopVrfStatus"));
}

TEST_F(ResolverCollection, AReplacedStatusRecordOfACellEndsTheProcess) {
  world.cellStatusDir->entityIs("c2", makeEntity<NexthopStatus>("c2"));
  world.config("c2", fibFecId);
  EXPECT_DEATH(world.cellStatusDir->entityIs("c2", makeEntity<NexthopStatus>("c2")),
               terminatedFor("nexthopVrfStatus"));
}

TEST_F(ResolverCollection, AReplacedVrfConfigurationRaisesThroughTheWatcher) {
  const Ptr<NexthopResolverSm> before = resolver("c1");
  EXPECT_THROW(config("c1")->vrfIs(makeEntity<NexthopVrfConfig>("v1", fibFecId)),
               ReinstantiationError);
  EXPECT_EQ(resolver("c1"), before);
}

TEST_F(ResolverCollection, AReplacedVrfStatusRaisesThroughTheWatcher) {
  EXPECT_THROW(world.status("c1")->vrfIs(makeEntity<NexthopVrfStatus>("v1", fibFecId)),
               ReinstantiationError);
}

TEST_F(ResolverCollection, AVrfStatusRemovedUnderItsResolverRaisesThroughTheWatcher) {
  EXPECT_THROW(world.status("c1")->vrfDel("v1"), ReinstantiationError);
}

TEST_F(ResolverCollection, ChangedRoutingInformationRaisesFromTheOperationCalledByName) {
  const std::vector<std::string> name{"c1"};
  world.routing4Dir->entityIs("v1", makeEntity<RoutingInfo>(true));
  try {
    callOperation(*manager, "handleClientEntry", name);
    FAIL() << "nothing was raised";
  } catch (const ReinstantiationError& error) {
    EXPECT_EQ(error.attribute(), "vrfRoutingInfo");
  }
  world.routing4Dir->entityIs("v1", world.routing4);
  world.routing6Dir->entityDel("v1");
  try {
    callOperation(*manager, "handleClientEntry", name);
    FAIL() << "nothing was raised";
  } catch (const ReinstantiationError& error) {
    EXPECT_EQ(error.attribute(), "vrfRouting6Info");
  }
}

TEST_F(ResolverCollection, RoutingInformationThatAppearedCountsAsChanged) {
  world.routing4Dir->entityDel("v1");
  client("c2");
  world.routing4Dir->entityIs("v1", world.routing4);
  EXPECT_THROW(manager->handleClientEntry("c2"), ReinstantiationError);
}

TEST_F(ResolverCollection, ARemovalBeforeTheReplacementIsNoError) {
  world.configDir->entityDel("c1");
  world.configDir->entityIs("c1", replacement());
  EXPECT_EQ(resolver("c1")->nexthopVrfConfig(), config("c1")->vrf("v1"));
}

}  // namespace
}  // namespace Routing::Support
