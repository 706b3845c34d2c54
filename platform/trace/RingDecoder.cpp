#include "platform/trace/RingDecoder.h"

#include <algorithm>
#include <utility>

#include "platform/trace/RingFile.h"
#include "platform/trace/RingFormat.h"
#include "platform/trace/TraceBytes.h"
#include "platform/trace/TraceLevels.h"

namespace Routing {
namespace {

using namespace RingFormat;

constexpr std::uint64_t wastePerByte = 64;
constexpr std::uint64_t wasteAtLeast = std::uint64_t{1} << 20U;

std::uint64_t word(std::string_view image, std::size_t offset) {
  return loadLittleEndian<std::uint64_t>(image.data() + offset);
}

bool isPadding(std::string_view bytes) {
  return bytes.size() < alignment && bytes.find_first_not_of('\0') == std::string_view::npos;
}

}  // namespace

RingDecoder::RingDecoder(String image) : image_(std::move(image)) {
  readHeader();
  readTable();
  readPositions();
}

RingDecoder RingDecoder::fromFile(const String& path) { return RingDecoder(readRingFile(path)); }

void RingDecoder::readHeader() {
  const RingSizes sizes = readRingSizes(image_);
  tableSize_ = sizes.table;
  ringSize_ = sizes.ring;
  const std::size_t size = headerSize + tableSize_ + ringSize_;
  if (image_.size() < size) {
    noteProblem(std::to_string(size - image_.size()) + " bytes are missing at the end");
  }
  if (image_.size() > size) {
    noteProblem("there is more than the ring, from offset " + std::to_string(size));
  }
}

void RingDecoder::readTable() {
  std::uint64_t used = word(image_, tableUsedOffset);
  if (used > tableSize_ || used % alignment != 0) {
    noteProblem("the size of the table in use is damaged");
    used = tableSize_;
  }
  const std::string_view area = std::string_view(image_).substr(headerSize, used);
  table_.read(area, headerSize, [this](String problem) { noteProblem(std::move(problem)); });
}

void RingDecoder::readPositions() {
  position_ = word(image_, oldestOffset);
  newest_ = word(image_, newestOffset);
  if (position_ > newest_ || newest_ - position_ > ringSize_ || position_ % alignment != 0 ||
      newest_ % alignment != 0) {
    searchOldest();
    noteProblem("the positions of the records are damaged");
  }
}

// Without positions: begins with the record that has the lowest sequence. What lies between the
// newest record and the oldest is not whole, or older still.
void RingDecoder::searchOldest() {
  const std::vector<String> problems = problems_;
  const std::uint64_t moreProblems = moreProblems_;
  std::optional<std::uint64_t> lowest;
  std::uint64_t start = 0;
  position_ = 0;
  newest_ = ringSize_;
  for (std::string_view record = nextRecord(); !record.empty(); record = nextRecord()) {
    const std::uint64_t sequence = word(record, 8);
    if (!lowest || sequence < *lowest) {
      lowest = sequence;
      start = position_ - record.size();
    }
  }
  problems_ = problems;
  moreProblems_ = moreProblems;
  wastedBytes_ = 0;
  position_ = start;
  newest_ = lowest ? start + ringSize_ : start;
}

std::optional<TraceMessage> RingDecoder::next() {
  for (std::string_view record = nextRecord(); !record.empty(); record = nextRecord()) {
    if (const auto message = decode(record)) {
      return message;
    }
    noteProblem("the record before offset " + std::to_string(place()) + " makes no sense");
  }
  return std::nullopt;
}

std::vector<String> RingDecoder::problems() const {
  std::vector<String> problems = problems_;
  if (moreProblems_ != 0) {
    problems.push_back("and " + std::to_string(moreProblems_) + " more problems");
  }
  return problems;
}

// Takes the next whole record, and fillers and damage on the way to it. A place where no record
// begins is passed 8 bytes at a time; the end of the ring area is a boundary in any case.
std::string_view RingDecoder::nextRecord() {
  std::uint64_t damage = 0;
  std::size_t damagePlace = 0;
  std::string_view record;
  while (position_ < newest_ && record.empty()) {
    const std::string_view bytes = bytesHere();
    record = recordHere(bytes);
    if (!record.empty()) {
      position_ += record.size();
      break;
    }
    const std::size_t left = bytesToEnd();
    if (bytes.size() == left &&
        loadLittleEndian<std::uint32_t>(bytes.data()) == (left | fillerBit)) {
      position_ += left;
      continue;
    }
    damagePlace = damage == 0 ? place() : damagePlace;
    const std::uint64_t passed =
        bytes.empty() ? std::min<std::uint64_t>(left, newest_ - position_) : alignment;
    damage += passed;
    position_ += passed;
    if (wastedBytes_ > wastePerByte * image_.size() + wasteAtLeast) {
      noteProblem("too much damage, given up at offset " + std::to_string(place()));
      position_ = newest_;
    }
  }
  noteDamage(damagePlace, damage);
  return record;
}

// Bytes from here to the end of the ring area.
std::size_t RingDecoder::bytesToEnd() const {
  return ringSize_ - static_cast<std::size_t>(position_ % ringSize_);
}

// What may belong to a record that begins here: nothing, or at least 8 bytes.
std::string_view RingDecoder::bytesHere() const {
  if (place() + alignment > image_.size()) {
    return {};
  }
  const std::uint64_t size = std::min<std::uint64_t>(bytesToEnd(), newest_ - position_);
  return std::string_view(image_).substr(place(), size);
}

// The whole record at the front of the bytes; empty when there is none.
std::string_view RingDecoder::recordHere(std::string_view bytes) {
  if (bytes.empty()) {
    return {};
  }
  const std::size_t size = loadLittleEndian<std::uint32_t>(bytes.data());
  if (size < recordHeaderSize || size % alignment != 0 || size > bytes.size()) {
    return {};
  }
  const std::string_view record = bytes.substr(0, size);
  if (checkHolds(record)) {
    return record;
  }
  wastedBytes_ += size;
  return {};
}

std::size_t RingDecoder::place() const {
  return headerSize + tableSize_ + static_cast<std::size_t>(position_ % ringSize_);
}

std::optional<TraceMessage> RingDecoder::decode(std::string_view record) {
  followSequence(word(record, 8));
  const auto time = static_cast<std::int64_t>(word(record, 16));
  const auto message = loadLittleEndian<std::uint32_t>(record.data() + 24);
  const auto facility = loadLittleEndian<std::uint32_t>(record.data() + 28);
  const std::string_view encoded = record.substr(recordHeaderSize);
  if (message == untabledMessage) {
    return decodeUntabled(time, encoded);
  }
  return decodeTabled(time, message, facility, encoded);
}

std::optional<TraceMessage> RingDecoder::decodeTabled(std::int64_t time,
                                                      std::uint32_t message,
                                                      std::uint32_t facility,
                                                      std::string_view encoded) {
  const RingTable::Message* entry = table_.message(message);
  const std::string_view name = table_.facility(facility);
  if (entry == nullptr || name.empty()) {
    return std::nullopt;
  }
  ByteReader from(encoded);
  auto text = traceText(entry->format, entry->arguments, from);
  if (!text || !isPadding(from.rest())) {
    return std::nullopt;
  }
  text_ = *std::move(text);
  return TraceMessage{time, entry->level, name, text_};
}

std::optional<TraceMessage> RingDecoder::decodeUntabled(std::int64_t time,
                                                        std::string_view encoded) {
  ByteReader from(encoded);
  const auto level = from.number<std::uint8_t>();
  const auto facility = from.text();
  const auto text = from.text();
  if (!level || *level > maxTraceLevel || !facility || !text || !isPadding(from.rest())) {
    return std::nullopt;
  }
  return TraceMessage{time, *level, *facility, *text};
}

void RingDecoder::followSequence(std::uint64_t sequence) {
  if (sequence_ && sequence <= *sequence_) {
    noteProblem("messages are out of order at message " + std::to_string(sequence));
  } else if (sequence_ && sequence != *sequence_ + 1) {
    noteProblem("messages missing before message " + std::to_string(sequence) + ": " +
                std::to_string(sequence - *sequence_ - 1));
  }
  sequence_ = sequence;
}

void RingDecoder::noteDamage(std::size_t offset, std::uint64_t size) {
  if (size != 0) {
    noteProblem("the ring is damaged at offset " + std::to_string(offset) + ", " +
                std::to_string(size) + " bytes passed over");
  }
}

void RingDecoder::noteProblem(String problem) {
  if (problems_.size() < maxProblems) {
    problems_.push_back(std::move(problem));
  } else {
    ++moreProblems_;
  }
}

}  // namespace Routing
