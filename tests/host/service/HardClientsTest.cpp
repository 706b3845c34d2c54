// Clients that do not behave: one that never reads, one that dies mid-stream, garbage on the
// socket, connections that say nothing. The daemon serves the others, and its memory stays bounded.

#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <random>

#include "host/service/ForwardingStream.h"
#include "host/service/TraceStream.h"
#include "tests/host/service/ChildProcess.h"
#include "tests/host/service/ServiceFixture.h"

namespace Routing::Host {
namespace {

class HardClients : public ServiceFixture {
 protected:
  FileDescriptor rawConnection() const {
    FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    options.socketPath.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    EXPECT_EQ(
        ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
        0);
    return connection;
  }
  // Reads until the daemon closes the connection.
  static void expectClosed(const FileDescriptor& connection) {
    std::array<char, 4096> buffer{};
    ssize_t got = 1;
    while (got > 0) {
      got = ::read(connection.get(), buffer.data(), buffer.size());
    }
    EXPECT_TRUE(got == 0 || errno == ECONNRESET) << errno;
  }
  void expectServed(const std::string& client) {
    const auto stub = connect();
    Watching watching(*stub, watchOf(client));
    watching.snapshot();
    ASSERT_TRUE(registerAll(*stub, registration(client, {"172.16.0.1"})).ok());
    EXPECT_EQ(watching.line(), "172.16.0.1 failed no-route");
  }
  // A client whose transport takes little before it is read, and does not offer more the slower the
  // machine answers.
  std::unique_ptr<Stub> connectNarrow() const {
    grpc::ChannelArguments arguments = ownConnection();
    arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    arguments.SetInt(GRPC_ARG_HTTP2_STREAM_LOOKAHEAD_BYTES, 65'536);
    return Proto::Nexthops::NewStub(grpc::CreateCustomChannel("unix:" + options.socketPath,
                                                              grpc::InsecureChannelCredentials(),
                                                              arguments));
  }
  // Bytes that the process holds, whoever asked for them.
  static std::size_t allocated() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
  }
  std::uint64_t backlog() {
    std::uint64_t backlog = 0;
    onLoop([&] { backlog = service->figures().backlog; });
    return backlog;
  }
};

TEST_F(HardClients, AClientThatNeverReadsCostsOneEntryANexthop) {
  constexpr std::uint32_t nexthops = 10'000;
  start();
  routeIs("10.0.0.0/8", 100);
  const auto stub = connect();
  Watching silent(*stub, watchOf("silent"));
  ASSERT_TRUE(registerAll(*stub, many("silent", nexthops)).ok());
  std::uint64_t told = 0;
  for (FecId fec = 101; fec < 140; ++fec) {
    routeIs("10.0.0.0/8", fec);
    settle();
    onLoop([&] { told = service->figures().told; });
    EXPECT_LE(backlog(), nexthops);
  }
  EXPECT_LT(told, 40U * nexthops);
  EXPECT_GT(backlog(), 0U);
  expectServed("other");
  // And when it reads at last, it finds the newest state of each.
  std::map<std::string, std::uint64_t> identifiers;
  while (identifiers.size() < nexthops || identifiers.begin()->second != 139 ||
         identifiers.rbegin()->second != 139) {
    const Proto::NexthopStatus status = silent.status();
    identifiers[status.address()] = status.identifier();
  }
}

// Readers of every kind, none of which ever reads, over changes of which each would have much to
// tell: every write of 10,000 nexthops, identifiers that come and go, a line of trace for each
// review.
TEST_F(HardClients, ReadersThatNeverReadCostBoundedMemoryWhateverTheyAskedFor) {
  start();
  const auto stub = connectNarrow();
  Proto::RegisterRequest registered = many("silent", 10'000);
  registered.set_kind(Proto::IDENTIFIER_KIND_RESOLVER);
  ASSERT_TRUE(registerAll(*stub, registered).ok());
  grpc::ClientContext watching;
  Proto::WatchRequest everyWrite = watchOf("silent");
  everyWrite.set_every_write(true);
  const auto writes = stub->Watch(&watching, everyWrite);
  grpc::ClientContext forwarding;
  const auto vias = stub->WatchForwarding(&forwarding, {});
  grpc::ClientContext tracing;
  Proto::TraceRequest lines;
  lines.add_facilities("NexthopResolverSm");
  const auto trace = stub->Trace(&tracing, lines);
  for (std::size_t open = 0; open != 3;) {
    onLoop([&] { open = service->figures().streams; });
  }

  const auto churn = [&](unsigned rounds) {
    for (unsigned round = 0; round < rounds; ++round) {
      for (unsigned part = 0; part < 40; ++part) {
        routeIs("10.0." + std::to_string(part) + ".0/24", FecId{100 + round % 2 * 40 + part});
      }
      settle();
    }
  };
  // Until all that is bounded is full: queues, the log of events.
  churn(16);
  const std::size_t full = allocated();
  const std::uint64_t waiting = backlog();
  EXPECT_GT(waiting, 10'000U);
  churn(16);
  EXPECT_LT(allocated(), full + (std::size_t{4} << 20U));
  EXPECT_LE(backlog(), 10'000U + TraceStream::mostWaiting + 2 * ForwardingQueue::removedAllowance);
  expectServed("other");
  for (grpc::ClientContext* context : {&watching, &forwarding, &tracing}) {
    context->TryCancel();
  }
}

TEST_F(HardClients, AClientThatDiesMidStreamLeavesItsRegistrationsAndItsNameFree) {
  start();
  ChildProcess client({NEXTHOP_EXAMPLE_CLIENT, options.socketPath, "bgp", "10.0.0.1"});
  EXPECT_EQ(client.line(), "10.0.0.1 NEXTHOP_STATE_FAILED REASON_NO_ROUTE");
  routeIs("10.0.0.0/8", 12);
  client.kill();
  bool live = true;
  while (live) {
    onLoop([&] { live = service->figures().liveClients != 0; });
  }
  const auto stub = connect();
  Watching again(*stub, watchOf("bgp"));
  EXPECT_THAT(again.snapshot(), ::testing::ElementsAre("10.0.0.1 resolved 12 10.0.0.0/8"));
}

TEST_F(HardClients, GarbageOnTheSocketEndsThatConnectionAlone) {
  start();
  const auto stub = connect();
  Watching watching(*stub, watchOf("bgp"));
  watching.snapshot();
  std::mt19937 random(20'240'501);  // NOLINT(cert-msc*): the same bytes in every run
  for (int round = 0; round < 50; ++round) {
    const FileDescriptor connection = rawConnection();
    std::string garbage(1 + random() % 4096, '\0');
    for (char& byte : garbage) {
      byte = static_cast<char>(random());
    }
    // Every other one begins as a client does.
    if (round % 2 == 1) {
      garbage.insert(0, "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n");
    }
    static_cast<void>(::send(connection.get(), garbage.data(), garbage.size(), MSG_NOSIGNAL));
    ::shutdown(connection.get(), SHUT_WR);
    expectClosed(connection);
  }
  ASSERT_TRUE(registerAll(*stub, registration("bgp", {"10.0.0.1"})).ok());
  EXPECT_EQ(watching.line(), "10.0.0.1 failed no-route");
}

TEST_F(HardClients, ConnectionsThatSayNothingKeepNobodyFromBeingServed) {
  start();
  std::vector<FileDescriptor> silent;
  for (int index = 0; index < 100; ++index) {
    silent.push_back(rawConnection());
  }
  expectServed("bgp");
}

TEST_F(HardClients, TheSocketIsForItsOwnerAndItsGroup) {
  options.socketGroup = std::to_string(::getgid());
  start();
  struct stat status {};
  ASSERT_EQ(::stat(options.socketPath.c_str(), &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 07777U, 0660U);
  EXPECT_EQ(status.st_gid, ::getgid());
}

TEST_F(HardClients, ASocketInUseIsNotTakenAndOneLeftBehindIs) {
  start();
  EventLoop other(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
  const auto listen = [&] {
    SocketListener listener(other, options.socketPath, "", [](FileDescriptor, uid_t) {});
  };
  EXPECT_THROW(listen(), SystemError);
  expectServed("bgp");
  stop();
  // As a daemon that was killed leaves it.
  {
    const FileDescriptor left(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    options.socketPath.copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(left.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  EXPECT_NO_THROW(listen());
}

TEST_F(HardClients, AConnectionThatCannotBeServedKeepsNobodyElseFromIt) {
  EventLoop listening(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
  unsigned connections = 0;
  const SocketListener listener(listening, options.socketPath, "", [&](FileDescriptor, uid_t) {
    connections += 1;
    if (connections == 1) {
      throw std::runtime_error("no room");
    }
    listening.stop();
  });
  const FileDescriptor refused = rawConnection();
  const FileDescriptor served = rawConnection();
  listening.run();
  EXPECT_EQ(connections, 2U);
  expectClosed(refused);
}

TEST_F(HardClients, AFileThatIsNoSocketIsLeftAlone) {
  std::fclose(std::fopen(options.socketPath.c_str(), "w"));
  EventLoop other(makeEntity<TaskScheduler>(makeEntity<RealClock>()));
  EXPECT_THROW(SocketListener(other, options.socketPath, "", [](FileDescriptor, uid_t) {}),
               SystemError);
  EXPECT_EQ(::unlink(options.socketPath.c_str()), 0);
}

}  // namespace
}  // namespace Routing::Host
