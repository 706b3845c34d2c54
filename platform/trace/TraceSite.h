#pragma once

// What is known of a trace statement before it runs: its level, its format, its arguments' kinds.
//
// A statement has one static site. The ring remembers in it under which numbers the statement
// stands in the ring's tables, so that a message is written without a search.

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/trace/TraceArgument.h"

namespace Routing {

struct TraceSite {
  int level = 0;
  std::string_view format;
  std::span<const TraceArgumentSpec> arguments;

  // Of the ring and the facility of the statement's last message. Serials begin at 1.
  std::uint64_t ringSerial = 0;
  std::uint64_t facilitySerial = 0;
  std::uint32_t ringFacility = 0;
  std::uint32_t ringMessage = 0;
};

}  // namespace Routing
