// What a trie takes, and what happens when there is nothing to be had.
//
// The global allocation functions are replaced by ones that count, and that fail while a test says
// so.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "tests/platform/trie/TrieTesting.h"

namespace {

bool refuse = false;
std::size_t allocations = 0;
std::size_t refusals = 0;

void* allocate(std::size_t size) {
  if (refuse) {
    ++refusals;
    throw std::bad_alloc();
  }
  ++allocations;
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what the allocation functions are made of
  if (void* memory = std::malloc(size == 0 ? 1 : size)) {
    return memory;
  }
  throw std::bad_alloc();
}

// NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what the allocation functions are made of
void release(void* memory) noexcept { std::free(memory); }

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { release(memory); }

namespace Routing {
namespace {

using namespace TrieTesting;

// Every allocation fails while it lives.
class NoMemory {
 public:
  NoMemory() { refuse = true; }
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
  ~NoMemory() { refuse = false; }
};

template <class Family>
class TrieMemory : public testing::Test {
 protected:
  // What is added or removed, so that the test itself needs no memory for it.
  static std::vector<IpGenPrefix> some(Spread spread, std::size_t count) {
    RandomPrefixes random(Family::family, spread, testSeed());
    Model model;
    std::vector<IpGenPrefix> prefixes;
    while (prefixes.size() < count) {
      const IpGenPrefix next = random.next();
      if (model.insert(next)) {
        prefixes.push_back(next);
      }
    }
    return prefixes;
  }
  static IpGenPrefix all() {
    return prefix(Family::family == AddressFamily::ipv4 ? "0.0.0.0/0" : "::/0");
  }
  static constexpr bool ipv4 = Family::family == AddressFamily::ipv4;
  // The depth of a node below the dense top.
  static constexpr unsigned depth = ipv4 ? 18 : 42;

