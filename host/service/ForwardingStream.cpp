#include "host/service/ForwardingStream.h"

#include <utility>

#include "platform/entity/Assert.h"

namespace Routing::Host {

// ---- queue -------------------------------------------------------------------------------------

ForwardingQueue::ForwardingQueue(const Ptr<NexthopResolverForwardingStatus>& forwarding,
                                 VrfName vrf)
    : forwarding_(forwarding), vrf_(std::move(vrf)) {
  forwardingLook_.subscribe(*forwarding_);
  vrfForwardingIs(forwarding_->vrf(vrf_));
}

void ForwardingQueue::forwardingDispatch(FieldId field, const void* key) {
  if (field == NexthopResolverForwardingStatus::vrfField &&
      *static_cast<const VrfName*>(key) == vrf_) {
    vrfForwardingIs(forwarding_->vrf(vrf_));
  }
}

void ForwardingQueue::vrfForwardingIs(
    const Ptr<NexthopResolverVrfForwardingStatus>& vrfForwarding) {
  vrfLook_.unsubscribe();
  vrfForwarding_ = vrfForwarding;
  if (vrfForwarding_) {
    vrfLook_.subscribe(*vrfForwarding_);
  }
  restart();
}

void ForwardingQueue::vrfDispatch(FieldId field, const void* key) {
  if (field != NexthopResolverVrfForwardingStatus::nexthopResolverIdViaField) {
    return;
  }
  queue_.add(*static_cast<const ResolverId*>(key));
  // Those that are queued and not there any more are at least this many too many.
  if (queue_.size() > count() + removedAllowance) {
    restart();
  }
}

void ForwardingQueue::restart() {
  queue_.clear();
  beginDue_ = true;
  if (vrfForwarding_) {
    for (auto cursor = vrfForwarding_->nexthopResolverIdVia().cursor(); !cursor.atEnd();
         cursor.next()) {
      queue_.add(cursor.key());
    }
  }
  queue_.snapshotIs();
}

ForwardingQueue::Part ForwardingQueue::take(std::size_t limit, const Visit& visit) {
  ROUTING_ASSERT(pending() && "there is something to take");
  if (beginDue_) {
    beginDue_ = false;
    return {true, false};
  }
  std::size_t taken = 0;
  const auto takeOne = [&](ResolverId id) {
    const NexthopResolverIdVia* record =
        vrfForwarding_ ? vrfForwarding_->nexthopResolverIdVia().find(id) : nullptr;
    if (record == nullptr && queue_.inSnapshot()) {
      return true;
    }
    if (taken == limit) {
      return false;
    }
    visit(id, record);
    ++taken;
    return true;
  };
  queue_.takeWhile(takeOne, [](ResolverId) {});
  if (taken == 0 && queue_.snapshotEndDue()) {
    queue_.snapshotEndTold();
    return {false, true};
  }
  return {};
}

// ---- stream ------------------------------------------------------------------------------------

ForwardingStream::ForwardingStream(Inbox& inbox,
                                   StreamKeeper& keeper,
                                   const Queries& queries,
                                   const Proto::WatchForwardingRequest& request)
    : ServerStream(inbox, keeper), queries_(queries), request_(request) {}

void ForwardingStream::open() {
  const Vrf& vrf = queries_.vrf(request_.vrf());
  queue_ = std::make_unique<ForwardingQueue>(vrf.forwarding(), vrf.name());
}

bool ForwardingStream::fill(Proto::WatchForwardingResponse& message) {
  if (!queue_->pending()) {
    return false;
  }
  const ForwardingQueue::Part part =
      queue_->take(mostEntries, [&](ResolverId id, const NexthopResolverIdVia* record) {
        Proto::Forwarding& entry = *message.add_entries();
        entry.set_identifier(id.value());
        if (record == nullptr) {
          entry.set_removed(true);
          return;
        }
        for (const NexthopResolverVia& via : record->nexthopResolverVia()) {
          viaTo(*entry.add_vias(), via);
          queries_.interfaceNameTo(*entry.mutable_vias(entry.vias_size() - 1));
        }
      });
  message.set_snapshot_begin(part.snapshotBegin);
  message.set_snapshot_end(part.snapshotEnd);
  snapshotTold_ = snapshotTold_ || part.snapshotEnd;
  return true;
}

bool ForwardingStream::complete() const {
  return (request_.snapshot_only() && snapshotTold_) ||
         !queries_.publishes(queue_->vrf(), queue_->forwarding());
}

void ForwardingStream::closed() { queue_ = nullptr; }

}  // namespace Routing::Host
