#pragma once

// A named source of trace messages with the levels that are switched on.
//
// A source file that traces defines one facility at namespace scope, named after the file, and
// names it in every trace statement. A facility is known to the process, by name, from its
// construction to its destruction; there is no other list of them.
//
// Each facility has two sets of levels: what goes to the text sinks, and what goes to the binary
// ring. A text-only facility has no ring set; it never writes to the ring, whatever is asked. Both
// sets stand in one word, so that a trace statement that is switched off costs one load and one
// branch. At construction both are empty.
//
// Invariants:
//   1. No two facilities of a name live at a time.
//   2. A text-only facility's ring set is empty.
//
// Facilities, like all of tracing, belong to one thread.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/trace/TraceLevels.h"

namespace Routing {

class TraceFacility {
 public:
  enum class Output : std::uint8_t { textAndRing, textOnly };

  // Ring files hold names in bounded space.
  static constexpr std::size_t maxNameLength = 64;

  // Requires: a name of 1 to 64 characters that is not in use and outlives the facility.
  explicit TraceFacility(std::string_view name, Output output = Output::textAndRing);
  ~TraceFacility();
  TraceFacility(const TraceFacility&) = delete;
  TraceFacility(TraceFacility&&) = delete;
  TraceFacility& operator=(const TraceFacility&) = delete;
  TraceFacility& operator=(TraceFacility&&) = delete;

  // Null when there is none of that name.
  static TraceFacility* find(std::string_view name);
  // All, in the order of their names.
  static std::vector<TraceFacility*> all();
  // The same set for every facility there is now.
  static void allTextLevelsAre(TraceLevelMask levels);
  static void allRingLevelsAre(TraceLevelMask levels);

  std::string_view name() const noexcept { return name_; }
  bool textOnly() const noexcept { return output_ == Output::textOnly; }

  TraceLevelMask textLevels() const noexcept { return static_cast<TraceLevelMask>(levels_); }
  TraceLevelMask ringLevels() const noexcept {
    return static_cast<TraceLevelMask>(levels_ >> ringShift);
  }
  void textLevelsAre(TraceLevelMask levels) noexcept;
  // Changes nothing in a text-only facility.
  void ringLevelsAre(TraceLevelMask levels) noexcept;

  // Differs from that of any other facility of the process's life.
  std::uint64_t serial() const noexcept { return serial_; }

  // True when the level is on for either output.
  constexpr bool levelOn(int level) const noexcept {
    return (levels_ & (bothOutputs << static_cast<unsigned>(level))) != 0;
  }
  bool textOn(int level) const noexcept { return (textLevels() & traceLevelBit(level)) != 0; }
  bool ringOn(int level) const noexcept { return (ringLevels() & traceLevelBit(level)) != 0; }

 private:
  static constexpr unsigned ringShift = 16;
  static constexpr std::uint32_t bothOutputs = 1U | (1U << ringShift);

  // Text levels in the low half, ring levels in the high half.
  std::uint32_t levels_ = 0;
  Output output_;
  std::string_view name_;
  std::uint64_t serial_;
  TraceFacility* next_ = nullptr;
};

}  // namespace Routing
