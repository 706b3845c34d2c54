// The metrics over HTTP, from a loop on a thread of its own.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/metrics/MetricsServer.h"
#include "platform/task/Clock.h"

namespace Routing::Host {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

FileDescriptor connectTo(std::uint16_t port) {
  FileDescriptor socket(
      systemCall(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "cannot make a socket"));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  systemCall(::connect(socket.get(),
                       reinterpret_cast<const sockaddr*>(
                           &address),  // NOLINT(*-reinterpret-cast): as it takes it
                       sizeof address),
             "cannot connect");
  return socket;
}

// Everything that comes until the other side closes.
std::string readAll(const FileDescriptor& socket) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::recv(socket.get(), buffer.data(), buffer.size(), 0)) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

std::string request(std::uint16_t port, const std::string& line) {
  const FileDescriptor socket = connectTo(port);
  const std::string text = line + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
  EXPECT_EQ(::send(socket.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  return readAll(socket);
}

class MetricsServerTest : public ::testing::Test {
 protected:
  ~MetricsServerTest() override {
    loop.stop();
    thread_.join();
  }
  std::string get(const std::string& line) { return request(server->port(), line); }

  // As the loop itself counts them.
  std::uint64_t wakeups() {
    std::promise<std::uint64_t> count;
    loop.post([&] { count.set_value(loop.wakeups()); });
    return count.get_future().get();
  }

  EventLoop loop{makeEntity<TaskScheduler>(makeEntity<RealClock>())};
  std::string text = "# EOF\n";
  std::unique_ptr<MetricsServer> server =
      std::make_unique<MetricsServer>(loop, "127.0.0.1:0", [this] {
        if (text.empty()) {
          throw std::runtime_error("no text");
        }
        return text;
      });

 private:
  std::thread thread_{[this] { loop.run(); }};
};

TEST_F(MetricsServerTest, AnswersWithTheTextOfTheMoment) {
  const std::string answer = get("GET /metrics");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer,
              HasSubstr("Content-Type: application/openmetrics-text; version=1.0.0; "
                        "charset=utf-8\r\n"));
  EXPECT_THAT(answer, EndsWith("\r\n\r\n# EOF\n"));
}

TEST_F(MetricsServerTest, AnswersALongTextWhole) {
  text = std::string(std::size_t{8} << 20U, 'x');
  EXPECT_THAT(get("GET /metrics").size(), ::testing::Gt(text.size()));
}

TEST_F(MetricsServerTest, KnowsNoOtherPathAndNoOtherMethod) {
  EXPECT_THAT(get("GET /"), StartsWith("HTTP/1.1 404 "));
  EXPECT_THAT(get("POST /metrics"), StartsWith("HTTP/1.1 405 "));
}

TEST_F(MetricsServerTest, HeadHasNoBody) {
  EXPECT_THAT(get("HEAD /metrics"), EndsWith("\r\n\r\n"));
}

TEST_F(MetricsServerTest, FailureToMakeTheTextIsTheServersFault) {
  text.clear();
  EXPECT_THAT(get("GET /metrics"), StartsWith("HTTP/1.1 500 "));
}

TEST_F(MetricsServerTest, GarbageAndOpenConnectionsKeepNobodyFromAnAnswer) {
  const FileDescriptor silent = connectTo(server->port());
  EXPECT_THAT(request(server->port(), std::string("\0\xff\x01 garbage", 11)),
              ::testing::Not(HasSubstr("200 OK")));
  EXPECT_THAT(get("GET /metrics"), StartsWith("HTTP/1.1 200 OK"));
}

TEST_F(MetricsServerTest, TheLoopSleepsWhileNobodyAsks) {
  get("GET /metrics");
  const std::uint64_t before = wakeups();
  EXPECT_THAT(get("GET /metrics"), StartsWith("HTTP/1.1 200 OK"));
  // A handful of steps of the connection, not one after the other without a pause.
  EXPECT_LT(wakeups() - before, 50U);
}

TEST(MetricsServer, TheAddressIsTheLoopbacksUnlessGiven) {
  EventLoop loop(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
  const auto text = [] { return std::string(); };
  EXPECT_GT(MetricsServer(loop, "0", text).port(), 0);
  EXPECT_GT(MetricsServer(loop, "[::1]:0", text).port(), 0);
  for (const char* wrong :
       {"", "port", "127.0.0.1", "127.0.0.1:", "localhost:1", "127.0.0.1:65536", "127.0.0.1:1x"}) {
    EXPECT_THROW(MetricsServer(loop, wrong, text), MetricsError) << wrong;
  }
}

TEST(MetricsServer, AnAddressThatIsTakenIsReported) {
  EventLoop loop(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
  const MetricsServer first(loop, "0", [] { return std::string(); });
  try {
    const MetricsServer second(loop, std::to_string(first.port()), [] { return std::string(); });
    FAIL() << "two servers on one port";
  } catch (const MetricsError& error) {
    EXPECT_THAT(error.what(), EndsWith(": Address already in use"));
  }
}

}  // namespace
}  // namespace Routing::Host
