#pragma once

// StatusStream: what one watcher has still to be told, in bounded memory however slowly it reads.
//
// Ordinarily it queues nexthops, and what is told is their newest state when their turn comes. With
// every write asked for it also keeps copies of writes:
//
//   queue not empty     a write is queued as its nexthop (snapshot, or the reader fell behind)
//   queue empty         a write is kept as it was, up to writeLimit
//   writeLimit reached  all kept writes become queued nexthops; what that merges counts as lost
//
// so a nexthop is never told of an older state after a newer one.
//
// Removed nexthops are queued too. A reader that does not read while nexthops come and go would
// pile them up; past as many as there are nexthops it must begin again with a snapshot
// (mustRestart).
//
// The NexthopTable feeds it and knows which groups it follows; the transport takes from it.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "host/service/ChangeQueue.h"
#include "host/service/NexthopSlots.h"
#include "host/service/SlotSet.h"

namespace Routing::Host {

// What of all nexthops a watcher wants. Empty names: all.
struct StreamFilter {
  String client;
  VrfName vrf;

  bool admits(const NexthopGroup& group) const {
    return (client.empty() || client == group.client) && (vrf.empty() || vrf == group.vrf);
  }
};

class StatusStream {
 public:
  static constexpr std::size_t writeLimit = 65'536;
  // Removed nexthops that may wait beside as many as there are nexthops. A client that takes back
  // 100,000 registrations at once is no slow reader.
  static constexpr std::size_t removedAllowance = 131'072;

  // A part of what is to be told: a mark, or nexthops of one group.
  struct Part {
    bool snapshotBegin = false;
    bool snapshotEnd = false;
    const NexthopGroup* group = nullptr;
  };
  using Visit = std::function<void(const IpGenAddr& addr, const Told& told)>;

  StatusStream(NexthopSlots& slots, StreamFilter filter, bool everyWrite);
  StatusStream(const StatusStream&) = delete;
  StatusStream& operator=(const StatusStream&) = delete;
  // Gives up its pins.
  ~StatusStream();

  const StreamFilter& filter() const noexcept { return filter_; }
  bool everyWrite() const noexcept { return everyWrite_; }
  // Nexthops and writes that wait.
  std::size_t backlog() const noexcept { return queue_.size() + writes_.size(); }
  std::uint64_t writesLost() const noexcept { return writesLost_; }
  bool pending() const noexcept {
    return beginDue_ || queue_.inSnapshot() || !queue_.empty() || !writes_.empty();
  }

  // Forgets everything and begins with the mark. Then comes what is queued until snapshotIs().
  void restart();
  // False when it is queued already.
  bool queue(SlotId id);
  void snapshotIs() noexcept { queue_.snapshotIs(); }
  bool mustRestart() const noexcept { return removedQueued_ > slots_.live() + removedAllowance; }

  // The nexthop's state is another one now.
  void changed(SlotId id);
  // The nexthop was written; for a stream of every write.
  void wrote(SlotId id);

  // Takes the next part, calling with each of its nexthops, at most `limit`. Requires: pending().
  // The group is good until the table's next change.
  Part take(std::size_t limit, const Visit& visit);

 private:
  struct Write {
    SlotId id = 0;
    Told told;
  };

  Part takeQueued(std::size_t limit, const Visit& visit);
  Part takeWrites(std::size_t limit, const Visit& visit);
  void mergeWrites();

  NexthopSlots& slots_;
  StreamFilter filter_;
  bool everyWrite_;
  bool beginDue_ = false;
  ChangeQueue<SlotId, SlotSet> queue_;
  std::deque<Write> writes_;
  std::size_t removedQueued_ = 0;
  std::uint64_t writesLost_ = 0;
};

}  // namespace Routing::Host
