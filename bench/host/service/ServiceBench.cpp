// What the client service costs: from a client's request or a route's change to the last notice in
// the client's hands, over a real Unix socket. Daemon's loop and client run in one process on
// threads of their own, over a full table in memory; without a store.
//
// Each time is wall time, the median of its runs. The empty call is one to a server that does
// nothing but answer, over the same transport: what no service can undercut.

#include <grpcpp/create_channel.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>
#include <nexthop/v1/nexthop.grpc.pb.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/support/Tables.h"
#include "host/service/ClientService.h"
#include "platform/task/Clock.h"

namespace Routing::Bench {
namespace {

using Host::ClientService;
namespace Proto = ::nexthop::v1;
using Stub = Proto::Nexthops::Stub;
using Clock = std::chrono::steady_clock;

constexpr std::size_t nexthopCount = 100'000;
constexpr std::size_t batchSize = 1'000;
constexpr int roundTrips = 2'000;
constexpr int moves = 1'000;

double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

class Times {
 public:
  void add(double time) { times_.push_back(time); }
  double quantile(double share) {
    std::sort(times_.begin(), times_.end());
    return times_[static_cast<std::size_t>(share * static_cast<double>(times_.size() - 1))];
  }
  double median() { return quantile(0.5); }

 private:
  std::vector<double> times_;
};

std::unique_ptr<Stub> stubOf(const std::string& path) {
  return Proto::Nexthops::NewStub(
      grpc::CreateChannel("unix:" + path, grpc::InsecureChannelCredentials()));
}

// Answers and does nothing.
class EmptyService final : public Proto::Nexthops::CallbackService {
 public:
  grpc::ServerUnaryReactor* Register(grpc::CallbackServerContext* context,
                                     const Proto::RegisterRequest* /*request*/,
                                     Proto::RegisterResponse* /*response*/) override {
    grpc::ServerUnaryReactor* reactor = context->DefaultReactor();
    reactor->Finish(grpc::Status::OK);
    return reactor;
  }
};

class EmptyServer {
 public:
  explicit EmptyServer(const std::string& path) {
    grpc::ServerBuilder builder;
    builder.AddListeningPort("unix:" + path, grpc::InsecureServerCredentials());
    builder.RegisterService(&service_);
    server_ = builder.BuildAndStart();
  }

 private:
  EmptyService service_;
  std::unique_ptr<grpc::Server> server_;
};

// The daemon's part, on a thread of its own.
class Daemon {
 public:
  explicit Daemon(const std::string& path)
      : loop_(makeEntity<TaskScheduler>(makeEntity<RealClock>())),
        vrfs_(loop_.scheduler()),
        vrf_(vrfs_.vrfIs("default", 254)),
        service_(loop_, vrfs_, nullptr, optionsOf(path), {}) {
    tables_.routes4 = vrf_.routes4();
    tables_.routes6 = vrf_.routes6();
    tables_.fecs = vrf_.fecs();
    tables_.trie4 = vrf_.trie4();
    tables_.trie6 = vrf_.trie6();
    constexpr std::size_t fecs = 10'000;
    tables_.load(prefixTable(), fecs);
    loop_.turnEndIs([this] { service_.flush(); });
    vrfs_.managerStart(vrf_);
    service_.start();
    thread_ = std::thread([this] { loop_.run(); });
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() {
    loop_.post([this] { service_.stop(); });
    loop_.stop();
    thread_.join();
  }

  // Seconds of CPU that the loop has taken.
  double loopSeconds() {
    clockid_t clock{};
    timespec time{};
    ::pthread_getcpuclockid(thread_.native_handle(), &clock);
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }
  void post(std::function<void(Tables&)> work) {
    loop_.post([this, work = std::move(work)] { work(tables_); });
  }

 private:
  static Host::ServiceOptions optionsOf(const std::string& path) {
    Host::ServiceOptions options;
    options.socketPath = path;
    return options;
  }

  Host::EventLoop loop_;
  Host::Vrfs vrfs_;
  Host::Vrf& vrf_;
  Tables tables_;
  ClientService service_;
  std::thread thread_;
};

// What the library alone takes for the same work, on one thread: the floor of the daemon's loop.
class LibraryAlone {
 public:
  LibraryAlone() : vrf_(vrfs_.vrfIs("default", 254)) {
    tables_.routes4 = vrf_.routes4();
    tables_.fecs = vrf_.fecs();
    tables_.trie4 = vrf_.trie4();
    tables_.fecsAre(16);
    config_ = makeEntity<NexthopConfig>("bench");
    vrfs_.records().configs->entityIs("bench", config_);
    vrfs_.records().statuses->entityIs("bench", makeEntity<NexthopStatus>("bench"));
    vrfs_.managerStart(vrf_);
  }
  // In milliseconds, the median of the runs.
  double moveTime(std::size_t k, int runs) {
    const IpGenPrefix cover(*IpGenAddr::parse("10.0.0.0"), 8);
    tables_.addRoute(cover, Fib::Route(5, 1, 1, 0));
    const auto vrfConfig = config_->vrfIs("default", NexthopStatusFecIdType::fibFecId);
    for (const IpGenAddr& addr : below(cover, k)) {
      vrfConfig->nexthopIs({addr});
    }
    settle();
    Times times;
    for (int run = 0; run < runs; ++run) {
      const Clock::time_point start = Clock::now();
      tables_.replaceRoute(cover, Fib::Route(static_cast<FecId>(7 + run % 2), 1, 1, 0));
      settle();
      times.add(microsecondsSince(start) / 1000);
    }
    return times.median();
  }

