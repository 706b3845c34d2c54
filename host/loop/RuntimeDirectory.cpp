#include "host/loop/RuntimeDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

std::string runtimeDirectory() {
  if (::geteuid() == 0) {
    return "/run/nexthopd";
  }
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody here changes the environment
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != 0) {
    return std::string(runtime) + "/nexthopd";
  }
  return "/dev/shm/nexthopd-" + std::to_string(::geteuid());
}

std::string defaultSocketPath() { return runtimeDirectory() + "/nexthopd.sock"; }

// Others may pass through it, to the socket.
void ownDirectoryMake(const std::string& path) {
  if (::mkdir(path.c_str(), 0755) == -1 && errno != EEXIST) {
    throw SystemError(errno, "cannot make the directory " + path);
  }
  struct stat status {};
  if (::lstat(path.c_str(), &status) == -1) {
    throw SystemError(errno, "cannot look at the directory " + path);
  }
  if (!S_ISDIR(status.st_mode)) {
    throw SystemError(ENOTDIR, path);
  }
  if (status.st_uid != ::geteuid() || (status.st_mode & S_IWOTH) != 0) {
    throw SystemError(EPERM, path + " does not belong to this user alone");
  }
}

}  // namespace Routing::Host
