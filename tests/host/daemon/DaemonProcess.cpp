#include "tests/host/daemon/DaemonProcess.h"

#include <grpcpp/create_channel.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "host/loop/FileDescriptor.h"
#include "host/service/Messages.h"
#include "host/service/NexthopView.h"

namespace Routing::Host::Testing {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds pause{5};

// Somebody listens on the Unix socket.
bool listened(const std::string& path) {
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(&address.sun_path[0], sizeof address.sun_path - 1);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::string bytesOf(const std::string& text) {
  std::string bytes;
  addressTo(bytes, *IpGenAddr::parse(text));
  return bytes;
}

std::string lineOf(const Proto::NexthopStatus& status) {
  const auto state = static_cast<NexthopState>(status.state());
  if (state == NexthopState::resolved) {
    return "resolved " + addressOf(status.prefix(), "prefix").stringValue() + "/" +
           std::to_string(status.prefix_length());
  }
  return std::string(nexthopStateName(state)) + " " +
         nexthopReasonName(static_cast<NexthopReason>(status.reason()));
}

}  // namespace

WatchedStream::~WatchedStream() {
  context_.TryCancel();
  if (!finished_) {
    static_cast<void>(finish());
  }
}

bool WatchedStream::read(std::map<std::string, NexthopLine>& lines) {
  Proto::WatchResponse response;
  ended_ = ended_ || !reader_->Read(&response);
  if (ended_) {
    return false;
  }
  for (const auto& nexthop : response.nexthops()) {
    lines[addressOf(nexthop.address(), "address").stringValue()] = {lineOf(nexthop),
                                                                    nexthop.identifier(),
                                                                    nexthop.stale()};
  }
  snapshotEnd_ = response.snapshot_end();
  return true;
}

std::map<std::string, NexthopLine> WatchedStream::snapshot() {
  std::map<std::string, NexthopLine> lines;
  snapshotEnd_ = false;
  while (!snapshotEnd_ && read(lines)) {
  }
  EXPECT_TRUE(snapshotEnd_) << "the stream ended";
  return lines;
}

std::map<std::string, NexthopLine> WatchedStream::rest() {
  std::map<std::string, NexthopLine> lines;
  while (read(lines)) {
  }
  return lines;
}

grpc::Status WatchedStream::finish() {
  static_cast<void>(rest());
  finished_ = true;
  return reader_->Finish();
}

DaemonTest::DaemonTest() {
  std::string path = (std::filesystem::temp_directory_path() / "nexthopd-XXXXXX").string();
  if (::mkdtemp(path.data()) != nullptr) {
    directory_ = path;
  }
}

DaemonTest::~DaemonTest() {
  if (running()) {
    end(SIGKILL);
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void DaemonTest::SetUp() {
  if (!net_.missing().empty()) {
    GTEST_SKIP() << "needs " << net_.missing();
  }
  ASSERT_FALSE(directory_.empty());
}

bool DaemonTest::until(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(pause);
  }
  return true;
}

void DaemonTest::launch(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = wrapper_;
  words.insert(words.end(), {NEXTHOPD, "--socket", directory_ + "/socket"});
  if (std::find(arguments.begin(), arguments.end(), "--no-store") == arguments.end()) {
    words.insert(words.end(), {"--store", directory_ + "/state"});
  }
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  daemon_ = ::fork();
  ASSERT_NE(daemon_, -1);
  if (daemon_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::execvp(argv.front(), argv.data());
    ::_exit(127);
  }
  // A channel that found nobody waits for seconds before it tries again.
  ASSERT_TRUE(until([this] { return listened(directory_ + "/socket"); }));
  grpc::ChannelArguments own;
  own.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  stub_ = Proto::Nexthops::NewStub(grpc::CreateCustomChannel("unix:" + directory_ + "/socket",
                                                             grpc::InsecureChannelCredentials(),
                                                             own));
}

void DaemonTest::start(const std::vector<std::string>& arguments) {
  ASSERT_NO_FATAL_FAILURE(launch(arguments));
  ASSERT_TRUE(until([this] { return synced(); })) << "nexthopd does not follow the kernel";
}

bool DaemonTest::synced() const {
  grpc::ClientContext context;
  Proto::GetInfoResponse response;
  return stub_->GetInfo(&context, {}, &response).ok() && response.synced();
}

int DaemonTest::end(int signal) {
  EXPECT_EQ(::kill(daemon_, signal), 0);
  return awaitEnd();
}

int DaemonTest::awaitEnd() {
  stub_.reset();
  int status = -1;
  EXPECT_EQ(::waitpid(daemon_, &status, 0), daemon_);
  daemon_ = -1;
  return status;
}

void DaemonTest::registerAll(const std::string& client,
                             Proto::IdentifierKind kind,
                             const std::vector<std::string>& addresses,
                             const std::string& vrf) const {
  Proto::RegisterRequest request;
  request.set_client(client);
  request.set_kind(kind);
  request.set_vrf(vrf);
  for (const std::string& address : addresses) {
    request.add_addresses(bytesOf(address));
  }
  const grpc::Status status = tryRegister(request);
  EXPECT_TRUE(status.ok()) << status.error_message();
}

grpc::Status DaemonTest::tryRegister(const Proto::RegisterRequest& request) const {
  grpc::ClientContext context;
  Proto::RegisterResponse response;
  return stub_->Register(&context, request, &response);
}

std::unique_ptr<WatchedStream> DaemonTest::attach(const std::string& client) const {
  Proto::WatchRequest request;
  request.set_client(client);
  return std::make_unique<WatchedStream>(*stub_, request);
}

std::map<std::string, NexthopLine> DaemonTest::snapshot(const std::string& client) const {
  Proto::WatchRequest request;
  request.set_client(client);
  request.set_observe(true);
  request.set_snapshot_only(true);
  WatchedStream stream(*stub_, request);
  const std::map<std::string, NexthopLine> lines = stream.snapshot();
  const grpc::Status status = stream.finish();
  EXPECT_TRUE(status.ok()) << status.error_message();
  return lines;
}

std::map<std::string, std::string> DaemonTest::awaitLines(
    const std::string& client,
    const std::map<std::string, std::string>& expected) const {
  std::map<std::string, std::string> found;
  until([&] {
    found.clear();
    for (const auto& [address, line] : snapshot(client)) {
      found[address] = line.text;
    }
    return found == expected;
  });
  return found;
}

std::map<std::uint64_t, int> DaemonTest::forwarding(const std::string& vrf) const {
  Proto::WatchForwardingRequest request;
  request.set_vrf(vrf);
  request.set_snapshot_only(true);
  grpc::ClientContext context;
  const auto reader = stub_->WatchForwarding(&context, request);
  std::map<std::uint64_t, int> published;
  Proto::WatchForwardingResponse response;
  while (reader->Read(&response)) {
    for (const auto& entry : response.entries()) {
      published[entry.identifier()] = entry.vias_size();
    }
  }
  const grpc::Status status = reader->Finish();
  EXPECT_TRUE(status.ok()) << status.error_message();
  return published;
}

Proto::GetInfoResponse DaemonTest::info() const {
  grpc::ClientContext context;
  Proto::GetInfoResponse response;
  const grpc::Status status = stub_->GetInfo(&context, {}, &response);
  EXPECT_TRUE(status.ok()) << status.error_message();
  return response;
}

}  // namespace Routing::Host::Testing
