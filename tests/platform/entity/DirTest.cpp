#include <gtest/gtest.h>

#include <string>

#include "platform/entity/Dir.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Text.h"
#include "tests/platform/entity/TestEntities.h"
#include "tests/support/EventLog.h"

namespace Routing {
namespace {

using Support::Circle;
using Support::EventLog;
using Support::Events;
using Support::Shape;

// Logs each entry name with the type that then stands under it.
class Follower : public Notifiee {
 public:
  Follower(const Dir& dir, EventLog& log) : dir_(dir), log_(log) { subscribe(dir); }
  void onAttribute(FieldId field, const void* key) override {
    EXPECT_EQ(field, Dir::entryField);
    const auto& name = *static_cast<const std::string*>(key);
    log_.add(name + ": " + readableText(dir_.entityPtr(name)));
  }

 private:
  const Dir& dir_;
  EventLog& log_;
};

class DirTest : public testing::Test {
 protected:
  EventLog log;
  Ptr<Dir> dir = makeEntity<Dir>("config");
  Follower follower{*dir, log};
};

TEST_F(DirTest, HasTheNameItWasGivenAndNoEntries) {
  EXPECT_EQ(dir->name(), "config");
  EXPECT_TRUE(dir->entry().empty());
  EXPECT_EQ(dir->entityPtr("bgp"), nullptr);
}

TEST_F(DirTest, AddingReplacingRemovingAndAnnouncingPublishTheNameAfterTheChange) {
  dir->entityIs("bgp", makeEntity<Shape>());
  dir->entityIs("bgp", makeEntity<Circle>());
  dir->entityAnnounce("bgp");
  EXPECT_TRUE(ptrCast<Circle>(dir->entityDel("bgp")));
  EXPECT_EQ(log.take(),
            (Events{"bgp: Routing::Support::Shape",
                    "bgp: Routing::Support::Circle",
                    "bgp: Routing::Support::Circle",
                    "bgp: null"}));
}

TEST_F(DirTest, RemovingAnAbsentEntryPublishesNothing) {
  EXPECT_EQ(dir->entityDel("bgp"), nullptr);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(DirTest, TheSameEntityUnderItsNameAgainIsPublished) {
  const auto shape = makeEntity<Shape>();
  dir->entityIs("bgp", shape);
  log.take();
  dir->entityIs("bgp", shape);
  EXPECT_EQ(log.take(), Events{"bgp: Routing::Support::Shape"});
}

TEST_F(DirTest, ANullEntryIsRefusedAndNothingChanges) {
  const auto shape = makeEntity<Shape>();
  dir->entityIs("bgp", shape);
  log.take();
  try {
    dir->entityIs("bgp", nullptr);
    ADD_FAILURE() << "null was taken";
  } catch (const NullArgumentError& error) {
    EXPECT_EQ(error.type(), "Routing::Dir");
    EXPECT_EQ(error.attribute(), "entry");
  }
  EXPECT_EQ(dir->entityPtr("bgp"), shape);
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(DirTest, WalksInOrderOfInsertion) {
  for (const char* name : {"static", "bgp", "ospf"}) {
    dir->entityIs(name, makeEntity<Shape>());
  }
  dir->entityIs("static", makeEntity<Circle>());
  dir->entityDel("bgp");
  dir->entityIs("bgp", makeEntity<Circle>());
  Events names;
  for (auto cursor = dir->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    names.push_back(cursor.key());
  }
  EXPECT_EQ(names, (Events{"static", "ospf", "bgp"}));
}

TEST_F(DirTest, EntityOfGivesNullForAnotherType) {
  dir->entityIs("shape", makeEntity<Shape>());
  dir->entityIs("circle", makeEntity<Circle>());
  EXPECT_EQ(entityOf<Circle>(*dir, "shape"), nullptr);
  EXPECT_NE(entityOf<Circle>(*dir, "circle"), nullptr);
  EXPECT_NE(entityOf<Shape>(*dir, "circle"), nullptr);
  EXPECT_EQ(entityOf<Circle>(*dir, "none"), nullptr);
}

TEST_F(DirTest, EndsWithItsEntries) {
  dir->entityIs("a", makeEntity<Support::Mortal>("a", log));
  dir->entityIs("b", makeEntity<Support::Mortal>("b", log));
  log.take();
  dir = nullptr;
  EXPECT_EQ(log.take(), (Events{"a ends", "b ends"}));
  EXPECT_FALSE(follower.subscribed());
}

TEST_F(DirTest, ShowsItsNameAndItsEntriesNames) {
  dir->entityIs("bgp", makeEntity<Shape>());
  dir->entityIs("ospf", makeEntity<Shape>());
  const auto attributes = dir->typeData().attributes();
  ASSERT_EQ(attributes.size(), 2U);
  EXPECT_EQ(attributes[0].name, "name");
  EXPECT_EQ(attributes[0].value(*dir), "config");
  EXPECT_EQ(attributes[1].name, "entry");
  EXPECT_EQ(attributes[1].value(*dir), "{bgp, ospf}");
}

}  // namespace
}  // namespace Routing
