#pragma once

// What the tests of the trie share: a set of prefixes that answers the same questions slowly and
// plainly, makers of prefixes, and the seed.
//
// The seed is fixed; NEXTHOP_TEST_SEED in the environment sets another. A test that uses it says so
// on failure by SCOPED_TRACE(seedText()).

#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing {

// How a failed expectation shows a prefix.
// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
inline void PrintTo(const IpGenPrefix& prefix, std::ostream* out) { *out << prefix.stringValue(); }

}  // namespace Routing

namespace Routing::TrieTesting {

inline std::uint64_t testSeed() {
  const char* text = std::getenv("NEXTHOP_TEST_SEED");
  return text == nullptr ? 20240229 : std::strtoull(text, nullptr, 0);
}

inline std::string seedText() { return "NEXTHOP_TEST_SEED=" + std::to_string(testSeed()); }

// The prefix of a text; the empty prefix, which no test means, for one that does not read.
inline IpGenPrefix prefix(std::string_view text) {
  return IpGenPrefix::parse(text).value_or(IpGenPrefix());
}

inline std::vector<std::string> texts(const std::vector<IpGenPrefix>& prefixes) {
  std::vector<std::string> result;
  result.reserve(prefixes.size());
  for (const IpGenPrefix& each : prefixes) {
    result.push_back(each.stringValue());
  }
  return result;
}

template <class Family>
std::vector<IpGenPrefix> walked(const PrefixTrie<Family>& trie, const IpGenPrefix& under) {
  std::vector<IpGenPrefix> found;
  trie.walk(under, [&found](const IpGenPrefix& each) {
    found.push_back(each);
    return true;
  });
  return found;
}

// IpGenPrefix is ordered by address, then shorter first: what is inside a prefix follows it
// directly.
class Model {
 public:
  bool insert(const IpGenPrefix& each) { return prefixes_.insert(each).second; }
  bool erase(const IpGenPrefix& each) { return prefixes_.erase(each) != 0; }
  bool has(const IpGenPrefix& each) const { return prefixes_.count(each) != 0; }
  std::size_t size() const { return prefixes_.size(); }
  const std::set<IpGenPrefix>& all() const { return prefixes_; }

  IpGenPrefix longestMatch(const IpGenPrefix& of) const {
    for (int length = of.length(); length >= 0; --length) {
      const IpGenPrefix cover(of.address(), static_cast<std::uint8_t>(length));
      if (has(cover)) {
        return cover;
      }
    }
    return {};
  }
  bool longerPresent(const IpGenPrefix& than) const {
    const auto next = prefixes_.upper_bound(than);
    return next != prefixes_.end() && than.contains(*next);
  }
  std::vector<IpGenPrefix> walked(const IpGenPrefix& under) const {
    std::vector<IpGenPrefix> found;
    for (auto it = prefixes_.lower_bound(under); it != prefixes_.end() && under.contains(*it);
         ++it) {
      found.push_back(*it);
    }
    return found;
  }

 private:
  std::set<IpGenPrefix> prefixes_;
};

// How the prefixes of a random run are spread.
enum class Spread {
  anyLength,    // anything, few of them related
  nested,       // many inside others
  denseHosts,   // addresses close together
  sparseHosts,  // addresses anywhere
  table,        // as in a routing table: a few regions, typical lengths, the default route
};

inline const char* spreadName(Spread spread) {
  switch (spread) {
    case Spread::anyLength:
      return "anyLength";
    case Spread::nested:
      return "nested";
    case Spread::denseHosts:
      return "denseHosts";
    case Spread::sparseHosts:
      return "sparseHosts";
    case Spread::table:
      return "table";
  }
  return "";
}

class RandomPrefixes {
 public:
  RandomPrefixes(AddressFamily family, Spread spread, std::uint64_t seed)
      : family_(family), spread_(spread), random_(seed) {}

  IpGenPrefix next() {
    const unsigned bits = addressBits(family_);
    switch (spread_) {
      case Spread::anyLength:
        return make(anyWords(), below(bits + 1));
      case Spread::nested:
        return nested(bits);
      case Spread::denseHosts:
        return make(closeWords(bits, 12), bits);
      case Spread::sparseHosts:
        return make(anyWords(), bits);
      case Spread::table:
        return below(200) == 0 ? make({}, 0) : make(closeWords(bits, bits - bits / 8), typical());
    }
    return {};
  }
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  std::mt19937_64& engine() { return random_; }

 private:
  IpGenPrefix make(const IpGenAddr::Words& words, unsigned length) const {
    const IpGenAddr address =
        family_ == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0]) : IpGenAddr::ipv6(words);
    return {address, static_cast<std::uint8_t>(length)};
  }
  IpGenAddr::Words anyWords() {
    IpGenAddr::Words words{};
    for (std::uint32_t& word : words) {
      word = static_cast<std::uint32_t>(random_());
    }
    return words;
  }
  // Addresses that differ in the last `count` bits only.
  IpGenAddr::Words closeWords(unsigned bits, unsigned count) {
    IpGenAddr::Words words = anyWords();
    const IpGenAddr::Words fixed{0x2a0e1234, 0x56789abc, 0xdef01357, 0x9bdf0246};
    for (unsigned bit = 0; bit < bits - count; ++bit) {
      const std::uint32_t mask = 0x80000000U >> bit % 32;
      words[bit / 32] = (words[bit / 32] & ~mask) | (fixed[bit / 32] & mask);
    }
    return words;
  }
  unsigned typical() {
    const bool ipv4 = family_ == AddressFamily::ipv4;
    switch (below(4)) {
      case 0:
        return ipv4 ? 8 + below(16) : 20 + below(28);
      case 1:
        return ipv4 ? 25 + below(8) : 49 + below(80);
      default:
        return ipv4 ? 24 : 48;
    }
  }
  // A step up or down from the last one.
  IpGenPrefix nested(unsigned bits) {
    const unsigned length = below(3) == 0 ? last_.length() * below(100) / 100
                                          : last_.length() + below(bits - last_.length() + 1) / 3;
    const IpGenAddr::Words any = below(8) == 0 ? anyWords() : closeWords(bits, bits - length);
    IpGenAddr::Words words = last_ ? last_.words() : any;
    for (unsigned bit = last_.length(); bit < length; ++bit) {
      const std::uint32_t mask = 0x80000000U >> bit % 32;
      words[bit / 32] = (words[bit / 32] & ~mask) | (any[bit / 32] & mask);
    }
    last_ = make(words, length);
    return last_;
  }

  AddressFamily family_;
  Spread spread_;
  std::mt19937_64 random_;
  IpGenPrefix last_;
};

}  // namespace Routing::TrieTesting
