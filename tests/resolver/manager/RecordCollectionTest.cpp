// The records of clients and their watchers: what holds for configurations and statuses alike.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/entity/Exceptions.h"
#include "platform/trace/TraceSink.h"
#include "tests/support/ManagerFixture.h"

namespace Routing::Support {
namespace {

using Manager = NexthopResolverManagerSm;

struct Configs {
  using Record = NexthopConfig;
  using Watch = NestedSm_NexthopConfig;
  static constexpr const char* attribute = "nexthopConfig";
  static constexpr const char* typeName = "Routing::NestedSm_NexthopConfig";
  static const auto& ptrs(const Manager& m) { return m.nexthopConfigPtr(); }
  static const auto& watchers(const Manager& m) { return m.nexthopConfig(); }
  static void ptrIs(Manager& m, const String& name, const Ptr<Record>& record) {
    m.nexthopConfigPtrIs(name, record);
  }
  static auto ptrDel(Manager& m, const String& name) { return m.nexthopConfigPtrDel(name); }
  static void ptrDelAll(Manager& m) { m.nexthopConfigPtrDelAll(); }
  static void watchIs(Manager& m, const Ptr<Record>& record) { m.nexthopConfigIs(record); }
  static auto watchDel(Manager& m, const String& name) { return m.nexthopConfigDel(name); }
  static void watchDelAll(Manager& m) { m.nexthopConfigDelAll(); }
};

struct Statuses {
  using Record = NexthopStatus;
  using Watch = NestedSm_NexthopStatus;
  static constexpr const char* attribute = "nexthopStatus";
  static constexpr const char* typeName = "Routing::NestedSm_NexthopStatus";
  static const auto& ptrs(const Manager& m) { return m.nexthopStatusPtr(); }
  static const auto& watchers(const Manager& m) { return m.nexthopStatus(); }
  static void ptrIs(Manager& m, const String& name, const Ptr<Record>& record) {
    m.nexthopStatusPtrIs(name, record);
  }
  static auto ptrDel(Manager& m, const String& name) { return m.nexthopStatusPtrDel(name); }
  static void ptrDelAll(Manager& m) { m.nexthopStatusPtrDelAll(); }
  static void watchIs(Manager& m, const Ptr<Record>& record) { m.nexthopStatusIs(record); }
  static auto watchDel(Manager& m, const String& name) { return m.nexthopStatusDel(name); }
  static void watchDelAll(Manager& m) { m.nexthopStatusDelAll(); }
};

struct TwinName {
  template <class Twin>
  static std::string GetName(int /*index*/) {  // NOLINT(readability-identifier-naming): gtest's
    return Twin::attribute;
  }
};

template <class Twin>
class RecordCollection : public ManagerFixture {
 protected:
  using Record = typename Twin::Record;
  using Watch = typename Twin::Watch;

  RecordCollection() { start(); }
  Ptr<Watch> watcher(const String& name) const { return memberOf(Twin::watchers(*manager), name); }
  Ptr<Record> record(const String& name = "c1") const { return makeEntity<Record>(name); }
  // A change of the record, and what the manager made of it.
  Events change(const Ptr<Record>& record) {
    log.take();
    record->vrfIs("v2", fibFecId);
    return log.take();
  }
  const Events noticed{managerLine(8, "handleClient c1 vrf v2"),
                       managerLine(8, "handleClient c1 ignore update for vrf v2")};
  const Events evaluated{managerLine(8, "handleClientEntry c1"),
                         managerLine(8, "handleClient c1 vrf v1")};
};

using Twins = testing::Types<Configs, Statuses>;
TYPED_TEST_SUITE(RecordCollection, Twins, TwinName);

TYPED_TEST(RecordCollection, ARecordThatIsSetIsWatchedAndItsClientEvaluated) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  EXPECT_EQ(this->log.take(), this->evaluated);
  EXPECT_EQ(memberOf(TypeParam::ptrs(*this->manager), "c1"), record);
  ASSERT_TRUE(this->watcher("c1"));
  EXPECT_EQ(this->watcher("c1")->notifier(), record);
  EXPECT_TRUE(this->watcher("c1")->hasOwner());
  EXPECT_EQ(this->change(record), this->noticed);
}

TYPED_TEST(RecordCollection, TheSameRecordAgainIsNotEvaluated) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  const auto watcher = this->watcher("c1");
  this->log.take();
  TypeParam::ptrIs(*this->manager, "c1", record);
  TypeParam::watchIs(*this->manager, record);
  EXPECT_EQ(this->log.take(), Events{});
  EXPECT_EQ(this->watcher("c1"), watcher);
  EXPECT_EQ(this->change(record), this->noticed);
}

