// What happens between the preparation of a nexthop and its turn: each is resolved by what holds
// when its turn comes, as if none had been prepared.

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tests/support/ResolverFixture.h"

namespace Routing::Support {
namespace {

class ReviewAhead : public ResolverFixture {
 protected:
  // Called inside the first write of that nexthop's status from now on.
  void atWriteOf(std::string_view text, std::function<void()> action) {
    const IpGenAddr which = addr(text);
    action_ = std::move(action);
    writes_.emplace(*status, [this, which](FieldId, const void* key) {
      if (action_ && keyOf<IpGenAddr>(key) == which) {
        std::exchange(action_, nullptr)();
      }
    });
  }
  void nexthops(std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts) {
      nexthop(text);
    }
  }
  // The route alone, without a word of the trie.
  void replaceRoute(std::string_view text, const Fib::Route& route) {
    world.routes4->routeIs(Prefix(prefix(text)), route);
  }

 private:
  std::function<void()> action_;
  std::optional<Watcher> writes_;
};

const Fib::Route route6{6, 0, 1, 0};
const Fib::Route route7{7, 0, 1, 0};

TEST_F(ReviewAhead, ARouteAddedInsideAWriteMatchesTheNexthopsThatFollow) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] { world.route("10.0.0.2/32", route7); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 7 by 10.0.0.2/32",
                    "status 10.0.0.3 resolved 6 by 10.0.0.0/8"}));
}

TEST_F(ReviewAhead, ARouteRemovedInsideAWriteMatchesNoneOfTheNexthopsThatFollow) {
  start();
  world.route("10.0.0.0/8", route6);
  world.route("10.0.0.2/31", route7);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] { world.routeDel("10.0.0.2/31"); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.3 resolved 6 by 10.0.0.0/8"}));
}

TEST_F(ReviewAhead, TheFirstRouteOfATrieAddedInsideAWriteMatchesTheNexthopsThatFollow) {
  start();
  nexthops({"10.0.0.1", "10.0.0.2"});
  atWriteOf("10.0.0.1", [&] { world.route("10.0.0.2/32", route7); });
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed", "status 10.0.0.2 resolved 7 by 10.0.0.2/32"}));
}

TEST_F(ReviewAhead, AsManyRoutesAddedAsRemovedInsideAWriteAreNoticed) {
  start();
  world.route("10.0.0.0/8", route6);
  world.route("10.0.0.2/32", route6);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] {
    world.routeDel("10.0.0.2/32");
    world.route("10.0.0.3/32", route7);
  });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.3 resolved 7 by 10.0.0.3/32"}));
}

TEST_F(ReviewAhead, ARouteReplacedInsideAWriteIsReadByTheNexthopsThatFollow) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2"});
  atWriteOf("10.0.0.1", [&] { replaceRoute("10.0.0.0/8", route7); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 7 by 10.0.0.0/8"}));
}

TEST_F(ReviewAhead, ANexthopUnconfiguredInsideAWriteIsRemovedInItsTurn) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  run();
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] { nexthopDel("10.0.0.2"); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 removed",
                    "status 10.0.0.3 resolved 6 by 10.0.0.0/8"}));
  EXPECT_FALSE(tracked("10.0.0.2"));
}

TEST_F(ReviewAhead, ANexthopConfiguredInsideAWriteIsResolvedInItsTurn) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2"});
  nexthopDel("10.0.0.2");
  atWriteOf("10.0.0.1", [&] { nexthop("10.0.0.2"); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8"}));
  EXPECT_TRUE(tracked("10.0.0.2"));
}

TEST_F(ReviewAhead, ANexthopThatLeavesTheQueueInsideAWriteIsPassedOver) {
  start();
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] { resolver->reviewNexthopDel(addr("10.0.0.2")); });
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed", "status 10.0.0.3 failed"}));
}

TEST_F(ReviewAhead, ANexthopQueuedAgainInsideAWriteComesLast) {
  start();
  world.route("10.0.0.2/32", route7);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] {
    resolver->reviewNexthopDel(addr("10.0.0.2"));
    resolver->reviewNexthopIs(addr("10.0.0.2"));
  });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 failed",
                    "status 10.0.0.3 failed",
                    "status 10.0.0.2 resolved 7 by 10.0.0.2/32"}));
}

TEST_F(ReviewAhead, AQueueEmptiedAndFilledInsideAWriteIsReviewedAsItIsThen) {
  start();
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.1", [&] {
    resolver->reviewNexthopDelAll();
    resolver->reviewNexthopIs(addr("10.0.0.3"));
    resolver->reviewNexthopIs(addr("10.0.0.9"));
    resolver->reviewNexthopIs(addr("10.0.0.2"));
  });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 failed", "status 10.0.0.3 failed", "status 10.0.0.2 failed"}));
  EXPECT_TRUE(queued().empty());
}

