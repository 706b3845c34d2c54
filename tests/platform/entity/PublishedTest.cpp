#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <utility>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "tests/platform/entity/TestEntities.h"
#include "tests/support/Allocations.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using Support::EventLog;
using Support::Events;

// An entity with one collection of each kind, accessors as entities have them.
class Port : public Support::Mortal, public Publisher {
 public:
  static constexpr FieldId mtuField{1};
  static constexpr FieldId vlanField{2};
  static constexpr FieldId memberField{3};
  using Mtu = PublishedMap<mtuField, std::string, std::uint64_t>;
  using Member = PublishedMap<memberField, std::string, Ptr<Support::Mortal>>;
  using Vlan = PublishedSet<vlanField, std::string>;

  explicit Port(EventLog& log) : Mortal("port", log) {}

  Mtu mtu;
  Vlan vlan;
  Member member;
};

template <class Table>
std::string keysOf(const Table& table) {
  std::string text;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    text += cursor.key();
  }
  return text;
}

// Logs each change with the collection as it then stands, then does what it was told to.
class Follower : public Notifiee {
 public:
  Follower(const Port& port, EventLog& log) : port_(port), log_(log) { subscribe(port); }
  void onAttribute(FieldId field, const void* key) override {
    const auto& name = *static_cast<const std::string*>(key);
    if (field == Port::mtuField) {
      log_.add("mtu " + name + "=" + std::to_string(port_.mtu.value(name)) + " of " +
               keysOf(port_.mtu));
    } else if (field == Port::vlanField) {
      log_.add("vlan " + name + " of " + keysOf(port_.vlan));
    } else {
      log_.add("member " + name + " of " + keysOf(port_.member));
    }
    if (action) {
      action(name);
      log_.add("key " + name);
    }
  }

  std::function<void(std::string)> action;

 private:
  const Port& port_;
  EventLog& log_;
};

class PublishedCollection : public testing::Test {
 protected:
  EventLog log;
  Ptr<Port> port = makeEntity<Port>(log);
  Follower follower{*port, log};
};

// A value that stood there without a word would never be told: setting it again changes nothing.
TEST_F(PublishedCollection, WithoutMemoryForTheKeyThatIsPublishedNothingIsSet) {
  const std::string name = "a name that takes memory of its own";
  EXPECT_TRUE(port->mtu.set(*port, name, 1500));
  log.take();
  {
    const Support::FailingAllocation failing;
    EXPECT_THROW(port->mtu.set(*port, name, 9000), std::bad_alloc);
  }
  EXPECT_EQ(port->mtu.value(name), 1500U);
  EXPECT_TRUE(port->mtu.set(*port, name, 9000));
  EXPECT_EQ(log.take(), Events{"mtu " + name + "=9000 of " + name});
}

TEST_F(PublishedCollection, PutAlwaysPublishesWithTheNewStateInPlace) {
  EXPECT_TRUE(port->mtu.put(*port, {"a", 1}));
  EXPECT_FALSE(port->mtu.put(*port, {"a", 2}));
  EXPECT_FALSE(port->mtu.put(*port, {"a", 2}));
  EXPECT_EQ(log.take(), (Events{"mtu a=1 of a", "mtu a=2 of a", "mtu a=2 of a"}));
}

TEST_F(PublishedCollection, SetPublishesOnlyAChangeOfTheValue) {
  EXPECT_TRUE(port->mtu.set(*port, "a", 1));
  EXPECT_FALSE(port->mtu.set(*port, "a", 1));
  EXPECT_TRUE(port->mtu.set(*port, "b", 1));
  EXPECT_TRUE(port->mtu.set(*port, "a", 2));
  EXPECT_EQ(log.take(), (Events{"mtu a=1 of a", "mtu b=1 of ab", "mtu a=2 of ab"}));
}

TEST_F(PublishedCollection, SettingAnAbsentKeyToTheDefaultPublishesTheInsertion) {
  EXPECT_TRUE(port->mtu.set(*port, "a", 0));
  EXPECT_EQ(log.take(), (Events{"mtu a=0 of a"}));
  EXPECT_TRUE(port->mtu.has("a"));
}

TEST_F(PublishedCollection, ByAHashThatIsKnownItIsSetFoundAndRemovedAsWithoutIt) {
  const std::uint32_t hash = hashOf("a");
  EXPECT_EQ(port->mtu.find("a", hash), nullptr);
  EXPECT_TRUE(port->mtu.set(*port, "a", 1, hash));
  EXPECT_FALSE(port->mtu.set(*port, "a", 1, hash));
  EXPECT_TRUE(port->mtu.set(*port, "a", 2, hash));
  EXPECT_EQ(port->mtu.find("a", hash)->value, 2U);
  EXPECT_EQ(log.take(), (Events{"mtu a=1 of a", "mtu a=2 of a"}));
  EXPECT_EQ(port->mtu.remove(*port, "a", hash)->value, 2U);
  EXPECT_FALSE(port->mtu.remove(*port, "a", hash));
  EXPECT_EQ(log.take(), Events{"mtu a=0 of "});
}

