#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <thread>
#include <vector>

#include "platform/trie/PrefixTrie.h"
#include "platform/trie/TrieArena.h"
#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

using Leaves = Slab<TrieLeaf<TrieKey32>>;

TEST(Slab, IndexZeroIsNeverHandedOut) {
  Leaves slab(1U << 20U);
  for (unsigned i = 0; i < 10; ++i) {
    slab.reserve();
    EXPECT_NE(0U, slab.take());
  }
}

TEST(Slab, NoElementIsHandedOutTwiceAndNoneMoves) {
  Leaves slab(1U << 20U);
  std::set<std::uint32_t> taken;
  slab.reserve();
  const std::uint32_t first = slab.take();
  const auto* const place = &slab[first];
  for (unsigned i = 0; i < 50000; ++i) {
    slab.reserve();
    EXPECT_TRUE(taken.insert(slab.take()).second);
  }
  EXPECT_EQ(0U, taken.count(first));
  EXPECT_EQ(place, &slab[first]);
  EXPECT_EQ(50001U, slab.used());
}

TEST(Slab, WhatIsGivenBackIsTakenAgainFirst) {
  Leaves slab(1U << 20U);
  slab.reserve(3);
  const std::uint32_t first = slab.take();
  const std::uint32_t second = slab.take();
  slab.give(first);
  slab.give(second);
  EXPECT_EQ(second, slab.take());
  EXPECT_EQ(first, slab.take());
}

TEST(Slab, AFullSlabRefusesAndStaysUsable) {
  Leaves slab(32768);
  EXPECT_THROW(slab.reserve(32768), std::bad_alloc);
  slab.reserve(32767);
  const std::uint32_t index = slab.take();
  slab[index] = {7};
  EXPECT_EQ(7U, slab[index].packed);
}

TEST(ArrayPool, EveryCountFitsItsClass) {
  for (unsigned count = 1; count <= 64; ++count) {
    EXPECT_GE(ArrayPool::wordsOf(count), count);
    EXPECT_LE(ArrayPool::wordsOf(count), count + count / 4 + 1);
  }
}

TEST(ArrayPool, ArraysDoNotOverlap) {
  ArrayPool pool(1U << 27U);
  std::vector<std::pair<std::uint32_t, unsigned>> arrays;
  for (unsigned i = 0; i < 4000; ++i) {
    const unsigned count = i * 7 % 64 + 1;
    pool.reserve(count);
    arrays.emplace_back(pool.take(count), count);
    for (unsigned at = 0; at < count; ++at) {
      pool.at(arrays.back().first)[at] = TrieRef::node(i);
    }
  }
  for (unsigned i = 0; i < arrays.size(); ++i) {
    for (unsigned at = 0; at < arrays[i].second; ++at) {
      EXPECT_EQ(i, pool.at(arrays[i].first)[at].index());
    }
  }
}

TEST(ArrayPool, ReservingManyOfASizeLetsThatManyBeTakenWithoutAnotherChunk) {
  ArrayPool pool(1U << 27U);
  pool.reserve(17, 5000);
  const std::size_t held = pool.held();
  for (unsigned i = 0; i < 5000; ++i) {
    pool.take(17);
  }
  EXPECT_EQ(held, pool.held());
  EXPECT_EQ(5000U * 20, pool.used());
}

TEST(ArrayPool, TheRestOfAnArrayCutShortIsUsedAgain) {
  ArrayPool pool(1U << 27U);
  pool.reserve(64);
  const std::uint32_t index = pool.take(64);
  pool.cut(index, 64, 56);
  EXPECT_EQ(56U, pool.used());
  pool.reserve(8);
  EXPECT_EQ(index + 56, pool.take(8));
}

TEST(TrieArena, TriesOfOneFamilyShareItAndItGoesWithTheLast) {
  std::weak_ptr<TrieArena<TrieFamily4>> watch;
  {
    const PrefixTrie<TrieFamily4> first;
    const PrefixTrie<TrieFamily4> second;
    EXPECT_EQ(&first.arena(), &second.arena());
    watch = TrieArena<TrieFamily4>::ofThread();
    EXPECT_EQ(&first.arena(), watch.lock().get());
  }
  EXPECT_TRUE(watch.expired());
}

TEST(TrieArena, AnotherThreadHasItsOwn) {
  const auto here = TrieArena<TrieFamily6>::ofThread();
  std::shared_ptr<TrieArena<TrieFamily6>> there;
  std::thread([&there] { there = TrieArena<TrieFamily6>::ofThread(); }).join();
  EXPECT_NE(here, there);
  PrefixTrie<TrieFamily6> trie;
  EXPECT_EQ(here.get(), &trie.arena());
}

TEST(TrieArena, ChunksGoWhenTheLastPrefixOfAllTriesGoes) {
  PrefixTrie<TrieFamily4> small;
  PrefixTrie<TrieFamily4> large;
  RandomPrefixes random(AddressFamily::ipv4, Spread::sparseHosts, testSeed());
  small.insert(prefix("10.0.0.1/32"));
  const std::size_t heldBySmall = small.arena().held();
  std::vector<IpGenPrefix> hosts;
  for (unsigned i = 0; i < 100000; ++i) {
    hosts.push_back(random.next());
    large.insert(hosts.back());
  }
  EXPECT_GT(large.arena().held(), 4 * heldBySmall);
  for (const IpGenPrefix& host : hosts) {
    large.erase(host);
  }
  EXPECT_TRUE(small.has(prefix("10.0.0.1/32")));
  small.erase(prefix("10.0.0.1/32"));
  EXPECT_LE(small.arena().held(), 3 * 65536U);
}

}  // namespace
}  // namespace Routing