 private:
  void settle() {
    while (scheduler_->runTurn()) {
    }
  }

  Ptr<TaskScheduler> scheduler_ = makeEntity<TaskScheduler>(makeEntity<RealClock>());
  Host::Vrfs vrfs_{scheduler_};
  Host::Vrf& vrf_;
  Tables tables_;
  Ptr<NexthopConfig> config_;
};

// A client with its stream, read on a thread of its own.
class Client {
 public:
  Client(const std::string& path, std::string name) : stub_(stubOf(path)), name_(std::move(name)) {
    Proto::WatchRequest request;
    request.set_client(name_);
    reader_ = stub_->Watch(&context_, request);
    thread_ = std::thread([this] { read(); });
    waitForSnapshot();
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    context_.TryCancel();
    thread_.join();
  }

  Stub& stub() { return *stub_; }
  Proto::RegisterRequest requestOf(const IpGenAddr* first, std::size_t count) const {
    Proto::RegisterRequest request;
    request.set_client(name_);
    for (std::size_t index = 0; index < count; ++index) {
      Host::addressTo(*request.add_addresses(), first[index]);
    }
    return request;
  }
  // Batches, all under way at a time.
  void registerAll(const Nexthops& nexthops) {
    struct Call {
      grpc::ClientContext context;
      Proto::RegisterRequest request;
      Proto::RegisterResponse response;
    };
    std::vector<Call> calls(nexthops.size() / batchSize);
    std::vector<std::promise<bool>> done(calls.size());
    for (std::size_t index = 0; index < calls.size(); ++index) {
      Call& call = calls[index];
      call.request = requestOf(&nexthops[index * batchSize], batchSize);
      stub_->async()->Register(&call.context,
                               &call.request,
                               &call.response,
                               [&, index](auto status) { done[index].set_value(status.ok()); });
    }
    for (std::promise<bool>& promise : done) {
      if (!promise.get_future().get()) {
        std::fprintf(stderr, "a registration failed\n");
        std::exit(1);
      }
    }
  }
  void unregisterAll() {
    grpc::ClientContext context;
    Proto::UnregisterRequest request;
    request.set_client(name_);
    request.set_all(true);
    Proto::UnregisterResponse response;
    const std::uint64_t before = told();
    if (!stub_->Unregister(&context, request, &response).ok()) {
      std::exit(1);
    }
    waitFor(before + response.removed());
  }
  std::uint64_t told() {
    const std::lock_guard lock(mutex_);
    return told_;
  }
  void waitFor(std::uint64_t told) {
    std::unique_lock lock(mutex_);
    heard_.wait(lock, [&] { return told_ >= told; });
  }

 private:
  void waitForSnapshot() {
    std::unique_lock lock(mutex_);
    heard_.wait(lock, [&] { return ready_; });
  }
  void read() {
    Proto::WatchResponse message;
    while (reader_->Read(&message)) {
      const std::lock_guard lock(mutex_);
      told_ += static_cast<std::uint64_t>(message.nexthops_size());
      ready_ = ready_ || message.snapshot_end();
      heard_.notify_one();
    }
    static_cast<void>(reader_->Finish());
  }

