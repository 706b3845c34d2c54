#pragma once

// A prefix of either family, and the two family-specific prefixes that key the route tables.
//
// Host bits are cleared on construction, so that two spellings of a prefix are one value. The
// default IpGenPrefix is the empty prefix: no family, length 0; it covers nothing and is not the
// default route of any family.
//
// A route table is keyed by Prefix (IPv4) or Ip6Prefix. Both are made from an IpGenPrefix and can
// be in one of three states:
//   a prefix    made from a prefix of the table's own family
//   unset       made from the empty prefix; valid, and equal to no prefix, so a lookup finds
//               nothing
//   not valid   made from a prefix of the other family; validAsPrefix() is false
//
// Text: CIDR, "-" for the empty prefix.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/net/IpGenAddr.h"

namespace Routing {

class IpGenPrefix {
 public:
  constexpr IpGenPrefix() noexcept = default;
  // The first `length` bits of the address. Throws: RangeError when the length is beyond the
  // family's, or when an unset address is given a length other than 0.
  IpGenPrefix(const IpGenAddr& address, std::uint8_t length);
  // The address at its full length; the empty prefix for the unset address.
  static constexpr IpGenPrefix host(const IpGenAddr& address) noexcept {
    return {address.family(), addressBits(address.family()), address.words()};
  }
  // The prefix of an address whose host bits are clear already, for who has masked it anyway.
  // Requires: no bit set after the first `length`, which is not beyond the family's.
  static constexpr IpGenPrefix ofNetwork(const IpGenAddr& network, std::uint8_t length) noexcept {
    return {network.family(), length, network.words()};
  }
  // A CIDR: address, "/", decimal length. Host bits may be set and are cleared.
  static std::optional<IpGenPrefix> parse(std::string_view text);

  constexpr AddressFamily family() const noexcept { return address_.family_; }
  constexpr std::uint8_t length() const noexcept { return address_.unused_[0]; }
  constexpr const IpGenAddr::Words& words() const noexcept { return address_.words_; }
  constexpr IpGenAddr address() const noexcept { return {address_.family_, address_.words_}; }

  // Full length of a set family.
  constexpr bool isHost() const noexcept {
    return family() != AddressFamily::unset && length() == addressBits(family());
  }
  // True when the other prefix is this one or lies inside it. The empty prefix contains nothing.
  bool contains(const IpGenPrefix& other) const noexcept;

  // True unless empty.
  constexpr explicit operator bool() const noexcept { return family() != AddressFamily::unset; }
  friend constexpr bool operator==(const IpGenPrefix&, const IpGenPrefix&) noexcept = default;
  // By family, then by address, then shorter first: a parent comes before what lies inside it.
  friend constexpr std::strong_ordering operator<=>(const IpGenPrefix& left,
                                                    const IpGenPrefix& right) noexcept {
    if (left.family() != right.family()) {
      return left.family() <=> right.family();
    }
    if (left.words() != right.words()) {
      return left.words() <=> right.words();
    }
    return left.length() <=> right.length();
  }

  std::uint32_t hash(std::uint32_t seed) const noexcept {
    return hashOfParts(seed, words(), length(), family());
  }
  // The hash of the prefix that these would make.
  static std::uint32_t hashOfParts(std::uint32_t seed,
                                   const IpGenAddr::Words& words,
                                   std::uint8_t length,
                                   AddressFamily family) noexcept {
    const std::uint64_t kind = std::uint64_t{length} << 8U | static_cast<std::uint64_t>(family);
    return HashState(seed)
        .mix(IpGenAddr::pairOf(words, 0))
        .mix(IpGenAddr::pairOf(words, 2) ^ kind << 48U)
        .result();
  }
  String stringValue() const;

 private:
  constexpr IpGenPrefix(AddressFamily family,
                        std::uint8_t length,
                        const IpGenAddr::Words& words) noexcept
      : address_(family, words) {
    address_.unused_[0] = length;
  }

