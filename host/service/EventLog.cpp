#include "host/service/EventLog.h"

#include <algorithm>

#include "platform/entity/Assert.h"

namespace Routing::Host {

EventLog::EventLog(std::size_t capacity) : capacity_(capacity) {
  ROUTING_ASSERT(capacity > 0 && "a log of events holds at least one");
}

EventLog::Serial EventLog::add(const NexthopEvent& event, Serial before) {
  const std::size_t place = last_ % capacity_;
  if (place == ring_.size()) {
    ring_.emplace_back();
  }
  ring_[place] = {event, before};
  return ++last_;
}

std::vector<NexthopEvent> EventLog::chain(Serial last, std::size_t atMost) const {
  std::vector<NexthopEvent> events;
  for (Serial serial = last; kept(serial) && events.size() < atMost;) {
    const Kept& place = ring_[(serial - 1) % capacity_];
    events.push_back(place.event);
    serial = place.before;
  }
  std::reverse(events.begin(), events.end());
  return events;
}

}  // namespace Routing::Host
