#pragma once

// From a message's format and encoded arguments to text, and from a message to a line.
//
// Both the running program and the decoder of ring files make their text here. The decoder's bytes
// come from a file that may be damaged or made up, so nothing is taken on trust: arguments that do
// not fit their kinds are an error value, never a read beyond the bytes.
//
// A line is
//
//   LEVEL FACILITY: MESSAGE
//   TIME LEVEL FACILITY: MESSAGE        TIME such as 2024-05-01T12:00:00.000000000Z
//
// and holds no control character: a byte below 32, or 127, is written as \x and two hexadecimal
// digits, so that a line stays one line and a terminal shows it as it is.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/trace/TraceArgument.h"
#include "platform/trace/TraceBytes.h"

namespace Routing {

// One message as the text sinks and the decoder's user get it.
struct TraceMessage {
  // Nanoseconds since 1970-01-01T00:00:00Z.
  std::int64_t time = 0;
  int level = 0;
  std::string_view facility;
  std::string_view text;
};

// Places for arguments in a format: each "{}". All else, single braces included, is text.
constexpr std::size_t countTracePlaces(std::string_view format) noexcept {
  std::size_t count = 0;
  for (std::size_t at = format.find("{}"); at != std::string_view::npos;
       at = format.find("{}", at + 2)) {
    ++count;
  }
  return count;
}

// The format with each place replaced by a value taken off the encoded ones. Nothing when there is
// no value of an argument's kind, or when places and arguments differ in number.
std::optional<String> traceText(std::string_view format,
                                std::span<const TraceArgumentSpec> arguments,
                                ByteReader& encoded);

enum class TraceTime : std::uint8_t { hidden, shown };

// Appends the line, with its newline.
void appendTraceLine(String& to, const TraceMessage& message, TraceTime time);

}  // namespace Routing