TEST_F(ReviewAhead, AReviewInsideAWriteLeavesNothingForTheOneOutside) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.2", [&] {
    world.route("10.0.0.3/32", route7);
    resolver->handleNexthopReview();
  });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.3 resolved 7 by 10.0.0.3/32"}));
  EXPECT_TRUE(queued().empty());
}

// The first two addresses of 10.0.0.0/8 that hash alike.
std::pair<std::string, std::string> addressesOfOneHash() {
  std::unordered_map<std::uint32_t, IpGenAddr> seen;
  for (std::uint32_t bits = 0x0a000000;; ++bits) {
    const IpGenAddr address = IpGenAddr::ipv4(bits);
    const auto [found, isNew] = seen.emplace(hashOf(address), address);
    if (!isNew) {
      return {found->second.stringValue(), address.stringValue()};
    }
  }
}

TEST_F(ReviewAhead, ANexthopThatHashesLikeAConfiguredOneIsRemovedAllTheSame) {
  const auto [stays, goes] = addressesOfOneHash();
  start();
  world.route("10.0.0.0/8", route6);
  // So many that they are looked up by hash.
  for (int i = 0; i < 20; ++i) {
    nexthop("11.0.0." + std::to_string(i));
  }
  nexthops({stays, goes});
  run();
  nexthopDel(goes);
  EXPECT_EQ(run(), (Events{"status " + goes + " removed"}));
  EXPECT_FALSE(tracked(goes));
  nexthop(stays);
  EXPECT_EQ(run(), (Events{"status " + stays + " resolved 6 by 10.0.0.0/8"}));
}

TEST_F(ReviewAhead, ALongQueueWithHolesIsReviewedInItsOrder) {
  start();
  std::vector<std::string> hosts(200);
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    hosts[i] = "10.0.0." + std::to_string(i);
    nexthop(hosts[i]);
    if (i % 3 == 0) {
      world.route(hosts[i] + "/32", {i + 1, 0, 1, 0});
    }
  }
  Events expected;
  const auto isHole = [](std::size_t i) { return i % 7 == 6 || (i >= 30 && i < 90); };
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    if (!isHole(i)) {
      expected.push_back("status " + hosts[i] +
                         (i % 3 != 0
                              ? " failed"
                              : " resolved " + std::to_string(i + 1) + " by " + hosts[i] + "/32"));
    }
  }
  // Some are holes before the review, some come about inside it.
  atWriteOf(hosts[5], [&] {
    for (std::size_t i = 20; i < hosts.size(); ++i) {
      if (isHole(i)) {
        resolver->reviewNexthopDel(addr(hosts[i]));
      }
    }
  });
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    if (isHole(i) && (i < 20 || i % 2 == 0)) {
      resolver->reviewNexthopDel(addr(hosts[i]));
    }
  }
  EXPECT_EQ(run(), expected);
  EXPECT_EQ(resolver->reviewNexthopTask()->taskWorkCount(), expected.size());
}

TEST_F(ReviewAhead, NexthopsOfBothFamiliesFindTheirOwnRoutes) {
  start();
  world.route("10.0.0.0/8", route6);
  world.route("2001:db8::/32", route7);
  nexthops({"10.0.0.1", "2001:db8::1", "10.0.0.2", "2001:db8::2", "11.0.0.1", "2002::1"});
  atWriteOf("10.0.0.1", [&] { world.route("2001:db8::2/127", {8, 0, 1, 0}); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 2001:db8::1 resolved 7 by 2001:db8::/32",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 2001:db8::2 resolved 8 by 2001:db8::2/127",
                    "status 11.0.0.1 failed",
                    "status 2002::1 failed"}));
}

TEST_F(ReviewAhead, TheUnsetAddressBetweenNexthopsIsUnconfiguredLikeEver) {
  start();
  world.route("10.0.0.0/8", route6);
  world.route("::/0", route7);
  nexthops({"10.0.0.1", "::"});
  config->nexthopIs({IpGenAddr()});
  nexthops({"10.0.0.2", "0.0.0.0"});
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status :: resolved 7 by ::/0",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8",
                    "status 0.0.0.0 failed"}));
  EXPECT_EQ(status->nexthop().size(), 4U);
  EXPECT_EQ(resolver->nexthopTrie6()->routeCount(), 1U);
}

