#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "platform/trie/PrefixTrie.h"
#include "tests/platform/trie/TrieTesting.h"

namespace Routing {
namespace {

using namespace TrieTesting;
using testing::ElementsAre;
using testing::IsEmpty;
using Trie4 = PrefixTrie<TrieFamily4>;
using Trie6 = PrefixTrie<TrieFamily6>;

template <class Trie>
void fill(Trie& trie, std::initializer_list<std::string_view> prefixes) {
  for (const std::string_view each : prefixes) {
    trie.insert(prefix(each));
  }
}

TEST(PrefixTrie, AddingTellsWhetherThePrefixIsNew) {
  Trie4 trie;
  EXPECT_TRUE(trie.insert(prefix("10.0.0.0/8")));
  EXPECT_FALSE(trie.insert(prefix("10.0.0.0/8")));
  EXPECT_EQ(1U, trie.size());
}

TEST(PrefixTrie, RemovingTellsWhetherThePrefixWasThere) {
  Trie4 trie;
  trie.insert(prefix("10.0.0.0/8"));
  EXPECT_FALSE(trie.erase(prefix("10.0.0.0/9")));
  EXPECT_TRUE(trie.erase(prefix("10.0.0.0/8")));
  EXPECT_FALSE(trie.erase(prefix("10.0.0.0/8")));
  EXPECT_EQ(0U, trie.size());
}

TEST(PrefixTrie, LongestMatchOfAnEmptyTrieIsTheEmptyPrefix) {
  const Trie4 trie;
  EXPECT_EQ(IpGenPrefix(), trie.longestMatch(prefix("10.0.0.1/32")));
  EXPECT_EQ(IpGenPrefix(), trie.longestMatch(prefix("0.0.0.0/0")));
}

TEST(PrefixTrie, LongestMatchIsTheLongestCoverThePrefixItselfCounts) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32"});
  EXPECT_EQ(prefix("10.1.2.3/32"), trie.longestMatch(prefix("10.1.2.3/32")));
  EXPECT_EQ(prefix("10.1.2.0/24"), trie.longestMatch(prefix("10.1.2.4/32")));
  EXPECT_EQ(prefix("10.1.0.0/16"), trie.longestMatch(prefix("10.1.3.0/24")));
  EXPECT_EQ(prefix("10.0.0.0/8"), trie.longestMatch(prefix("10.2.0.0/15")));
  EXPECT_EQ(IpGenPrefix(), trie.longestMatch(prefix("11.0.0.0/8")));
}

TEST(PrefixTrie, LongestMatchIsNoLongerThanTheArgument) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/9", "10.0.0.0/10", "10.0.0.0/24"});
  EXPECT_EQ(prefix("10.0.0.0/9"), trie.longestMatch(prefix("10.0.0.0/9")));
  EXPECT_EQ(IpGenPrefix(), trie.longestMatch(prefix("10.0.0.0/8")));
  EXPECT_EQ(prefix("10.0.0.0/10"), trie.longestMatch(prefix("10.0.0.0/23")));
}

TEST(PrefixTrie, TheDefaultRouteCoversEveryPrefixOfItsFamily) {
  Trie6 trie;
  fill(trie, {"::/0"});
  EXPECT_EQ(prefix("::/0"), trie.longestMatch(prefix("2001:db8::1/128")));
  EXPECT_EQ(prefix("::/0"), trie.longestMatch(prefix("::/0")));
}

TEST(PrefixTrie, LongestMatchFallsBackAcrossNodesToTheNearestCover) {
  Trie6 trie;
  fill(trie,
       {"::/0",
        "2001:db8::/32",
        "2001:db8:0:1::/64",
        "2001:db8:0:1::5/128",
        "2001:db8:0:1:8000::/66"});
  EXPECT_EQ(prefix("2001:db8:0:1::/64"), trie.longestMatch(prefix("2001:db8:0:1::6/128")));
  EXPECT_EQ(prefix("2001:db8::/32"), trie.longestMatch(prefix("2001:db8:0:2::6/128")));
  EXPECT_EQ(prefix("::/0"), trie.longestMatch(prefix("2001:db9::/32")));
}