TYPED_TEST(RecordCollection, AnotherRecordRePointsTheWatcherAndEvaluatesTheClient) {
  const auto before = this->record();
  const auto after = this->record();
  TypeParam::ptrIs(*this->manager, "c1", before);
  const auto watcher = this->watcher("c1");
  this->log.take();
  TypeParam::ptrIs(*this->manager, "c1", after);
  EXPECT_EQ(this->log.take(), this->evaluated);
  EXPECT_EQ(memberOf(TypeParam::ptrs(*this->manager), "c1"), after);
  EXPECT_EQ(this->watcher("c1"), watcher);
  EXPECT_EQ(watcher->notifier(), after);
  EXPECT_FALSE(before->hasSubscribers());
  EXPECT_EQ(this->change(before), Events{});
  EXPECT_EQ(this->change(after), this->noticed);
}

TYPED_TEST(RecordCollection, NullRemovesTheRecordAndItsWatcher) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  this->log.take();
  TypeParam::ptrIs(*this->manager, "c1", nullptr);
  EXPECT_EQ(this->log.take(), this->evaluated);
  EXPECT_TRUE(TypeParam::ptrs(*this->manager).empty());
  EXPECT_TRUE(TypeParam::watchers(*this->manager).empty());
  EXPECT_FALSE(record->hasSubscribers());
  TypeParam::ptrIs(*this->manager, "c1", nullptr);
  EXPECT_EQ(this->log.take(), Events{});
}

TYPED_TEST(RecordCollection, DelReturnsTheRecordAndOfNoneNull) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  this->log.take();
  EXPECT_EQ(TypeParam::ptrDel(*this->manager, "c1"), record);
  EXPECT_EQ(this->log.take(), this->evaluated);
  EXPECT_FALSE(TypeParam::ptrDel(*this->manager, "c1"));
  EXPECT_EQ(this->log.take(), Events{});
}

TYPED_TEST(RecordCollection, DelAllRemovesEveryRecordAndWatcher) {
  for (const char* name : {"c1", "c2", "c3"}) {
    TypeParam::ptrIs(*this->manager, name, this->record(name));
  }
  this->log.take();
  TypeParam::ptrDelAll(*this->manager);
  EXPECT_TRUE(TypeParam::ptrs(*this->manager).empty());
  EXPECT_TRUE(TypeParam::watchers(*this->manager).empty());
  EXPECT_EQ(this->log.take(),
            (Events{
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(8, "handleClientEntry c2"),
                managerLine(8, "handleClient c2 vrf v1"),
                managerLine(8, "handleClientEntry c3"),
                managerLine(8, "handleClient c3 vrf v1"),
            }));
}

TYPED_TEST(RecordCollection, AWatcherOfNullIsANullArgumentError) {
  try {
    TypeParam::watchIs(*this->manager, nullptr);
    FAIL() << "nothing was raised";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::NexthopResolverManagerSm");
    EXPECT_EQ(error.attribute(), TypeParam::attribute);
  }
  EXPECT_EQ(this->log.take(), Events{});
  EXPECT_TRUE(TypeParam::watchers(*this->manager).empty());
}

TYPED_TEST(RecordCollection, AWatcherIsKeyedByItsRecordsOwnName) {
  const auto record = this->record("own");
  TypeParam::ptrIs(*this->manager, "listed", record);
  EXPECT_EQ(keysOf(TypeParam::ptrs(*this->manager)), (std::vector<String>{"listed"}));
  EXPECT_EQ(keysOf(TypeParam::watchers(*this->manager)), (std::vector<String>{"own"}));
  EXPECT_EQ(this->log.take(),
            (Events{
                managerLine(8, "handleClientEntry own"),
                managerLine(8, "handleClient own vrf v1"),
            }));
}

TYPED_TEST(RecordCollection, DelOfAWatcherReturnsItsRecordAndOfNoneNull) {
  const auto record = this->record();
  TypeParam::watchIs(*this->manager, record);
  this->log.take();
  EXPECT_EQ(TypeParam::watchDel(*this->manager, "c1"), record);
  EXPECT_EQ(this->log.take(), this->evaluated);
  EXPECT_FALSE(TypeParam::watchDel(*this->manager, "c1"));
  EXPECT_EQ(this->log.take(), Events{});
}

TYPED_TEST(RecordCollection, DelAllOfTheWatchersEvaluatesEachClient) {
  for (const char* name : {"c1", "c2"}) {
    TypeParam::watchIs(*this->manager, this->record(name));
  }
  this->log.take();
  TypeParam::watchDelAll(*this->manager);
  EXPECT_TRUE(TypeParam::watchers(*this->manager).empty());
  EXPECT_EQ(this->log.take(),
            (Events{
                managerLine(8, "handleClientEntry c1"),
                managerLine(8, "handleClient c1 vrf v1"),
                managerLine(8, "handleClientEntry c2"),
                managerLine(8, "handleClient c2 vrf v1"),
            }));
}

