#pragma once

// ResolverId: the compact identifier under which a FEC's vias are published.
//
//   bits 56 to 63   information bits, copied from the FecId
//   bits 0 to 55    a counter value, from 4 on; or, for a reserved FecId, that FecId
//
// The FecIds 0 to 3 are reserved: their ResolverId is the same number and takes no counter value.

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/entity/Hash.h"
#include "platform/entity/ValueParser.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"

namespace Routing {

class ResolverId {
 public:
  static constexpr std::uint64_t informationBits = 0xff00000000000000;
  // The largest counter value, 2^56 - 1.
  static constexpr std::uint64_t maxResId = 0x00ffffffffffffff;
  // The largest reserved FecId, and the largest ResolverId that stands for one.
  static constexpr std::uint64_t maxReserved = 3;
  static constexpr std::uint64_t firstCounterValue = 4;

  constexpr ResolverId() noexcept = default;
  explicit constexpr ResolverId(std::uint64_t value) noexcept : value_(value) {}

  constexpr std::uint64_t value() const noexcept { return value_; }
  // The counter value: the identifier without its information bits.
  constexpr std::uint64_t stripInformationBits() const noexcept {
    return value_ & ~informationBits;
  }
  // By the whole value: one whose information bits are set is none.
  constexpr bool isResIdForReservedFecId() const noexcept { return value_ <= maxReserved; }

  friend constexpr bool operator==(const ResolverId&, const ResolverId&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const ResolverId& left,
                                                    const ResolverId& right) noexcept {
    return left.value_ <=> right.value_;
  }

  std::uint32_t hash(std::uint32_t seed) const noexcept {
    return HashState(seed).mix(value_).result();
  }
  String stringValue() const { return std::to_string(value_); }
  static std::optional<ResolverId> parse(std::string_view text) {
    const auto value = ValueParser<std::uint64_t>::parse(text);
    return value ? std::optional(ResolverId(*value)) : std::nullopt;
  }

 private:
  std::uint64_t value_ = 0;
};

constexpr bool isReservedFecId(FecId fecId) noexcept { return fecId <= ResolverId::maxReserved; }

}  // namespace Routing
