#pragma once

// One hop of a route or nexthop object as the kernel tells of it: where a packet goes, and whether
// the kernel uses the hop at present.

#include <vector>

#include "platform/fib/Fec.h"

namespace Routing::Host {

// The action of a via's label: it is pushed. 0 (none) when there is no label.
inline constexpr std::uint8_t labelPush = 1;

struct Hop {
  // The hop's address is unset when the destination is on the link itself.
  FibGen::Via via;
  // The kernel keeps the hop and does not use it: its link is down.
  bool dead = false;

  friend constexpr bool operator==(const Hop&, const Hop&) noexcept = default;
};

using Hops = std::vector<Hop>;

}  // namespace Routing::Host
