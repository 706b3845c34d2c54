#pragma once

// ReplayFile: the file that a recording goes to, line by line.
//
// Lines are gathered and written at the end of a turn, or earlier when there are many. A file that
// can no longer be written ends the recording, which is reported once; the daemon goes on, since
// its clients need it more than the recording.

#include <string>
#include <string_view>

#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

class ReplayFile {
 public:
  // Makes the file. One that is there is an earlier recording and becomes PATH.1, or the first
  // such name that is free. Throws: SystemError.
  explicit ReplayFile(const std::string& path);
  ReplayFile(const ReplayFile&) = delete;
  ReplayFile& operator=(const ReplayFile&) = delete;
  ~ReplayFile() { flush(); }

  void line(std::string_view text);
  void flush() noexcept;
  // False when the recording has ended.
  bool good() const noexcept { return static_cast<bool>(file_); }

 private:
  std::string path_;
  FileDescriptor file_;
  std::string buffer_;
};

}  // namespace Routing::Host
