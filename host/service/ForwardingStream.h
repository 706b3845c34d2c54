#pragma once

// ForwardingStream: the WatchForwarding call. The vias under each resolver identifier of a VRF, as
// its FIB-via machine publishes them: newest state an identifier, like a Watch. The stream ends
// when the VRF goes.

#include "host/service/ChangeQueue.h"
#include "host/service/Queries.h"
#include "host/service/ServerStream.h"
#include "platform/entity/Publisher.h"
#include "records/NexthopResolverForwardingStatus.h"

namespace Routing::Host {

// Which identifiers a reader has still to be told of.
class ForwardingQueue {
 public:
  // Identifiers that are gone and may wait beside as many as there are.
  static constexpr std::size_t removedAllowance = 1024;

  ForwardingQueue(const Ptr<NexthopResolverForwardingStatus>& forwarding, VrfName vrf);

  const VrfName& vrf() const noexcept { return vrf_; }
  const Ptr<NexthopResolverForwardingStatus>& forwarding() const noexcept { return forwarding_; }
  bool pending() const noexcept { return beginDue_ || queue_.inSnapshot() || !queue_.empty(); }
  std::size_t backlog() const noexcept { return queue_.size(); }

  struct Part {
    bool snapshotBegin = false;
    bool snapshotEnd = false;
  };
  // Calls with the identifiers of the next part, at most `limit`, and with the record of each, null
  // when it is gone. Requires: pending().
  using Visit = std::function<void(ResolverId id, const NexthopResolverIdVia* record)>;
  Part take(std::size_t limit, const Visit& visit);

 private:
  void forwardingDispatch(FieldId field, const void* key);
  void vrfDispatch(FieldId field, const void* key);
  void vrfForwardingIs(const Ptr<NexthopResolverVrfForwardingStatus>& vrfForwarding);
  void restart();
  std::size_t count() const noexcept {
    return vrfForwarding_ ? vrfForwarding_->nexthopResolverIdVia().size() : 0;
  }

  template <void (ForwardingQueue::*dispatch)(FieldId field, const void* key)>
  class Look final : public Observer {
   public:
    explicit Look(ForwardingQueue& owner) noexcept : owner_(owner) {}
    void onAttribute(FieldId field, const void* key) override { (owner_.*dispatch)(field, key); }

   private:
    ForwardingQueue& owner_;
  };

  Ptr<NexthopResolverForwardingStatus> forwarding_;
  VrfName vrf_;
  Ptr<NexthopResolverVrfForwardingStatus> vrfForwarding_;
  ChangeQueue<ResolverId> queue_;
  bool beginDue_ = false;
  Look<&ForwardingQueue::forwardingDispatch> forwardingLook_{*this};
  Look<&ForwardingQueue::vrfDispatch> vrfLook_{*this};
};

class ForwardingStream final : public ServerStream<Proto::WatchForwardingResponse> {
 public:
  static constexpr std::size_t mostEntries = 1000;

  // The request lives as long as the call.
  ForwardingStream(Inbox& inbox,
                   StreamKeeper& keeper,
                   const Queries& queries,
                   const Proto::WatchForwardingRequest& request);

 protected:
  void open() override;
  bool fill(Proto::WatchForwardingResponse& message) override;
  std::size_t waiting() const override { return queue_->backlog(); }
  bool complete() const override;
  void closed() override;

 private:
  const Queries& queries_;
  const Proto::WatchForwardingRequest& request_;
  std::unique_ptr<ForwardingQueue> queue_;
  bool snapshotTold_ = false;
};

}  // namespace Routing::Host
