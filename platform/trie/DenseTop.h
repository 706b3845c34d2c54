#pragma once

// The dense top of a large trie: the first strides of the address as plain arrays.
//
// It takes the place of all nodes above depth topBits (18 for IPv4, 12 for IPv6): their bitmaps
// stand in arrays indexed by the leading bits of the address, and the references below them in one
// array of 2^topBits, so that a question about a long prefix starts with a single load. 1.1 MB for
// IPv4, 18 KB for IPv6, which is why only large tries have one.
//
// Invariants:
//   1. A child bit of a bitmap is set exactly when there is something below the slot: a reference
//      below the last level, a bitmap that is not empty below the others.
//   2. Level l's bitmaps own the prefixes that nodes at level l own in a trie without a dense top.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/trie/TrieArena.h"
#include "platform/trie/TrieBits.h"
#include "platform/trie/TrieKey.h"

namespace Routing {

template <class Family>
class DenseTop {
 public:
  using Key = typename Family::Key;
  static constexpr unsigned levels = Family::topBits / trieStride;
  static_assert(levels * trieStride == Family::topBits);

  // Empty. Throws: std::bad_alloc.
  DenseTop() : bits_(firstOf(levels)), refs_(std::size_t{1} << Family::topBits) {}

  // The bitmap that owns prefixes of this level under the key.
  TrieBits& bits(unsigned level, const Key& key) noexcept { return bits_[indexOf(level, key)]; }
  const TrieBits& bits(unsigned level, const Key& key) const noexcept {
    return bits_[indexOf(level, key)];
  }
  // What is below the top under the key.
  TrieRef& ref(const Key& key) noexcept { return refs_[key.leading(Family::topBits)]; }
  const TrieRef& ref(const Key& key) const noexcept { return refs_[key.leading(Family::topBits)]; }
  const std::vector<TrieBits>& allBits() const noexcept { return bits_; }
  const std::vector<TrieRef>& allRefs() const noexcept { return refs_; }

  // Sets the child bits that lead to a depth of `level` strides, where something has come to be.
  void mark(unsigned level, const Key& key) noexcept {
    while (level-- > 0) {
      TrieBits& above = bits(level, key);
      const unsigned slot = key.chunk(level * trieStride);
      if (above.hasChild(slot)) {
        return;
      }
      above.children |= std::uint64_t{1} << slot;
    }
  }
  // Clears the child bits that lead to a depth of `level` strides, where nothing is left.
  void unmark(unsigned level, const Key& key) noexcept {
    while (level-- > 0) {
      TrieBits& above = bits(level, key);
      above.children &= ~(std::uint64_t{1} << key.chunk(level * trieStride));
      if (!above.empty()) {
        return;
      }
    }
  }

  std::size_t memory() const noexcept {
    return sizeof(*this) + bits_.capacity() * sizeof(TrieBits) + refs_.capacity() * sizeof(TrieRef);
  }

 private:
  // Bitmaps of the levels above: 1 + 64 + 64^2 + ...
  static constexpr std::uint32_t firstOf(unsigned level) noexcept {
    return ((std::uint32_t{1} << level * trieStride) - 1) / 63;
  }
  static std::uint32_t indexOf(unsigned level, const Key& key) noexcept {
    return firstOf(level) + key.leading(level * trieStride);
  }

  std::vector<TrieBits> bits_;
  std::vector<TrieRef> refs_;
};

}  // namespace Routing
