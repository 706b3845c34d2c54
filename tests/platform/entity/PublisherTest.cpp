#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/entity/Publisher.h"
#include "tests/support/Allocations.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using Support::EventLog;
using Support::Events;

constexpr FieldId speedField{1};
constexpr FieldId nameField{2};

class Source : public Publisher {};

// Logs "NAME: FIELD", then does what it was told to.
template <class Base>
class Recorder : public Base {
 public:
  Recorder(std::string name, EventLog& log) : name_(std::move(name)), log_(log) {}
  Recorder(std::string name, EventLog& log, const Publisher& source)
      : Recorder(std::move(name), log) {
    this->subscribe(source);
  }
  void onAttribute(FieldId field, const void* /*key*/) override {
    log_.add(name_ + ": " + std::to_string(static_cast<int>(field)));
    if (action) {
      action();
    }
  }

  std::function<void()> action;

 private:
  std::string name_;
  EventLog& log_;
};

using Reactor = Recorder<Notifiee>;
using Watcher = Recorder<Observer>;

// A source with three notifiees a, b, c and an observer o.
class PublisherRules : public testing::Test {
 protected:
  EventLog log;
  std::unique_ptr<Source> source = std::make_unique<Source>();
  std::unique_ptr<Watcher> o = std::make_unique<Watcher>("o", log, *source);
  std::unique_ptr<Reactor> a = std::make_unique<Reactor>("a", log, *source);
  std::unique_ptr<Reactor> b = std::make_unique<Reactor>("b", log, *source);
  std::unique_ptr<Reactor> c = std::make_unique<Reactor>("c", log, *source);

  Events published(FieldId field = speedField) {
    source->publish(field);
    return log.take();
  }
};

TEST_F(PublisherRules, DeliversInOrderOfSubscriptionObserversLast) {
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(nameField), (Events{"a: 2", "b: 2", "c: 2", "o: 2"}));
}

TEST_F(PublisherRules, ObserversComeAfterEveryNotifieeWheneverTheySubscribed) {
  const Watcher p("p", log, *source);
  const Reactor d("d", log, *source);
  const Watcher q("q", log, *source);
  const Reactor e("e", log, *source);
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "d: 1", "e: 1", "o: 1", "p: 1", "q: 1"}));
}

TEST_F(PublisherRules, TheFirstObserverLeavingKeepsTheOthersLast) {
  const Watcher p("p", log, *source);
  o->unsubscribe();
  const Reactor d("d", log, *source);
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "d: 1", "p: 1"}));
  o->subscribe(*source);
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "d: 1", "p: 1", "o: 1"}));
}

TEST_F(PublisherRules, SubscribingAgainWhileSubscribedKeepsThePlace) {
  a->subscribe(*source);
  o->subscribe(*source);
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, ComingBackTakesAPlaceAtTheEnd) {
  a->unsubscribe();
  EXPECT_FALSE(a->subscribed());
  a->unsubscribe();
  a->subscribe(*source);
  EXPECT_TRUE(a->subscribed());
  EXPECT_EQ(published(), (Events{"b: 1", "c: 1", "a: 1", "o: 1"}));
}

TEST_F(PublisherRules, UnsubscribingItselfDuringDeliveryDisturbsNobody) {
  b->action = [this] { b->unsubscribe(); };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, TheNextOneUnsubscribedIsNotCalled) {
  b->action = [this] { c->unsubscribe(); };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "o: 1"}));
}

TEST_F(PublisherRules, ThePreviousOneUnsubscribedChangesNothingForTheOthers) {
  b->action = [this] { a->unsubscribe(); };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, AllUnsubscribedEndsTheDelivery) {
  a->action = [this] {
    a->unsubscribe();
    b->unsubscribe();
    c->unsubscribe();
    o->unsubscribe();
  };
  EXPECT_EQ(published(), Events{"a: 1"});
  EXPECT_FALSE(source->hasSubscribers());
  EXPECT_EQ(published(), Events{});
}

TEST_F(PublisherRules, TheTwoThatFollowUnsubscribedInEitherOrderAreNotCalled) {
  a->action = [this] {
    b->unsubscribe();
    c->unsubscribe();
  };
  EXPECT_EQ(published(), (Events{"a: 1", "o: 1"}));
  b->subscribe(*source);
  c->subscribe(*source);
  a->action = [this] {
    c->unsubscribe();
    b->unsubscribe();
  };
  EXPECT_EQ(published(), (Events{"a: 1", "o: 1"}));
}

TEST_F(PublisherRules, DyingDuringItsOwnNotificationDisturbsNobody) {
  b->action = [this] { b.reset(); };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatDiedBeforeItsTurnIsNotCalled) {
  a->action = [this] {
    b.reset();
    o.reset();
  };
  EXPECT_EQ(published(), (Events{"a: 1", "c: 1"}));
}

