#pragma once

// DenseLayout: where the parts of a DenseTable's block stand: the array of members, the bitmap of
// the places in use, the index.
//
// DensePlaces: that bitmap.

#include <algorithm>
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

// A bit a place, set while a member stands there. Refers to the words, which are the block's.
class DensePlaces {
 public:
  DensePlaces() noexcept = default;
  explicit DensePlaces(std::uint64_t* words) noexcept : words_(words) {}

  const std::uint64_t* words() const noexcept { return words_; }
  static std::uint32_t wordsFor(std::uint32_t places) noexcept {
    return (places + bitsPerWord - 1) / bitsPerWord;
  }

  bool used(std::uint32_t place) const noexcept {
    return (words_[place / bitsPerWord] >> (place % bitsPerWord) & 1U) != 0;
  }
  void use(std::uint32_t place) noexcept { words_[place / bitsPerWord] |= bitOf(place); }
  void free(std::uint32_t place) noexcept { words_[place / bitsPerWord] &= ~bitOf(place); }
  // The first so many places are used, of all that there are.
  void useFirst(std::uint32_t used, std::uint32_t places) noexcept {
    for (std::uint32_t word = 0; word < wordsFor(places); ++word) {
      const std::uint32_t first = word * bitsPerWord;
      const std::uint32_t filled = used > first ? std::min(used - first, bitsPerWord) : 0;
      words_[word] = filled == bitsPerWord ? ~std::uint64_t{0} : (std::uint64_t{1} << filled) - 1;
    }
  }
  // The first used place from this one on; end when there is none before it.
  std::uint32_t next(std::uint32_t from, std::uint32_t end) const noexcept {
    if (from >= end) {
      return end;
    }
    std::uint32_t word = from / bitsPerWord;
    std::uint64_t bits = words_[word] >> (from % bitsPerWord) << (from % bitsPerWord);
    while (bits == 0) {
      if (++word == wordsFor(end)) {
        return end;
      }
      bits = words_[word];
    }
    return word * bitsPerWord + static_cast<std::uint32_t>(std::countr_zero(bits));
  }

 private:
  static constexpr std::uint32_t bitsPerWord = DenseLayout::bitsPerWord;
  static std::uint64_t bitOf(std::uint32_t place) noexcept {
    return std::uint64_t{1} << (place % bitsPerWord);
  }

  std::uint64_t* words_ = nullptr;
};

}  // namespace Routing
