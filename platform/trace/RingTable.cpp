#include "platform/trace/RingTable.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "platform/trace/RingFormat.h"
#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceLevels.h"
#include "platform/trace/TraceText.h"

namespace Routing {
namespace {

// The whole entry at the front of the bytes; empty when there is none.
std::string_view entryAt(std::string_view bytes) {
  if (bytes.size() < RingFormat::entryHeaderSize) {
    return {};
  }
  const std::size_t size = loadLittleEndian<std::uint32_t>(bytes.data());
  if (size < RingFormat::entryHeaderSize || size % RingFormat::alignment != 0 ||
      size > bytes.size()) {
    return {};
  }
  const std::string_view entry = bytes.substr(0, size);
  return RingFormat::checkHolds(entry) ? entry : std::string_view();
}

bool known(std::uint8_t kind) {
  return kind >= static_cast<std::uint8_t>(TraceArgumentKind::unsignedNumber) &&
         kind <= static_cast<std::uint8_t>(TraceArgumentKind::enumeration);
}

}  // namespace

void RingTable::read(std::string_view area,
                     std::size_t fileOffset,
                     const ProblemCallback& problem) {
  std::size_t at = 0;
  bool afterDamage = false;
  while (at < area.size()) {
    const std::string_view entry = entryAt(area.substr(at));
    if (entry.empty()) {
      if (!afterDamage) {
        problem("table is damaged at offset " + std::to_string(fileOffset + at));
      }
      afterDamage = true;
      at += RingFormat::alignment;
      continue;
    }
    afterDamage = false;
    if (!enter(entry)) {
      problem("table entry at offset " + std::to_string(fileOffset + at) + " makes no sense");
    }
    at += entry.size();
  }
}

const RingTable::Message* RingTable::message(std::uint32_t number) const {
  const auto found = messages_.find(number);
  return found == messages_.end() ? nullptr : &found->second;
}

std::string_view RingTable::facility(std::uint32_t number) const {
  const auto found = facilities_.find(number);
  return found == facilities_.end() ? std::string_view() : found->second;
}

std::vector<TraceEnumeration> RingTable::enumerations() const {
  std::vector<TraceEnumeration> views;
  for (const auto& [number, enumeration] : enumerations_) {
    views.push_back(enumeration.view);
  }
  return views;
}

bool RingTable::enter(std::string_view entry) {
  ByteReader from(entry.substr(8));
  const auto number = from.number<std::uint32_t>();
  const auto kind = from.number<std::uint8_t>();
  const auto level = from.number<std::uint8_t>();
  const auto argumentCount = from.number<std::uint16_t>();
  if (!number || !kind || !level || !argumentCount) {
    return false;
  }
  if (*kind == static_cast<std::uint8_t>(RingFormat::EntryKind::message)) {
    return enterMessage(*number, *level, *argumentCount, from);
  }
  if (*kind == static_cast<std::uint8_t>(RingFormat::EntryKind::facility)) {
    return enterFacility(*number, from);
  }
  if (*kind == static_cast<std::uint8_t>(RingFormat::EntryKind::enumeration)) {
    return enterEnumeration(*number, from);
  }
  return false;
}

bool RingTable::enterMessage(std::uint32_t number,
                             int level,
                             std::size_t argumentCount,
                             ByteReader from) {
  if (level > maxTraceLevel || argumentCount > maxTraceArguments) {
    return false;
  }
  Message message{level, {}, {}};
  for (std::size_t count = 0; count < argumentCount; ++count) {
    const auto kind = from.number<std::uint8_t>();
    const auto enumeration = from.number<std::uint32_t>();
    if (!kind || !enumeration || !known(*kind)) {
      return false;
    }
    TraceArgumentSpec spec{static_cast<TraceArgumentKind>(*kind), nullptr};
    if (spec.kind == TraceArgumentKind::enumeration) {
      const auto found = enumerations_.find(*enumeration);
      if (found == enumerations_.end()) {
        return false;
      }
      spec.enumeration = &found->second.view;
    }
    message.arguments.push_back(spec);
  }
  const auto format = from.text();
  if (!format || countTracePlaces(*format) != argumentCount) {
    return false;
  }
  message.format = *format;
  return messages_.emplace(number, std::move(message)).second;
}

bool RingTable::enterFacility(std::uint32_t number, ByteReader from) {
  const auto name = from.text();
  return name && !name->empty() && name->size() <= TraceFacility::maxNameLength &&
         facilities_.emplace(number, *name).second;
}

bool RingTable::enterEnumeration(std::uint32_t number, ByteReader from) {
  const auto name = from.text();
  const auto memberCount = from.number<std::uint32_t>();
  if (!name || !memberCount) {
    return false;
  }
  std::vector<TraceEnumerator> members;
  for (std::uint32_t count = 0; count < *memberCount; ++count) {
    const auto value = from.number<std::uint64_t>();
    const auto memberName = from.text();
    if (!value || !memberName) {
      return false;
    }
    members.push_back({*memberName, static_cast<std::int64_t>(*value)});
  }
  const auto [entered, isNew] = enumerations_.try_emplace(number);
  if (isNew) {
    entered->second.members = std::move(members);
    entered->second.view = TraceEnumeration(*name, entered->second.members);
  }
  return isNew;
}

}  // namespace Routing
