#include "host/service/NexthopTable.h"

#include <algorithm>
#include <utility>

#include "platform/entity/Assert.h"
#include "platform/entity/Hash.h"

namespace Routing::Host {

namespace {

constexpr SlotId noSlot = ~SlotId{0};
// What a burst of writes took is given back after it.
constexpr std::size_t writesKept = 4096;

bool isNews(const NexthopView& before, const NexthopView& after) noexcept {
  return before.state != NexthopState::unknown || after.state != NexthopState::unknown ||
         after.reason == NexthopReason::vrfGone;
}

// Looked at in this run, and unknown since: the VRF has gone that its entry was written for. The
// entry stays on record, but says nothing of a VRF that came back until it is written again.
bool outlivedItsVrf(const Told& told) noexcept {
  return told.epoch != 0 && told.view.state == NexthopState::unknown;
}

template <class Member>
void emptyOut(std::vector<Member>& members) {
  if (members.capacity() > writesKept) {
    std::vector<Member>().swap(members);
  }
  members.clear();
}

}  // namespace

NexthopTable::NexthopTable(Conditions conditions, WallClock wallClock, std::size_t events)
    : conditions_(std::move(conditions)), wallClock_(std::move(wallClock)), events_(events) {}

NexthopTable::~NexthopTable() {
  ROUTING_ASSERT(streams_.empty() && "streams end before the table that feeds them");
}

// ---- groups and nexthops -----------------------------------------------------------------------

NexthopTable::Group& NexthopTable::groupAdd(const String& client,
                                            const VrfName& vrf,
                                            NexthopStatusFecIdType kind,
                                            const Ptr<NexthopStatus>& status) {
  groups_.push_back(std::make_unique<Group>(*this, client, vrf, kind, status));
  Group& group = *groups_.back();
  for (StatusStream* stream : streams_) {
    if (stream->filter().admits(group)) {
      group.streams_.push_back(stream);
    }
  }
  return group;
}

void NexthopTable::groupDel(Group& group) {
  group.statusLook_.unsubscribe();
  group.vrfStatusLook_.unsubscribe();
  std::vector<SlotId> ids;
  ids.reserve(group.count());
  group.walk([&ids](SlotId id) { ids.push_back(id); });
  group.slotOf_.clear();
  for (const SlotId id : ids) {
    slotRemove(group, id);
  }
  const auto found = std::find_if(groups_.begin(), groups_.end(), [&group](const auto& member) {
    return member.get() == &group;
  });
  ROUTING_ASSERT(found != groups_.end() && "the group is this table's");
  dirty_.erase(std::remove(dirty_.begin(), dirty_.end(), &group), dirty_.end());
  ended_.push_back(std::move(*found));
  groups_.erase(found);
}

void NexthopTable::walk(const std::function<void(Group& group)>& visit) const {
  for (const auto& group : groups_) {
    visit(*group);
  }
}

void NexthopTable::prefetch(const Group& group, const IpGenAddr& addr) noexcept {
  group.slotOf_.prefetchFar(hashOf(addr));
}

bool NexthopTable::nexthopIs(Group& group, const IpGenAddr& addr, const Policy& policy) {
  SlotId id = noSlot;
  const auto* present = group.slotOf_.find(addr);
  if (present != nullptr) {
    id = present->value;
    if (slots_[id].policy == policy) {
      return false;
    }
    slots_[id].policy = policy;
  } else {
    id = slots_.add(group, addr, policy);
    ++censusOf(slots_[id].told.view);
    group.slotOf_.insert({addr, id});
  }
  group.judgements_.push_back(id);
  queueJudgement(group);
  return present == nullptr;
}

bool NexthopTable::nexthopDel(Group& group, const IpGenAddr& addr) {
  const auto removed = group.slotOf_.remove(addr);
  if (!removed) {
    return false;
  }
  slotRemove(group, removed->value);
  return true;
}

void NexthopTable::slotRemove(Group& group, SlotId id) {
  NexthopSlot& slot = slots_[id];
  --censusOf(slot.told.view);
  slot.told.changedAt = wallClock_();
  // Held while the streams are told, each of which may hold it on.
  slots_.pin(id);
  slots_.remove(id);
  announce(group, id);
  slots_.unpin(id);
  for (StatusStream* stream : group.streams_) {
    if (stream->mustRestart()) {
      snapshot(*stream);
    }
  }
}

const SlotId* NexthopTable::find(const Group& group, const IpGenAddr& addr) noexcept {
  const auto* present = group.slotOf_.find(addr);
  return present == nullptr ? nullptr : &present->value;
}

// ---- changes -----------------------------------------------------------------------------------

void NexthopTable::queueJudgement(Group& group) {
  if (!group.queued_) {
    group.queued_ = true;
    dirty_.push_back(&group);
  }
}

void NexthopTable::vrfChanged(const VrfName& vrf) {
  for (const auto& group : groups_) {
    if (group->vrf == vrf) {
      group->judgeAll_ = true;
      queueJudgement(*group);
    }
  }
}

void NexthopTable::syncedChanged() {
  for (const auto& group : groups_) {
    group->walk([&](SlotId id) {
      if (slots_[id].told.view.reason == NexthopReason::resyncing) {
        group->judgements_.push_back(id);
      }
    });
    queueJudgement(*group);
  }
}

void NexthopTable::commit() {
  if (!dirty_.empty()) {
    now_ = wallClock_();
    std::vector<Group*> dirty;
    dirty.swap(dirty_);
    for (Group* group : dirty) {
      group->queued_ = false;
      commitGroup(*group);
    }
  }
  sweep();
}

void NexthopTable::commitGroup(Group& group) {
  const VrfCondition condition = conditions_(group.vrf);
  commitWrites(group, condition);
  if (group.judgeAll_) {
    group.judgeAll_ = false;
    group.judgements_.clear();
    group.walk([&group](SlotId id) { group.judgements_.push_back(id); });
  }
  for (const SlotId id : group.judgements_) {
    NexthopSlot& slot = slots_[id];
    // Unregistered since; perhaps another's by now.
    if (slot.group != &group || slot.told.removed()) {
      continue;
    }
    const auto* entry = outlivedItsVrf(slot.told) ? nullptr : group.entry(slot.addr);
    if (settle(slot, judge(entry, slot.addr.family(), slot.policy, condition))) {
      announce(group, id);
    }
  }
  emptyOut(group.judgements_);
}

// Finds the nexthop of each write; the last write of each knows that it is.
void NexthopTable::findWritten(const Group& group) {
  const auto count = static_cast<std::uint32_t>(group.writes_.size());
  written_.assign(count, noSlot);
  constexpr std::uint32_t farAhead = 16;
  constexpr std::uint32_t nearAhead = 8;
  for (std::uint32_t index = 0; index < count; ++index) {
    if (index + farAhead < count) {
      group.slotOf_.prefetchFar(hashOf(group.writes_[index + farAhead].addr));
      group.slotOf_.prefetchNear(hashOf(group.writes_[index + nearAhead].addr));
    }
    if (const SlotId* id = find(group, group.writes_[index].addr)) {
      written_[index] = *id;
      slots_.prefetch(*id);
    }
  }
  for (std::uint32_t index = 0; index < count; ++index) {
    prefetchWritten(index);
    if (written_[index] != noSlot) {
      slots_[written_[index]].latestWrite = index;
    }
  }
}

void NexthopTable::prefetchWritten(std::size_t index) const noexcept {
  if (index + NexthopSlots::ahead < written_.size() &&
      written_[index + NexthopSlots::ahead] != noSlot) {
    slots_.prefetch(written_[index + NexthopSlots::ahead]);
  }
}

void NexthopTable::commitWrites(Group& group, const VrfCondition& condition) {
  findWritten(group);
  const bool each = std::any_of(group.streams_.begin(), group.streams_.end(), [](const auto* s) {
    return s->everyWrite();
  });
  for (std::size_t index = 0; index < written_.size(); ++index) {
    prefetchWritten(index);
    const SlotId id = written_[index];
    if (id == noSlot) {
      continue;
    }
    NexthopSlot& slot = slots_[id];
    // That a state of an earlier run is confirmed is news even when it is the same.
    const bool confirmed = slot.told.stale();
    ++slot.told.epoch;
    const bool counts = each || slot.latestWrite == index;
    if (!counts && !confirmed) {
      continue;
    }
    const bool news =
        counts &&
        settle(slot, judge(&group.writes_[index], slot.addr.family(), slot.policy, condition));
    for (StatusStream* stream : group.streams_) {
      if (stream->everyWrite()) {
        stream->wrote(id);
      } else if (news || confirmed) {
        stream->changed(id);
      }
    }
  }
  emptyOut(group.writes_);
  emptyOut(written_);
}

bool NexthopTable::settle(NexthopSlot& slot, const NexthopView& view) {
  Told& told = slot.told;
  if (told.view == view) {
    return false;
  }
  const bool news = isNews(told.view, view);
  if (told.view.identifier != 0 && told.view.identifier != view.identifier) {
    told.previousIdentifier = told.view.identifier;
  }
  --censusOf(told.view);
  told.view = view;
  ++censusOf(told.view);
  if (news) {
    told.changedAt = now_;
    slot.lastEvent =
        events_.add({now_, told.epoch, view.identifier, view.prefix, view.state, view.reason},
                    slot.lastEvent);
  }
  return news;
}

void NexthopTable::announce(const Group& group, SlotId id) {
  for (StatusStream* stream : group.streams_) {
    stream->changed(id);
  }
}

void NexthopTable::sweep() {
  ended_.erase(std::remove_if(ended_.begin(),
                              ended_.end(),
                              [](const auto& group) { return group->slots == 0; }),
               ended_.end());
}

// ---- streams -----------------------------------------------------------------------------------

void NexthopTable::follow(StatusStream& stream) {
  streams_.push_back(&stream);
  for (const auto& group : groups_) {
    if (stream.filter().admits(*group)) {
      group->streams_.push_back(&stream);
    }
  }
  snapshot(stream);
}

void NexthopTable::unfollow(StatusStream& stream) {
  const auto forget = [&stream](std::vector<StatusStream*>& streams) {
    streams.erase(std::remove(streams.begin(), streams.end(), &stream), streams.end());
  };
  forget(streams_);
  for (const auto& group : groups_) {
    forget(group->streams_);
  }
  // The stream may be waiting for a group that has ended, and gives it up now.
  for (const auto& group : ended_) {
    forget(group->streams_);
  }
}

void NexthopTable::snapshot(StatusStream& stream) {
  stream.restart();
  for (const auto& group : groups_) {
    if (stream.filter().admits(*group)) {
      group->walk([&stream](SlotId id) { stream.queue(id); });
    }
  }
  stream.snapshotIs();
}

// ---- group -------------------------------------------------------------------------------------

NexthopTable::Group::Group(NexthopTable& table,
                           const String& clientName,
                           const VrfName& vrfName,
                           NexthopStatusFecIdType fecIdType,
                           const Ptr<NexthopStatus>& status)
    : NexthopGroup{clientName, vrfName, fecIdType}, table_(table), status_(status) {
  statusLook_.subscribe(*status_);
  vrfStatusIs(status_->vrf(vrf));
}

void NexthopTable::Group::statusDispatch(FieldId field, const void* key) {
  if (field == NexthopStatus::vrfField && *static_cast<const VrfName*>(key) == vrf) {
    vrfStatusIs(status_->vrf(vrf));
  }
}

void NexthopTable::Group::vrfStatusIs(const Ptr<NexthopVrfStatus>& vrfStatus) {
  vrfStatusLook_.unsubscribe();
  vrfStatus_ = vrfStatus;
  if (vrfStatus_) {
    vrfStatusLook_.subscribe(*vrfStatus_);
  }
  judgeAll_ = true;
  table_.queueJudgement(*this);
}

void NexthopTable::Group::vrfStatusDispatch(FieldId field, const void* key) {
  if (field != NexthopVrfStatus::nexthopField) {
    return;
  }
  const IpGenAddr& addr = *static_cast<const IpGenAddr*>(key);
  if (const NexthopStatusEntry* written = entry(addr)) {
    writes_.push_back(*written);
  } else {
    writes_.emplace_back().addr = addr;
  }
  table_.queueJudgement(*this);
}

}  // namespace Routing::Host
