#pragma once

// Address bits as a trie sees them, and what differs between the trie of one family and the other.
//
// A key is the bits of an address or prefix with the first bit of the address as the most
// significant bit. A trie of either family asks the same few questions of it: which six bits follow
// a given depth, how many leading bits two keys share, which bits lie above a depth. Everything is
// shifts and masks on one or two machine words.
//
// Depth counts bits from the start of the address. A level is a depth in strides: level 3 is depth
// 18. Bits of a chunk that lie beyond the end of the address read as zero.
//
// Key is the form for computing, Packed the form for storing in a leaf. A prefix shorter than the
// address is stored in as many bits as the address: its bits, a one, and zeros to the end, so that
// the length can be read off the last one. A host prefix needs a word of its own that it is one.

#include <array>
#include <bit>
#include <cstdint>

#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing {

// Bits that one node of a trie decides.
inline constexpr unsigned trieStride = 6;

struct TrieKey32 {
  using Packed = std::uint32_t;
  static constexpr unsigned bits = 32;

  std::uint32_t value = 0;

  static constexpr TrieKey32 of(const IpGenAddr::Words& words) noexcept { return {words[0]}; }
  static constexpr TrieKey32 of(Packed packed) noexcept { return {packed}; }
  constexpr Packed packed() const noexcept { return value; }
  constexpr IpGenAddr address() const noexcept { return IpGenAddr::ipv4(value); }

  // The six bits at `depth`, below 32.
  constexpr unsigned chunk(unsigned depth) const noexcept {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): the depth is below 32
    return static_cast<unsigned>((std::uint64_t{value} << 32U << depth) >> 58U);
  }
  // The key with these six bits at `depth`, where it has zeros.
  constexpr TrieKey32 withChunk(unsigned depth, unsigned chunk) const noexcept {
    return {value | static_cast<std::uint32_t>(std::uint64_t{chunk} << 58U >> depth >> 32U)};
  }
  // The first `count` bits, at most 18, as a number.
  constexpr std::uint32_t leading(unsigned count) const noexcept {
    return static_cast<std::uint32_t>(std::uint64_t{value} >> (32U - count));
  }
  // The first `count` bits, zeros after them.
  constexpr TrieKey32 first(unsigned count) const noexcept {
    return {static_cast<std::uint32_t>(std::uint64_t{value} >> (32U - count) << (32U - count))};
  }
  // True when the first `count` bits are the same.
  constexpr bool agrees(const TrieKey32& other, unsigned count) const noexcept {
    return (std::uint64_t{value ^ other.value} >> (32U - count)) == 0;
  }
  // The key with a one after its first `length` bits, fewer than 32, where it has zeros; and the
  // length and the key read off again.
  constexpr TrieKey32 ended(unsigned length) const noexcept {
    return {value | std::uint32_t{1} << (31U - length)};
  }
  constexpr unsigned endedLength() const noexcept {
    return 31U - static_cast<unsigned>(std::countr_zero(value));
  }
  constexpr TrieKey32 unended() const noexcept { return {value & (value - 1)}; }

  // How many leading bits are the same.
  constexpr unsigned common(const TrieKey32& other) const noexcept {
    return static_cast<unsigned>(std::countl_zero(value ^ other.value));
  }
  friend constexpr bool operator==(const TrieKey32&, const TrieKey32&) noexcept = default;
};

struct TrieKey128 {
  using Packed = std::array<std::uint32_t, 4>;
  static constexpr unsigned bits = 128;

  std::uint64_t high = 0;
  std::uint64_t low = 0;

  static constexpr TrieKey128 of(const Packed& words) noexcept {
    return {std::uint64_t{words[0]} << 32U | words[1], std::uint64_t{words[2]} << 32U | words[3]};
  }
  constexpr Packed packed() const noexcept {
    return {static_cast<std::uint32_t>(high >> 32U),
            static_cast<std::uint32_t>(high),
            static_cast<std::uint32_t>(low >> 32U),
            static_cast<std::uint32_t>(low)};
  }
  constexpr IpGenAddr address() const noexcept { return IpGenAddr::ipv6(packed()); }

