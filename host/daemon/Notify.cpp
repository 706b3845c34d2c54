#include "host/daemon/Notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

void notifyServiceManager(std::string_view state) noexcept {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody here changes the environment
  const char* const path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (path == nullptr || std::strlen(path) < 2 || std::strlen(path) >= sizeof address.sun_path) {
    return;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(&address.sun_path, path, std::strlen(path));
  if (address.sun_path[0] == '@') {
    address.sun_path[0] = '\0';
  }
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  static_cast<void>(::sendto(socket.get(),
                             state.data(),
                             state.size(),
                             MSG_NOSIGNAL,
                             // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): sockets
                             reinterpret_cast<const sockaddr*>(&address),
                             length));
}

}  // namespace Routing::Host
