#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "host/feed/FecIdSource.h"

namespace Routing::Host {
namespace {

TEST(FecIdSource, BeginsBeyondTheReservedIdentifiers) {
  FecIdSource source;
  EXPECT_EQ(source.next(), 4U);
  EXPECT_EQ(source.next(), 5U);
  EXPECT_EQ(source.peek(), 6U);
}

TEST(FecIdSource, KeepsTheEndOfABlockBeforeItsFirstIdentifier) {
  std::vector<FecId> kept;
  FecIdSource source(100, [&kept](FecId upTo) { kept.push_back(upTo); });
  EXPECT_TRUE(kept.empty());
  for (FecId id = 100; id < 100 + FecIdSource::blockSize; ++id) {
    EXPECT_EQ(source.next(), id);
  }
  EXPECT_EQ(kept, std::vector<FecId>{100 + FecIdSource::blockSize});
  EXPECT_EQ(source.next(), 100 + FecIdSource::blockSize);
  EXPECT_EQ(kept.back(), 100 + 2 * FecIdSource::blockSize);
}

TEST(FecIdSource, ALaterRunUsesNoneOfTheEarlierIdentifiers) {
  FecId kept = FecIdSource::firstFecId;
  const auto reserve = [&kept](FecId upTo) { kept = upTo; };
  FecId last = 0;
  for (int runs = 0; runs < 5; ++runs) {
    FecIdSource source(kept, reserve);
    for (int ids = 0; ids < 3; ++ids) {
      const FecId id = source.next();
      EXPECT_GT(id, last);
      last = id;
    }
  }
}

TEST(FecIdSource, GivesNothingOutThatCouldNotBeReserved) {
  bool broken = true;
  FecIdSource source(4, [&broken](FecId /*upTo*/) {
    if (broken) {
      throw std::runtime_error("the store is full");
    }
  });
  EXPECT_THROW(source.next(), std::runtime_error);
  broken = false;
  EXPECT_EQ(source.next(), 4U);
}

TEST(FecIdSourceDeathTest, EndsTheProgramRatherThanUsingAnInformationBit) {
  FecIdSource source(FecIdSource::limit - FecIdSource::blockSize);
  EXPECT_DEATH(source.next(), "ran out of FecIds");
}

}  // namespace
}  // namespace Routing::Host
