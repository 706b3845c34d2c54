// The trie beside a plain set of prefixes, over long random runs.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;

template <class Family>
class Pair {
 public:
  Pair(Spread spread, std::uint64_t seed) : random_(Family::family, spread, seed) {}

  const PrefixTrie<Family>& trie() const { return trie_; }

  // One change, of a prefix that is there or one that is likely not, and its outcome.
  void change(unsigned addPercent) {
    const bool add = random_.below(100) < addPercent;
    const IpGenPrefix which = random_.below(10) < (add ? 1U : 8U) ? present() : random_.next();
    if (add) {
      EXPECT_EQ(model_.insert(which), trie_.insert(which)) << which.stringValue();
    } else {
      EXPECT_EQ(model_.erase(which), trie_.erase(which)) << which.stringValue();
    }
    EXPECT_EQ(model_.size(), trie_.size());
  }
  void compareAnswers() {
    IpGenPrefix which = random_.below(2) == 0 ? random_.next() : present();
    if (random_.below(2) == 0) {
      which =
          IpGenPrefix(which.address(),
                      static_cast<std::uint8_t>(random_.below(addressBits(Family::family) + 1)));
    }
    EXPECT_EQ(model_.has(which), trie_.has(which)) << which.stringValue();
    EXPECT_EQ(model_.longestMatch(which), trie_.longestMatch(which)) << which.stringValue();
    EXPECT_EQ(model_.longestMatch(which), searched(which)) << which.stringValue();
    EXPECT_EQ(model_.longerPresent(which), trie_.longerPresent(which)) << which.stringValue();
  }
  // In steps, some of which may be left out.
  IpGenPrefix searched(const IpGenPrefix& which) {
    TrieSearch search = trie_.searchBegin(which);
    for (unsigned steps = random_.below(12); steps > 0 && trie_.searchStep(which, search);) {
      --steps;
    }
    return trie_.searchEnd(which, search);
  }
  void compareWalk() {
    const IpGenPrefix from = random_.below(2) == 0 ? random_.next() : present();
    const unsigned length = random_.below(4) == 0 ? 0 : random_.below(from.length() + 1U);
    const IpGenPrefix under(from.address(), static_cast<std::uint8_t>(length));
    EXPECT_EQ(texts(model_.walked(under)), texts(walked(trie_, under))) << under.stringValue();
    EXPECT_EQ("", trie_.checkInvariants());
  }
  void eraseAll() {
    std::vector<IpGenPrefix> left(model_.all().begin(), model_.all().end());
    std::shuffle(left.begin(), left.end(), random_.engine());
    for (std::size_t i = 0; i < left.size(); ++i) {
      EXPECT_TRUE(trie_.erase(left[i])) << left[i].stringValue();
      model_.erase(left[i]);
      if (i % 997 == 0) {
        compareWalk();
      }
    }
    EXPECT_EQ("", trie_.checkInvariants());
  }

 private:
  // A prefix of the set, while there is one.
  IpGenPrefix present() {
    const IpGenPrefix from = random_.next();
    const auto next = model_.all().lower_bound(from);
    if (next != model_.all().end()) {
      return *next;
    }
    return model_.all().empty() ? from : *model_.all().begin();
  }

  RandomPrefixes random_;
  Model model_;
  PrefixTrie<Family> trie_;
};

struct Run {
  Spread spread;
  unsigned changes;
  bool passesTopLimit;
};

class PrefixTrieFuzz : public testing::TestWithParam<Run> {
 protected:
  template <class Family>
  static void run() {
    SCOPED_TRACE(seedText());
    Pair<Family> pair(GetParam().spread, testSeed());
    const std::size_t emptyBytes = pair.trie().memory();
    bool hadDenseTop = false;
    for (unsigned i = 0; i < GetParam().changes && !HasFailure(); ++i) {
      // Swells, stays and shrinks.
      constexpr std::array<unsigned, 3> addPercent{92, 50, 25};
      pair.change(addPercent[i * std::size_t{3} / GetParam().changes]);
      if (i % 4 == 0) {
        pair.compareAnswers();
      }
      if (i % 4096 == 0) {
        pair.compareWalk();
      }
      hadDenseTop = hadDenseTop || pair.trie().hasDenseTop();
    }
    EXPECT_EQ(GetParam().passesTopLimit, hadDenseTop);
    pair.eraseAll();
    EXPECT_EQ(0U, pair.trie().size());
    EXPECT_EQ(emptyBytes, pair.trie().memory());
    EXPECT_EQ(0U, pair.trie().arena().nodes.used());
    EXPECT_EQ(0U, pair.trie().arena().leaves.used());
    EXPECT_EQ(0U, pair.trie().arena().arrays.used());
  }
};

TEST_P(PrefixTrieFuzz, Ipv4AnswersAsASetOfPrefixesDoes) { run<TrieFamily4>(); }
TEST_P(PrefixTrieFuzz, Ipv6AnswersAsASetOfPrefixesDoes) { run<TrieFamily6>(); }

INSTANTIATE_TEST_SUITE_P(Spreads,
                         PrefixTrieFuzz,
                         testing::Values(Run{Spread::anyLength, 120000, true},
                                         Run{Spread::nested, 30000, false},
                                         Run{Spread::denseHosts, 30000, false},
                                         Run{Spread::sparseHosts, 72000, true},
                                         Run{Spread::table, 90000, true}),
                         [](const auto& run) { return spreadName(run.param.spread); });

}  // namespace
}  // namespace Routing
