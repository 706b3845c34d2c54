#include "host/service/TraceStream.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace Routing::Host {

namespace {

// How many loans want each level of a facility, and which levels were off before the first.
struct Lent {
  std::array<unsigned, maxTraceLevel + 1> wanted{};
  TraceLevelMask switchedOn = noTraceLevels;
};

std::unordered_map<TraceFacility*, Lent>& lentLevels() {
  static std::unordered_map<TraceFacility*, Lent> lent;
  return lent;
}

}  // namespace

TraceLoan::TraceLoan(TraceFacility& facility, TraceLevelMask levels)
    : facility_(facility), levels_(levels) {
  Lent& lent = lentLevels()[&facility];
  for (int level = 0; level <= maxTraceLevel; ++level) {
    const TraceLevelMask bit = traceLevelBit(level);
    if ((levels & bit) != 0 && lent.wanted[static_cast<std::size_t>(level)]++ == 0 &&
        !facility.textOn(level)) {
      lent.switchedOn = static_cast<TraceLevelMask>(lent.switchedOn | bit);
    }
  }
  facility.textLevelsAre(static_cast<TraceLevelMask>(facility.textLevels() | levels));
}

TraceLoan::~TraceLoan() {
  Lent& lent = lentLevels()[&facility_];
  TraceLevelMask off = noTraceLevels;
  for (int level = 0; level <= maxTraceLevel; ++level) {
    const TraceLevelMask bit = traceLevelBit(level);
    if ((levels_ & bit) != 0 && --lent.wanted[static_cast<std::size_t>(level)] == 0) {
      off = static_cast<TraceLevelMask>(off | (lent.switchedOn & bit));
    }
  }
  lent.switchedOn = static_cast<TraceLevelMask>(lent.switchedOn & ~off);
  facility_.textLevelsAre(static_cast<TraceLevelMask>(facility_.textLevels() & ~off));
}

TraceStream::TraceStream(Inbox& inbox, StreamKeeper& keeper, const Proto::TraceRequest& request)
    : ServerStream(inbox, keeper), request_(request) {}

void TraceStream::open() {
  const auto levels = request_.levels().empty() ? std::optional(allTraceLevels)
                                                : parseTraceLevels(request_.levels());
  if (!levels) {
    throw RequestError(
        RequestFault::invalid,
        "levels",
        R"(levels are "off", "8", "1-4" or "1,2,7-9", not ")" + request_.levels() + '"');
  }
  std::vector<TraceFacility*> facilities = TraceFacility::all();
  if (request_.facilities_size() != 0) {
    facilities.clear();
    for (int index = 0; index < request_.facilities_size(); ++index) {
      TraceFacility* facility = TraceFacility::find(request_.facilities(index));
      if (facility == nullptr) {
        throw RequestError(RequestFault::notFound,
                           "facilities[" + std::to_string(index) + "]",
                           "there is no facility " + request_.facilities(index));
      }
      facilities.push_back(facility);
    }
  }
  for (TraceFacility* facility : facilities) {
    loans_.push_back(std::make_unique<TraceLoan>(*facility, *levels));
  }
  sink_ = std::make_unique<CallbackTraceSink>(
      [this](const TraceMessage& message) { handleMessage(message); });
  sink_->attachedIs(true);
}

void TraceStream::handleMessage(const TraceMessage& message) {
  const bool wanted = std::any_of(loans_.begin(), loans_.end(), [&message](const auto& loan) {
    return loan->facility().name() == message.facility &&
           (loan->levels() & traceLevelBit(message.level)) != 0;
  });
  if (!wanted) {
    return;
  }
  if (lines_.size() == mostWaiting) {
    ++lost_;
    return;
  }
  Proto::TraceLine& line = lines_.emplace_back();
  line.set_at(message.time);
  line.set_level(static_cast<std::uint32_t>(message.level));
  line.set_facility(message.facility.data(), message.facility.size());
  line.set_text(message.text.data(), message.text.size());
}

bool TraceStream::fill(Proto::TraceResponse& message) {
  if (lines_.empty()) {
    return false;
  }
  while (!lines_.empty() && message.lines_size() < mostLines) {
    *message.add_lines() = std::move(lines_.front());
    lines_.pop_front();
  }
  message.set_lost(lost_);
  return true;
}

void TraceStream::closed() {
  sink_ = nullptr;
  loans_.clear();
  lines_.clear();
}

}  // namespace Routing::Host
