#pragma once

// SlotSet: which slots are queued in one stream, a bit for each. Slots are numbered without large
// gaps, so a bit costs less, and is found sooner, than a place in a table.
//
// A page of bits comes with the first of its slots and stays until clear(): a stream takes at most
// 136 bytes for each slot that it was ever told of, and an eighth of a byte where they stand
// together.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/service/NexthopSlots.h"

namespace Routing::Host {

class SlotSet {
 public:
  // True when it was not there.
  bool insert(SlotId id) {
    std::uint64_t& word = pageOf(id)[id % pageSize / wordBits];
    const std::uint64_t before = word;
    word |= bitOf(id);
    return word != before;
  }
  // Requires: it is there.
  void remove(SlotId id) noexcept {
    (*pages_[id / pageSize])[id % pageSize / wordBits] &= ~bitOf(id);
  }
  void clear() noexcept { pages_.clear(); }

 private:
  static constexpr SlotId pageSize = 1024;
  static constexpr SlotId wordBits = 64;
  using Page = std::array<std::uint64_t, pageSize / wordBits>;

  static constexpr std::uint64_t bitOf(SlotId id) noexcept {
    return std::uint64_t{1} << id % wordBits;
  }
  Page& pageOf(SlotId id) {
    const std::size_t number = id / pageSize;
    if (number >= pages_.size()) {
      pages_.resize(number + 1);
    }
    if (pages_[number] == nullptr) {
      pages_[number] = std::make_unique<Page>();
    }
    return *pages_[number];
  }

  std::vector<std::unique_ptr<Page>> pages_;
};

}  // namespace Routing::Host