TEST_F(ReviewAhead, TriesOfNexthopsReplacedInsideAWriteTrackTheNexthopsThatFollow) {
  start();
  nexthops({"10.0.0.1", "10.0.0.2", "2001:db8::1"});
  atWriteOf("10.0.0.1", [&] {
    resolver->nexthopTrie4Del();
    resolver->nexthopTrie6Del();
    resolver->nexthopTrie4Is("again", AddressFamily::ipv4);
    resolver->nexthopTrie6Is("again", AddressFamily::ipv6);
  });
  run();
  EXPECT_FALSE(tracked("10.0.0.1"));
  EXPECT_TRUE(tracked("10.0.0.2"));
  EXPECT_TRUE(tracked("2001:db8::1"));
}

TEST_F(ReviewAhead, ATrieOfNexthopsThatIsNotThereIsNotMissedByTheOtherFamily) {
  start();
  resolver->nexthopTrie4Del();
  nexthop("2001:db8::1");
  EXPECT_EQ(run(), (Events{"status 2001:db8::1 failed"}));
  resolver->nexthopTrie4Is("", AddressFamily::ipv4);
  resolver->nexthopTrie6Del();
  nexthop("10.0.0.1");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed"}));
}

TEST_F(ReviewAhead, AResolverReleasedInsideAWriteFinishesItsRun) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  atWriteOf("10.0.0.2", [&] {
    resolver = nullptr;
    config->nexthopDel(addr("10.0.0.3"));
  });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 6 by 10.0.0.0/8"}));
  EXPECT_TRUE(references->fecIdRef().empty());
  EXPECT_FALSE(config->hasSubscribers());
}

TEST_F(ReviewAhead, RoutingSwitchedOffInsideAWriteFailsTheNexthopsThatFollow) {
  start();
  world.route("10.0.0.0/8", route6);
  nexthops({"10.0.0.1", "10.0.0.2"});
  atWriteOf("10.0.0.1", [&] { world.routing4->routingEnabledIs(false); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8",
                    "status 10.0.0.1 failed",
                    "status 10.0.0.2 failed"}));
}

TEST_F(ReviewAhead, ACorruptRouteIsToldOnceForEachNexthopInItsTurn) {
  for (const auto kind : {NexthopStatusFecIdType::fibFecId, NexthopStatusFecIdType::resolverId}) {
    config = nullptr;
    start(kind);
    world.route("10.0.0.0/8", route6);
    world.routes4->corruptionHookIs([&](const String&) { log.add("corrupt"); });
    world.routes4->corruptIs(Prefix(prefix("10.0.0.0/8")));
    nexthops({"10.0.0.1", "10.0.0.2"});
    const Events expected{"corrupt", "status 10.0.0.1 failed", "corrupt", "status 10.0.0.2 failed"};
    EXPECT_EQ(run(), expected);
    world.routing4->routingEnabledIs(false);
    log.take();
    nexthops({"10.0.0.1", "10.0.0.2"});
    EXPECT_EQ(run(), expected);
    world.routing4->routingEnabledIs(true);
    resolver = nullptr;
    run();
  }
}

TEST_F(ReviewAhead, WithABudgetOfOneARunReadsWhatChangedSinceTheLast) {
  start();
  world.route("10.0.0.0/8", route6);
  world.scheduler->workBudgetIs(1);
  nexthops({"10.0.0.1", "10.0.0.2", "10.0.0.3"});
  EXPECT_EQ(step(), (Events{"status 10.0.0.1 resolved 6 by 10.0.0.0/8"}));
  replaceRoute("10.0.0.0/8", route7);
  EXPECT_EQ(step(), (Events{"status 10.0.0.2 resolved 7 by 10.0.0.0/8"}));
  world.trie4->routeDel(prefix("10.0.0.0/8"));
  EXPECT_EQ(step().front(), "status 10.0.0.3 failed");
}

class ReviewAheadReferences : public ReviewAhead {
 protected:
  // Two nexthops of c1 with a reference to FEC 6, queued again.
  void SetUp() override {
    start(NexthopStatusFecIdType::resolverId);
    world.route("10.0.0.0/8", route6);
    // Another client of the VRF has both FECs in use.
    references->addReference(6, "c2", addr("10.0.0.6"));
    references->addReference(7, "c2", addr("10.0.0.7"));
    map->fecIdToResolverIdMapIs(6, ResolverId(60));
    map->fecIdToResolverIdMapIs(7, ResolverId(70));
    nexthops({"10.0.0.1", "10.0.0.2"});
    EXPECT_EQ(run(), resolvedBy60());
    nexthops({"10.0.0.1", "10.0.0.2"});
  }
  static Events resolvedBy60() {
    return {"status 10.0.0.1 resolved 60 by 10.0.0.0/8",
            "status 10.0.0.2 resolved 60 by 10.0.0.0/8"};
  }
  bool hasFec7() const { return static_cast<bool>(references->fecIdRef(7)->clientRef("c1")); }
};