TEST_F(PublishedCollection, HintsPublishNothing) {
  port->mtu.prefetchFar(hashOf("a"));
  port->mtu.prefetchNear(hashOf("a"));
  port->mtu.set(*port, "a", 1);
  log.take();
  port->mtu.prefetchFar(hashOf("a"));
  port->mtu.prefetchNear(hashOf("a"));
  EXPECT_EQ(log.take(), Events{});
  EXPECT_EQ(port->mtu.value("a"), 1U);
}

TEST_F(PublishedCollection, InsertPublishesOnlyAKeyThatWasAbsent) {
  EXPECT_TRUE(port->vlan.insert(*port, "a"));
  EXPECT_FALSE(port->vlan.insert(*port, "a"));
  EXPECT_TRUE(port->vlan.insert(*port, "b"));
  EXPECT_EQ(log.take(), (Events{"vlan a of a", "vlan b of ab"}));
}

TEST_F(PublishedCollection, RemovePublishesOnlyAKeyThatWasThere) {
  port->vlan.insert(*port, "a");
  port->vlan.insert(*port, "b");
  log.take();
  EXPECT_EQ(port->vlan.remove(*port, "a"), "a");
  EXPECT_FALSE(port->vlan.remove(*port, "a"));
  EXPECT_EQ(log.take(), Events{"vlan a of b"});
}

TEST_F(PublishedCollection, RemoveValueReturnsTheValueOrTheDefault) {
  port->mtu.set(*port, "a", 7);
  log.take();
  EXPECT_EQ(port->mtu.removeValue(*port, "a"), 7U);
  EXPECT_EQ(port->mtu.removeValue(*port, "a"), 0U);
  EXPECT_EQ(log.take(), Events{"mtu a=0 of "});
}

