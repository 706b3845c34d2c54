#pragma once

// TraceLog: while it lives, the chosen levels of a facility are on and each of its messages goes
// into an EventLog as "LEVEL FACILITY: MESSAGE", in order with whatever else is logged there.
// Afterwards the facility has the levels that it had before.
//
//   TraceLog traces(log, "NexthopResolverFibViaSm");

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceLevels.h"
#include "platform/trace/TraceSink.h"
#include "tests/support/EventLog.h"

namespace Routing::Support {

// Throws: std::invalid_argument when there is no facility of that name.
inline TraceFacility& facilityOf(std::string_view name) {
  TraceFacility* const facility = TraceFacility::find(name);
  if (facility == nullptr) {
    throw std::invalid_argument("no trace facility " + std::string(name));
  }
  return *facility;
}

class TraceLog {
 public:
  TraceLog(EventLog& log, std::string_view facility, TraceLevelMask levels = allTraceLevels)
      : facility_(facilityOf(facility)),
        before_(facility_.textLevels()),
        sink_([this, &log](const TraceMessage& message) {
          if (message.facility == facility_.name()) {
            log.add(lineOf(message));
          }
        }) {
    facility_.textLevelsAre(levels);
    sink_.attachedIs(true);
  }
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;
  ~TraceLog() { facility_.textLevelsAre(before_); }

  static std::string lineOf(const TraceMessage& message) {
    return std::to_string(message.level)
        .append(" ")
        .append(message.facility)
        .append(": ")
        .append(message.text);
  }

 private:
  TraceFacility& facility_;
  TraceLevelMask before_;
  CallbackTraceSink sink_;
};

}  // namespace Routing::Support
