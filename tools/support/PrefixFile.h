#pragma once

// Reads a list of prefixes: one CIDR a line, plain or gzip, told apart by content.
//
// A '#' starts a comment that runs to the end of its line. Blanks around a prefix, carriage returns
// and lines with nothing on them do not count. Host bits may be set and are cleared. "-" is
// standard input.
//
// The file is read in blocks of 64 KiB and handed out prefix by prefix, so that a table of a
// million lines costs no more memory than what the caller keeps of it. Order and duplicates are the
// file's own.
//
// Every trouble is a PrefixFileError: a file that cannot be opened or read, a gzip stream that is
// damaged or cut short, a line that is no prefix. What was handed out before it stays good. Damage
// in a gzip stream is named after the last line before it; of the block that it is in, nothing is
// handed out.

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "platform/net/IpGenPrefix.h"

namespace Routing {

// what() is "PATH:LINE: error: REASON", without the line where no line is to blame.
class PrefixFileError : public std::runtime_error {
 public:
  PrefixFileError(String path, std::size_t line, String reason);

  const String& path() const noexcept { return path_; }
  // Counted from 1; 0 when the trouble came before the first line.
  std::size_t line() const noexcept { return line_; }
  const String& reason() const noexcept { return reason_; }

 private:
  String path_;
  std::size_t line_;
  String reason_;
};

class PrefixFile {
 public:
  // Throws: PrefixFileError when the file cannot be opened.
  explicit PrefixFile(String path);
  PrefixFile(const PrefixFile&) = delete;
  PrefixFile& operator=(const PrefixFile&) = delete;
  ~PrefixFile();

  // The next prefix of the file, nothing at its end. Throws: PrefixFileError. After a line that is
  // no prefix the next call goes on with the line after it; any other trouble stays.
  std::optional<IpGenPrefix> next();

  // The line that the last prefix stood on, counted from 1; 0 before the first.
  std::size_t line() const noexcept { return line_; }

 private:
  struct Stream;

  // The next line without its end, nothing at the end of the file.
  std::optional<std::string_view> nextLine();
  // Reads another block behind what is left of the buffer; false at the end of the file.
  bool fill();

  String path_;
  std::unique_ptr<Stream> stream_;
  std::vector<char> buffer_;
  // What has been read and not handed out yet.
  std::string_view unread_;
  std::size_t line_ = 0;
};

// All prefixes of a file, in its order. Throws: PrefixFileError.
std::vector<IpGenPrefix> readTable(const String& path);

}  // namespace Routing
