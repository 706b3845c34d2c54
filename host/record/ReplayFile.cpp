#include "host/record/ReplayFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "host/loop/Log.h"

namespace Routing::Host {

namespace {

constexpr std::size_t bufferSize = std::size_t{1} << 20U;

// What an earlier run recorded is what tells how it ended: a daemon that is started again after it
// must not take it away.
void setAside(const std::string& path) {
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(path, unknown)) {
    return;
  }
  std::string aside;
  for (unsigned number = 1; aside.empty() || std::filesystem::exists(aside); ++number) {
    aside = path + "." + std::to_string(number);
  }
  systemCall(::rename(path.c_str(), aside.c_str()), "cannot keep an earlier recording");
  log(LogLevel::notice, "an earlier recording is kept as " + aside);
}

}  // namespace

ReplayFile::ReplayFile(const std::string& path) : path_(path) {
  setAside(path_);
  file_ = FileDescriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0640));
  if (!file_) {
    throw SystemError(errno, "cannot record to " + path);
  }
}

void ReplayFile::line(std::string_view text) {
  if (!good()) {
    return;
  }
  buffer_.append(text).push_back('\n');
  if (buffer_.size() >= bufferSize) {
    flush();
  }
}

void ReplayFile::flush() noexcept {
  std::size_t written = 0;
  while (good() && written < buffer_.size()) {
    const ssize_t count = ::write(file_.get(), &buffer_[written], buffer_.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      const std::error_code error(errno, std::generic_category());
      log(LogLevel::error, "the recording ends: cannot write " + path_ + ": " + error.message());
      file_.close();
    }
  }
  buffer_.clear();
}

}  // namespace Routing::Host
