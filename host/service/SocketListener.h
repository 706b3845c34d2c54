#pragma once

// SocketListener: the Unix socket that clients connect to. Accepts, asks the kernel who is at the
// other end, and hands both on.
//
// Who may connect is a matter of the socket's permissions: its owner and its group, nobody else.
// They are set before anybody can connect: the socket is made without any permission for others,
// then gets its group, then the group's permission.
//
// A socket that a daemon left behind is replaced; one that a daemon listens on is not.
//
// When descriptors or memory run out, connections are accepted with a descriptor kept in reserve
// and closed at once, so that a waiting connection cannot keep the loop busy. Whatever else goes
// wrong with one connection costs that connection and a line in the log.

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "host/loop/EventLoop.h"
#include "host/loop/FileDescriptor.h"

namespace Routing::Host {

class SocketListener {
 public:
  // Gets the connection, which does not block, and the user at its other end. Throws: why it cannot
  // be served.
  using Accept = std::function<void(FileDescriptor connection, uid_t user)>;

  // The group by name or number; empty: the process's own. Throws: SystemError, when the path is no
  // place for a socket, taken by a daemon, or the group is not there.
  SocketListener(EventLoop& loop, std::string path, const std::string& group, Accept accept);
  SocketListener(const SocketListener&) = delete;
  SocketListener& operator=(const SocketListener&) = delete;
  // Removes the socket.
  ~SocketListener();

  const std::string& path() const noexcept { return path_; }

 private:
  void handleReady();
  void handOn(FileDescriptor connection);
  void refuseOne(int error);

  EventLoop& loop_;
  std::string path_;
  Accept accept_;
  FileDescriptor socket_;
  FileDescriptor reserve_;
};

}  // namespace Routing::Host
