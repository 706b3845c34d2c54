#pragma once

// The layout of a trace ring, in memory and in a file alike.
//
//   offset           bytes
//   0                8       magic
//   8                4       version
//   12               4       check of the two sizes
//   16               8       size of the table area
//   24               8       size of the ring area
//   32               8       bytes of the table area in use
//   40               8       position of the oldest record
//   48               8       position behind the newest record
//   56               8       zero
//   64                       table area: entries, one behind the other
//   64 + table size          ring area: records, one behind the other, and fillers
//
// A position counts bytes written to the ring area since the beginning; position modulo ring size
// is the place. All sizes and positions are multiples of 8, all numbers little-endian.
//
// A table entry: size 4, check 4, number 4, kind 1, level 1, argument count 2, then
//   message      for each argument its kind 1 and the number of its enumeration, or 0, 4; the
//                format
//   facility     the name
//   enumeration  the name; the member count 4; for each member its value 8 and its name
// A message refers to enumerations that stand before it.
//
// A record: size 4, check 4, sequence 8, time 8, message 4, facility 4, encoded arguments. Records
// do not wrap: a record that does not fit before the end of the ring area goes to its beginning,
// and what it skips begins with a filler word, 4 bytes: the skipped size with the highest bit set.
// Message 0 is a message that is in no table; its arguments are the level 1, the facility's name
// and the text, and its facility is 0.
//
// A size counts the whole entry or record, padding with zeros to a multiple of 8 included. A check
// is over everything behind it and the size.
//
// Order of writing: the oldest position moves on before bytes are overwritten, and the newest
// position, or the use of the table, moves on after an entry or record is complete. A process that
// is killed at any instruction leaves a ring in which everything that is in use is complete.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/trace/TraceBytes.h"

namespace Routing::RingFormat {

inline constexpr std::string_view magic = "NHTRACE\n";
inline constexpr std::uint32_t version = 1;

inline constexpr std::size_t versionOffset = 8;
inline constexpr std::size_t checkOffset = 12;
inline constexpr std::size_t tableSizeOffset = 16;
inline constexpr std::size_t ringSizeOffset = 24;
inline constexpr std::size_t tableUsedOffset = 32;
inline constexpr std::size_t oldestOffset = 40;
inline constexpr std::size_t newestOffset = 48;
inline constexpr std::size_t headerSize = 64;

inline constexpr std::size_t minimumTableSize = 4096;
inline constexpr std::size_t maximumTableSize = std::size_t{64} << 10U;
inline constexpr std::size_t minimumRingSize = 4096;
inline constexpr std::size_t maximumRingSize = std::size_t{1} << 30U;

inline constexpr std::size_t alignment = 8;
inline constexpr std::size_t entryHeaderSize = 16;
inline constexpr std::size_t recordHeaderSize = 32;
inline constexpr std::uint32_t fillerBit = 0x80000000;

// The number of a message that is in no table.
inline constexpr std::uint32_t untabledMessage = 0;

// The numbers stand in ring files: never reuse one.
enum class EntryKind : std::uint8_t { message = 1, facility = 2, enumeration = 3 };

constexpr std::size_t aligned(std::size_t size) noexcept {
  return (size + alignment - 1) / alignment * alignment;
}

// Finds damage, not forgery. Requires: bytes of a size that is a multiple of 8.
inline std::uint32_t check(std::uint64_t size, std::string_view bytes) noexcept {
  std::uint64_t hash = 0xcbf29ce484222325U ^ size;
  for (std::size_t at = 0; at + sizeof hash <= bytes.size(); at += sizeof hash) {
    hash = (hash ^ loadLittleEndian<std::uint64_t>(bytes.data() + at)) * 0x9e3779b97f4a7c15U;
    hash ^= hash >> 32U;
  }
  return static_cast<std::uint32_t>(hash);
}

// The check of an entry or a record, read from its own bytes. Requires: at least 8 bytes.
inline bool checkHolds(std::string_view bytes) noexcept {
  return loadLittleEndian<std::uint32_t>(bytes.data() + 4) == check(bytes.size(), bytes.substr(8));
}

}  // namespace Routing::RingFormat
