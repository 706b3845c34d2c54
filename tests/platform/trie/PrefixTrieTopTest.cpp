// The dense top: when it comes and goes, and that nothing else changes with it.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

template <class Family>
class PrefixTrieTop : public testing::Test {
 protected:
  static constexpr std::size_t limit = PrefixTrie<Family>::topLimit;
  static constexpr std::size_t quarter = limit / 4;

  IpGenPrefix all() const {
    const bool ipv4 = Family::family == AddressFamily::ipv4;
    return prefix(ipv4 ? "0.0.0.0/0" : "::/0");
  }
  void growTo(std::size_t size) {
    while (trie_.size() < size) {
      const IpGenPrefix next = random_.next();
      trie_.insert(next);
      model_.insert(next);
    }
  }
  void shrinkTo(std::size_t size) {
    std::vector<IpGenPrefix> left(model_.all().begin(), model_.all().end());
    std::shuffle(left.begin(), left.end(), random_.engine());
    for (; trie_.size() > size; left.pop_back()) {
      trie_.erase(left.back());
      model_.erase(left.back());
    }
  }
  void expectSame() {
    EXPECT_EQ("", trie_.checkInvariants());
    EXPECT_EQ(model_.walked(all()), walked(trie_, all()));
    for (unsigned i = 0; i < 2000; ++i) {
      const IpGenPrefix which = random_.next();
      EXPECT_EQ(model_.longestMatch(which), trie_.longestMatch(which)) << which.stringValue();
      EXPECT_EQ(model_.longerPresent(which), trie_.longerPresent(which)) << which.stringValue();
      EXPECT_EQ(model_.has(which), trie_.has(which)) << which.stringValue();
    }
  }

  RandomPrefixes random_{Family::family, Spread::anyLength, testSeed()};
  Model model_;
  PrefixTrie<Family> trie_;
};

using Families = testing::Types<TrieFamily4, TrieFamily6>;
TYPED_TEST_SUITE(PrefixTrieTop, Families);

TYPED_TEST(PrefixTrieTop, ComesWithTheFirstPrefixPastTheLimit) {
  SCOPED_TRACE(seedText());
  this->growTo(this->limit);
  EXPECT_FALSE(this->trie_.hasDenseTop());
  this->growTo(this->limit + 1);
  EXPECT_TRUE(this->trie_.hasDenseTop());
  this->expectSame();
}

TYPED_TEST(PrefixTrieTop, DoesNotComeForAPrefixThatIsThereAlready) {
  this->growTo(this->limit);
  this->trie_.insert(*this->model_.all().begin());
  EXPECT_FALSE(this->trie_.hasDenseTop());
}

TYPED_TEST(PrefixTrieTop, StaysDownToAQuarterOfTheLimitAndGoesThere) {
  SCOPED_TRACE(seedText());
  this->growTo(this->limit + 1);
  this->shrinkTo(this->quarter + 1);
  EXPECT_TRUE(this->trie_.hasDenseTop());
  this->expectSame();
  this->shrinkTo(this->quarter);
  EXPECT_FALSE(this->trie_.hasDenseTop());
  this->expectSame();
}

TYPED_TEST(PrefixTrieTop, ComesAndGoesAgainAndLeavesNothingBehind) {
  SCOPED_TRACE(seedText());
  const std::size_t emptyBytes = this->trie_.memory();
  for (unsigned round = 0; round < 3; ++round) {
    this->growTo(this->limit + 100);
    this->expectSame();
    this->shrinkTo(0);
    EXPECT_EQ(emptyBytes, this->trie_.memory());
    EXPECT_EQ(0U, this->trie_.arena().nodes.used());
  }
}

TYPED_TEST(PrefixTrieTop, WalksOfEveryLengthUnderItAreTheSame) {
  SCOPED_TRACE(seedText());
  this->growTo(this->limit + 1);
  const IpGenPrefix some = this->random_.next();
  for (unsigned length = 0; length <= some.length(); ++length) {
    const IpGenPrefix under(some.address(), static_cast<std::uint8_t>(length));
    EXPECT_EQ(this->model_.walked(under), walked(this->trie_, under)) << under.stringValue();
    EXPECT_EQ(this->model_.longerPresent(under), this->trie_.longerPresent(under));
  }
}

TYPED_TEST(PrefixTrieTop, AWalkUnderItEndsWhenTheVisitorSaysSo) {
  this->growTo(this->limit + 1);
  for (const std::size_t wanted : {1U, 2U, 3U, 100U, 1000U}) {
    std::size_t seen = 0;
    this->trie_.walk(this->all(), [&seen, wanted](const IpGenPrefix&) { return ++seen < wanted; });
    EXPECT_EQ(wanted, seen);
  }
}

}  // namespace
}  // namespace Routing
