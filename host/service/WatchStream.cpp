#include "host/service/WatchStream.h"

#include <utility>

namespace Routing::Host {

WatchStream::WatchStream(Inbox& inbox,
                         StreamKeeper& keeper,
                         const Parts& parts,
                         String user,
                         const Proto::WatchRequest& request)
    : ServerStream(inbox, keeper), parts_(parts), user_(std::move(user)), request_(request) {}

void WatchStream::open() {
  if (!request_.vrf().empty()) {
    static_cast<void>(parts_.queries.registeredVrf(request_.vrf()));
  }
  auto stream = std::make_unique<StatusStream>(parts_.table.slots(),
                                               StreamFilter{request_.client(), request_.vrf()},
                                               request_.every_write());
  if (!request_.observe()) {
    parts_.registrations.attach(user_, request_.client(), *stream);
  } else if (!request_.client().empty() &&
             parts_.registrations.client(request_.client()) == nullptr) {
    throw RequestError(RequestFault::notFound, "client", "there is no client " + request_.client());
  }
  stream_ = std::move(stream);
  parts_.table.follow(*stream_);
}

bool WatchStream::fill(Proto::WatchResponse& message) {
  if (!stream_->pending()) {
    return false;
  }
  const StatusStream::Part part =
      stream_->take(mostNexthops, [&message](const IpGenAddr& addr, const Told& told) {
        statusTo(*message.add_nexthops(), addr, told);
      });
  if (part.group != nullptr) {
    message.set_client(part.group->client);
    message.set_vrf(part.group->vrf);
    message.set_kind(kindOf(part.group->kind));
    parts_.told += static_cast<std::uint64_t>(message.nexthops_size());
  }
  if (part.snapshotBegin) {
    message.set_snapshot_begin(true);
    message.set_run(parts_.queries.identity().run);
  }
  message.set_snapshot_end(part.snapshotEnd);
  message.set_writes_lost(stream_->writesLost());
  snapshotTold_ = snapshotTold_ || part.snapshotEnd;
  return true;
}

bool WatchStream::complete() const { return request_.snapshot_only() && snapshotTold_; }

void WatchStream::closed() {
  parts_.table.unfollow(*stream_);
  if (!request_.observe()) {
    parts_.registrations.detach(request_.client());
  }
  stream_ = nullptr;
}

}  // namespace Routing::Host
