#pragma once

// An aligned address block of either family while a table is being laid out: the address words, of
// which only the first `length` bits are set, and the length. It knows no family, because bits are
// counted from the most significant one in both.

#include <algorithm>
#include <cstdint>

#include "platform/net/IpGenAddr.h"

namespace Routing {

struct Block {
  IpGenAddr::Words words{};
  std::uint8_t length = 0;

  // The half with the next bit clear, or the other one. Requires: length below 128.
  constexpr Block half(bool upper) const noexcept {
    Block result{words, static_cast<std::uint8_t>(length + 1)};
    if (upper) {
      result.words[length / 32U] |= std::uint32_t{1} << (31U - length % 32U);
    }
    return result;
  }

  constexpr bool overlaps(const Block& other) const noexcept {
    std::uint32_t bits = std::min(length, other.length);
    for (std::size_t word = 0; bits > 0; ++word) {
      const std::uint32_t used = std::min<std::uint32_t>(bits, 32);
      if ((words.at(word) ^ other.words.at(word)) >> (32U - used) != 0) {
        return false;
      }
      bits -= used;
    }
    return true;
  }
};

}  // namespace Routing
