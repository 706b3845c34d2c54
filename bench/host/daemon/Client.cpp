#include "bench/host/daemon/Client.h"

#include <grpcpp/create_channel.h>

#include <algorithm>
#include <future>
#include <stdexcept>
#include <utility>
#include <vector>

#include "host/service/Messages.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t batchSize = 1'000;
constexpr std::chrono::seconds patience{60};

void require(const grpc::Status& status) {
  if (!status.ok()) {
    throw std::runtime_error("a call failed: " + status.error_message());
  }
}

}  // namespace

std::unique_ptr<Stub> stubOf(const std::string& socketPath) {
  grpc::ChannelArguments own;
  own.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  return Proto::Nexthops::NewStub(
      grpc::CreateCustomChannel("unix:" + socketPath, grpc::InsecureChannelCredentials(), own));
}

Client::Client(const std::string& socketPath, std::string name)
    : stub_(stubOf(socketPath)), name_(std::move(name)) {
  Proto::WatchRequest request;
  request.set_client(name_);
  context_.set_wait_for_ready(true);
  reader_ = stub_->Watch(&context_, request);
  thread_ = std::thread([this] { read(); });
  std::unique_lock lock(mutex_);
  if (!heard_.wait_for(lock, patience, [this] { return ready_ || ended_; }) || ended_) {
    lock.unlock();
    context_.TryCancel();
    thread_.join();
    throw std::runtime_error("there is no stream at " + socketPath);
  }
}

Client::~Client() {
  context_.TryCancel();
  thread_.join();
}

void Client::read() {
  Proto::WatchResponse message;
  while (reader_->Read(&message)) {
    const Moment now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    lastTold_ = now;
    told_ += static_cast<std::uint64_t>(message.nexthops_size());
    ready_ = ready_ || message.snapshot_end();
    heard_.notify_one();
  }
  static_cast<void>(reader_->Finish());
  const std::lock_guard lock(mutex_);
  ended_ = true;
  heard_.notify_one();
}

Proto::RegisterRequest Client::requestOf(std::span<const IpGenAddr> addresses) const {
  Proto::RegisterRequest request;
  request.set_client(name_);
  for (const IpGenAddr& address : addresses) {
    Host::addressTo(*request.add_addresses(), address);
  }
  return request;
}

void Client::registerOne(const IpGenAddr& address) {
  grpc::ClientContext context;
  Proto::RegisterResponse response;
  require(stub_->Register(&context, requestOf({&address, 1}), &response));
}

void Client::registerAll(std::span<const IpGenAddr> addresses) {
  struct Call {
    grpc::ClientContext context;
    Proto::RegisterRequest request;
    Proto::RegisterResponse response;
    std::promise<grpc::Status> done;
  };
  std::vector<Call> calls((addresses.size() + batchSize - 1) / batchSize);
  for (std::size_t index = 0; index < calls.size(); ++index) {
    Call& call = calls[index];
    const std::size_t first = index * batchSize;
    call.request =
        requestOf(addresses.subspan(first, std::min(batchSize, addresses.size() - first)));
    stub_->async()->Register(&call.context, &call.request, &call.response, [&call](auto status) {
      call.done.set_value(status);
    });
  }
  grpc::Status failure;
  for (Call& call : calls) {
    const grpc::Status status = call.done.get_future().get();
    failure = status.ok() ? failure : status;
  }
  require(failure);
}

void Client::unregisterAll() {
  const std::uint64_t before = told();
  grpc::ClientContext context;
  Proto::UnregisterRequest request;
  request.set_client(name_);
  request.set_all(true);
  Proto::UnregisterResponse response;
  require(stub_->Unregister(&context, request, &response));
  waitFor(before + response.removed());
}

std::uint64_t Client::told() {
  const std::lock_guard lock(mutex_);
  return told_;
}

Moment Client::waitFor(std::uint64_t told) {
  std::unique_lock lock(mutex_);
  if (!heard_.wait_for(lock, patience, [&] { return told_ >= told || ended_; }) || told_ < told) {
    throw std::runtime_error("client " + name_ + " waits in vain: told of " +
                             std::to_string(told_) + " of " + std::to_string(told));
  }
  return lastTold_;
}

}  // namespace Routing::Bench
