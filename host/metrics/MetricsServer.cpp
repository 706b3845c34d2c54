#include "host/metrics/MetricsServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>

#include "host/loop/Log.h"
#include "platform/net/IpGenAddr.h"

namespace Routing::Host {

namespace {

constexpr unsigned idleSeconds = 10;
// Monitoring opens one or two.
constexpr unsigned mostConnections = 16;
constexpr const char* contentType = "application/openmetrics-text; version=1.0.0; charset=utf-8";

struct SocketAddress {
  sockaddr_storage storage{};
  unsigned flags = 0;
};

SocketAddress socketAddress(const IpGenAddr& addr, std::uint16_t port) {
  SocketAddress address;
  const IpGenAddr::Bytes bytes = addr.bytes();
  if (addr.family() == AddressFamily::ipv4) {
    sockaddr_in form{};
    form.sin_family = AF_INET;
    form.sin_port = htons(port);
    std::memcpy(&form.sin_addr, bytes.data(), sizeof form.sin_addr);
    std::memcpy(&address.storage, &form, sizeof form);
  } else {
    sockaddr_in6 form{};
    form.sin6_family = AF_INET6;
    form.sin6_port = htons(port);
    std::memcpy(&form.sin6_addr, bytes.data(), sizeof form.sin6_addr);
    std::memcpy(&address.storage, &form, sizeof form);
    address.flags = MHD_USE_IPv6;
  }
  return address;
}

// Throws: MetricsError.
SocketAddress parsed(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  std::string_view host = "127.0.0.1";
  std::string_view port = text;
  if (colon != std::string::npos) {
    host = std::string_view(text).substr(0, colon);
    port = std::string_view(text).substr(colon + 1);
  }
  if (host.starts_with('[') && host.ends_with(']')) {
    host = host.substr(1, host.size() - 2);
  }
  const auto addr = IpGenAddr::parse(host);
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (!addr || error != std::errc{} || end != port.data() + port.size()) {
    throw MetricsError("metrics cannot be served at \"" + text +
                       "\": neither PORT nor ADDRESS:PORT");
  }
  return socketAddress(*addr, number);
}

}  // namespace

struct MetricsServer::Handler {
  static MHD_Result answer(void* server,
                           MHD_Connection* connection,
                           const char* path,
                           const char* method,
                           const char* /*version*/,
                           const char* /*body*/,
                           std::size_t* bodySize,
                           void** /*request*/) {
    // What a request carries is of no interest, but has to be taken.
    *bodySize = 0;
    const std::string_view asked = method;
    if (asked != MHD_HTTP_METHOD_GET && asked != MHD_HTTP_METHOD_HEAD) {
      return plain(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "only GET is served\n");
    }
    if (std::string_view(path) != "/metrics") {
      return plain(connection, MHD_HTTP_NOT_FOUND, "the metrics are at /metrics\n");
    }
    return metrics(*static_cast<MetricsServer*>(server), connection);
  }

  static MHD_Result metrics(MetricsServer& server, MHD_Connection* connection) {
    try {
      std::string text = server.text_();
      server.served_ += 1;
      return send(connection, MHD_HTTP_OK, contentType, text);
    } catch (const std::exception& error) {
      // The transport is no C++ and must not be left by an exception.
      log(LogLevel::error, std::string("the metrics cannot be put together: ") + error.what());
      return plain(connection, MHD_HTTP_INTERNAL_SERVER_ERROR, "no metrics\n");
    }
  }

  static MHD_Result plain(MHD_Connection* connection, unsigned code, std::string text) {
    return send(connection, code, "text/plain; charset=utf-8", text);
  }

  static MHD_Result send(MHD_Connection* connection,
                         unsigned code,
                         const char* type,
                         std::string& text) {
    MHD_Response* const response =
        MHD_create_response_from_buffer(text.size(), text.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) {
      return MHD_NO;
    }
    MHD_Result result = MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    if (result == MHD_YES && code == MHD_HTTP_METHOD_NOT_ALLOWED) {
      result = MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    }
    if (result == MHD_YES) {
      result = MHD_queue_response(connection, code, response);
    }
    MHD_destroy_response(response);
    return result;
  }
};

MetricsServer::MetricsServer(EventLoop& loop, const std::string& address, Text text)
    : loop_(loop),
      text_(std::move(text)),
      timer_(makeEntity<TimerTask>(loop.scheduler(), TaskPriority::leastUrgent, "metrics")) {
  const SocketAddress listenAt = parsed(address);
  daemon_ = MHD_start_daemon(MHD_USE_EPOLL | listenAt.flags,
                             0,
                             nullptr,
                             nullptr,
                             &Handler::answer,
                             this,
                             MHD_OPTION_SOCK_ADDR,
                             &listenAt.storage,
                             MHD_OPTION_CONNECTION_TIMEOUT,
                             idleSeconds,
                             MHD_OPTION_CONNECTION_LIMIT,
                             mostConnections,
                             MHD_OPTION_END);
  if (daemon_ == nullptr) {
    throw MetricsError("metrics cannot be served at " + address + ": " +
                       std::generic_category().message(errno));
  }
  fd_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
  port_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
  timerRun_.subscribe(*timer_);
  loop_.fdIs(fd_, EPOLLIN, [this](std::uint32_t) { work(); });
}

MetricsServer::~MetricsServer() {
  loop_.fdDel(fd_);
  MHD_stop_daemon(daemon_);
}

// The transport does a step of each of its connections, and says when it wants to be called again
// without being woken.
void MetricsServer::work() {
  static_cast<void>(MHD_run(daemon_));
  unsigned long long milliseconds = 0;
  timer_->stopTimerTask();
  if (MHD_get_timeout(daemon_, &milliseconds) == MHD_YES) {
    const auto wait = std::min<unsigned long long>(milliseconds, idleSeconds * 1000ULL);
    timer_->scheduleTaskLowestDelay(std::chrono::milliseconds(wait));
  }
}

void MetricsServer::timeout(FieldId field, const void* /*key*/) {
  if (field == Task::runField) {
    work();
  }
}

}  // namespace Routing::Host