TEST_F(PublisherRules, OneThatCameDuringTheDeliveryIsNotCalledForIt) {
  Reactor late("late", log);
  b->action = [&] { late.subscribe(*source); };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "late: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatCameFromTheLastNotifieeIsNotCalledForIt) {
  Reactor late("late", log);
  Watcher lateObserver("lateObserver", log);
  o->action = [&] {
    late.subscribe(*source);
    lateObserver.subscribe(*source);
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "late: 1", "o: 1", "lateObserver: 1"}));
}

TEST_F(PublisherRules, OfSeveralThatCameTheFirstLeavingLetsNoOtherIn) {
  Reactor d("d", log);
  Reactor e("e", log);
  Watcher p("p", log);
  Watcher q("q", log);
  b->action = [&] {
    for (Notifiee* late : {static_cast<Notifiee*>(&d),
                           static_cast<Notifiee*>(&p),
                           static_cast<Notifiee*>(&e),
                           static_cast<Notifiee*>(&q)}) {
      late->subscribe(*source);
    }
    d.unsubscribe();
    p.unsubscribe();
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  b->action = nullptr;
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "e: 1", "o: 1", "q: 1"}));
}

TEST_F(PublisherRules, OneThatComesAfterAnotherCameAndLeftIsNotCalledForIt) {
  Reactor d("d", log);
  Reactor e("e", log);
  b->action = [&] {
    d.subscribe(*source);
    d.unsubscribe();
    e.subscribe(*source);
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatCameAndLeftTakesNobodysTurn) {
  Reactor d("d", log);
  Watcher p("p", log);
  b->action = [&] {
    d.subscribe(*source);
    p.subscribe(*source);
    c->unsubscribe();
    d.unsubscribe();
    p.unsubscribe();
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatCameBackBeforeItsTurnIsNotCalledForIt) {
  a->action = [this] {
    c->unsubscribe();
    c->subscribe(*source);
    o->unsubscribe();
    o->subscribe(*source);
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1"}));
  a->action = nullptr;
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatComesBackAfterItsTurnIsNotCalledTwice) {
  b->action = [this] {
    b->unsubscribe();
    b->subscribe(*source);
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "c: 1", "b: 1", "o: 1"}));
}

TEST_F(PublisherRules, ANestedPublicationIsCompleteBeforeTheOuterGoesOn) {
  b->action = [this] {
    b->action = nullptr;
    source->publish(nameField);
    log.add("b: done");
  };
  EXPECT_EQ(published(),
            (Events{"a: 1", "b: 1", "a: 2", "b: 2", "c: 2", "o: 2", "b: done", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatCameDuringTheOuterDeliveryIsCalledForTheNestedOneOnly) {
  Reactor late("late", log);
  b->action = [&] {
    b->action = nullptr;
    late.subscribe(*source);
    source->publish(nameField);
  };
  EXPECT_EQ(published(),
            (Events{"a: 1", "b: 1", "a: 2", "b: 2", "c: 2", "late: 2", "o: 2", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatLeftDuringTheNestedDeliveryIsCalledForNeither) {
  a->action = [this] {
    a->action = [this] { c->unsubscribe(); };
    source->publish(nameField);
    a->action = nullptr;
  };
  EXPECT_EQ(published(), (Events{"a: 1", "a: 2", "b: 2", "o: 2", "b: 1", "o: 1"}));
}

TEST_F(PublisherRules, OneThatCameBackDuringTheNestedDeliveryIsCalledForNeither) {
  a->action = [this] {
    a->action = [this] {
      c->unsubscribe();
      c->subscribe(*source);
    };
    source->publish(nameField);
    a->action = nullptr;
  };
  EXPECT_EQ(published(), (Events{"a: 1", "a: 2", "b: 2", "o: 2", "b: 1", "o: 1"}));
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, ThePublisherThatDiesEndsItsDelivery) {
  b->action = [this] { source.reset(); };
  source->publish(speedField);
  EXPECT_EQ(log.take(), (Events{"a: 1", "b: 1"}));
  EXPECT_FALSE(a->subscribed());
  EXPECT_FALSE(c->subscribed());
  EXPECT_FALSE(o->subscribed());
}

TEST_F(PublisherRules, ThePublisherThatDiesInANestedDeliveryEndsBoth) {
  b->action = [this] {
    b->action = [this] { source.reset(); };
    source->publish(nameField);
    log.add("b: done");
  };
  source->publish(speedField);
  EXPECT_EQ(log.take(), (Events{"a: 1", "b: 1", "a: 2", "b: 2", "b: done"}));
}

TEST_F(PublisherRules, NotifieesOfADeadPublisherCanSubscribeElsewhere) {
  Source other;
  b->action = [&] {
    source.reset();
    b->subscribe(other);
    a->subscribe(other);
  };
  source->publish(speedField);
  b->action = nullptr;
  log.take();
  other.publish(nameField);
  EXPECT_EQ(log.take(), (Events{"b: 2", "a: 2"}));
}

TEST_F(PublisherRules, PublisherAndNotifieesMayDieInAnyOrderAfterwards) {
  b->action = [this] {
    a.reset();
    source.reset();
    c.reset();
    b.reset();
  };
  source->publish(speedField);
  EXPECT_EQ(log.take(), (Events{"a: 1", "b: 1"}));
}

TEST_F(PublisherRules, AnExceptionEndsTheDeliveryAndLeavesThePublication) {
  b->action = [] { throw std::runtime_error("no"); };
  EXPECT_THROW(source->publish(speedField), std::runtime_error);
  EXPECT_EQ(log.take(), (Events{"a: 1", "b: 1"}));
  b->action = nullptr;
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, AfterAnExceptionNotifieesLeaveAndDieAsUsual) {
  b->action = [] { throw std::runtime_error("no"); };
  EXPECT_THROW(source->publish(speedField), std::runtime_error);
  log.take();
  c->unsubscribe();
  b.reset();
  EXPECT_EQ(published(), (Events{"a: 1", "o: 1"}));
  source.reset();
  EXPECT_FALSE(a->subscribed());
}

TEST_F(PublisherRules, ANestedExceptionThatIsCaughtLetsTheOuterDeliveryGoOn) {
  a->action = [this] {
    a->action = nullptr;
    b->action = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(source->publish(nameField), std::runtime_error);
    b->action = nullptr;
  };
  EXPECT_EQ(published(), (Events{"a: 1", "a: 2", "b: 2", "b: 1", "c: 1", "o: 1"}));
}

TEST_F(PublisherRules, AnExceptionAfterThePublisherDiedLeavesThePublication) {
  b->action = [this] {
    source.reset();
    throw std::runtime_error("no");
  };
  EXPECT_THROW(source->publish(speedField), std::runtime_error);
  EXPECT_FALSE(a->subscribed());
}

TEST_F(PublisherRules, MovingToAnotherPublisherDuringDelivery) {
  Source other;
  b->action = [&, first = true]() mutable {
    if (std::exchange(first, false)) {
      c->unsubscribe();
      c->subscribe(other);
      b->unsubscribe();
      b->subscribe(other);
      other.publish(nameField);
    }
  };
  EXPECT_EQ(published(), (Events{"a: 1", "b: 1", "c: 2", "b: 2", "o: 1"}));
}

TEST(PublisherDeathTest, ANotifieeHasOnePublisherAtATime) {
  EventLog log;
  const Source first;
  const Source second;
  Reactor a("a", log, first);
  EXPECT_DEATH(a.subscribe(second), "a notifiee has one publisher at a time");
}

TEST(Publisher, TheKeyArrivesAsGiven) {
  struct KeyReader : Notifiee {
    void onAttribute(FieldId field, const void* key) override { seen = {field, key}; }
    std::pair<FieldId, const void*> seen{};
  };
  const Source source;
  KeyReader reader;
  reader.subscribe(source);
  const int key = 7;
  source.publish(speedField, &key);
  EXPECT_EQ(reader.seen, (std::pair<FieldId, const void*>{speedField, &key}));
  source.publish(nameField);
  EXPECT_EQ(reader.seen, (std::pair<FieldId, const void*>{nameField, nullptr}));
}

TEST(Publisher, SubscribingUnsubscribingAndPublishingAllocateNothing) {
  struct Quiet : Notifiee {
    void onAttribute(FieldId /*field*/, const void* /*key*/) override {}
  };
  const Source source;
  std::array<Quiet, 100> notifiees;
  const auto before = Support::allocations();
  source.publish(speedField);
  for (Quiet& notifiee : notifiees) {
    notifiee.subscribe(source);
  }
  source.publish(speedField);
  for (Quiet& notifiee : notifiees) {
    notifiee.unsubscribe();
  }
  source.publish(speedField);
  EXPECT_EQ(Support::allocations(), before);
}

// A machine with one slot an input, as state machines have them.
class Machine {
 public:
  void speedDispatch(FieldId field, const void* key) {
    log.add("speed " + std::to_string(static_cast<int>(field)) + " " +
            *static_cast<const std::string*>(key));
  }
  void nameDispatch(FieldId /*field*/, const void* /*key*/) { log.add("name"); }

  EventLog log;
  Subscription<Machine, &Machine::speedDispatch> speed{*this};
  Subscription<Machine, &Machine::nameDispatch> name{*this};
};

TEST(Subscription, CallsItsMemberFunctionOfTheOwner) {
  const Source source;
  Machine machine;
  machine.name.subscribe(source);
  machine.speed.subscribe(source);
  const std::string key = "key";
  source.publish(speedField, &key);
  EXPECT_EQ(machine.log.take(), (Events{"name", "speed 1 key"}));
}

TEST(Subscription, IsEmptyAfterItsInputHasGone) {
  Machine machine;
  {
    const Source source;
    machine.speed.subscribe(source);
    EXPECT_TRUE(machine.speed.subscribed());
  }
  EXPECT_FALSE(machine.speed.subscribed());
  const Source next;
  machine.speed.subscribe(next);
  EXPECT_TRUE(machine.speed.subscribed());
}

}  // namespace
}  // namespace Routing