  // The length lives in the address's first spare byte: a prefix is as small as an address.
  IpGenAddr address_;
};

static_assert(sizeof(IpGenPrefix) == 20);

// Clears what follows the first `length` bits.
IpGenAddr::Words maskedWords(const IpGenAddr::Words& words, std::uint8_t length) noexcept;

// Key of an IPv4 route table.
class Prefix {
 public:
  constexpr Prefix() noexcept = default;
  explicit constexpr Prefix(const IpGenPrefix& prefix) noexcept
      : address_(prefix.family() == AddressFamily::ipv4 ? prefix.words()[0] : 0),
        length_(prefix.family() == AddressFamily::ipv4 ? prefix.length() : std::uint8_t{0}),
        family_(prefix.family()) {}

  // False when made from an IPv6 prefix.
  constexpr bool validAsPrefix() const noexcept { return family_ != AddressFamily::ipv6; }
  constexpr bool unset() const noexcept { return family_ == AddressFamily::unset; }
  constexpr std::uint8_t length() const noexcept { return length_; }
  // The prefix itself; the empty prefix unless this is a prefix.
  IpGenPrefix genPrefix() const;

  friend constexpr bool operator==(const Prefix&, const Prefix&) noexcept = default;
  std::uint32_t hash(std::uint32_t seed) const noexcept {
    const std::uint64_t kind = std::uint64_t{length_} << 8U | static_cast<std::uint64_t>(family_);
    return HashState(seed).mix(std::uint64_t{address_} << 32U | kind).result();
  }
  String stringValue() const { return genPrefix().stringValue(); }

 private:
  std::uint32_t address_ = 0;
  std::uint8_t length_ = 0;
  AddressFamily family_ = AddressFamily::unset;
};

// Key of an IPv6 route table.
class Ip6Prefix {
 public:
  constexpr Ip6Prefix() noexcept = default;
  explicit constexpr Ip6Prefix(const IpGenPrefix& prefix) noexcept
      : words_(prefix.family() == AddressFamily::ipv6 ? prefix.words() : IpGenAddr::Words{}),
        length_(prefix.family() == AddressFamily::ipv6 ? prefix.length() : std::uint8_t{0}),
        family_(prefix.family()) {}

  // False when made from an IPv4 prefix.
  constexpr bool validAsPrefix() const noexcept { return family_ != AddressFamily::ipv4; }
  constexpr bool unset() const noexcept { return family_ == AddressFamily::unset; }
  constexpr std::uint8_t length() const noexcept { return length_; }
  // The prefix itself; the empty prefix unless this is a prefix.
  IpGenPrefix genPrefix() const;

  // Without memcmp, which the default would call.
  friend constexpr bool operator==(const Ip6Prefix& left, const Ip6Prefix& right) noexcept {
    return ((IpGenAddr::pairOf(left.words_, 0) ^ IpGenAddr::pairOf(right.words_, 0)) |
            (IpGenAddr::pairOf(left.words_, 2) ^ IpGenAddr::pairOf(right.words_, 2))) == 0 &&
           left.length_ == right.length_ && left.family_ == right.family_;
  }
  std::uint32_t hash(std::uint32_t seed) const noexcept {
    return IpGenPrefix::hashOfParts(seed, words_, length_, family_);
  }
  String stringValue() const { return genPrefix().stringValue(); }

 private:
  IpGenAddr::Words words_{};
  std::uint8_t length_ = 0;
  AddressFamily family_ = AddressFamily::unset;
};

}  // namespace Routing

template <>
struct std::hash<Routing::IpGenPrefix> {
  std::size_t operator()(const Routing::IpGenPrefix& prefix) const noexcept;
};
template <>
struct std::hash<Routing::Prefix> {
  std::size_t operator()(const Routing::Prefix& prefix) const noexcept;
};
template <>
struct std::hash<Routing::Ip6Prefix> {
  std::size_t operator()(const Routing::Ip6Prefix& prefix) const noexcept;
};
