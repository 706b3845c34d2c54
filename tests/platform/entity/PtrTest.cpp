#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/entity/Ptr.h"
#include "tests/platform/entity/TestEntities.h"

namespace Routing {
namespace {

using Support::Circle;
using Support::EventLog;
using Support::Events;
using Support::Mortal;
using Support::Shape;

TEST(Ptr, IsAsSmallAsAPointerAndNullByDefault) {
  static_assert(sizeof(Ptr<Shape>) == sizeof(Shape*));
  const Ptr<Shape> none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_TRUE(none == nullptr);
  EXPECT_TRUE(nullptr == none);
}

TEST(Ptr, EntityLivesUntilTheLastPtrGoes) {
  EventLog log;
  auto first = makeEntity<Mortal>("a", log);
  auto second = first;
  first = nullptr;
  EXPECT_EQ(log.take(), Events{});
  second = nullptr;
  EXPECT_EQ(log.take(), Events{"a ends"});
}

TEST(Ptr, MovingTakesTheHoldAndLeavesNull) {
  EventLog log;
  auto first = makeEntity<Mortal>("a", log);
  const Mortal* const entity = first.get();
  Ptr<Mortal> second(std::move(first));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): null is the promise
  EXPECT_EQ(second.get(), entity);
  EXPECT_EQ(entity->referenceCount().value(), 1U);
}

TEST(Ptr, AssigningAPtrToItselfChangesNothing) {
  EventLog log;
  auto ptr = makeEntity<Mortal>("a", log);
  auto& same = ptr;
  ptr = same;
  ptr = std::move(same);
  ASSERT_TRUE(ptr);
  EXPECT_EQ(ptr->referenceCount().value(), 1U);
  EXPECT_EQ(log.take(), Events{});
}

// Holds a Ptr and reports, when the entity in it ends, what the holder then holds.
struct Holder {
  class Watcher : public Shape {
   public:
    Watcher(Holder& holder, std::string name, EventLog& log)
        : holder_(holder), name_(std::move(name)), log_(log) {}
    ~Watcher() override {
      log_.add(name_ + " ends, holder has " + (holder_.ptr ? holder_.ptr->name_ : "null"));
    }

   private:
    Holder& holder_;
    std::string name_;
    EventLog& log_;
  };

  Ptr<Watcher> ptr;
};

TEST(Ptr, AssignmentHoldsTheNewEntityBeforeItReleasesTheOld) {
  EventLog log;
  Holder holder;
  holder.ptr = makeEntity<Holder::Watcher>(holder, "a", log);
  holder.ptr = makeEntity<Holder::Watcher>(holder, "b", log);
  EXPECT_EQ(log.take(), Events{"a ends, holder has b"});
  const auto third = makeEntity<Holder::Watcher>(holder, "c", log);
  holder.ptr = third;
  EXPECT_EQ(log.take(), Events{"b ends, holder has c"});
}

TEST(Ptr, AssigningNullReleasesWhenThePtrIsNullAlready) {
  EventLog log;
  Holder holder;
  holder.ptr = makeEntity<Holder::Watcher>(holder, "a", log);
  holder.ptr = nullptr;
  EXPECT_EQ(log.take(), Events{"a ends, holder has null"});
}

TEST(Ptr, AssigningAMemberOfTheEntityItReleasesIsSafe) {
  struct Link : Shape {
    Ptr<Link> next;
  };
  auto head = makeEntity<Link>();
  head->next = makeEntity<Link>();
  const Link* const second = head->next.get();
  head = head->next;
  EXPECT_EQ(head.get(), second);
  EXPECT_EQ(second->referenceCount().value(), 1U);
}

TEST(Ptr, ConvertsToABaseByCopyAndByMove) {
  const auto circle = makeEntity<Circle>();
  const Ptr<Shape> shape = circle;
  EXPECT_EQ(circle->referenceCount().value(), 2U);
  Ptr<Circle> other = circle;
  const Ptr<Entity> entity = std::move(other);
  EXPECT_FALSE(other);  // NOLINT(bugprone-use-after-move): null is the promise
  EXPECT_EQ(circle->referenceCount().value(), 3U);
  EXPECT_TRUE(entity == shape);
}

TEST(Ptr, ConvertsToConstantButNotBackAndNotToADerivedType) {
  static_assert(std::is_convertible_v<Ptr<Shape>, Ptr<const Shape>>);
  static_assert(!std::is_convertible_v<Ptr<const Shape>, Ptr<Shape>>);
  static_assert(!std::is_convertible_v<Ptr<Shape>, Ptr<Circle>>);
  static_assert(!std::is_convertible_v<Shape*, Ptr<Shape>>);
  Ptr<const Shape> shape = makeEntity<Circle>();
  shape = nullptr;
  EXPECT_EQ(Circle::type().live(), 0U);
}

TEST(Ptr, ComparesByObject) {
  const auto circle = makeEntity<Circle>();
  const Ptr<Shape> shape = circle;
  const auto other = makeEntity<Circle>();
  EXPECT_TRUE(circle == shape);
  EXPECT_TRUE(shape == circle);
  EXPECT_TRUE(circle != other);
  EXPECT_FALSE(circle == nullptr);
  EXPECT_TRUE(Ptr<Circle>() == Ptr<Shape>());
}

TEST(Ptr, PtrCastGivesNullForAnotherType) {
  const Ptr<Shape> shape = makeEntity<Shape>();
  const Ptr<Shape> circle = makeEntity<Circle>();
  EXPECT_FALSE(ptrCast<Circle>(shape));
  EXPECT_FALSE(ptrCast<Circle>(Ptr<Shape>()));
  const Ptr<Circle> cast = ptrCast<Circle>(circle);
  EXPECT_TRUE(cast == circle);
  EXPECT_EQ(circle->referenceCount().value(), 2U);
}

TEST(Ptr, DetachAndAdoptPassTheHoldOn) {
  EventLog log;
  auto ptr = makeEntity<Mortal>("a", log);
  Mortal* const entity = ptr.detach();
  EXPECT_FALSE(ptr);
  EXPECT_EQ(log.take(), Events{});
  Ptr<Mortal>::adopt(entity);
  EXPECT_EQ(log.take(), Events{"a ends"});
}

// Makes and drops a Ptr to itself at both ends of its life.
class SelfHolder : public Shape {
 public:
  explicit SelfHolder(EventLog& log) : log_(log) {
    holdSelf();
    log_.add("constructed");
  }
  ~SelfHolder() override {
    holdSelf();
    log_.add("destroyed");
  }

