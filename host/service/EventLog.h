#pragma once

// EventLog: the last events of all nexthops, in one ring of bounded size.
//
// Each event names the one before it of the same nexthop, so that a nexthop's history is a chain
// through the ring and costs the nexthop eight bytes. When the ring is full the oldest event goes,
// and chains end where it stood: a nexthop that is quiet for long has no history left, one that
// flaps has much.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/service/NexthopView.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Host {

struct NexthopEvent {
  // Nanoseconds since 1970-01-01T00:00:00Z.
  std::int64_t at = 0;
  std::uint64_t epoch = 0;
  std::uint64_t identifier = 0;
  IpGenPrefix prefix;
  NexthopState state = NexthopState::unknown;
  NexthopReason reason = NexthopReason::none;
};

class EventLog {
 public:
  // 9 MiB when full.
  static constexpr std::size_t defaultCapacity = 131'072;
  // The number of an event; they begin at 1.
  using Serial = std::uint64_t;

  // Memory is taken as events come. Requires: a capacity above 0.
  explicit EventLog(std::size_t capacity = defaultCapacity);

  // `before` is the nexthop's last event, 0 when there is none.
  Serial add(const NexthopEvent& event, Serial before);
  // The event and those before it, as far as they are kept: the oldest first, at most so many.
  std::vector<NexthopEvent> chain(Serial last, std::size_t atMost) const;

 private:
  struct Kept {
    NexthopEvent event;
    Serial before = 0;
  };
  bool kept(Serial serial) const noexcept { return serial != 0 && serial + capacity_ > last_; }

  std::size_t capacity_;
  std::vector<Kept> ring_;
  Serial last_ = 0;
};

}  // namespace Routing::Host
