#pragma once

// The table of a trace ring as its decoder reads it: messages, facilities and enumerations by their
// numbers.
//
// Refers to the bytes it was read from, which live longer. The bytes are not trusted: an entry that
// does not hold is skipped and told, and what refers to it is no entry either.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/trace/TraceArgument.h"
#include "platform/trace/TraceBytes.h"

namespace Routing {

class RingTable {
 public:
  // Is told each problem, in words for a person.
  using ProblemCallback = std::function<void(String)>;

  struct Message {
    int level = 0;
    std::vector<TraceArgumentSpec> arguments;
    std::string_view format;
  };

  RingTable() = default;
  RingTable(const RingTable&) = delete;
  RingTable(RingTable&&) = delete;
  RingTable& operator=(const RingTable&) = delete;
  RingTable& operator=(RingTable&&) = delete;
  ~RingTable() = default;

  // Enters every entry of the area. Offsets in problems count from the area's own in the file.
  void read(std::string_view area, std::size_t fileOffset, const ProblemCallback& problem);

  // Null when the number is not that of a message.
  const Message* message(std::uint32_t number) const;
  // Empty when the number is not that of a facility.
  std::string_view facility(std::uint32_t number) const;

  // In the order of their numbers, which is that of their first use.
  const std::map<std::uint32_t, Message>& messages() const noexcept { return messages_; }
  std::vector<TraceEnumeration> enumerations() const;

 private:
  struct Enumeration {
    std::vector<TraceEnumerator> members;
    TraceEnumeration view{{}, {}};
  };

  bool enter(std::string_view entry);
  bool enterMessage(std::uint32_t number, int level, std::size_t argumentCount, ByteReader from);
  bool enterFacility(std::uint32_t number, ByteReader from);
  bool enterEnumeration(std::uint32_t number, ByteReader from);

  std::map<std::uint32_t, Message> messages_;
  std::map<std::uint32_t, std::string_view> facilities_;
  std::map<std::uint32_t, Enumeration> enumerations_;
};

}  // namespace Routing
