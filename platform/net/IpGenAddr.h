#pragma once

// An IPv4 or IPv6 address that knows its family.
//
// The value is 16 address bytes and the family, held as five 32-bit words so that an address takes
// 20 bytes wherever it is stored by the hundred thousand. The most significant word comes first; an
// IPv4 address stands in the first word and the other three are zero, so that both families mask,
// compare and walk a trie by the same code.
//
// The default value is the unset address: family 0, all bytes zero. It is what an absent address
// reads as. 0.0.0.0 and :: are ordinary addresses.
//
// Order: by family, then by value. Text: dotted decimal, RFC 5952 for IPv6, "none" when unset.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/entity/Hash.h"

namespace Routing {

using String = std::string;

enum class AddressFamily : std::uint8_t { unset = 0, ipv4 = 1, ipv6 = 2 };

// Bits of an address of the family: 32, 128, or 0 when unset.
constexpr std::uint8_t addressBits(AddressFamily family) noexcept {
  switch (family) {
    case AddressFamily::ipv4:
      return 32;
    case AddressFamily::ipv6:
      return 128;
    case AddressFamily::unset:
      break;
  }
  return 0;
}

class IpGenAddr {
 public:
  // Most significant word first, each in the machine's own byte order.
  using Words = std::array<std::uint32_t, 4>;
  using Bytes = std::array<std::uint8_t, 16>;

  constexpr IpGenAddr() noexcept = default;

  static constexpr IpGenAddr ipv4(std::uint32_t address) noexcept {
    return {AddressFamily::ipv4, Words{address, 0, 0, 0}};
  }
  static constexpr IpGenAddr ipv6(const Words& words) noexcept {
    return {AddressFamily::ipv6, words};
  }
  // The address with these bytes in network order.
  static IpGenAddr ipv6(const Bytes& bytes) noexcept;
  // Nothing but a whole address is accepted: four decimal octets without leading zeros, or an IPv6
  // address of RFC 4291 section 2.2 without a zone.
  static std::optional<IpGenAddr> parse(std::string_view text);

  constexpr AddressFamily family() const noexcept { return family_; }
  constexpr const Words& words() const noexcept { return words_; }
  // 16 bytes in network order; an IPv4 address in the first four.
  Bytes bytes() const noexcept;
  // The word there and the next as one number, for who compares or hashes them: the order of the
  // two is the one that takes a single load where the least significant byte comes first.
  static constexpr std::uint64_t pairOf(const Words& words, std::size_t first) noexcept {
    return words[first] | std::uint64_t{words[first + 1]} << 32U;
  }

  // True unless unset.
  constexpr explicit operator bool() const noexcept { return *this != IpGenAddr{}; }
  // Without memcmp, which the default would call: collections compare keys all the time.
  friend constexpr bool operator==(const IpGenAddr& left, const IpGenAddr& right) noexcept {
    return ((pairOf(left.words_, 0) ^ pairOf(right.words_, 0)) |
            (pairOf(left.words_, 2) ^ pairOf(right.words_, 2)) |
            (left.lastWord() ^ right.lastWord())) == 0;
  }
  friend constexpr std::strong_ordering operator<=>(const IpGenAddr& left,
                                                    const IpGenAddr& right) noexcept {
    if (left.family_ != right.family_) {
      return left.family_ <=> right.family_;
    }
    return left.words_ <=> right.words_;
  }

  std::uint32_t hash(std::uint32_t seed) const noexcept {
    return HashState(seed)
        .mix(pairOf(words_, 0))
        .mix(pairOf(words_, 2) ^ std::uint64_t{static_cast<std::uint8_t>(family_)} << 32U)
        .result();
  }
  String stringValue() const;

 private:
  friend class IpGenPrefix;
  constexpr IpGenAddr(AddressFamily family, const Words& words) noexcept
      : words_(words), family_(family) {}
  // What follows the address words, as one.
  constexpr std::uint32_t lastWord() const noexcept {
    return static_cast<std::uint32_t>(family_) | std::uint32_t{unused_[0]} << 8U |
           std::uint32_t{unused_[1]} << 16U | std::uint32_t{unused_[2]} << 24U;
  }

  Words words_{};
  AddressFamily family_ = AddressFamily::unset;
  // Spelt out so that an address has no bytes of undefined value.
  std::array<std::uint8_t, 3> unused_{};
};

static_assert(sizeof(IpGenAddr) == 20);

}  // namespace Routing

template <>
struct std::hash<Routing::IpGenAddr> {
  std::size_t operator()(const Routing::IpGenAddr& address) const noexcept;
};
