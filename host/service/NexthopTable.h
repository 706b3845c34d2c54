#pragma once

// NexthopTable: all registered nexthops, what is told of each, and the streams that tell it.
//
//   input                     change                       what happens at the next commit()
//   NexthopStatus             the VRF's status             all nexthops of the group judged again
//   NexthopVrfStatus          an entry written, removed    counted, judged
//   nexthopIs                 new, or another policy       judged
//   vrfChanged, syncedChanged the condition of a VRF       those it concerns judged
//
// Nothing is judged when it happens. At the end of a turn, when the daemon's records are stored,
// commit() looks at everything that was written since: so what streams hear is what a restart would
// find, and several writes of a turn are one change. (A stream of every write hears each of them.)
//
// A nexthop that nobody has looked at yet is not news: it stands in snapshots alone. So does one of
// a VRF that came back until it is looked at again: its entry is still there, and is of before.
//
// Owner of groups, slots and history. Streams belong to their transport; each is followed from
// follow() to unfollow(), which it outlives. One thread.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "host/service/EventLog.h"
#include "host/service/NexthopSlots.h"
#include "host/service/NexthopView.h"
#include "host/service/StatusStream.h"
#include "platform/entity/DenseTable.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "records/NexthopStatus.h"

namespace Routing::Host {

class NexthopTable {
 public:
  // What a VRF's nexthops are judged by.
  using Conditions = std::function<VrfCondition(const VrfName& vrf)>;
  // Nanoseconds since 1970-01-01T00:00:00Z.
  using WallClock = std::function<std::int64_t()>;
  // Nexthops by state and reason.
  using Census = std::array<std::array<std::uint64_t, nexthopReasons>, nexthopStates>;
  static constexpr std::size_t historyLimit = 32;

  class Group;

  NexthopTable(Conditions conditions,
               WallClock wallClock,
               std::size_t events = EventLog::defaultCapacity);
  NexthopTable(const NexthopTable&) = delete;
  NexthopTable& operator=(const NexthopTable&) = delete;
  ~NexthopTable();

  NexthopSlots& slots() noexcept { return slots_; }
  const NexthopSlots& slots() const noexcept { return slots_; }
  const Census& census() const noexcept { return census_; }

  // The client's nexthops of the VRF, which its status tells of. Requires: there is no such group.
  Group& groupAdd(const String& client,
                  const VrfName& vrf,
                  NexthopStatusFecIdType kind,
                  const Ptr<NexthopStatus>& status);
  // Removes its nexthops and then the group. No reference to it is good afterwards.
  void groupDel(Group& group);
  // All groups, in order of addition.
  void walk(const std::function<void(Group& group)>& visit) const;

  // Hints that the address will be looked up in the group.
  static void prefetch(const Group& group, const IpGenAddr& addr) noexcept;
  // True when it was not there; false when at most its policy became another one.
  bool nexthopIs(Group& group, const IpGenAddr& addr, const Policy& policy);
  // True when it was there.
  bool nexthopDel(Group& group, const IpGenAddr& addr);
  // Null when it is not registered.
  static const SlotId* find(const Group& group, const IpGenAddr& addr) noexcept;
  // The oldest first.
  std::vector<NexthopEvent> history(SlotId id) const {
    return events_.chain(slots_[id].lastEvent, historyLimit);
  }

  // The VRF came, is about to go, or its routing information was written.
  void vrfChanged(const VrfName& vrf);
  // The kernel's tables have been read whole again.
  void syncedChanged();

  // Judges what was written since the last commit and hands what changed to the streams.
  void commit();

  // Begins the stream with a snapshot.
  void follow(StatusStream& stream);
  void unfollow(StatusStream& stream);

 private:
  std::uint64_t& censusOf(const NexthopView& view) noexcept {
    return census_[static_cast<std::size_t>(view.state)][static_cast<std::size_t>(view.reason)];
  }
  void queueJudgement(Group& group);
  void commitGroup(Group& group);
  void findWritten(const Group& group);
  void prefetchWritten(std::size_t index) const noexcept;
  void commitWrites(Group& group, const VrfCondition& condition);
  // True when what is told of it became another thing that is news.
  bool settle(NexthopSlot& slot, const NexthopView& view);
  void announce(const Group& group, SlotId id);
  void snapshot(StatusStream& stream);
  void slotRemove(Group& group, SlotId id);
  void sweep();

  Conditions conditions_;
  WallClock wallClock_;
  NexthopSlots slots_;
  EventLog events_;
  Census census_{};
  std::vector<std::unique_ptr<Group>> groups_;
  // Gone, but with removed nexthops that streams have still to tell of.
  std::vector<std::unique_ptr<Group>> ended_;
  std::vector<Group*> dirty_;
  std::vector<StatusStream*> streams_;
  std::vector<SlotId> written_;
  std::int64_t now_ = 0;
};

class NexthopTable::Group final : public NexthopGroup {
 public:
  Group(NexthopTable& table,
        const String& client,
        const VrfName& vrf,
        NexthopStatusFecIdType fecIdType,
        const Ptr<NexthopStatus>& status);

  std::size_t count() const noexcept { return slotOf_.size(); }
  // In order of registration.
  template <class Visit>
  void walk(Visit visit) const {
    for (auto cursor = slotOf_.cursor(); !cursor.atEnd(); cursor.next()) {
      visit(cursor.member().value);
    }
  }

 private:
  friend class NexthopTable;
  void statusDispatch(FieldId field, const void* key);
  void vrfStatusDispatch(FieldId field, const void* key);
  void vrfStatusIs(const Ptr<NexthopVrfStatus>& vrfStatus);
  const NexthopStatusEntry* entry(const IpGenAddr& addr) const noexcept {
    return vrfStatus_ ? vrfStatus_->nexthop(addr) : nullptr;
  }

  // Observes for its owner.
  template <void (Group::*dispatch)(FieldId field, const void* key)>
  class Look final : public Observer {
   public:
    explicit Look(Group& owner) noexcept : owner_(owner) {}
    void onAttribute(FieldId field, const void* key) override { (owner_.*dispatch)(field, key); }

   private:
    Group& owner_;
  };

  NexthopTable& table_;
  Ptr<NexthopStatus> status_;
  Ptr<NexthopVrfStatus> vrfStatus_;
  DenseMap<IpGenAddr, SlotId> slotOf_;
  std::vector<StatusStream*> streams_;
  // Since the last commit: entries written (state unknown: removed), and nexthops to be judged
  // again for another reason.
  std::vector<NexthopStatusEntry> writes_;
  std::vector<SlotId> judgements_;
  bool judgeAll_ = false;
  bool queued_ = false;

  Look<&Group::statusDispatch> statusLook_{*this};
  Look<&Group::vrfStatusDispatch> vrfStatusLook_{*this};
};

}  // namespace Routing::Host
