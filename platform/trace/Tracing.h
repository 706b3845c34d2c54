#pragma once

// The process's trace outputs: the ring, the clock, and the way of a message to them.
//
// Text sinks attach themselves (TraceSink). At most one ring is attached; the owner keeps it alive
// and its destructor detaches it. The clock is the system's unless another is set, such as one that
// reads virtual time in tests.

#include <cstdint>
#include <string_view>

#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceSite.h"

namespace Routing {

class TraceRing;

class TraceClock {
 public:
  TraceClock() = default;
  virtual ~TraceClock() = default;
  TraceClock(const TraceClock&) = delete;
  TraceClock(TraceClock&&) = delete;
  TraceClock& operator=(const TraceClock&) = delete;
  TraceClock& operator=(TraceClock&&) = delete;

  // Nanoseconds since 1970-01-01T00:00:00Z.
  virtual std::int64_t now() = 0;
};

class Tracing {
 public:
  // Null: no ring.
  static TraceRing* ring() noexcept;
  static void ringIs(TraceRing* ring) noexcept;

  // Null: the system's clock. The clock outlives its use.
  static void clockIs(TraceClock* clock) noexcept;

  // Sends one message to the outputs that the facility has on at its level: first the ring, then
  // the text sinks. Reenters: the clock, the text sinks' handlers.
  static void send(const TraceFacility& facility, TraceSite& site, std::string_view encoded);
};

}  // namespace Routing
