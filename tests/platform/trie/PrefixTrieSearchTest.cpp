// A longest match in steps, and the count of changes that tells whether one still holds.

#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

template <class Family>
class PrefixTrieSearch : public testing::Test {
 protected:
  static constexpr bool isIpv4 = Family::family == AddressFamily::ipv4;

  void fill(std::initializer_list<std::string_view> prefixes) {
    for (const std::string_view each : prefixes) {
      trie.insert(prefix(each));
    }
  }
  // Searches with at most so many steps; tells how many there were.
  unsigned search(const IpGenPrefix& which, unsigned mostSteps, IpGenPrefix& found) const {
    TrieSearch search = trie.searchBegin(which);
    unsigned steps = 0;
    while (steps < mostSteps && trie.searchStep(which, search)) {
      ++steps;
    }
    found = trie.searchEnd(which, search);
    return steps;
  }
  // That it gives the longest match, wherever it is broken off.
  void expectMatch(const IpGenPrefix& which) const {
    const IpGenPrefix expected = trie.longestMatch(which);
    IpGenPrefix found;
    const unsigned steps = search(which, 1000, found);
    EXPECT_EQ(expected, found) << which.stringValue();
    // A slot and a node for each level, and the leaf.
    EXPECT_LE(steps, 2U * (addressBits(Family::family) / trieStride + 2));
    for (unsigned most = 0; most < steps; ++most) {
      search(which, most, found);
      EXPECT_EQ(expected, found) << which.stringValue() << " after " << most << " steps";
    }
  }

  PrefixTrie<Family> trie;
};

using Families = testing::Types<TrieFamily4, TrieFamily6>;
TYPED_TEST_SUITE(PrefixTrieSearch, Families);

TYPED_TEST(PrefixTrieSearch, InAnEmptyTrieFindsTheEmptyPrefixWithoutAStep) {
  const IpGenPrefix host = prefix(this->isIpv4 ? "10.0.0.1/32" : "2001:db8::1/128");
  IpGenPrefix found = host;
  EXPECT_EQ(0U, this->search(host, 1000, found));
  EXPECT_EQ(IpGenPrefix(), found);
}

TYPED_TEST(PrefixTrieSearch, InATrieOfOnePrefixFindsItOrNothing) {
  if (this->isIpv4) {
    this->fill({"10.0.0.0/8"});
  } else {
    this->fill({"2001:db8::/32"});
  }
  for (const char* text : {"10.0.0.1/32", "10.0.0.0/8", "10.0.0.0/7", "11.0.0.1/32", "0.0.0.0/0"}) {
    this->expectMatch(this->isIpv4 ? prefix(text) : prefix("2001:db8::1/128"));
  }
  for (const char* text : {"2001:db8::/32", "2001:db8::/31", "2001:db9::1/128", "::/0"}) {
    this->expectMatch(this->isIpv4 ? prefix("10.1.0.0/16") : prefix(text));
  }
}

TYPED_TEST(PrefixTrieSearch, OfAPrefixOfTheOtherFamilyOrNoneFindsTheEmptyPrefix) {
  this->fill(this->isIpv4 ? std::initializer_list<std::string_view>{"0.0.0.0/0", "10.0.0.0/8"}
                          : std::initializer_list<std::string_view>{"::/0", "2001:db8::/32"});
  for (const IpGenPrefix& other : {IpGenPrefix(),
                                   prefix(this->isIpv4 ? "2001:db8::1/128" : "10.0.0.1/32"),
                                   prefix(this->isIpv4 ? "::/0" : "0.0.0.0/0")}) {
    IpGenPrefix found = prefix("10.0.0.1/32");
    this->search(other, 1000, found);
    EXPECT_EQ(IpGenPrefix(), found);
  }
}

TYPED_TEST(PrefixTrieSearch, DownADeepPathFindsTheNearestCoverOfHostsAndOthers) {
  const unsigned bits = addressBits(TypeParam::family);
  const IpGenPrefix host = prefix(this->isIpv4 ? "10.20.30.40/32" : "2001:db8:1:2:3:4:5:6/128");
  for (unsigned length = 0; length <= bits; length += 3) {
    this->trie.insert({host.address(), static_cast<std::uint8_t>(length)});
    // A neighbour, so that there are nodes with children.
    this->trie.insert(prefix(this->isIpv4 ? "10.20.30.41/32" : "2001:db8:1:2:3:4:5:7/128"));
    for (unsigned asked = 0; asked <= bits; ++asked) {
      this->expectMatch({host.address(), static_cast<std::uint8_t>(asked)});
    }
  }
}

TYPED_TEST(PrefixTrieSearch, UnderADenseTopFindsWhatTheLongestMatchFinds) {
  SCOPED_TRACE(seedText());
  for (const Spread spread : {Spread::anyLength, Spread::table, Spread::sparseHosts}) {
    RandomPrefixes random(TypeParam::family, spread, testSeed());
    while (this->trie.size() <= PrefixTrie<TypeParam>::topLimit) {
      this->trie.insert(random.next());
    }
    ASSERT_TRUE(this->trie.hasDenseTop());
    for (unsigned i = 0; i < 3000; ++i) {
      this->expectMatch(random.next());
    }
    for (unsigned i = 0; i < 3000; ++i) {
      this->trie.insert(random.next());
    }
  }
}

TYPED_TEST(PrefixTrieSearch, ChangesCountsWhatWasAddedAndRemovedAndNothingElse) {
  const IpGenPrefix one = prefix(this->isIpv4 ? "10.0.0.0/8" : "2001:db8::/32");
  const IpGenPrefix other = prefix(this->isIpv4 ? "10.0.0.1/32" : "2001:db8::1/128");
  EXPECT_EQ(0U, this->trie.changes());
  this->trie.insert(one);
  EXPECT_EQ(1U, this->trie.changes());
  this->trie.insert(one);
  this->trie.erase(other);
  this->trie.erase(IpGenPrefix());
  this->expectMatch(other);
  EXPECT_TRUE(this->trie.has(one));
  walked(this->trie, one);
  EXPECT_EQ(1U, this->trie.changes());
  this->trie.insert(other);
  EXPECT_EQ(2U, this->trie.changes());
  this->trie.erase(one);
  this->trie.erase(other);
  EXPECT_EQ(4U, this->trie.changes());
  EXPECT_EQ(0U, this->trie.size());
  this->trie.insert(one);
  EXPECT_EQ(5U, this->trie.changes());
}

TYPED_TEST(PrefixTrieSearch, ChangesCountsThroughTheComingAndGoingOfTheDenseTop) {
  RandomPrefixes random(TypeParam::family, Spread::sparseHosts, testSeed());
  Model model;
  std::uint32_t changes = 0;
  while (this->trie.size() <= PrefixTrie<TypeParam>::topLimit) {
    const IpGenPrefix next = random.next();
    model.insert(next);
    changes += this->trie.insert(next) ? 1U : 0U;
    ASSERT_EQ(changes, this->trie.changes());
  }
  for (const IpGenPrefix& each : model.all()) {
    this->trie.erase(each);
    ASSERT_EQ(++changes, this->trie.changes());
  }
  EXPECT_FALSE(this->trie.hasDenseTop());
}

}  // namespace
}  // namespace Routing
