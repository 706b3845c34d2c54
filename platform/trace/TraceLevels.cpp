#include "platform/trace/TraceLevels.h"

namespace Routing {
namespace {

// The level at the front of the text, taken off it.
std::optional<int> takeLevel(std::string_view& text) {
  if (text.empty() || text.front() < '0' || text.front() > '9') {
    return std::nullopt;
  }
  const int level = text.front() - '0';
  text.remove_prefix(1);
  return level;
}

// "N" or "N-M" at the front of the text, taken off it.
std::optional<TraceLevelMask> takeRange(std::string_view& text) {
  const std::optional<int> first = takeLevel(text);
  if (!first) {
    return std::nullopt;
  }
  std::optional<int> last = first;
  if (text.starts_with('-')) {
    text.remove_prefix(1);
    last = takeLevel(text);
  }
  if (!last || *last < *first) {
    return std::nullopt;
  }
  TraceLevelMask mask = noTraceLevels;
  for (int level = *first; level <= *last; ++level) {
    mask |= traceLevelBit(level);
  }
  return mask;
}

}  // namespace

std::optional<TraceLevelMask> parseTraceLevels(std::string_view text) {
  if (text == "off") {
    return noTraceLevels;
  }
  TraceLevelMask mask = noTraceLevels;
  while (true) {
    const std::optional<TraceLevelMask> range = takeRange(text);
    if (!range) {
      return std::nullopt;
    }
    mask |= *range;
    if (text.empty()) {
      return mask;
    }
    if (text.front() != ',') {
      return std::nullopt;
    }
    text.remove_prefix(1);
  }
}

}  // namespace Routing
