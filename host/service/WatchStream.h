#pragma once

// WatchStream: the Watch call. Hands what a StatusStream has to tell to one client.
//
// Without `observe` it is the client: the name is live from open() to closed().

#include <memory>

#include "host/service/NexthopTable.h"
#include "host/service/Queries.h"
#include "host/service/Registrations.h"
#include "host/service/ServerStream.h"

namespace Routing::Host {

class WatchStream final : public ServerStream<Proto::WatchResponse> {
 public:
  // Of one message. At about 50 bytes a nexthop it is far below what a transport takes by default.
  // The loop sends one in a turn, and a turn's slice resolves somewhat more: much smaller ones
  // would leave most of a burst to be sent when everything is resolved.
  static constexpr std::size_t mostNexthops = 10'000;

  struct Parts {
    NexthopTable& table;
    Registrations& registrations;
    const Queries& queries;
    // Counts the nexthops told of.
    std::uint64_t& told;
  };

  // The request lives as long as the call.
  WatchStream(Inbox& inbox,
              StreamKeeper& keeper,
              const Parts& parts,
              String user,
              const Proto::WatchRequest& request);

 protected:
  void open() override;
  bool fill(Proto::WatchResponse& message) override;
  std::size_t waiting() const override { return stream_->backlog(); }
  bool complete() const override;
  void closed() override;

 private:
  Parts parts_;
  String user_;
  const Proto::WatchRequest& request_;
  std::unique_ptr<StatusStream> stream_;
  bool snapshotTold_ = false;
};

}  // namespace Routing::Host
