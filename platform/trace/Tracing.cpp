#include "platform/trace/Tracing.h"

#include <chrono>
#include <optional>

#include "platform/entity/Assert.h"
#include "platform/trace/TraceRing.h"
#include "platform/trace/TraceSink.h"

namespace Routing {
namespace {

constinit TraceRing* attachedRing = nullptr;
constinit TraceClock* attachedClock = nullptr;

std::int64_t currentTime() {
  if (attachedClock != nullptr) {
    return attachedClock->now();
  }
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

}  // namespace

TraceRing* Tracing::ring() noexcept { return attachedRing; }

void Tracing::ringIs(TraceRing* ring) noexcept { attachedRing = ring; }

void Tracing::clockIs(TraceClock* clock) noexcept { attachedClock = clock; }

void Tracing::send(const TraceFacility& facility, TraceSite& site, std::string_view encoded) {
  const bool toRing = attachedRing != nullptr && facility.ringOn(site.level);
  const bool toText = facility.textOn(site.level) && TraceSink::anyAttached();
  if (!toRing && !toText) {
    return;
  }
  const std::int64_t time = currentTime();
  if (toRing && attachedRing != nullptr) {
    attachedRing->write(time, facility, site, encoded);
  }
  if (toText) {
    ByteReader from(encoded);
    const std::optional<String> text = traceText(site.format, site.arguments, from);
    ROUTING_ASSERT(text && from.rest().empty() && "trace arguments must fit the statement");
    TraceSink::deliver({time, site.level, facility.name(), *text});
  }
}

}  // namespace Routing