  // The six bits at `depth`, below 128.
  constexpr unsigned chunk(unsigned depth) const noexcept {
    const std::uint64_t here = depth < 64U ? high : low;
    const std::uint64_t next = depth < 64U ? low : 0;
    const unsigned shift = depth & 63U;
    return static_cast<unsigned>((here << shift | next >> 1U >> (63U - shift)) >> 58U);
  }
  // The key with these six bits at `depth`, where it has zeros.
  constexpr TrieKey128 withChunk(unsigned depth, unsigned chunk) const noexcept {
    const std::uint64_t bits64 = std::uint64_t{chunk} << 58U;
    if (depth >= 64U) {
      return {high, low | bits64 >> (depth - 64U)};
    }
    return {high | bits64 >> depth, depth > 58U ? low | bits64 << (64U - depth) : low};
  }
  // The first `count` bits, at most 18, as a number.
  constexpr std::uint32_t leading(unsigned count) const noexcept {
    return static_cast<std::uint32_t>(high >> 1U >> (63U - count));
  }
  // The first `count` bits, zeros after them.
  constexpr TrieKey128 first(unsigned count) const noexcept {
    return count < 64U ? TrieKey128{high & ~(~std::uint64_t{0} >> count), 0}
                       : TrieKey128{high, low & ~lowMask(count - 64U)};
  }
  // True when the first `count` bits are the same.
  constexpr bool agrees(const TrieKey128& other, unsigned count) const noexcept {
    if (count < 64U) {
      return ((high ^ other.high) >> 1U >> (63U - count)) == 0;
    }
    return high == other.high && ((low ^ other.low) & ~lowMask(count - 64U)) == 0;
  }
  // The key with a one after its first `length` bits, fewer than 128, where it has zeros; and the
  // length and the key read off again.
  constexpr TrieKey128 ended(unsigned length) const noexcept {
    return length < 64U ? TrieKey128{high | std::uint64_t{1} << (63U - length), low}
                        : TrieKey128{high, low | std::uint64_t{1} << (127U - length)};
  }
  constexpr unsigned endedLength() const noexcept {
    return low != 0 ? 127U - static_cast<unsigned>(std::countr_zero(low))
                    : 63U - static_cast<unsigned>(std::countr_zero(high));
  }
  constexpr TrieKey128 unended() const noexcept {
    return low != 0 ? TrieKey128{high, low & (low - 1)} : TrieKey128{high & (high - 1), 0};
  }

  // How many leading bits are the same.
  constexpr unsigned common(const TrieKey128& other) const noexcept {
    const auto inHigh = static_cast<unsigned>(std::countl_zero(high ^ other.high));
    return inHigh < 64U ? inHigh : 64U + static_cast<unsigned>(std::countl_zero(low ^ other.low));
  }
  friend constexpr bool operator==(const TrieKey128&, const TrieKey128&) noexcept = default;

 private:
  // All but the first `count` bits of a word, count up to 64.
  static constexpr std::uint64_t lowMask(unsigned count) noexcept {
    return count < 64U ? ~std::uint64_t{0} >> count : 0;
  }
};

// A prefix as a trie sees it: its bits, its length, and the one level whose nodes own prefixes of
// that length. The default route belongs to level 0.
template <class Key>
struct TriePrefix {
  Key key;
  unsigned length = 0;

  static constexpr unsigned levelOf(unsigned length) noexcept {
    return length == 0 ? 0 : (length - 1) / trieStride;
  }
  static constexpr TriePrefix of(const IpGenPrefix& prefix) noexcept {
    return {Key::of(prefix.words()), prefix.length()};
  }
  constexpr unsigned level() const noexcept { return levelOf(length); }
  // True when `other` is this prefix or lies inside it.
  constexpr bool covers(const TriePrefix& other) const noexcept {
    return length <= other.length && key.agrees(other.key, length);
  }
  friend constexpr bool operator==(const TriePrefix&, const TriePrefix&) noexcept = default;
};

// The families. The dense top (DenseTop.h) covers topBits bits, a whole number of strides.
struct TrieFamily4 {
  using Key = TrieKey32;
  static constexpr AddressFamily family = AddressFamily::ipv4;
  static constexpr unsigned topBits = 18;
};

struct TrieFamily6 {
  using Key = TrieKey128;
  static constexpr AddressFamily family = AddressFamily::ipv6;
  static constexpr unsigned topBits = 12;
};

}  // namespace Routing
