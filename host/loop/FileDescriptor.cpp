#include "host/loop/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace Routing::Host {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    close();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

void FileDescriptor::close() noexcept {
  if (fd_ >= 0) {
    ::close(std::exchange(fd_, -1));
  }
}

int systemCall(int result, const char* what) {
  if (result == -1) {
    throw SystemError(errno, what);
  }
  return result;
}

}  // namespace Routing::Host
