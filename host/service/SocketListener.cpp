#include "host/service/SocketListener.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>
#include <vector>

#include "host/loop/Log.h"

namespace Routing::Host {

namespace {

constexpr int waitingConnections = 128;
constexpr mode_t ownerOnly = 0600;
constexpr mode_t ownerAndGroup = 0660;

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw SystemError(ENAMETOOLONG, "cannot listen on " + path);
  }
  std::copy(path.begin(), path.end(), static_cast<char*>(address.sun_path));
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

FileDescriptor newSocket() {
  return FileDescriptor(systemCall(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0),
                                   "cannot make a Unix socket"));
}

// Removes a socket that nobody listens on.
void removeLeftOver(const sockaddr_un& address, const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == -1) {
    if (errno == ENOENT) {
      return;
    }
    throw SystemError(errno, "cannot look at " + path);
  }
  if (!S_ISSOCK(status.st_mode)) {
    throw SystemError(EEXIST, "cannot listen on " + path + ", which is no socket");
  }
  const FileDescriptor probe = newSocket();
  if (::connect(probe.get(), generic(address), sizeof address) == 0 || errno != ECONNREFUSED) {
    throw SystemError(EADDRINUSE, "cannot listen on " + path);
  }
  if (::unlink(path.c_str()) == -1 && errno != ENOENT) {
    throw SystemError(errno, "cannot remove the old " + path);
  }
}

gid_t groupOf(const std::string& name) {
  gid_t number = 0;
  const char* end = name.data() + name.size();
  if (const auto [last, error] = std::from_chars(name.data(), end, number);
      error == std::errc() && last == end) {
    return number;
  }
  std::vector<char> buffer(16'384);
  group found{};
  group* result = nullptr;
  const int error = ::getgrnam_r(name.c_str(), &found, buffer.data(), buffer.size(), &result);
  if (result == nullptr) {
    throw SystemError(error == 0 ? ENOENT : error, "cannot find the group " + name);
  }
  return found.gr_gid;
}

}  // namespace

SocketListener::SocketListener(EventLoop& loop,
                               std::string path,
                               const std::string& group,
                               Accept accept)
    : loop_(loop), path_(std::move(path)), accept_(std::move(accept)), socket_(newSocket()) {
  const sockaddr_un address = addressOf(path_);
  removeLeftOver(address, path_);
  // A Unix socket's own mode is the mode that its name gets.
  systemCall(::fchmod(socket_.get(), ownerOnly), "cannot set the socket's permissions");
  systemCall(::bind(socket_.get(), generic(address), sizeof address),
             ("cannot listen on " + path_).c_str());
  if (!group.empty()) {
    systemCall(::lchown(path_.c_str(), static_cast<uid_t>(-1), groupOf(group)),
               ("cannot give " + path_ + " to group " + group).c_str());
  }
  systemCall(::chmod(path_.c_str(), ownerAndGroup),
             ("cannot set the permissions of " + path_).c_str());
  systemCall(::listen(socket_.get(), waitingConnections), ("cannot listen on " + path_).c_str());
  reserve_ = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  loop_.fdIs(socket_.get(), EPOLLIN, [this](std::uint32_t) { handleReady(); });
}

SocketListener::~SocketListener() {
  loop_.fdDel(socket_.get());
  static_cast<void>(::unlink(path_.c_str()));
}

void SocketListener::handleReady() {
  for (;;) {
    FileDescriptor connection(
        ::accept4(socket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!connection) {
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        refuseOne(errno);
      } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        throw SystemError(errno, "cannot accept a connection");
      }
      return;
    }
    handOn(std::move(connection));
  }
}

void SocketListener::handOn(FileDescriptor connection) {
  try {
    ucred peer{};
    socklen_t size = sizeof peer;
    systemCall(::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size),
               "cannot tell who connects");
    accept_(std::move(connection), peer.uid);
  } catch (const std::exception& error) {
    log(LogLevel::warning, std::string("a connection is refused: ") + error.what());
  }
}

void SocketListener::refuseOne(int error) {
  log(LogLevel::warning,
      "a connection is refused: " + std::error_code(error, std::generic_category()).message());
  reserve_.close();
  FileDescriptor(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC)).close();
  reserve_ = FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

}  // namespace Routing::Host