TEST(PrefixTrie, LongerPresentIsFalseForThePrefixItselfAndWhatCoversIt) {
  Trie4 trie;
  fill(trie, {"0.0.0.0/0", "10.1.0.0/16"});
  EXPECT_FALSE(trie.longerPresent(prefix("10.1.0.0/16")));
  EXPECT_FALSE(trie.longerPresent(prefix("10.1.2.0/24")));
  EXPECT_TRUE(trie.longerPresent(prefix("10.0.0.0/15")));
  EXPECT_FALSE(trie.longerPresent(prefix("10.2.0.0/15")));
}

TEST(PrefixTrie, LongerPresentOfAHostIsFalse) {
  Trie4 trie;
  fill(trie, {"10.0.0.1/32", "10.0.0.0/31"});
  EXPECT_FALSE(trie.longerPresent(prefix("10.0.0.1/32")));
}

TEST(PrefixTrie, LongerPresentOfTheDefaultRouteIsTrueAsSoonAsThereIsAnythingLonger) {
  Trie4 trie;
  trie.insert(prefix("0.0.0.0/0"));
  EXPECT_FALSE(trie.longerPresent(prefix("0.0.0.0/0")));
  trie.insert(prefix("128.0.0.0/1"));
  EXPECT_TRUE(trie.longerPresent(prefix("0.0.0.0/0")));
}

TEST(PrefixTrie, AWalkGoesParentsFirstThenByAddress) {
  Trie4 trie;
  fill(trie,
       {"10.1.2.0/24",
        "10.0.0.0/8",
        "10.1.2.128/25",
        "10.1.2.0/25",
        "10.1.2.7/32",
        "0.0.0.0/0",
        "10.1.1.0/24",
        "10.1.0.0/22",
        "9.0.0.0/8",
        "10.1.2.0/26",
        "10.1.0.0/16"});
  EXPECT_THAT(texts(walked(trie, prefix("0.0.0.0/0"))),
              ElementsAre("0.0.0.0/0",
                          "9.0.0.0/8",
                          "10.0.0.0/8",
                          "10.1.0.0/16",
                          "10.1.0.0/22",
                          "10.1.1.0/24",
                          "10.1.2.0/24",
                          "10.1.2.0/25",
                          "10.1.2.0/26",
                          "10.1.2.7/32",
                          "10.1.2.128/25"));
}

TEST(PrefixTrie, AWalkVisitsWhatIsInsideItsArgumentAndNothingElse) {
  Trie4 trie;
  fill(trie,
       {"10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32", "10.2.0.0/16", "11.0.0.0/8"});
  EXPECT_THAT(texts(walked(trie, prefix("10.1.0.0/16"))),
              ElementsAre("10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32"));
  EXPECT_THAT(texts(walked(trie, prefix("10.1.2.3/32"))), ElementsAre("10.1.2.3/32"));
  EXPECT_THAT(texts(walked(trie, prefix("10.1.2.4/32"))), IsEmpty());
  EXPECT_THAT(texts(walked(trie, prefix("10.1.0.0/17"))),
              ElementsAre("10.1.2.0/24", "10.1.2.3/32"));
}

TEST(PrefixTrie, AWalkEndsWhenTheVisitorSaysSo) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.3/32", "11.0.0.0/8"});
  for (std::size_t wanted = 1; wanted <= 5; ++wanted) {
    std::size_t seen = 0;
    trie.walk(prefix("0.0.0.0/0"), [&seen, wanted](const IpGenPrefix&) { return ++seen < wanted; });
    EXPECT_EQ(wanted, seen);
  }
}

TEST(PrefixTrie, NothingOfAnotherFamilyIsInATrie) {
  Trie4 trie;
  trie.insert(prefix("0.0.0.0/0"));
  for (const IpGenPrefix& other : {prefix("::/0"), prefix("::1/128"), IpGenPrefix()}) {
    EXPECT_FALSE(trie.insert(other));
    EXPECT_FALSE(trie.erase(other));
    EXPECT_FALSE(trie.has(other));
    EXPECT_EQ(IpGenPrefix(), trie.longestMatch(other));
    EXPECT_FALSE(trie.longerPresent(other));
    EXPECT_THAT(walked(trie, other), IsEmpty());
  }
  EXPECT_EQ(1U, trie.size());
}

