#include "platform/trace/TraceRing.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>

#include "platform/entity/Assert.h"
#include "platform/trace/RingFile.h"
#include "platform/trace/RingFormat.h"
#include "platform/trace/TraceBytes.h"
#include "platform/trace/TraceText.h"
#include "platform/trace/Tracing.h"

namespace Routing {
namespace {

using namespace RingFormat;

constinit std::uint64_t ringSerials = 0;

std::size_t checkedSize(std::size_t size) {
  if (size < TraceRing::minimumSize || size > TraceRing::maximumSize) {
    throw TraceRingError("size of trace ring must be from " +
                         std::to_string(TraceRing::minimumSize) + " to " +
                         std::to_string(TraceRing::maximumSize) + " bytes");
  }
  return aligned(size);
}

// The header that stands before an entry's size and check are known.
String entry(EntryKind kind, int level, std::size_t argumentCount) {
  String bytes;
  appendNumber(bytes, static_cast<std::uint8_t>(kind));
  appendNumber(bytes, static_cast<std::uint8_t>(level));
  appendNumber(bytes, static_cast<std::uint16_t>(argumentCount));
  return bytes;
}

}  // namespace

TraceRing::TraceRing(std::size_t size)
    : base_(mapRingMemory(checkedSize(size))), size_(aligned(size)), serial_(++ringSerials) {
  format();
}

TraceRing::TraceRing(const String& path, std::size_t size)
    : base_(mapRingFile(path, checkedSize(size))), size_(aligned(size)), serial_(++ringSerials) {
  format();
}

TraceRing::~TraceRing() {
  if (Tracing::ring() == this) {
    Tracing::ringIs(nullptr);
  }
  unmapRing(base_, size_);
}

// The magic goes in last: a file without it is not a ring yet.
void TraceRing::format() {
  tableSize_ = std::clamp(aligned(size_ / 8), minimumTableSize, maximumTableSize);
  ringSize_ = size_ - headerSize - tableSize_;
  storeLittleEndian(base_ + versionOffset, version);
  storeLittleEndian(base_ + tableSizeOffset, std::uint64_t{tableSize_});
  storeLittleEndian(base_ + ringSizeOffset, std::uint64_t{ringSize_});
  storeLittleEndian(base_ + checkOffset, check(version, {base_ + tableSizeOffset, 16}));
  setPosition(0, loadLittleEndian<std::uint64_t>(magic.data()));
}

// Everything written before is in the file before the position is; a position that makes room is in
// the file before anything that is written later.
void TraceRing::setPosition(std::size_t offset, std::uint64_t value) noexcept {
  auto* word = static_cast<std::uint64_t*>(static_cast<void*>(base_ + offset));
  std::atomic_ref<std::uint64_t>(*word).exchange(littleEndian(value), std::memory_order_acq_rel);
}

void TraceRing::write(std::int64_t time,
                      const TraceFacility& facility,
                      TraceSite& site,
                      std::string_view encoded) {
  if (site.ringSerial != serial_ || site.facilitySerial != facility.serial()) {
    enter(facility, site);
  }
  bool written = false;
  if (site.ringMessage != untabledMessage) {
    written = append(time, site.ringFacility, site.ringMessage, encoded);
  } else {
    ByteReader from(encoded);
    const auto text = traceText(site.format, site.arguments, from);
    ROUTING_ASSERT(text && "trace arguments must fit the statement");
    written = appendAsText(time, facility, site.level, *text);
  }
  if (!written) {
    const String text =
        "message of " + std::to_string(encoded.size()) + " bytes is too long for the ring";
    written = appendAsText(time, facility, site.level, text);
  }
  ROUTING_ASSERT(written && "a ring has room for the mark of a long message");
}

// Finds the site's numbers. A site that does not go into the table is remembered as such: a full
// table stays full.
void TraceRing::enter(const TraceFacility& facility, TraceSite& site) {
  site.ringFacility = facilityNumber(facility);
  site.ringMessage = site.ringFacility == 0 ? untabledMessage : messageNumber(site);
  site.ringSerial = serial_;
  site.facilitySerial = facility.serial();
}

std::uint32_t TraceRing::facilityNumber(const TraceFacility& facility) {
  String bytes = entry(EntryKind::facility, 0, 0);
  appendText(bytes, facility.name());
  return entryNumber(bytes);
}

std::uint32_t TraceRing::enumerationNumber(const TraceEnumeration& enumeration) {
  String bytes = entry(EntryKind::enumeration, 0, 0);
  appendText(bytes, enumeration.name());
  appendNumber(bytes, static_cast<std::uint32_t>(enumeration.members().size()));
  for (const TraceEnumerator& member : enumeration.members()) {
    appendNumber(bytes, static_cast<std::uint64_t>(member.value));
    appendText(bytes, member.name);
  }
  return entryNumber(bytes);
}

std::uint32_t TraceRing::messageNumber(const TraceSite& site) {
  String bytes = entry(EntryKind::message, site.level, site.arguments.size());
  for (const TraceArgumentSpec& argument : site.arguments) {
    std::uint32_t enumeration = 0;
    if (argument.enumeration != nullptr) {
      enumeration = enumerationNumber(*argument.enumeration);
      if (enumeration == 0) {
        return untabledMessage;
      }
    }
    appendNumber(bytes, static_cast<std::uint8_t>(argument.kind));
    appendNumber(bytes, enumeration);
  }
  appendText(bytes, site.format);
  return entryNumber(bytes);
}

// The number of the entry, which goes into the table when it is new; 0 when there is no room.
std::uint32_t TraceRing::entryNumber(const String& entry) {
  const auto known = numbers_.find(entry);
  if (known != numbers_.end()) {
    return known->second;
  }
  const std::size_t numberedSize = 12 + entry.size();
  const std::size_t size = aligned(numberedSize);
  if (size > tableSize_ - tableUsed_) {
    return 0;
  }
  const auto number = static_cast<std::uint32_t>(numbers_.size() + 1);
  char* to = base_ + headerSize + tableUsed_;
  storeLittleEndian(to, static_cast<std::uint32_t>(size));
  storeLittleEndian(to + 8, number);
  entry.copy(to + 12, entry.size());
  std::memset(to + numberedSize, 0, size - numberedSize);
  storeLittleEndian(to + 4, check(size, {to + 8, size - 8}));
  tableUsed_ += size;
  setPosition(tableUsedOffset, tableUsed_);
  numbers_.emplace(entry, number);
  return number;
}

// False, and nothing is changed, when the record takes more than half of the ring.
bool TraceRing::append(std::int64_t time,
                       std::uint32_t facility,
                       std::uint32_t message,
                       std::string_view encoded) {
  const std::size_t filledSize = recordHeaderSize + encoded.size();
  const std::size_t size = aligned(filledSize);
  if (size > ringSize_ / 2) {
    return false;
  }
  const std::size_t left = ringSize_ - static_cast<std::size_t>(newest_ % ringSize_);
  const std::size_t skipped = left < size ? left : 0;
  makeRoom(skipped + size);
  if (skipped != 0) {
    storeLittleEndian(place(newest_), static_cast<std::uint32_t>(skipped) | fillerBit);
  }
  char* to = place(newest_ + skipped);
  storeLittleEndian(to, static_cast<std::uint32_t>(size));
  storeLittleEndian(to + 8, sequence_);
  storeLittleEndian(to + 16, static_cast<std::uint64_t>(time));
  storeLittleEndian(to + 24, message);
  storeLittleEndian(to + 28, facility);
  encoded.copy(to + recordHeaderSize, encoded.size());
  std::memset(to + filledSize, 0, size - filledSize);
  storeLittleEndian(to + 4, check(size, {to + 8, size - 8}));
  newest_ += skipped + size;
  ++sequence_;
  setPosition(newestOffset, newest_);
  return true;
}

bool TraceRing::appendAsText(std::int64_t time,
                             const TraceFacility& facility,
                             int level,
                             std::string_view text) {
  String encoded;
  appendNumber(encoded, static_cast<std::uint8_t>(level));
  appendText(encoded, facility.name());
  appendText(encoded, text);
  return append(time, 0, untabledMessage, encoded);
}

// Lets the oldest records go until so many bytes are free. Requires: no more than the ring's size.
void TraceRing::makeRoom(std::uint64_t size) {
  const std::uint64_t before = oldest_;
  while (ringSize_ - (newest_ - oldest_) < size) {
    oldest_ += sizeAt(oldest_);
  }
  if (oldest_ != before) {
    setPosition(oldestOffset, oldest_);
  }
}

// Bytes to the next record. Someone else may have written to the file: what makes no sense is read
// as "all", so that the ring begins anew.
std::uint64_t TraceRing::sizeAt(std::uint64_t position) const noexcept {
  const std::uint64_t size = loadLittleEndian<std::uint32_t>(place(position)) & ~fillerBit;
  const std::uint64_t left = ringSize_ - position % ringSize_;
  if (size == 0 || size % alignment != 0 || size > left || size > newest_ - position) {
    return newest_ - position;
  }
  return size;
}

char* TraceRing::place(std::uint64_t position) const noexcept {
  return base_ + headerSize + tableSize_ + position % ringSize_;
}

}  // namespace Routing
