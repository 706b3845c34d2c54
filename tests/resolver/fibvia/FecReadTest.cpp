// Reads of the FEC table that throw.

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>

#include "tests/resolver/fibvia/ScriptedForwardingStatus.h"
#include "tests/support/FibViaFixture.h"

namespace Routing {
namespace {

using Support::Events;
using Support::fecOf;
using Support::fibViaLine;

class FibViaFecRead : public Support::FibViaFixture {
 protected:
  FibViaFecRead() {
    table->corruptionHookIs([this](const String& message) { log.add("corrupt: " + message); });
  }

  Ptr<Support::ScriptedForwardingStatus> scripted = makeEntity<Support::ScriptedForwardingStatus>();
};

TEST_F(FibViaFecRead, ThatThrowsOnAFirstReferenceIsReportedAndReadAsMissing) {
  table->fecIs(fecOf(12));
  table->corruptIs(12);
  start();
  EXPECT_EQ(
      addReference(12, "bgp", "10.0.0.1"),
      (Events{
          "fecIdRef 12 added, clients: 0",
          fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
          fibViaLine(9, "allocateResolverIdForGenFecId fecId: 12"),
          "corrupt: fec 12 is corrupt",
          fibViaLine(2, "allocateResolverIdForGenFecId fecId 12 missing from forwarding status."),
          "clientRef 12 bgp added, nexthops: 0",
          "key bgp 10.0.0.1 -> 12"}));
  EXPECT_EQ(firstUnallocated(), 4U);
}

TEST_F(FibViaFecRead, OfAFecThatBecameTooLargeTakesItsReferences) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  traces.reset();
  EXPECT_EQ(writeFec(fecOf(12, 601)),
            (Events{"corrupt: fec 12: 601 vias, at most 600",
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 12 removed",
                    "record 4 removed",
                    "map 12 removed"}));
}

TEST_F(FibViaFecRead, OfAFecWithTooManyBackupViasIsReported) {
  FibGen::Fec fec = fecOf(12);
  for (std::uint32_t i = 0; i < 129; ++i) {
    fec.backupViaIs(i);
  }
  table->fecIs(fec);
  start();
  traces.reset();
  EXPECT_EQ(addReference(12, "bgp", "10.0.0.1"),
            (Events{"fecIdRef 12 added, clients: 0",
                    "corrupt: fec 12: 129 backup vias, at most 128",
                    "clientRef 12 bgp added, nexthops: 0",
                    "key bgp 10.0.0.1 -> 12"}));
}

TEST_F(FibViaFecRead, ThatThrowsOnAChangeIsReportedOnceAndCountsAsGone) {
  table->fecIs(fecOf(12));
  start();
  addReference(12, "bgp", "10.0.0.1");
  table->corruptIs(12);
  table->fecAnnounce(12);
  EXPECT_EQ(log.take(),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    "corrupt: fec 12 is corrupt",
                    fibViaLine(2, "handleGenFecId fecId removed from ForwardingStatus: 12"),
                    "clientRef 12 bgp removed",
                    "key bgp 10.0.0.1 removed",
                    "fecIdRef 12 removed",
                    fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
                    fibViaLine(9, "removeResolverIdForFecId fecId: 12"),
                    fibViaLine(2,
                               "removeResolverIdForFecId clients no longer interested in fecId: 12 "
                               "(resId: 4)"),
                    "record 4 removed",
                    "map 12 removed"}));
}

TEST_F(FibViaFecRead, ThatThrowsOnlyTheSecondTimePublishesAnEmptyRecord) {
  int reads = 0;
  scripted->readIs([&reads](FecId fecId) {
    if (++reads == 3) {
      throw std::logic_error("torn read");
    }
    return reads == 1 ? FibGen::Fec(0) : fecOf(fecId);
  });
  start(scripted);
  addReference(12, "bgp", "10.0.0.1");
  scripted->announce(12);
  EXPECT_EQ(log.take(),
            (Events{fibViaLine(9, "handleGenFecId fecId: 12"),
                    fibViaLine(2, "handleGenFecId fec added/updated for fecId: 12"),
                    fibViaLine(2, "handleGenFecId resId: 4 allocated for fecId: 12"),
                    "context 5",
                    "record 4, vias: 0",
                    "map 12 -> 4"}));
  EXPECT_EQ(scripted->takeCorruptions(), (Events{"torn read"}));
}

TEST_F(FibViaFecRead, ThatRunsOutOfMemoryPassesThroughAFirstReference) {
  scripted->readIs([](FecId) -> FibGen::Fec { throw std::bad_alloc(); });
  start(scripted);
  EXPECT_THROW(addReference(12, "bgp", "10.0.0.1"), std::bad_alloc);
  EXPECT_EQ(scripted->takeCorruptions(), Events{});
}

TEST_F(FibViaFecRead, ThatRunsOutOfMemoryPassesThroughAChange) {
  start(scripted);
  addReference(12, "bgp", "10.0.0.1");
  scripted->readIs([](FecId) -> FibGen::Fec { throw std::bad_alloc(); });
  EXPECT_THROW(scripted->announce(12), std::bad_alloc);
  EXPECT_EQ(scripted->takeCorruptions(), Events{});
  EXPECT_NE(references->fecIdRef(12), nullptr);
}

TEST_F(FibViaFecRead, ThatThrowsWhatIsNoStandardExceptionPassesThrough) {
  struct Foreign {};
  scripted->readIs([](FecId) -> FibGen::Fec { throw Foreign(); });
  start(scripted);
  EXPECT_THROW(addReference(12, "bgp", "10.0.0.1"), Foreign);
  EXPECT_EQ(scripted->takeCorruptions(), Events{});
}

TEST_F(FibViaFecRead, OfATableThatIsNotThereFindsNoFec) {
  start(nullptr);
  EXPECT_EQ(
      addReference(12, "bgp", "10.0.0.1"),
      (Events{
          "fecIdRef 12 added, clients: 0",
          fibViaLine(9, "handleFecIdReferenceUpdate fecId: 12"),
          fibViaLine(9, "allocateResolverIdForGenFecId fecId: 12"),
          fibViaLine(2, "allocateResolverIdForGenFecId fecId 12 missing from forwarding status."),
          "clientRef 12 bgp added, nexthops: 0",
          "key bgp 10.0.0.1 -> 12"}));
}

}  // namespace
}  // namespace Routing
