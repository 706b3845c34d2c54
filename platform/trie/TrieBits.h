#pragma once

// The bitmaps of a trie node: which prefixes end in it and which slots lead on.
//
// A node at depth d owns the prefixes of length d+1 to d+6 below it; a node at depth 0 owns the
// default route too. A local prefix is what is left of such a prefix below the node: a length l of
// 0 to 6 and a value b of l bits. It is bit 2^l + b of a bitmap of 128: `low` holds lengths 0 to 5
// (bits 1 to 63), `high` length 6 (bits 64 to 127), so that the word for length 6 has one bit for
// each of the 64 slots, as `children` has.
//
// Everything a trie asks is a mask over these words:
//   longest match    the ancestors of a 6-bit chunk are one mask; the highest bit left is the
//                    longest
//   what is inside   the subtree of a local prefix is a mask in `low` and one range of slots in
//                    `high` and `children`
//   walk order       by slot; at a slot the shorter local prefixes that start there come first,
//                    then the one of length 6, then what is below the slot

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Routing {

// Local length 0 to 6 and as many bits of value.
struct LocalPrefix {
  unsigned length = 0;
  unsigned value = 0;
};

namespace TrieMasks {

constexpr std::uint64_t bitOf(unsigned index) noexcept { return std::uint64_t{1} << index; }

// low: the local prefixes of length 0 to 5 that cover a chunk, by its first five bits.
constexpr std::array<std::uint64_t, 32> makeAncestors() noexcept {
  std::array<std::uint64_t, 32> masks{};
  for (unsigned head = 0; head < 32; ++head) {
    for (unsigned length = 0; length <= 5; ++length) {
      masks[head] |= bitOf((1U << length) + (head >> (5U - length)));
    }
  }
  return masks;
}

// low: the local prefixes inside the one with this bit, itself included.
constexpr std::array<std::uint64_t, 64> makeSubtrees() noexcept {
  std::array<std::uint64_t, 64> masks{};
  for (unsigned index = 1; index < 64; ++index) {
    for (unsigned first = index, count = 1; first < 64; first *= 2, count *= 2) {
      for (unsigned bit = first; bit < first + count; ++bit) {
        masks[index] |= bitOf(bit);
      }
    }
  }
  return masks;
}

// low: the local prefixes whose first slot is this even one, by half the slot.
constexpr std::array<std::uint64_t, 32> makeStarters() noexcept {
  std::array<std::uint64_t, 32> masks{};
  for (unsigned length = 0; length <= 5; ++length) {
    for (unsigned value = 0; value < (1U << length); ++value) {
      masks[(value << (6U - length)) / 2] |= bitOf((1U << length) + value);
    }
  }
  return masks;
}

// low: the local prefixes of at most this length.
constexpr std::array<std::uint64_t, 7> makeUpTo() noexcept {
  std::array<std::uint64_t, 7> masks{};
  for (unsigned length = 0; length <= 6; ++length) {
    masks[length] = length >= 5 ? ~std::uint64_t{0} : bitOf(2U << length) - 1;
  }
  return masks;
}

inline constexpr std::array<std::uint64_t, 32> ancestors = makeAncestors();
inline constexpr std::array<std::uint64_t, 64> subtrees = makeSubtrees();
inline constexpr std::array<std::uint64_t, 32> starters = makeStarters();
inline constexpr std::array<std::uint64_t, 7> upTo = makeUpTo();

}  // namespace TrieMasks

// A choice of a node's prefixes and slots.
struct TrieMask {
  std::uint64_t low = ~std::uint64_t{0};
  std::uint64_t slots = ~std::uint64_t{0};  // Of `high` and of `children`.

  // What lies inside a local prefix, itself included.
  static constexpr TrieMask inside(LocalPrefix local) noexcept {
    const unsigned count = 1U << (6U - local.length);
    const std::uint64_t range = ~std::uint64_t{0} >> (64U - count) << (local.value * count);
    const std::size_t index = (std::size_t{1} << local.length) + local.value;
    return {local.length < 6 ? TrieMasks::subtrees[index] : 0, range};
  }
};

struct TrieBits {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  std::uint64_t children = 0;

  constexpr bool has(LocalPrefix local) const noexcept {
    return (wordOf(local) & bitOf(local)) != 0;
  }
  constexpr void set(LocalPrefix local) noexcept { wordOf(local) |= bitOf(local); }
  constexpr void clear(LocalPrefix local) noexcept { wordOf(local) &= ~bitOf(local); }

  constexpr bool hasChild(unsigned slot) const noexcept { return (children >> slot & 1U) != 0; }
  // How many children stand before this slot.
  constexpr unsigned rank(unsigned slot) const noexcept {
    return static_cast<unsigned>(std::popcount(children & ((std::uint64_t{1} << slot) - 1)));
  }

  constexpr unsigned prefixCount() const noexcept {
    return static_cast<unsigned>(std::popcount(low) + std::popcount(high));
  }
  constexpr unsigned childCount() const noexcept {
    return static_cast<unsigned>(std::popcount(children));
  }
  constexpr unsigned bitCount() const noexcept { return prefixCount() + childCount(); }
  constexpr bool empty() const noexcept { return (low | high | children) == 0; }

  // True when some prefix of this node covers the chunk.
  constexpr bool meets(unsigned chunk) const noexcept {
    return ((high >> chunk & 1U) | (low & TrieMasks::ancestors[chunk / 2])) != 0;
  }
  // Local length of the longest prefix of at most `limit` bits that covers the chunk, -1 if none.
  constexpr int longest(unsigned chunk, unsigned limit) const noexcept {
    if (limit >= 6 && (high >> chunk & 1U) != 0) {
      return 6;
    }
    const std::uint64_t met = low & TrieMasks::ancestors[chunk / 2] & TrieMasks::upTo[limit];
    return met == 0 ? -1 : static_cast<int>(std::bit_width(lastBit(met))) - 1;
  }
  // True when a prefix strictly inside the local one is there, or anything below its slots.
  constexpr bool hasInside(LocalPrefix local) const noexcept {
    const TrieMask mask = TrieMask::inside(local);
    if (local.length == 6) {
      return (children & mask.slots) != 0;
    }
    return ((low & mask.low & ~bitOf(local)) | ((high | children) & mask.slots)) != 0;
  }
  // The only prefix of a node that has one.
  constexpr LocalPrefix onlyPrefix() const noexcept {
    if (high != 0) {
      return {6, static_cast<unsigned>(std::countr_zero(high))};
    }
    return localOf(static_cast<unsigned>(std::countr_zero(low)));
  }

  // The local prefix of a bit of `low`.
  static constexpr LocalPrefix localOf(unsigned index) noexcept {
    // It is at most 5 anyway; said so that it can be seen.
    const unsigned length = std::min(static_cast<unsigned>(std::bit_width(index)) - 1, 5U);
    return {length, index - (1U << length)};
  }
  // The first slot of each local prefix in `some`, a choice from `low`.
  static constexpr std::uint64_t startsOf(std::uint64_t some) noexcept {
    std::uint64_t slots = 0;
    for (; some != 0; some &= some - 1) {
      const LocalPrefix local = localOf(static_cast<unsigned>(std::countr_zero(some)));
      slots |= std::uint64_t{1} << (local.value << (6U - local.length));
    }
    return slots;
  }

 private:
  static constexpr unsigned lastBit(std::uint64_t word) noexcept {
    return 63U - static_cast<unsigned>(std::countl_zero(word));
  }
  static constexpr std::uint64_t bitOf(LocalPrefix local) noexcept {
    return std::uint64_t{1} << (((1U << local.length) + local.value) & 63U);
  }
  constexpr std::uint64_t& wordOf(LocalPrefix local) noexcept {
    return local.length < 6 ? low : high;
  }
  constexpr std::uint64_t wordOf(LocalPrefix local) const noexcept {
    return local.length < 6 ? low : high;
  }
};

}  // namespace Routing
