#include "platform/trace/TraceFacility.h"

#include "platform/entity/Assert.h"

namespace Routing {
namespace {

// Head of the list of facilities in the order of their names. Facilities are static objects of many
// source files, constructed and destroyed in no order that could be relied on, so the list must be
// usable before any of them is made and after all are gone.
constinit TraceFacility* firstFacility = nullptr;
constinit std::uint64_t facilitySerials = 0;

}  // namespace

TraceFacility::TraceFacility(std::string_view name, Output output)
    : output_(output), name_(name), serial_(++facilitySerials) {
  ROUTING_ASSERT(!name.empty() && name.size() <= maxNameLength);
  TraceFacility** link = &firstFacility;
  while (*link != nullptr && (*link)->name_ < name) {
    link = &(*link)->next_;
  }
  ROUTING_ASSERT(*link == nullptr || (*link)->name_ != name);
  next_ = *link;
  *link = this;
}

TraceFacility::~TraceFacility() {
  TraceFacility** link = &firstFacility;
  while (*link != this) {
    link = &(*link)->next_;
  }
  *link = next_;
}

TraceFacility* TraceFacility::find(std::string_view name) {
  for (TraceFacility* facility = firstFacility; facility != nullptr; facility = facility->next_) {
    if (facility->name_ == name) {
      return facility;
    }
  }
  return nullptr;
}

std::vector<TraceFacility*> TraceFacility::all() {
  std::vector<TraceFacility*> facilities;
  for (TraceFacility* facility = firstFacility; facility != nullptr; facility = facility->next_) {
    facilities.push_back(facility);
  }
  return facilities;
}

void TraceFacility::allTextLevelsAre(TraceLevelMask levels) {
  for (TraceFacility* facility = firstFacility; facility != nullptr; facility = facility->next_) {
    facility->textLevelsAre(levels);
  }
}

void TraceFacility::allRingLevelsAre(TraceLevelMask levels) {
  for (TraceFacility* facility = firstFacility; facility != nullptr; facility = facility->next_) {
    facility->ringLevelsAre(levels);
  }
}

void TraceFacility::textLevelsAre(TraceLevelMask levels) noexcept {
  const std::uint32_t ring = static_cast<std::uint32_t>(ringLevels()) << ringShift;
  levels_ = ring | (levels & allTraceLevels);
}

void TraceFacility::ringLevelsAre(TraceLevelMask levels) noexcept {
  if (textOnly()) {
    return;
  }
  const std::uint32_t ring = static_cast<std::uint32_t>(levels & allTraceLevels) << ringShift;
  levels_ = ring | textLevels();
}

}  // namespace Routing
