#include "host/service/NexthopSlots.h"

#include "platform/entity/Assert.h"

namespace Routing::Host {

SlotId NexthopSlots::add(NexthopGroup& group, const IpGenAddr& addr, const Policy& policy) {
  SlotId id = end_;
  if (!free_.empty()) {
    id = free_.back();
    free_.pop_back();
  } else {
    if (id == blocks_.size() * blockSize) {
      blocks_.push_back(std::make_unique<Block>());
    }
    ++end_;
  }
  NexthopSlot& slot = (*this)[id];
  slot = NexthopSlot{};
  slot.addr = addr;
  slot.policy = policy;
  slot.group = &group;
  ++group.slots;
  ++live_;
  ++used_;
  return id;
}

void NexthopSlots::remove(SlotId id) {
  NexthopSlot& slot = (*this)[id];
  ROUTING_ASSERT(!slot.told.removed() && "a nexthop is removed once");
  slot.told.view = NexthopView{};
  slot.told.view.state = NexthopState::removed;
  slot.told.view.reason = NexthopReason::none;
  --live_;
  if (slot.pins == 0) {
    give(id);
  }
}

void NexthopSlots::unpin(SlotId id) {
  NexthopSlot& slot = (*this)[id];
  ROUTING_ASSERT(slot.pins > 0 && "only what is pinned is unpinned");
  if (--slot.pins == 0 && slot.told.removed()) {
    give(id);
  }
}

void NexthopSlots::give(SlotId id) {
  NexthopSlot& slot = (*this)[id];
  --slot.group->slots;
  slot.group = nullptr;
  --used_;
  free_.push_back(id);
}

}  // namespace Routing::Host