TEST_F(PublishedCollection, RemoveAllPublishesEachMemberAsItGoes) {
  for (const char* name : {"a", "b", "c"}) {
    port->vlan.insert(*port, name);
  }
  log.take();
  port->vlan.removeAll(*port);
  EXPECT_EQ(log.take(), (Events{"vlan a of bc", "vlan b of c", "vlan c of "}));
  port->vlan.removeAll(*port);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(PublishedCollection, RemoveAllClearsSilentlyWhenNobodySubscribes) {
  port->vlan.insert(*port, "a");
  port->vlan.insert(*port, "b");
  log.take();
  follower.unsubscribe();
  const auto before = Support::allocations();
  port->vlan.removeAll(*port);
  EXPECT_TRUE(port->vlan.empty());
  EXPECT_EQ(Support::allocations(), before);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(PublishedCollection, RemoveAllRemovesWhatItsNotifieesInsertMeanwhile) {
  port->vlan.insert(*port, "a");
  port->vlan.insert(*port, "b");
  log.take();
  follower.action = [this](const std::string& name) {
    if (name == "a" && !port->vlan.has("a")) {
      follower.action = nullptr;
      port->vlan.insert(*port, "c");
    }
  };
  port->vlan.removeAll(*port);
  EXPECT_EQ(log.take(),
            (Events{"vlan a of b", "vlan c of bc", "key a", "vlan b of c", "vlan c of "}));
}

TEST_F(PublishedCollection, RemoveAllPassesOverWhatItsNotifieesRemove) {
  for (const char* name : {"a", "b", "c"}) {
    port->vlan.insert(*port, name);
  }
  log.take();
  follower.action = [this](const std::string& name) {
    if (name == "a") {
      port->vlan.remove(*port, "b");
    }
  };
  port->vlan.removeAll(*port);
  EXPECT_EQ(log.take(),
            (Events{"vlan a of bc", "vlan b of c", "key b", "key a", "vlan c of ", "key c"}));
}

TEST_F(PublishedCollection, AnnouncePublishesWithoutAChange) {
  port->mtu.set(*port, "a", 1);
  log.take();
  port->mtu.announce(*port, "a");
  port->mtu.announce(*port, "absent");
  EXPECT_EQ(log.take(), (Events{"mtu a=1 of a", "mtu absent=0 of a"}));
}

TEST_F(PublishedCollection, TheKeyInAWalkMayBeRemovedDirectly) {
  port->vlan.insert(*port, "a long name that no string holds inside itself");
  log.take();
  const auto cursor = port->vlan.cursor();
  port->vlan.remove(*port, cursor.key());
  EXPECT_EQ(log.take(), Events{"vlan a long name that no string holds inside itself of "});
}

TEST_F(PublishedCollection, ARemovedEntityIsAliveDuringTheNotification) {
  port->member.set(*port, "a", makeEntity<Support::Mortal>("a", log));
  log.take();
  port->member.remove(*port, "a");
  EXPECT_EQ(log.take(), (Events{"member a of ", "a ends"}));
}

TEST_F(PublishedCollection, AReplacedEntityIsAliveDuringTheNotification) {
  port->member.put(*port, {"a", makeEntity<Support::Mortal>("first", log)});
  log.take();
  port->member.put(*port, {"a", makeEntity<Support::Mortal>("second", log)});
  EXPECT_EQ(log.take(), (Events{"member a of a", "first ends"}));
  port->member.set(*port, "a", makeEntity<Support::Mortal>("third", log));
  EXPECT_EQ(log.take(), (Events{"member a of a", "second ends"}));
}

TEST_F(PublishedCollection, AnExceptionOfANotifieeLeavesTheOperationAndTheChangeStands) {
  follower.action = [](const std::string&) { throw std::runtime_error("no"); };
  EXPECT_THROW(port->mtu.set(*port, "a", 1), std::runtime_error);
  EXPECT_EQ(port->mtu.value("a"), 1U);
  EXPECT_THROW(port->mtu.remove(*port, "a"), std::runtime_error);
  EXPECT_FALSE(port->mtu.has("a"));
}

// Each operation, in whose notification the entity is released by the last who held it.
struct Operation {
  const char* name;
  void (*run)(Port& port);
  Events events;
};

class PublishedRelease : public testing::TestWithParam<Operation> {};

TEST_P(PublishedRelease, TheEntityMayBeReleasedInsideTheNotification) {
  EventLog log;
  auto port = makeEntity<Port>(log);
  port->mtu.set(*port, "a", 1);
  port->mtu.set(*port, "b", 2);
  Follower follower(*port, log);
  follower.action = [&port](const std::string&) { port = nullptr; };
  GetParam().run(*port);
  EXPECT_EQ(log.take(), GetParam().events);
}

INSTANTIATE_TEST_SUITE_P(Operations,
                         PublishedRelease,
                         testing::Values(Operation{"Put",
                                                   [](Port& port) {
                                                     port.mtu.put(port, {"a", 3});
                                                   },
                                                   {"mtu a=3 of ab", "port ends", "key a"}},
                                         Operation{"Set",
                                                   [](Port& port) { port.mtu.set(port, "a", 3); },
                                                   {"mtu a=3 of ab", "port ends", "key a"}},
                                         Operation{"SetNew",
                                                   [](Port& port) { port.mtu.set(port, "c", 3); },
                                                   {"mtu c=3 of abc", "port ends", "key c"}},
                                         Operation{"Insert",
                                                   [](Port& port) {
                                                     port.mtu.insert(port, {"c", 3});
                                                   },
                                                   {"mtu c=3 of abc", "port ends", "key c"}},
                                         Operation{"Remove",
                                                   [](Port& port) { port.mtu.remove(port, "a"); },
                                                   {"mtu a=0 of b", "port ends", "key a"}},
                                         Operation{
                                             "RemoveValue",
                                             [](Port& port) { port.mtu.removeValue(port, "a"); },
                                             {"mtu a=0 of b", "port ends", "key a"}},
                                         Operation{"RemoveAll",
                                                   [](Port& port) { port.mtu.removeAll(port); },
                                                   {"mtu a=0 of b", "port ends", "key a"}},
                                         Operation{"Announce",
                                                   [](Port& port) { port.mtu.announce(port, "b"); },
                                                   {"mtu b=2 of ab", "port ends", "key b"}}),
                         [](const auto& operation) { return std::string(operation.param.name); });

// A member that held the last Ptr to its own collection's entity.
class Keeper : public Support::Mortal {
 public:
  explicit Keeper(EventLog& log) : Mortal("keeper", log) {}
  Ptr<Port> kept;
};

TEST(Published, TheEntityMayBeReleasedByTheMemberThatIsReplaced) {
  EventLog log;
  auto port = makeEntity<Port>(log);
  const Follower follower(*port, log);
  auto keeper = makeEntity<Keeper>(log);
  keeper->kept = port;
  port->member.put(*port, {"a", keeper});
  log.take();
  Port& inside = *port;
  port = nullptr;
  keeper = nullptr;
  inside.member.put(inside, {"a", makeEntity<Support::Mortal>("new", log)});
  EXPECT_EQ(log.take(), (Events{"member a of a", "new ends", "port ends", "keeper ends"}));
}

}  // namespace
}  // namespace Routing