TEST_F(ReviewAheadReferences, ThoseThatMoveInsideAWriteMoveBackInTheirTurn) {
  atWriteOf("10.0.0.1", [&] { references->addReference(7, "c1", addr("10.0.0.2")); });
  EXPECT_EQ(run(), resolvedBy60());
  EXPECT_EQ(referenced("10.0.0.2"), 6U);
  EXPECT_FALSE(hasFec7());
}

TEST_F(ReviewAheadReferences, ThoseWhoseRecordGoesInsideAWriteAreMadeAgain) {
  atWriteOf("10.0.0.1", [&] { references->deleteReferenceForFecId(6); });
  EXPECT_EQ(run(), resolvedBy60());
  EXPECT_EQ(referenced("10.0.0.1"), 0U);
  EXPECT_EQ(referenced("10.0.0.2"), 6U);
}

TEST_F(ReviewAheadReferences, ARouteReplacedInsideAWriteGetsThem) {
  atWriteOf("10.0.0.1", [&] { replaceRoute("10.0.0.0/8", route7); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 60 by 10.0.0.0/8",
                    "status 10.0.0.2 resolved 70 by 10.0.0.0/8"}));
  EXPECT_EQ(referenced("10.0.0.1"), 6U);
  EXPECT_EQ(referenced("10.0.0.2"), 7U);
}

TEST_F(ReviewAheadReferences, OfANexthopUnconfiguredInsideAWriteGoInItsTurn) {
  atWriteOf("10.0.0.1", [&] { nexthopDel("10.0.0.2"); });
  EXPECT_EQ(run(),
            (Events{"status 10.0.0.1 resolved 60 by 10.0.0.0/8", "status 10.0.0.2 removed"}));
  EXPECT_EQ(referenced("10.0.0.1"), 6U);
  EXPECT_EQ(referenced("10.0.0.2"), 0U);
}

TEST_F(ReviewAheadReferences, OfNexthopsUnconfiguredBeforeTheReviewGo) {
  nexthopDel("10.0.0.1");
  nexthopDel("10.0.0.2");
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 removed", "status 10.0.0.2 removed"}));
  EXPECT_EQ(referenced("10.0.0.1"), 0U);
  EXPECT_EQ(referenced("10.0.0.2"), 0U);
  EXPECT_EQ(references->clientNexthopToFecId().size(), 2U);
}

// Tells ahead of every route what is no longer so.
class OutdatedHints final : public Fib::RouteStatus {
 public:
  Fib::Route route(const Prefix& prefix) const override { return real->route(prefix); }
  void doCorruptionDetected(const String& message) const override {
    real->doCorruptionDetected(message);
  }
  Fib::Route routeHint(const Prefix& /*prefix*/) const noexcept override { return route7; }
  const TypeData& typeData() const override {
    static const TypeData type("OutdatedHints");
    return type;
  }

  Ptr<Fib::MemoryRouteStatus> real;
};

TEST_F(ReviewAheadReferences, WhatATableTellsAheadIsNeverTakenForItsRoute) {
  resolver = nullptr;
  const auto table = makeEntity<OutdatedHints>();
  table->real = world.routes4;
  resolver = nexthopResolverSmFactory("v1",
                                      "c1",
                                      config,
                                      status,
                                      world.trie4,
                                      nullptr,
                                      table,
                                      nullptr,
                                      world.routing4,
                                      nullptr,
                                      references,
                                      map,
                                      world.scheduler);
  EXPECT_EQ(run(), resolvedBy60());
  EXPECT_EQ(referenced("10.0.0.1"), 6U);
  EXPECT_FALSE(hasFec7());
}

TEST_F(ReviewAhead, WithoutAnIndexOfReferencesAClientOfResolverIdentifiersStillFailsNexthops) {
  configure(NexthopStatusFecIdType::resolverId);
  nexthops({"10.0.0.1", "2001:db8::1"});
  references = nullptr;
  map = nullptr;
  start();
  EXPECT_EQ(run(), (Events{"status 10.0.0.1 failed", "status 2001:db8::1 failed"}));
  // There is nothing that its end could remove.
  config->nexthopDelAll();
}

}  // namespace
}  // namespace Routing::Support
