// The prefix trie of either family beside an ordered std::map of prefixes, which answers the same
// questions slowly and plainly.

#include <map>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing::Fuzz {

namespace {

// A prefix that contains others stands right before them. The value says when it was inserted.
using Model = std::map<IpGenPrefix, unsigned>;

template <class Family>
class Story {
 public:
  explicit Story(Input& input) : input_(input) {}

  void run() {
    for (unsigned step = 0; !input_.atEnd(); ++step) {
      act(step);
      require(trie_.size() == model_.size(), "the sizes differ");
    }
    requireSound();
    for (const auto& [prefix, step] : model_) {
      require(trie_.erase(prefix), "a prefix is lost");
    }
    requireSound();
  }

 private:
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
    const IpGenAddr address =
        Family::family == AddressFamily::ipv4 ? IpGenAddr::ipv4(words[0]) : IpGenAddr::ipv6(words);
    last_ = IpGenPrefix(address, length);
    return last_;
  }

  void act(unsigned step) {
    const std::size_t choice = input_.below(8);
    const IpGenPrefix which = prefix();
    if (choice < 3) {
      require(trie_.insert(which) == model_.emplace(which, step).second, "insert");
    } else if (choice < 5) {
      require(trie_.erase(which) == (model_.erase(which) != 0), "erase");
    } else if (choice < 7) {
      compareAnswers(which);
    } else {
      compareWalk(which);
    }
  }

  void compareAnswers(const IpGenPrefix& which) {
    require(trie_.has(which) == (model_.count(which) != 0), "has");
    IpGenPrefix match;
    for (int length = which.length(); length >= 0 && !match; --length) {
      const IpGenPrefix cover(which.address(), static_cast<std::uint8_t>(length));
      match = model_.count(cover) != 0 ? cover : IpGenPrefix();
    }
    require(trie_.longestMatch(which) == match, "longestMatch");
    const auto next = model_.upper_bound(which);
    require(trie_.longerPresent(which) == (next != model_.end() && which.contains(next->first)),
            "longerPresent");
  }

  void compareWalk(const IpGenPrefix& under) {
    auto expected = model_.lower_bound(under);
    trie_.walk(under, [&](const IpGenPrefix& each) {
      require(expected != model_.end() && expected->first == each, "a walk shows another prefix");
      ++expected;
      return true;
    });
    require(expected == model_.end() || !under.contains(expected->first), "a walk ends too soon");
  }

  void requireSound() {
    const std::string violation = trie_.checkInvariants();
    require(violation.empty(), violation);
  }

  Input& input_;
  IpGenPrefix last_{Family::family == AddressFamily::ipv4
                        ? IpGenAddr::ipv4(0x0a000001)
                        : IpGenAddr::ipv6(IpGenAddr::Words{0x20010db8, 0, 0, 1}),
                    addressBits(Family::family)};
  Model model_;
  PrefixTrie<Family> trie_;
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