  // A prefix of the node number `node` at that depth, in the slot.
  static IpGenPrefix inNode(std::uint64_t node, std::uint64_t slot, unsigned length) {
    const std::uint64_t bits = node << (64 - depth) | slot << (58 - depth);
    const auto first = static_cast<std::uint32_t>(bits >> 32U);
    const IpGenAddr address =
        ipv4 ? IpGenAddr::ipv4(first)
             : IpGenAddr::ipv6(IpGenAddr::Words{first, static_cast<std::uint32_t>(bits), 0, 0});
    return {address, static_cast<std::uint8_t>(length)};
  }
  // Many nodes with a few prefixes each, in slots one after the other.
  static std::vector<IpGenPrefix> perNode(std::uint64_t nodes,
                                          std::uint64_t each,
                                          unsigned length) {
    std::vector<IpGenPrefix> prefixes;
    for (std::uint64_t i = 0; i < nodes * each; ++i) {
      prefixes.push_back(inNode(i / each, i % each, length));
    }
    return prefixes;
  }
  // Removes the first prefix of every node, then all, with no memory to be had; compares on the
  // way.
  static void expectRemovable(const std::vector<IpGenPrefix>& prefixes, std::size_t each) {
    PrefixTrie<Family> trie;
    Model model;
    for (const IpGenPrefix& one : prefixes) {
      trie.insert(one);
      model.insert(one);
    }
    refusals = 0;
    for (std::size_t which = 0; which < each; ++which) {
      for (std::size_t i = which; i < prefixes.size(); i += each) {
        const NoMemory none;
        EXPECT_TRUE(trie.erase(prefixes[i]));
      }
      for (std::size_t i = which; i < prefixes.size(); i += each) {
        model.erase(prefixes[i]);
      }
      EXPECT_EQ("", trie.checkInvariants());
      EXPECT_EQ(model.walked(all()), walked(trie, all()));
    }
    EXPECT_GE(refusals, 1U);
    EXPECT_EQ(0U, trie.arena().nodes.used() + trie.arena().leaves.used());
    EXPECT_EQ(0U, trie.arena().arrays.used());
  }
};

using Families = testing::Types<TrieFamily4, TrieFamily6>;
TYPED_TEST_SUITE(TrieMemory, Families);

TYPED_TEST(TrieMemory, AnInsertionThatFindsNoMemoryLeavesTheTrieAsItWas) {
  SCOPED_TRACE(seedText());
  for (const Spread spread : {Spread::anyLength, Spread::sparseHosts, Spread::table}) {
    PrefixTrie<TypeParam> trie;
    Model model;
    refusals = 0;
    for (const IpGenPrefix& each : this->some(spread, 40000)) {
      bool failed = false;
      try {
        const NoMemory none;
        trie.insert(each);
      } catch (const std::bad_alloc&) {
        failed = true;
      }
      if (failed) {
        EXPECT_FALSE(trie.has(each));
        EXPECT_EQ("", trie.checkInvariants());
        EXPECT_EQ(model.walked(this->all()), walked(trie, this->all()));
        EXPECT_TRUE(trie.insert(each));
      }
      model.insert(each);
    }
    // Leaves, nodes, child arrays and the dense top at least.
    EXPECT_GE(refusals, 4U);
    EXPECT_TRUE(trie.hasDenseTop());
    EXPECT_EQ(model.walked(this->all()), walked(trie, this->all()));
  }
}

TYPED_TEST(TrieMemory, RemovingNeedsNoMemoryToBeHad) {
  SCOPED_TRACE(seedText());
  for (const Spread spread : {Spread::anyLength, Spread::nested, Spread::table}) {
    PrefixTrie<TypeParam> trie;
    Model model;
    std::vector<IpGenPrefix> prefixes = this->some(spread, 20000);
    for (const IpGenPrefix& each : prefixes) {
      trie.insert(each);
      model.insert(each);
    }
    std::reverse(prefixes.begin(), prefixes.end());
    for (std::size_t i = 0; i < prefixes.size(); ++i) {
      {
        const NoMemory none;
        EXPECT_TRUE(trie.erase(prefixes[i]));
      }
      model.erase(prefixes[i]);
      if (i % 1999 == 0 || i + 3 > prefixes.size()) {
        EXPECT_EQ("", trie.checkInvariants());
        EXPECT_EQ(model.walked(this->all()), walked(trie, this->all()));
      }
    }
    EXPECT_EQ(0U, trie.arena().nodes.used());
    EXPECT_EQ(0U, trie.arena().leaves.used());
    EXPECT_EQ(0U, trie.arena().arrays.used());
  }
}

// More nodes are left with one prefix than there are leaves to be had.
TYPED_TEST(TrieMemory, RemovingManagesWithoutLeaves) {
  this->expectRemovable(this->perNode(20000, 2, this->depth + 6), 2);
}

// More child arrays shrink than there are shorter ones to be had.
TYPED_TEST(TrieMemory, RemovingManagesWithoutChildArrays) {
  this->expectRemovable(this->perNode(10000, 3, this->depth + 7), 3);
}

TYPED_TEST(TrieMemory, AskingAllocatesNothing) {
  PrefixTrie<TypeParam> trie;
  const std::vector<IpGenPrefix> prefixes = this->some(Spread::table, 20000);
  for (const IpGenPrefix& each : prefixes) {
    trie.insert(each);
  }
  std::size_t visits = 0;
  const std::size_t before = allocations;
  for (const IpGenPrefix& each : prefixes) {
    trie.longestMatch(each);
    trie.longerPresent(each);
  }
  trie.walk(this->all(), [&visits](const IpGenPrefix&) { return ++visits != 0; });
  EXPECT_EQ(before, allocations);
  EXPECT_EQ(prefixes.size(), visits);
}

TYPED_TEST(TrieMemory, RemovingAndAddingAgainAllocatesNothing) {
  PrefixTrie<TypeParam> trie;
  const std::vector<IpGenPrefix> prefixes = this->some(Spread::table, 20000);
  for (const IpGenPrefix& each : prefixes) {
    trie.insert(each);
  }
  const auto churn = [&] {
    for (const IpGenPrefix& each : prefixes) {
      trie.erase(each);
      trie.insert(each);
    }
  };
  churn();
  const std::size_t before = allocations;
  churn();
  EXPECT_EQ(before, allocations);
}

TYPED_TEST(TrieMemory, AnEmptyTrieTakesItsObjectAlone) {
  const PrefixTrie<TypeParam> first;
  const std::size_t before = allocations;
  const PrefixTrie<TypeParam> second;
  EXPECT_EQ(before, allocations);
  EXPECT_EQ(sizeof(second), second.memory());
  EXPECT_LE(sizeof(second), 64U);
}

TYPED_TEST(TrieMemory, SixteenHostsTakeAFewHundredBytes) {
  for (const Spread spread : {Spread::sparseHosts, Spread::denseHosts}) {
    PrefixTrie<TypeParam> trie;
    for (const IpGenPrefix& host : this->some(spread, 16)) {
      trie.insert(host);
    }
    EXPECT_LE(trie.memory(), this->ipv4 ? 512U : 1024U) << spreadName(spread);
  }
}

TYPED_TEST(TrieMemory, RandomHostsTakeFewBytesEach) {
  PrefixTrie<TypeParam> trie;
  for (const IpGenPrefix& host : this->some(Spread::sparseHosts, 100000)) {
    trie.insert(host);
  }
  EXPECT_LE(trie.memory() / trie.size(), this->ipv4 ? 24U : 40U);
}

// Before it has a dense top the trie has few nodes; without it, it would need more than a chunk.
TEST(TrieMemoryOfDenseTop, ItStaysUntilThereIsMemoryForNodesInItsPlace) {
  constexpr std::uint32_t limit = PrefixTrie<TrieFamily4>::topLimit;
  const auto nth18 = [](std::uint32_t index) {
    return IpGenPrefix(IpGenAddr::ipv4(index << 14U), 18);
  };
  PrefixTrie<TrieFamily4> trie;
  for (std::uint32_t i = 0; i <= limit; ++i) {
    trie.insert(nth18(i));
  }
  for (std::uint32_t i = 0; i < limit / 4; ++i) {
    trie.insert(nth18(limit * 2 + i / 2 * 64 + i % 2));
  }
  {
    const NoMemory none;
    for (std::uint32_t i = 0; i <= limit; ++i) {
      EXPECT_TRUE(trie.erase(nth18(i)));
    }
  }
  EXPECT_TRUE(trie.hasDenseTop());
  EXPECT_EQ("", trie.checkInvariants());
  EXPECT_TRUE(trie.erase(nth18(limit * 2)));
  EXPECT_FALSE(trie.hasDenseTop());
  EXPECT_EQ("", trie.checkInvariants());
  EXPECT_EQ(limit / 4 - 1, walked(trie, prefix("0.0.0.0/0")).size());
}

}  // namespace
}  // namespace Routing
