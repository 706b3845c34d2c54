#pragma once

// MetricsServer: hands out the metrics over HTTP (libmicrohttpd), as GET /metrics.
//
// It has no thread: the transport's descriptor is one of the event loop's, and a request is
// answered on the loop's thread, from what stands then. Nothing happens while nobody asks. A
// connection that says nothing for ten seconds is closed.
//
// Whoever reaches the address may read. So it is the loopback's unless another one is given.

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "host/loop/EventLoop.h"
#include "platform/entity/Publisher.h"
#include "platform/task/Task.h"

struct MHD_Daemon;

namespace Routing::Host {

// An address that cannot be listened on.
class MetricsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class MetricsServer {
 public:
  using Text = std::function<std::string()>;

  // Listens on "PORT", "ADDRESS:PORT" or "[ADDRESS]:PORT"; port 0 takes a free one.
  // Throws: MetricsError.
  MetricsServer(EventLoop& loop, const std::string& address, Text text);
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;
  // On the loop's thread, or when the loop has ended.
  ~MetricsServer();

  std::uint16_t port() const noexcept { return port_; }
  // Requests answered with the metrics.
  std::uint64_t served() const noexcept { return served_; }

 private:
  // What the transport calls.
  struct Handler;

  void work();
  void timeout(FieldId field, const void* key);

  EventLoop& loop_;
  Text text_;
  MHD_Daemon* daemon_ = nullptr;
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::uint64_t served_ = 0;
  Ptr<TimerTask> timer_;
  Subscription<MetricsServer, &MetricsServer::timeout> timerRun_{*this};
};

}  // namespace Routing::Host
