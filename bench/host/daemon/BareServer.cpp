#include "bench/host/daemon/BareServer.h"

#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>
#include <nexthop/v1/nexthop.grpc.pb.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <utility>

#include "host/loop/FileDescriptor.h"

namespace Routing::Bench {

namespace {

namespace Proto = ::nexthop::v1;

class BareService final : public Proto::Nexthops::Service {
 public:
  grpc::Status Register(grpc::ServerContext* /*context*/,
                        const Proto::RegisterRequest* request,
                        Proto::RegisterResponse* response) override {
    response->set_added(static_cast<std::uint32_t>(request->addresses_size()));
    const std::lock_guard lock(mutex_);
    registered_.push_back(*request);
    more_.notify_one();
    return grpc::Status::OK;
  }

  grpc::Status Watch(grpc::ServerContext* context,
                     const Proto::WatchRequest* /*request*/,
                     grpc::ServerWriter<Proto::WatchResponse>* writer) override {
    Proto::WatchResponse mark;
    mark.set_snapshot_begin(true);
    mark.set_snapshot_end(true);
    writer->Write(mark);
    while (!context->IsCancelled()) {
      writer->Write(statusesOf(next()));
    }
    return grpc::Status::OK;
  }

 private:
  Proto::RegisterRequest next() {
    std::unique_lock lock(mutex_);
    more_.wait(lock, [this] { return !registered_.empty(); });
    Proto::RegisterRequest request = std::move(registered_.front());
    registered_.pop_front();
    return request;
  }
  // As large as a real one.
  static Proto::WatchResponse statusesOf(const Proto::RegisterRequest& request) {
    Proto::WatchResponse response;
    response.set_client(request.client());
    response.set_vrf("default");
    for (const std::string& address : request.addresses()) {
      Proto::NexthopStatus& status = *response.add_nexthops();
      status.set_address(address);
      status.set_state(Proto::NEXTHOP_STATE_RESOLVED);
      status.set_identifier(1000);
      status.set_prefix(address);
      status.set_prefix_length(24);
      status.set_preference(200);
      status.set_route_type(8);
      status.set_epoch(1);
      status.set_changed_at(1'700'000'000'000'000'000);
    }
    return response;
  }

  std::mutex mutex_;
  std::condition_variable more_;
  std::deque<Proto::RegisterRequest> registered_;
};

[[noreturn]] void serve(const std::string& socketPath) {
  BareService service;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("unix:" + socketPath, grpc::InsecureServerCredentials());
  builder.RegisterService(&service);
  const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (server) {
    server->Wait();
  }
  ::_exit(1);
}

}  // namespace

BareServer::BareServer(const std::string& socketPath)
    : process_(Host::systemCall(::fork(), "cannot fork")) {
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(socketPath);
  }
}

BareServer::~BareServer() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace Routing::Bench
