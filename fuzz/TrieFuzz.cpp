// Two prefix tries of one family, which share an arena, each beside an ordered std::set of
// prefixes, which answers the same questions slowly and plainly.
//
// Single prefixes make nothing large of a short input, so there are whole blocks of them too:
// enough to take a trie past the size where its top changes, and back.

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing::Fuzz {

namespace {

// A prefix that contains others stands right before them.
using Model = std::set<IpGenPrefix>;

template <class Family>
class Story {
 public:
  explicit Story(Input& input) : input_(input) {}

  void run() {
    while (!input_.atEnd()) {
      Side& side = sides_[input_.below(sides_.size())];
      act(side);
      require(side.trie.size() == side.model.size(), "the sizes differ");
    }
    requireSound();
    for (Side& side : sides_) {
      for (const IpGenPrefix& prefix : side.model) {
        require(side.trie.erase(prefix), "a prefix is lost");
      }
    }
    requireSound();
  }

 private:
  struct Side {
    Model model;
    PrefixTrie<Family> trie;
  };
  // Of all blocks of an input together, so that none takes long.
  static constexpr std::size_t mostInBlocks = 60000;
  static constexpr std::size_t longestWalk = 2000;

  // Near the last one, most of the time, so that prefixes lie inside each other.
  IpGenPrefix prefix() {
    const unsigned bits = addressBits(Family::family);
    const unsigned choice = input_.byte();
    IpGenAddr::Words words = last_.words();
    for (unsigned word = 0; word < bits / 32; ++word) {
      if ((choice >> word & 1U) != 0) {
        words[word] ^= input_.word() >> (choice >> 4U);
      }
    }
    const auto length = static_cast<std::uint8_t>(input_.byte() % (bits + 1));
    last_ = IpGenPrefix(address(words), length);
    return last_;
  }
  static IpGenAddr address(const IpGenAddr::Words& words) {
    return Family::family == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0])
                                                 : IpGenAddr::ipv6(words);
  }

  void act(Side& side) {
    const std::size_t choice = input_.below(16);
    const IpGenPrefix which = prefix();
    if (choice < 6) {
      insert(side, which);
    } else if (choice < 10) {
      erase(side, which);
    } else if (choice < 13) {
      compareAnswers(side, which);
    } else if (choice < 15) {
      compareWalk(side, which);
    } else {
      actOnBlock(side, which);
    }
  }

  static void insert(Side& side, const IpGenPrefix& which) {
    require(side.trie.insert(which) == side.model.insert(which).second, "insert");
  }
  static void erase(Side& side, const IpGenPrefix& which) {
    require(side.trie.erase(which) == (side.model.erase(which) != 0), "erase");
  }

  // Up to 2^13 prefixes of one length, side by side, come or go.
  void actOnBlock(Side& side, const IpGenPrefix& first) {
    const std::uint8_t length = std::clamp<std::uint8_t>(first.length(), 14, 32);
    const unsigned choice = input_.byte();
    const std::size_t count = std::min(std::size_t{1} << (choice % 14), mostInBlocks - inBlocks_);
    inBlocks_ += count;
    IpGenAddr::Words words = first.words();
    for (std::size_t i = 0; i < count; ++i) {
      const IpGenPrefix which(address(words), length);
      if ((choice & 128U) == 0) {
        insert(side, which);
      } else {
        erase(side, which);
      }
      words[0] += std::uint32_t{1} << (32U - length);
    }
  }

  void compareAnswers(const Side& side, const IpGenPrefix& which) {
    require(side.trie.has(which) == (side.model.count(which) != 0), "has");
    IpGenPrefix match;
    for (int length = which.length(); length >= 0 && !match; --length) {
      const IpGenPrefix cover(which.address(), static_cast<std::uint8_t>(length));
      match = side.model.count(cover) != 0 ? cover : IpGenPrefix();
    }
    require(side.trie.longestMatch(which) == match, "longestMatch");
    const auto next = side.model.upper_bound(which);
    require(side.trie.longerPresent(which) == (next != side.model.end() && which.contains(*next)),
            "longerPresent");
  }

  void compareWalk(const Side& side, const IpGenPrefix& under) {
    std::size_t left = longestWalk;
    auto expected = side.model.lower_bound(under);
    side.trie.walk(under, [&](const IpGenPrefix& each) {
      require(left != 0, "a walk goes on after its end");
      require(expected != side.model.end() && *expected == each, "a walk shows another prefix");
      ++expected;
      return --left != 0;
    });
    const bool all = expected == side.model.end() || !under.contains(*expected);
    require(all || left == 0, "a walk ends too soon");
  }

  void requireSound() {
    for (const Side& side : sides_) {
      const std::string violation = side.trie.checkInvariants();
      require(violation.empty(), violation);
    }
  }

  Input& input_;
  IpGenPrefix last_{Family::family == AddressFamily::ipv4
                        ? IpGenAddr::ipv4(0x0a000001)
                        : IpGenAddr::ipv6(IpGenAddr::Words{0x20010db8, 0, 0, 1}),
                    addressBits(Family::family)};
  std::size_t inBlocks_ = 0;
  std::array<Side, 2> sides_;
};

}  // namespace

}  // namespace Routing::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Routing;
  Fuzz::Input input(data, size);
  if (input.below(2) == 0) {
    Fuzz::Story<TrieFamily4>(input).run();
  } else {
    Fuzz::Story<TrieFamily6>(input).run();
  }
  return 0;
}