 private:
  void holdSelf() {
    const Ptr<SelfHolder> self(this);
    const Ptr<Shape> another = self;
  }
  EventLog& log_;
};

TEST(Entity, APtrToItselfInConstructorAndDestructorDoesNotEndIt) {
  EventLog log;
  auto entity = makeEntity<SelfHolder>(log);
  EXPECT_EQ(entity->referenceCount().value(), 1U);
  EXPECT_EQ(log.take(), Events{"constructed"});
  entity = nullptr;
  EXPECT_EQ(log.take(), Events{"destroyed"});
}

TEST(Entity, ASelfPtrThatOutlivesTheConstructorKeepsTheEntity) {
  struct Registered : Mortal {
    Registered(Ptr<Entity>& registry, EventLog& log) : Mortal("a", log) {
      registry = Ptr<Entity>(this);
    }
  };
  EventLog log;
  Ptr<Entity> registry;
  makeEntity<Registered>(registry, log);
  EXPECT_EQ(log.take(), Events{});
  registry = nullptr;
  EXPECT_EQ(log.take(), Events{"a ends"});
}

TEST(EntityDeathTest, ASelfPtrThatOutlivesTheDestructorIsAnAssertion) {
  class Escaping : public Shape {
   public:
    explicit Escaping(Ptr<Entity>& refuge) : refuge_(refuge) {}
    ~Escaping() override { refuge_ = Ptr<Entity>(this); }

   private:
    Ptr<Entity>& refuge_;
  };
  Ptr<Entity> refuge;
  EXPECT_DEATH(makeEntity<Escaping>(refuge), "an entity is destroyed only when no Ptr holds it");
}

TEST(Entity, LiveCountIsOfExactlyTheType) {
  const auto before = TypeData::liveEntities();
  auto shape = makeEntity<Shape>();
  auto circle = makeEntity<Circle>();
  auto another = circle;
  EXPECT_EQ(Shape::type().live(), 1U);
  EXPECT_EQ(Circle::type().live(), 1U);
  EXPECT_EQ(TypeData::liveEntities(), before + 2);
  circle = nullptr;
  EXPECT_EQ(Circle::type().live(), 1U);
  another = nullptr;
  EXPECT_EQ(Circle::type().live(), 0U);
  shape = nullptr;
  EXPECT_EQ(TypeData::liveEntities(), before);
}

TEST(Entity, AConstructorThatThrowsLeavesNothingLive) {
  struct Failing : Circle {
    explicit Failing(bool fails) {
      const Ptr<Failing> self(this);
      if (fails) {
        throw std::runtime_error("no");
      }
    }
  };
  const auto before = TypeData::liveEntities();
  EXPECT_THROW(makeEntity<Failing>(true), std::runtime_error);
  EXPECT_EQ(TypeData::liveEntities(), before);
  makeEntity<Failing>(false);
  EXPECT_EQ(TypeData::liveEntities(), before);
}

TEST(Entity, IsNoLongerCountedWhileItsDestructorRuns) {
  class Counting : public Circle {
   public:
    explicit Counting(std::vector<std::uint64_t>& seen) : seen_(seen) {
      seen_.push_back(type().live());
    }
    ~Counting() override { seen_.push_back(type().live()); }

   private:
    std::vector<std::uint64_t>& seen_;
  };
  std::vector<std::uint64_t> seen;
  makeEntity<Counting>(seen);
  EXPECT_EQ(seen, (std::vector<std::uint64_t>{0, 0}));
}

TEST(Entity, WalkVisitsEveryTypeThatHadOneOnce) {
  makeEntity<Circle>();
  int visits = 0;
  TypeData::walk([&visits](const TypeData& type) { visits += &type == &Circle::type() ? 1 : 0; });
  EXPECT_EQ(visits, 1);
}

TEST(ReferenceCountDeathTest, TheModeIsChosenBeforeTheFirstEntity) {
  const auto entity = makeEntity<Shape>();
  EXPECT_DEATH(ReferenceCount::multiThreadedIs(true),
               "the counting mode is chosen before the first entity");
}

TEST(ReferenceCount, SettingTheModeThatHoldsIsNoChange) {
  const auto entity = makeEntity<Shape>();
  ReferenceCount::multiThreadedIs(false);
  EXPECT_FALSE(ReferenceCount::multiThreaded());
}

}  // namespace
}  // namespace Routing