TEST(PrefixTrie, AVisitorMayAskTheTrieItWalksAndChangeAnother) {
  Trie4 trie;
  Trie4 copy;
  fill(trie, {"10.0.0.0/8", "10.1.0.0/16"});
  std::size_t nested = 0;
  trie.walk(prefix("0.0.0.0/0"), [&](const IpGenPrefix& found) {
    nested += walked(trie, found).size();
    return trie.has(found) && copy.insert(found);
  });
  EXPECT_EQ(3U, nested);
  EXPECT_EQ(2U, copy.size());
}

TEST(PrefixTrie, AWalkSurvivesTheGrowthOfATrieThatSharesItsMemory) {
  Trie4 trie;
  Trie4 other;
  RandomPrefixes random(AddressFamily::ipv4, Spread::anyLength, testSeed());
  for (unsigned i = 0; i < 3000; ++i) {
    trie.insert(random.next());
  }
  std::vector<IpGenPrefix> found;
  trie.walk(prefix("0.0.0.0/0"), [&](const IpGenPrefix& each) {
    found.push_back(each);
    for (unsigned i = 0; i < 40; ++i) {
      other.insert(random.next());
    }
    return true;
  });
  EXPECT_EQ(walked(trie, prefix("0.0.0.0/0")), found);
}

TEST(PrefixTrie, AnExceptionOfTheVisitorEndsTheWalkAndTheTrieCanBeChangedAgain) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8"});
  const auto thrower = [](const IpGenPrefix&) -> bool { throw std::runtime_error("stop"); };
  EXPECT_THROW(trie.walk(prefix("0.0.0.0/0"), thrower), std::runtime_error);
  EXPECT_TRUE(trie.insert(prefix("11.0.0.0/8")));
}

TEST(PrefixTrie, AddingWhatIsThereFromItsOwnWalkChangesNothing) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8"});
  trie.walk(prefix("0.0.0.0/0"), [&trie](const IpGenPrefix& found) {
    EXPECT_FALSE(trie.insert(found));
    EXPECT_FALSE(trie.erase(prefix("11.0.0.0/8")));
    return true;
  });
  EXPECT_EQ(trie.size(), 1U);
}

TEST(PrefixTrieDeathTest, AddingFromItsOwnWalkIsRefused) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8"});
  EXPECT_DEATH(trie.walk(prefix("0.0.0.0/0"),
                         [&trie](const IpGenPrefix&) { return trie.insert(prefix("11.0.0.0/8")); }),
               "insert: Assertion \"has\\(prefix\\) && \"trie changed by its own walk\"\" failed");
}

TEST(PrefixTrieDeathTest, RemovingFromItsOwnWalkIsRefused) {
  Trie4 trie;
  fill(trie, {"10.0.0.0/8"});
  EXPECT_DEATH(trie.walk(prefix("0.0.0.0/0"),
                         [&trie](const IpGenPrefix& found) { return trie.erase(found); }),
               "erase: Assertion \"!has\\(prefix\\) && \"trie changed by its own walk\"\" failed");
}

// Every relation that two prefixes of one path can have to nodes and slots.
TEST(PrefixTrie, AnyTwoPrefixesOfOneAddressLiveTogetherAndPart) {
  const IpGenAddr address = *IpGenAddr::parse("2a0e:1234:5678:9abc:def0:1357:9bdf:246f");
  for (unsigned i = 0; i <= 128; ++i) {
    for (unsigned j = 0; j <= 128; ++j) {
      const IpGenPrefix first(address, static_cast<std::uint8_t>(i));
      const IpGenPrefix second(address, static_cast<std::uint8_t>(j));
      Trie6 trie;
      trie.insert(first);
      EXPECT_EQ(i != j, trie.insert(second));
      EXPECT_EQ("", trie.checkInvariants());
      EXPECT_EQ(std::max(first, second), trie.longestMatch(IpGenPrefix::host(address)));
      EXPECT_TRUE(trie.erase(first));
      EXPECT_EQ(i != j, trie.has(second));
      EXPECT_EQ("", trie.checkInvariants());
    }
  }
}

}  // namespace
}  // namespace Routing
