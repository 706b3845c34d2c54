#pragma once

// Reads the lines of a replay file, or of standard input, one by one.
//
// A last line without its newline is a line like any other, so a file that was cut short loses
// nothing of what it holds. Carriage returns before a newline do not count. Each line must be
// UTF-8.

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/net/IpGenAddr.h"

namespace Routing::Replay {

class Reader {
 public:
  // "-" is standard input. `beforeRead` is called each time before the system is asked for more,
  // which may wait. Throws: InputError when the file cannot be opened.
  Reader(const String& file, std::function<void()> beforeRead);
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  ~Reader();

  // The next line without its end, nothing at the end of the file. Good until the next call.
  // Throws: InputError.
  std::optional<std::string_view> next();

  // The line that next() was last asked for, counted from 1; 0 before the first.
  std::size_t line() const noexcept { return line_; }

 private:
  // Reads more behind what is left of the buffer; false at the end of the file.
  bool fill();

  std::function<void()> beforeRead_;
  int descriptor_ = 0;
  std::size_t line_ = 0;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

// True for well-formed UTF-8.
bool isUtf8(std::string_view text) noexcept;

// The words of a line up to a comment; a comment begins at any '#'.
void splitWords(std::string_view line, std::vector<std::string_view>& words);

std::string_view withoutComment(std::string_view line) noexcept;
// Without blanks at both ends.
std::string_view trimmed(std::string_view text) noexcept;

}  // namespace Routing::Replay
