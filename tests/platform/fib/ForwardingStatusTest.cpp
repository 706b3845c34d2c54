#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/TypeData.h"
#include "platform/fib/ForwardingStatus.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing {
namespace {

using FibGen::Fec;
using FibGen::ForwardingStatus;
using FibGen::MemoryForwardingStatus;
using Support::Events;
using testing::HasSubstr;

Fec fecOf(FecId fecId, std::uint32_t vias, std::uint32_t backupVias = 0) {
  Fec fec(fecId);
  for (std::uint32_t i = 0; i < vias; ++i) {
    fec.viaIs({IntfId{i + 1}, 1, IpGenAddr::ipv4(0x0a000000 + i), {}});
  }
  for (std::uint32_t i = 0; i < backupVias; ++i) {
    fec.backupViaIs(i);
  }
  return fec;
}

class ForwardingStatusTest : public testing::Test {
 protected:
  void logChanges() {
    watcher.emplace(*table, [this](FieldId field, const void* key) {
      log.add((field == ForwardingStatus::fecField ? "fec " : "other ") +
              std::to_string(Support::keyOf<FecId>(key)));
    });
  }

  Ptr<MemoryForwardingStatus> table = makeEntity<MemoryForwardingStatus>();
  Support::EventLog log;
  std::optional<Support::Watcher> watcher;
};

TEST_F(ForwardingStatusTest, AnAbsentFecReadsAsTheEmptyFecOfFecIdZero) {
  EXPECT_TRUE(table->fec(12).isEq(Fec(0)));
  EXPECT_FALSE(table->fecHas(12));
}

TEST_F(ForwardingStatusTest, AStoredFecReadsWhole) {
  Fec fec = fecOf(0xff00000000000004, 3, 2);
  fec.viaIndexBoundaryIs(2);
  table->fecIs(fec);
  EXPECT_TRUE(table->fec(0xff00000000000004).isEq(fec));
  EXPECT_TRUE(table->fec(4).isEq(Fec(0)));
}

TEST_F(ForwardingStatusTest, AStoredFecWithoutViasIsNotAbsent) {
  table->fecIs(Fec(12));
  EXPECT_FALSE(table->fec(12).isEq(Fec(0)));
  EXPECT_EQ(table->fec(12).viaCount(), 0U);
}

TEST_F(ForwardingStatusTest, ReadGivesACopyThatOutlivesEveryChange) {
  table->fecIs(fecOf(12, 2));
  const Fec copy = table->fec(12);
  Fec changed = copy;
  changed.viaIs({});
  EXPECT_EQ(table->fec(12).viaCount(), 2U);
  table->fecIs(fecOf(12, 5));
  table->fecDel(12);
  EXPECT_TRUE(copy.isEq(fecOf(12, 2)));
}

TEST_F(ForwardingStatusTest, StoringReplacesTheFecWhole) {
  table->fecIs(fecOf(12, 5, 4));
  table->fecIs(fecOf(12, 1));
  EXPECT_TRUE(table->fec(12).isEq(fecOf(12, 1)));
  EXPECT_EQ(table->fecCount(), 1U);
}

TEST_F(ForwardingStatusTest, SixHundredViasAreRead) {
  table->fecIs(fecOf(12, 600));
  EXPECT_EQ(table->fec(12).viaCount(), 600U);
}

TEST_F(ForwardingStatusTest, SixHundredAndOneViasAreStoredAndEveryReadIsARangeError) {
  table->fecIs(fecOf(12, 601));
  EXPECT_TRUE(table->fecHas(12));
  for (int read = 0; read < 2; ++read) {
    try {
      table->fec(12);
      FAIL() << "read too many vias";
    } catch (const RangeError& error) {
      EXPECT_STREQ(error.what(), "fec 12: 601 vias, at most 600");
    }
  }
}

TEST_F(ForwardingStatusTest, ATooLargeFecIsMendedByAnother) {
  table->fecIs(fecOf(12, 601));
  table->fecIs(fecOf(13, 1));
  EXPECT_EQ(table->fec(13).viaCount(), 1U);
  table->fecIs(fecOf(12, 600));
  EXPECT_EQ(table->fec(12).viaCount(), 600U);
}

TEST_F(ForwardingStatusTest, AHundredAndTwentyEightBackupViasAreRead) {
  table->fecIs(fecOf(12, 1, 128));
  EXPECT_EQ(table->fec(12).backupVia().size(), 128U);
}

TEST_F(ForwardingStatusTest, AHundredAndTwentyNineBackupViasAreARangeErrorOnEveryRead) {
  table->fecIs(fecOf(12, 1, 129));
  EXPECT_TRUE(table->fecHas(12));
  EXPECT_THROW(table->fec(12), RangeError);
  EXPECT_THROW(table->fec(12), RangeError);
}

TEST_F(ForwardingStatusTest, WritingPublishesTheKeyAfterEachChangeAlsoWhenNothingDiffers) {
  const Support::Watcher reader(*table, [this](FieldId, const void* key) {
    log.add("vias " + std::to_string(table->fec(Support::keyOf<FecId>(key)).viaCount()));
  });
  logChanges();
  table->fecIs(fecOf(12, 1));
  table->fecIs(fecOf(12, 2));
  table->fecIs(fecOf(12, 2));
  EXPECT_EQ(log.take(), (Events{"vias 1", "fec 12", "vias 2", "fec 12", "vias 2", "fec 12"}));
}

TEST_F(ForwardingStatusTest, RemovingPublishesOnceAndTellsWhetherThereWasAFec) {
  table->fecIs(fecOf(12, 1));
  logChanges();
  EXPECT_FALSE(table->fecDel(13));
  EXPECT_TRUE(table->fecDel(12));
  EXPECT_FALSE(table->fecDel(12));
  EXPECT_EQ(log.take(), Events{"fec 12"});
  EXPECT_TRUE(table->fec(12).isEq(Fec(0)));
  EXPECT_EQ(table->fecCount(), 0U);
}

TEST_F(ForwardingStatusTest, AnnouncingPublishesWithoutAChange) {
  table->fecIs(fecOf(12, 1));
  logChanges();
  table->fecAnnounce(12);
  EXPECT_EQ(log.take(), Events{"fec 12"});
  EXPECT_TRUE(table->fec(12).isEq(fecOf(12, 1)));
}

TEST_F(ForwardingStatusTest, ACorruptKeyThrowsUntilItIsStored) {
  table->fecIs(fecOf(12, 1));
  table->fecIs(fecOf(13, 2));
  table->corruptIs(12);
  EXPECT_THROW(table->fec(12), RangeError);
  EXPECT_THROW(table->fec(12), RangeError);
  EXPECT_EQ(table->fec(13).viaCount(), 2U);
  table->fecIs(fecOf(12, 3));
  EXPECT_EQ(table->fec(12).viaCount(), 3U);
}

TEST_F(ForwardingStatusTest, ACorruptKeyThrowsUntilItIsRemoved) {
  table->corruptIs(12);
  EXPECT_THROW(table->fec(12), RangeError);
  logChanges();
  EXPECT_FALSE(table->fecDel(12));
  EXPECT_EQ(log.take(), Events{});
  EXPECT_TRUE(table->fec(12).isEq(Fec(0)));
}

TEST_F(ForwardingStatusTest, AReadThatThrowsNamesTheFecAndCallsNoHook) {
  table->corruptionHookIs([this](const String& message) { log.add(message); });
  table->corruptIs(12);
  try {
    table->fec(12);
    FAIL() << "read a corrupt key";
  } catch (const RangeError& error) {
    EXPECT_THAT(error.what(), HasSubstr("12"));
  }
  EXPECT_EQ(log.take(), Events{});
}

TEST_F(ForwardingStatusTest, TheHookGetsTheMessage) {
  table->doCorruptionDetected("nobody listens");
  table->corruptionHookIs([this](const String& message) { log.add(message); });
  const Ptr<const ForwardingStatus> asReader = table;
  asReader->doCorruptionDetected("fec 12: 601 vias, at most 600");
  EXPECT_EQ(log.take(), Events{"fec 12: 601 vias, at most 600"});
}

TEST_F(ForwardingStatusTest, TypeDataCountsTheFecs) {
  table->fecIs(fecOf(12, 1));
  const TypeData& type = table->typeData();
  EXPECT_EQ(type.name(), "Routing::FibGen::MemoryForwardingStatus");
  ASSERT_EQ(type.attributes().size(), 1U);
  EXPECT_EQ(type.attributes()[0].name, "fecs");
  EXPECT_EQ(type.attributes()[0].value(*table), "1");
}

}  // namespace
}  // namespace Routing
