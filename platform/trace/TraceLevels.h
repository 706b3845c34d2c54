#pragma once

// Trace levels and sets of them.
//
// A message has one level from 0 to 9. The levels are kinds, not degrees: switching on level 8 does
// not switch on level 7. A set of levels is a mask with bit L for level L.
//
// Levels in use:
//   1  summaries, clients and resolvers that come and go
//   2  status entries added or removed, FIB-via events
//   4  repairs at the start of the FIB-via machine
//   7  details of a resolution
//   8  entry of a handler in the resolver or the manager
//   9  entry of a handler in the FIB-via machine

#include <cstdint>
#include <optional>
#include <string_view>

namespace Routing {

using TraceLevelMask = std::uint16_t;

inline constexpr int maxTraceLevel = 9;
inline constexpr TraceLevelMask noTraceLevels = 0;
inline constexpr TraceLevelMask allTraceLevels = (1U << (maxTraceLevel + 1)) - 1;

// The set of this one level; empty for a level that does not exist.
constexpr TraceLevelMask traceLevelBit(int level) noexcept {
  if (level < 0 || level > maxTraceLevel) {
    return noTraceLevels;
  }
  return static_cast<TraceLevelMask>(1U << static_cast<unsigned>(level));
}

// The set that a person writes as "off", "8", "1-4" or "1,2,7-9". Nothing for any other text: no
// blanks, no level above 9, no range that runs backwards.
std::optional<TraceLevelMask> parseTraceLevels(std::string_view text);

}  // namespace Routing
