#pragma once

// FileDescriptor: a file descriptor that closes itself, and how a failed system call is reported.

#include <string>
#include <system_error>
#include <utility>

namespace Routing::Host {

// A system call that failed: what was tried, and the system's reason.
class SystemError : public std::system_error {
 public:
  SystemError(int error, const std::string& what)
      : std::system_error(error, std::generic_category(), what) {}
};

class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int fd) noexcept : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { close(); }

  // -1 when there is none.
  int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }
  // Gives it away.
  int release() noexcept { return std::exchange(fd_, -1); }
  void close() noexcept;

 private:
  int fd_ = -1;
};

// What a system call returned, or, when that is -1, SystemError with errno and what was tried.
int systemCall(int result, const char* what);

}  // namespace Routing::Host