  std::unique_ptr<Stub> stub_;
  std::string name_;
  grpc::ClientContext context_;
  std::unique_ptr<grpc::ClientReader<Proto::WatchResponse>> reader_;
  std::mutex mutex_;
  std::condition_variable heard_;
  std::uint64_t told_ = 0;
  bool ready_ = false;
  std::thread thread_;
};

double callTime(Stub& stub, const Proto::RegisterRequest& request) {
  grpc::ClientContext context;
  Proto::RegisterResponse response;
  const Clock::time_point start = Clock::now();
  if (!stub.Register(&context, request, &response).ok()) {
    std::fprintf(stderr, "a call failed\n");
    std::exit(1);
  }
  return microsecondsSince(start);
}

void row(const char* what, double measured, const char* unit, const char* target) {
  std::printf("%-64s %10.2f %-3s %s\n", what, measured, unit, target);
  std::fflush(stdout);
}

void roundTripLines(const std::string& directory) {
  EmptyServer empty(directory + "/empty");
  const auto emptyStub = stubOf(directory + "/empty");
  Client client(directory + "/socket", "one");
  const Nexthops& nexthops = spread(nexthopCount);
  Times emptyTimes;
  Times times;
  Times told;
  for (int index = 0; index < roundTrips; ++index) {
    emptyTimes.add(callTime(*emptyStub, {}));
    const std::uint64_t before = client.told();
    const Clock::time_point start = Clock::now();
    times.add(
        callTime(client.stub(), client.requestOf(&nexthops[static_cast<std::size_t>(index)], 1)));
    client.waitFor(before + 1);
    told.add(microsecondsSince(start));
  }
  row("an empty call, median", emptyTimes.median(), "us", "");
  row("one registration, round trip, median", times.median(), "us", "");
  row("  times an empty call", times.median() / emptyTimes.median(), "", "at most 1.6");
  row("one registration until its status is in hand, median", told.median(), "us", "");
}

void registrationLines(Daemon& daemon, const std::string& path) {
  Client client(path, "many");
  Times times;
  Times loopTimes;
  for (int run = 0; run < 5; ++run) {
    const std::uint64_t before = client.told();
    const double loopBefore = daemon.loopSeconds();
    const Clock::time_point start = Clock::now();
    client.registerAll(spread(nexthopCount));
    client.waitFor(before + nexthopCount);
    times.add(microsecondsSince(start) / 1000);
    loopTimes.add((daemon.loopSeconds() - loopBefore) * 1e3);
    client.unregisterAll();
  }
  row("100,000 registrations, batches of 1,000, to the last status",
      times.median(),
      "ms",
      "under 120");
  row("  of which CPU of the daemon's loop", loopTimes.median(), "ms", "");
}

void moveLines(Daemon& daemon,
               const std::string& path,
               std::size_t k,
               int runs,
               const char* target) {
  Client client(path, "moved-" + std::to_string(k));
  const IpGenPrefix cover(*IpGenAddr::parse("10.0.0.0"), 8);
  const std::uint64_t first = client.told();
  daemon.post([cover](Tables& tables) { tables.addRoute(cover, Fib::Route(5, 1, 1, 0)); });
  Nexthops nexthops = below(cover, nexthopCount);
  if (k == 1) {
    // One host route among 100,000 nexthops.
    client.registerAll(nexthops);
    client.waitFor(first + nexthopCount);
  } else {
    nexthops.resize(k);
    client.registerAll(nexthops);
    client.waitFor(first + k);
  }
  const IpGenPrefix moved = k == 1 ? IpGenPrefix::host(nexthops.front()) : cover;
  std::uint64_t before = client.told();
  if (k == 1) {
    daemon.post([moved](Tables& tables) { tables.addRoute(moved, Fib::Route(6, 1, 1, 0)); });
    client.waitFor(++before);
  }
  Times times;
  Times loopTimes;
  for (int run = 0; run < runs; ++run) {
    const double loopBefore = daemon.loopSeconds();
    const Fib::Route route(static_cast<FecId>(7 + run % 2), 1, 1, 0);
    before = client.told();
    const Clock::time_point start = Clock::now();
    daemon.post([moved, route](Tables& tables) { tables.replaceRoute(moved, route); });
    client.waitFor(before + k);
    times.add(microsecondsSince(start));
    loopTimes.add((daemon.loopSeconds() - loopBefore) * 1e3);
  }
  const std::string what =
      "a route of " + std::to_string(k) + " nexthops replaced, to the last notice";
  row(what.c_str(), times.median() / 1000, "ms", target);
  row("  p99", times.quantile(0.99) / 1000, "ms", "");
  row("  of which CPU of the daemon's loop", loopTimes.median(), "ms", "");
  client.unregisterAll();
}

int run() {
  std::string directory = "/tmp/nexthop-service-bench-XXXXXX";
  if (::mkdtemp(directory.data()) == nullptr) {
    std::perror("mkdtemp");
    return 1;
  }
  {
    Daemon daemon(directory + "/socket");
    row("the library alone, a route of 100,000 nexthops replaced",
        LibraryAlone().moveTime(nexthopCount, 11),
        "ms",
        "");
    roundTripLines(directory);
    registrationLines(daemon, directory + "/socket");
    moveLines(daemon, directory + "/socket", 100'000, 11, "under 120");
    moveLines(daemon, directory + "/socket", 1'000, moves, "under 2");
    moveLines(daemon, directory + "/socket", 1, moves, "under 0.25, p99 under 1");
  }
  ::unlink((directory + "/empty").c_str());
  ::rmdir(directory.c_str());
  return 0;
}

}  // namespace
}  // namespace Routing::Bench

int main() { return Routing::Bench::run(); }
