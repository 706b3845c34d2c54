#pragma once

// NexthopSlots: where the registered nexthops of all clients stand, each under a number.
//
// Streams queue these numbers instead of addresses. A nexthop that is unregistered while a stream
// has still to say so keeps its slot, marked as removed, until no queue holds it (pins); then the
// slot is used again.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/service/EventLog.h"
#include "host/service/NexthopView.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatusFecIdType.h"

namespace Routing::Host {

using SlotId = std::uint32_t;

// The nexthops of one client in one VRF.
struct NexthopGroup {
  String client;
  VrfName vrf;
  NexthopStatusFecIdType kind;
  // Slots that refer to it, removed ones included.
  std::size_t slots = 0;
};

// What is said of a nexthop at one time.
struct Told {
  NexthopView view;
  std::uint64_t previousIdentifier = 0;
  // Writes of the library in this run.
  std::uint64_t epoch = 0;
  // Nanoseconds since 1970-01-01T00:00:00Z; 0 before the first change.
  std::int64_t changedAt = 0;

  bool removed() const noexcept { return view.state == NexthopState::removed; }
  // From an earlier run, and not confirmed by this one yet.
  bool stale() const noexcept {
    return epoch == 0 &&
           (view.state == NexthopState::failed || view.state == NexthopState::resolved);
  }
};

// Two cache lines: who it is, and what is told of it. Changes come in the order of addresses and
// slots stand in the order of registration, so every access to one of many is a miss; whoever goes
// over many prefetches.
struct alignas(64) NexthopSlot {
  IpGenAddr addr;
  Policy policy;
  NexthopGroup* group = nullptr;
  EventLog::Serial lastEvent = 0;
  std::uint32_t pins = 0;
  // Of the writes of a turn, the last.
  std::uint32_t latestWrite = 0;
  alignas(64) Told told;
};
static_assert(sizeof(NexthopSlot) == 128);

class NexthopSlots {
 public:
  // How many slots ahead a prefetch pays.
  static constexpr std::size_t ahead = 8;

  // References stay good while the slot is in use.
  NexthopSlot& operator[](SlotId id) noexcept { return (*blocks_[id / blockSize])[id % blockSize]; }
  const NexthopSlot& operator[](SlotId id) const noexcept {
    return (*blocks_[id / blockSize])[id % blockSize];
  }
  // Says that the slot will be used soon.
  void prefetch(SlotId id) const noexcept {
    const NexthopSlot& slot = (*this)[id];
    __builtin_prefetch(&slot);
    __builtin_prefetch(&slot.told);
  }
  // Those that are not removed.
  std::size_t live() const noexcept { return live_; }
  // Those in use, removed ones included.
  std::size_t used() const noexcept { return used_; }

  SlotId add(NexthopGroup& group, const IpGenAddr& addr, const Policy& policy);
  // Marks it as removed. It is gone unless it is pinned. Requires: not removed.
  void remove(SlotId id);
  void pin(SlotId id) noexcept { ++(*this)[id].pins; }
  // Requires: pinned.
  void unpin(SlotId id);

 private:
  static constexpr SlotId blockSize = 1024;
  using Block = std::array<NexthopSlot, blockSize>;

  void give(SlotId id);

  std::vector<std::unique_ptr<Block>> blocks_;
  std::vector<SlotId> free_;
  SlotId end_ = 0;
  std::size_t live_ = 0;
  std::size_t used_ = 0;
};

}  // namespace Routing::Host
