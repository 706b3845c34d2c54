#pragma once

// The binary trace: the newest messages in a fixed space.
//
// A ring keeps messages as their numbers and arguments, without making text, in memory or in a file
// that is mapped into memory. It never blocks, never grows and never fails its caller: when it is
// full, the oldest messages give way. In a file the messages are safe the moment they are written,
// however the process ends; they are not safe from a machine that stops. RingDecoder reads both.
//
// The owner attaches a ring with Tracing::ringIs and keeps it alive while it is attached; the
// destructor detaches it. A ring has one writer: one thread of one process, and no child that was
// forked with it.
//
// Invariants:
//   1. The file holds all that decoding needs: the format of each message, the name of each
//      facility and the members of each enumeration enter its table when they are first used.
//   2. What decodes reads exactly as the text trace of the same statement. There is one exception,
//      rule 4.
//   3. When the table is full, a message that is not in it is kept as its text.
//   4. A message that takes more than half of the ring is kept as
//      "message of N bytes is too long for the ring", N being its encoded size.
//
// A mapped file that someone truncates ends the process at the next message (SIGBUS); its space is
// allocated at the start, so that a full disk does not.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/trace/RingFile.h"
#include "platform/trace/TraceFacility.h"
#include "platform/trace/TraceSite.h"

namespace Routing {

class TraceRing {
 public:
  static constexpr std::size_t minimumSize = std::size_t{16} << 10U;
  static constexpr std::size_t maximumSize = std::size_t{1} << 30U;

  // A ring of so many bytes, its table included, in memory. Throws: TraceRingError when the size is
  // out of bounds or the memory is not to be had.
  explicit TraceRing(std::size_t size);
  // The same in a new file that only its owner may read; a file that has the name already is kept
  // as PATH.old (mapRingFile). Throws: TraceRingError.
  TraceRing(const String& path, std::size_t size);
  // Detaches; a file stays.
  ~TraceRing();
  TraceRing(const TraceRing&) = delete;
  TraceRing(TraceRing&&) = delete;
  TraceRing& operator=(const TraceRing&) = delete;
  TraceRing& operator=(TraceRing&&) = delete;

  // Every byte, as in a file. Valid while the ring lives; changes with each message.
  std::string_view image() const noexcept { return {base_, size_}; }
  // Messages written since the beginning, those that have given way included.
  std::uint64_t messageCount() const noexcept { return sequence_; }

  // Keeps one message. Reenters: nothing.
  void write(std::int64_t time,
             const TraceFacility& facility,
             TraceSite& site,
             std::string_view encoded);

 private:
  void format();
  void setPosition(std::size_t offset, std::uint64_t value) noexcept;

  void enter(const TraceFacility& facility, TraceSite& site);
  std::uint32_t facilityNumber(const TraceFacility& facility);
  std::uint32_t enumerationNumber(const TraceEnumeration& enumeration);
  std::uint32_t messageNumber(const TraceSite& site);
  std::uint32_t entryNumber(const String& entry);

  bool append(std::int64_t time,
              std::uint32_t facility,
              std::uint32_t message,
              std::string_view encoded);
  bool appendAsText(std::int64_t time,
                    const TraceFacility& facility,
                    int level,
                    std::string_view text);
  void makeRoom(std::uint64_t size);
  std::uint64_t sizeAt(std::uint64_t position) const noexcept;
  char* place(std::uint64_t position) const noexcept;

  char* base_ = nullptr;
  std::size_t size_;
  std::size_t tableSize_ = 0;
  std::size_t ringSize_ = 0;

  // Told apart from all rings of the process's life, so that sites know whose numbers they hold.
  std::uint64_t serial_;
  // The writer never reads back what it needs: someone else may write to the file.
  std::uint64_t tableUsed_ = 0;
  std::uint64_t oldest_ = 0;
  std::uint64_t newest_ = 0;
  std::uint64_t sequence_ = 0;
  // Entries of the table, without their header, by content; the value is the number.
  std::unordered_map<String, std::uint32_t> numbers_;
};

}  // namespace Routing
