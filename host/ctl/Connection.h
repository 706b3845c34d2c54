#pragma once

// Connection: the way to the daemon. What goes wrong on it becomes a CtlError in words that name
// the place, so that no command has to look at a status.

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>
#include <nexthop/v1/nexthop.grpc.pb.h>

#include <chrono>
#include <memory>
#include <string>

#include "host/ctl/Options.h"

namespace Routing::Host {

namespace Proto = ::nexthop::v1;

class Connection {
 public:
  using Stub = Proto::Nexthops::Stub;

  // Throws: CtlError when nothing listens there.
  explicit Connection(const CtlOptions& options);

  Stub& stub() noexcept { return *stub_; }

  // One request and its answer. Throws: CtlError.
  template <class Response, class Request>
  Response call(grpc::Status (Stub::*method)(grpc::ClientContext*, const Request&, Response*),
                const Request& request) {
    grpc::ClientContext context;
    context.set_deadline(deadline());
    Response response;
    check((*stub_.*method)(&context, request, &response));
    return response;
  }
  // Of an answer that is asked for now.
  std::chrono::system_clock::time_point deadline() const;
  // Throws: CtlError for what is not good.
  void check(const grpc::Status& status) const;

 private:
  // "no nexthopd listens on PATH" needs it.
  std::string place_;
  double timeoutSeconds_;
  std::unique_ptr<Stub> stub_;
};

}  // namespace Routing::Host
