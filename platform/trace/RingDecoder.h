#pragma once

// Reads a trace ring back into messages.
//
// The bytes may be those of a process that was killed, of one that is still writing, of a damaged
// disk or of someone who means harm: nothing in them is trusted, every size and place is checked
// before it is used. What can be read is read, and what could not is told in problems().
//
// Damage:
//   header         not a ring, or sizes that do not hold: TraceRingError, nothing can be read
//   positions      the whole ring area is searched for records, oldest first
//   table entry    skipped; the messages that need it are told as problems
//   record         skipped; reading goes on at the next record that is whole
//   bytes missing  what is there is read
//
// A decoder is made for one image and goes through it once.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/trace/RingFile.h"
#include "platform/trace/RingTable.h"
#include "platform/trace/TraceText.h"

namespace Routing {

class RingDecoder {
 public:
  // More problems than this are counted, not kept.
  static constexpr std::size_t maxProblems = 20;

  // Throws: TraceRingError when the image is not that of a ring.
  explicit RingDecoder(String image);
  // Reads a file whose writer may be at work. Throws: TraceRingError, also when the file cannot be
  // read.
  static RingDecoder fromFile(const String& path);
  RingDecoder(const RingDecoder&) = delete;
  RingDecoder(RingDecoder&&) = delete;
  RingDecoder& operator=(const RingDecoder&) = delete;
  RingDecoder& operator=(RingDecoder&&) = delete;
  ~RingDecoder() = default;

  // The oldest message that was not given yet; nothing at the end. Its views are valid until the
  // next call.
  std::optional<TraceMessage> next();

  // What was found to be wrong so far, in words for a person; at last, how many more there were.
  // Empty after the last message: the ring is whole.
  std::vector<String> problems() const;

  // Valid while the decoder lives.
  const RingTable& table() const noexcept { return table_; }

 private:
  void readHeader();
  void readTable();
  void readPositions();
  void searchOldest();

  std::string_view nextRecord();
  std::size_t bytesToEnd() const;
  std::string_view bytesHere() const;
  std::string_view recordHere(std::string_view bytes);
  std::size_t place() const;

  std::optional<TraceMessage> decode(std::string_view record);
  std::optional<TraceMessage> decodeTabled(std::int64_t time,
                                           std::uint32_t message,
                                           std::uint32_t facility,
                                           std::string_view encoded);
  std::optional<TraceMessage> decodeUntabled(std::int64_t time, std::string_view encoded);
  void followSequence(std::uint64_t sequence);

  void noteDamage(std::size_t offset, std::uint64_t size);
  void noteProblem(String problem);

  String image_;
  std::size_t tableSize_ = 0;
  std::size_t ringSize_ = 0;
  RingTable table_;

  std::uint64_t position_ = 0;
  std::uint64_t newest_ = 0;
  std::optional<std::uint64_t> sequence_;
  // Bytes looked at in vain. Bounds the time that a made-up file can take.
  std::uint64_t wastedBytes_ = 0;

  String text_;
  std::vector<String> problems_;
  std::uint64_t moreProblems_ = 0;
};

}  // namespace Routing
