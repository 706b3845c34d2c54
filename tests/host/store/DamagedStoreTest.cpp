// A store that cannot be trusted is set aside whole, and the daemon begins with an empty one.

#include <fstream>
#include <iterator>
#include <random>

#include "tests/host/store/StoreFixture.h"
#include "tests/support/Seed.h"

namespace Routing::Host {
namespace {

class DamagedStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    Records records;
    StateStore store(directory.store());
    store.follow(records.vrfs);
    for (std::uint32_t index = 0; index < 500; ++index) {
      NexthopStatusEntry entry = resolvedEntry("10.0.0.0", 4);
      entry.addr = IpGenAddr::ipv4(0x0a000000U + index);
      records.vrfStatus("bgp")->nexthopIs(entry);
    }
    store.registrationIs("key", "value");
    store.commit();
  }
  std::string bytes(const std::string& file) const {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void bytesAre(const std::string& bytes) const {
    std::ofstream(directory.file(), std::ios::binary | std::ios::trunc) << bytes;
  }
  // What a damaged file must lead to.
  void expectSetAside(const std::string& damaged) const {
    const StateStore store(directory.store());
    EXPECT_NE(store.setAside().find("set aside as " + directory.file() + ".aside-"),
              std::string::npos)
        << store.setAside();
    EXPECT_EQ(contentOf(store.reader()), std::vector<std::string>{});
    EXPECT_EQ(bytes(directory.file() + ".aside-1"), damaged);
  }

  TemporaryDirectory directory;
};

TEST_F(DamagedStoreTest, AFileOfAnotherKindIsSetAside) {
  const std::string foreign(100000, 'x');
  bytesAre(foreign);
  expectSetAside(foreign);
}

TEST_F(DamagedStoreTest, AFileCutShortIsSetAside) {
  const std::string whole = bytes(directory.file());
  const std::string half = whole.substr(0, whole.size() / 2);
  bytesAre(half);
  expectSetAside(half);
}

TEST_F(DamagedStoreTest, AnEmptyFileIsANewStore) {
  bytesAre("");
  const StateStore store(directory.store());
  EXPECT_EQ(contentOf(store.reader()), std::vector<std::string>{});
}

TEST_F(DamagedStoreTest, AStoreOfAnotherLayoutIsSetAside) {
  {
    const LmdbEnvironment environment(directory.store(),
                                      std::size_t{1} << 20U,
                                      LmdbEnvironment::Access::readWrite);
    LmdbTransaction transaction(environment, LmdbEnvironment::Access::readWrite);
    std::string sealed;
    StoreFormat::seal(StoreFormat::layoutKey, "nexthopd state 0", sealed);
    transaction.put(transaction.database(StoreFormat::meta), StoreFormat::layoutKey, sealed);
    transaction.commit();
  }
  expectSetAside(bytes(directory.file()));
}

TEST_F(DamagedStoreTest, AnEarlierOneThatWasSetAsideIsKept) {
  bytesAre("first");
  { const StateStore store(directory.store()); }
  bytesAre("second");
  { const StateStore store(directory.store()); }
  EXPECT_EQ(bytes(directory.file() + ".aside-1"), "first");
  EXPECT_EQ(bytes(directory.file() + ".aside-2"), "second");
}

// Whatever a flipped byte hits: the daemon starts, and what it believes is what was written.
TEST_F(DamagedStoreTest, AByteFlippedAnywhereIsNeverBelieved) {
  std::vector<std::string> expected = contentOf(StoreReader(directory.store()));
  std::sort(expected.begin(), expected.end());
  const std::string whole = bytes(directory.file());
  const std::uint64_t seed = Support::seed();
  const Support::SeedTrace trace(seed);
  std::mt19937_64 random(seed);
  for (int round = 0; round < 60; ++round) {
    std::string damaged = whole;
    char& byte = damaged[random() % damaged.size()];
    byte = static_cast<char>(byte ^ (1 << (random() % 8)));
    bytesAre(damaged);
    const StateStore store(directory.store());
    for (const std::string& line : contentOf(store.reader())) {
      EXPECT_TRUE(std::binary_search(expected.begin(), expected.end(), line)) << line;
    }
  }
}

}  // namespace
}  // namespace Routing::Host
