#pragma once

// DenseLayout: where the parts of a DenseTable's block stand: the array of members, the bitmap of
// the places in use, the index.

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Routing {

struct DenseLayout {
  static constexpr std::uint32_t bitsPerWord = 64;
  // A table with as few places is searched from end to end.
  static constexpr std::uint32_t mostUnindexed = 8;

  DenseLayout(std::size_t memberBytes, std::uint32_t capacity) noexcept
      : slotCount(capacity <= mostUnindexed ? 0 : std::bit_ceil(capacity + capacity / 3 + 1)),
        bitmapAt(roundUp(memberBytes * capacity)),
        slotsAt(bitmapAt + sizeof(std::uint64_t) * ((capacity + bitsPerWord - 1) / bitsPerWord)),
        bytes(slotsAt + sizeof(std::uint32_t) * slotCount) {}

  std::uint32_t slotCount;
  std::size_t bitmapAt;
  std::size_t slotsAt;
  std::size_t bytes;

 private:
  static std::size_t roundUp(std::size_t offset) noexcept {
    return (offset + alignof(std::uint64_t) - 1) & ~(alignof(std::uint64_t) - 1);
  }
};

}  // namespace Routing