// Seen from inside the evaluation: the pointer entry is gone, the watcher is out of its collection
// and a zombie that still has its owner. After it the owner is cleared.
TYPED_TEST(RecordCollection, RemovalTakesThePointerThenTheWatcherThenEvaluatesThenDetaches) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  const auto watcher = this->watcher("c1");
  Events seen;
  CallbackTraceSink sink([&](const TraceMessage& message) {
    if (message.text == "[v1] handleClientEntry c1") {
      seen.emplace_back(TypeParam::ptrs(*this->manager).has("c1") ? "pointer" : "no pointer");
      seen.emplace_back(TypeParam::watchers(*this->manager).has("c1") ? "watcher" : "no watcher");
      seen.emplace_back(watcher->isZombie() ? "zombie" : "no zombie");
      seen.emplace_back(watcher->hasOwner() ? "owner" : "no owner");
    }
  });
  sink.attachedIs(true);
  TypeParam::ptrDel(*this->manager, "c1");
  EXPECT_EQ(seen, (Events{"no pointer", "no watcher", "zombie", "owner"}));
  EXPECT_FALSE(watcher->hasOwner());
  EXPECT_FALSE(watcher->subscribed());
}

// Switching notifications on subscribes the watchers of a zombie too; the mark alone holds them
// back.
TYPED_TEST(RecordCollection, RemovalSwitchesAWatcherOffThatWasAZombieBefore) {
  TypeParam::ptrIs(*this->manager, "c1", this->record());
  const auto watcher = this->watcher("c1");
  this->manager->doZombieReactors(true);
  watcher->hasNotificationActiveIs(true);
  TypeParam::ptrDel(*this->manager, "c1");
  EXPECT_FALSE(watcher->subscribed());
}

TYPED_TEST(RecordCollection, AWatcherOfAZombieIsAZombie) {
  this->manager->doZombieReactors(true);
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  EXPECT_TRUE(this->watcher("c1")->isZombie());
  EXPECT_EQ(this->change(record), Events{});
  const auto after = this->record();
  TypeParam::ptrIs(*this->manager, "c1", after);
  EXPECT_TRUE(this->watcher("c1")->isZombie());
  EXPECT_EQ(this->change(after), Events{});
  this->manager->doZombieReactors(false);
  after->vrfDel("v2");
  EXPECT_EQ(this->log.take(), this->noticed);
}

TYPED_TEST(RecordCollection,
           AWatcherRePointedWhileNotificationsAreOffWatchesTheNewRecordAfterwards) {
  TypeParam::ptrIs(*this->manager, "c1", this->record());
  this->manager->hasNotificationActiveIs(false);
  const auto after = this->record();
  TypeParam::ptrIs(*this->manager, "c1", after);
  EXPECT_EQ(this->change(after), Events{});
  this->manager->hasNotificationActiveIs(true);
  after->vrfDel("v2");
  EXPECT_EQ(this->log.take(), this->noticed);
}

TYPED_TEST(RecordCollection, AWatcherWithoutOwnerDoesNothing) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  this->watcher("c1")->ownerDel();
  EXPECT_TRUE(this->watcher("c1")->subscribed());
  EXPECT_EQ(this->change(record), Events{});
}

TYPED_TEST(RecordCollection, TheZombieMarkSwitchesNotificationsOnlyWhenItChanges) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  const auto watcher = this->watcher("c1");
  watcher->hasNotificationActiveIs(false);
  watcher->doZombieReactors(false);
  EXPECT_FALSE(watcher->subscribed());
  watcher->doZombieReactors(true);
  watcher->hasNotificationActiveIs(true);
  watcher->doZombieReactors(true);
  EXPECT_TRUE(watcher->subscribed());
  EXPECT_EQ(this->change(record), Events{});
  watcher->hasNotificationActiveIs(false);
  watcher->doZombieReactors(false);
  EXPECT_TRUE(watcher->subscribed());
}

TYPED_TEST(RecordCollection, AWatcherOfNothingTakesTheMarkAndSubscribesToNothing) {
  const auto watcher = makeEntity<typename TypeParam::Watch>(nullptr, this->manager.get());
  EXPECT_FALSE(watcher->subscribed());
  watcher->doZombieReactors(true);
  watcher->doZombieReactors(false);
  EXPECT_FALSE(watcher->isZombie());
  EXPECT_FALSE(watcher->subscribed());
}

TYPED_TEST(RecordCollection, AWatcherThatEndsUnsubscribes) {
  const auto record = this->record();
  auto watcher = makeEntity<typename TypeParam::Watch>(record, this->manager.get());
  EXPECT_TRUE(record->hasSubscribers());
  watcher = nullptr;
  EXPECT_FALSE(record->hasSubscribers());
}

TYPED_TEST(RecordCollection, AWatcherTellsItsTypeAndWhatItWatches) {
  const auto record = this->record();
  TypeParam::ptrIs(*this->manager, "c1", record);
  const auto watcher = this->watcher("c1");
  const TypeData& type = watcher->typeData();
  EXPECT_EQ(type.name(), TypeParam::typeName);
  ASSERT_EQ(type.attributes().size(), 2U);
  EXPECT_EQ(type.attributes()[0].name, "notifier");
  EXPECT_EQ(type.attributes()[0].value(*watcher), record->typeData().name());
  EXPECT_EQ(type.attributes()[1].name, "owner");
  EXPECT_EQ(type.attributes()[1].value(*watcher), "true");
}

}  // namespace
}  // namespace Routing::Support
