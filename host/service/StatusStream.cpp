#include "host/service/StatusStream.h"

#include <utility>

#include "platform/entity/Assert.h"

namespace Routing::Host {

StatusStream::StatusStream(NexthopSlots& slots, StreamFilter filter, bool everyWrite)
    : slots_(slots), filter_(std::move(filter)), everyWrite_(everyWrite) {}

StatusStream::~StatusStream() { restart(); }

void StatusStream::restart() {
  queue_.walk([this](SlotId id) { slots_.unpin(id); });
  queue_.clear();
  for (const Write& write : writes_) {
    slots_.unpin(write.id);
  }
  writes_.clear();
  removedQueued_ = 0;
  beginDue_ = true;
}

bool StatusStream::queue(SlotId id) {
  if (!queue_.add(id)) {
    return false;
  }
  slots_.pin(id);
  removedQueued_ += slots_[id].told.removed() ? 1U : 0U;
  return true;
}

void StatusStream::changed(SlotId id) {
  if (everyWrite_) {
    wrote(id);
  } else if (!queue(id) && slots_[id].told.removed()) {
    ++removedQueued_;
  }
}

void StatusStream::wrote(SlotId id) {
  if (queue_.empty() && !beginDue_ && !queue_.inSnapshot()) {
    writes_.push_back({id, slots_[id].told});
    slots_.pin(id);
    if (writes_.size() >= writeLimit) {
      mergeWrites();
    }
  } else if (!queue(id)) {
    ++writesLost_;
    removedQueued_ += slots_[id].told.removed() ? 1U : 0U;
  }
}

void StatusStream::mergeWrites() {
  for (const Write& write : writes_) {
    writesLost_ += queue(write.id) ? 0U : 1U;
    slots_.unpin(write.id);
  }
  writes_.clear();
}

StatusStream::Part StatusStream::take(std::size_t limit, const Visit& visit) {
  ROUTING_ASSERT(pending() && "there is something to take");
  if (beginDue_) {
    beginDue_ = false;
    return {true, false, nullptr};
  }
  if (!queue_.empty() || queue_.inSnapshot()) {
    return takeQueued(limit, visit);
  }
  return takeWrites(limit, visit);
}

StatusStream::Part StatusStream::takeQueued(std::size_t limit, const Visit& visit) {
  Part part;
  std::size_t taken = 0;
  const auto take = [&](SlotId id) {
    const NexthopSlot& slot = slots_[id];
    const bool removed = slot.told.removed();
    // A snapshot tells of what there is; nobody has heard of the others since its beginning.
    const bool told = !(removed && queue_.inSnapshot());
    if (told) {
      if (taken == limit || (part.group != nullptr && part.group != slot.group)) {
        return false;
      }
      part.group = slot.group;
      visit(slot.addr, slot.told);
      ++taken;
    }
    removedQueued_ -= removed ? 1U : 0U;
    slots_.unpin(id);
    return true;
  };
  queue_.takeWhile(take, [this](SlotId id) { slots_.prefetch(id); });
  if (taken == 0 && queue_.snapshotEndDue()) {
    queue_.snapshotEndTold();
    part.snapshotEnd = true;
  }
  return part;
}

StatusStream::Part StatusStream::takeWrites(std::size_t limit, const Visit& visit) {
  Part part;
  for (std::size_t taken = 0; taken < limit && !writes_.empty(); ++taken) {
    const Write& write = writes_.front();
    const NexthopSlot& slot = slots_[write.id];
    if (part.group != nullptr && part.group != slot.group) {
      break;
    }
    part.group = slot.group;
    visit(slot.addr, write.told);
    slots_.unpin(write.id);
    writes_.pop_front();
  }
  return part;
}

}  // namespace Routing::Host
