#pragma once

// ChangeQueue: which keys a slow reader has still to be told of. Keys only: what is told is their
// state at the time of telling, so a key that changes ten times is told once, and the queue is
// never longer than there are keys.
//
// A snapshot is the same queue filled with every key; its end is the point behind the last of them.
// A key keeps its place in line when it changes again.

#include <cstddef>
#include <deque>

#include "platform/entity/DenseTable.h"

namespace Routing::Host {

// Members says which keys are queued; whatever has insert, remove and clear as a DenseSet does.
template <class Key, class Members = DenseSet<Key>>
class ChangeQueue {
 public:
  std::size_t size() const noexcept { return line_.size(); }
  bool empty() const noexcept { return line_.empty(); }

  // False when the key is queued already.
  bool add(const Key& key) {
    if (!members_.insert(key)) {
      return false;
    }
    line_.push_back(key);
    return true;
  }

  // Everything that is queued now belongs to the snapshot; its end is due once that was taken.
  void snapshotIs() noexcept {
    snapshotLeft_ = line_.size();
    snapshot_ = true;
  }
  // The keys taken now belong to the snapshot, or its end is due.
  bool inSnapshot() const noexcept { return snapshot_; }
  bool snapshotEndDue() const noexcept { return snapshot_ && snapshotLeft_ == 0; }
  void snapshotEndTold() noexcept { snapshot_ = false; }

  // Takes keys off the front, oldest first, as long as take(key) returns true and no snapshot's end
  // is due. The key for which it returned false stays. soon(key) is called some keys before take().
  template <class Take, class Soon>
  void takeWhile(Take take, Soon soon) {
    for (std::size_t step = 0; step < ahead && step < line_.size(); ++step) {
      soon(line_[step]);
    }
    while (!line_.empty() && !snapshotEndDue()) {
      const Key key = line_.front();
      if (ahead < line_.size()) {
        soon(line_[ahead]);
      }
      if (!take(key)) {
        return;
      }
      line_.pop_front();
      members_.remove(key);
      snapshotLeft_ -= snapshotLeft_ == 0 ? 0U : 1U;
    }
  }
  template <class Visit>
  void walk(Visit visit) const {
    for (const Key& key : line_) {
      visit(key);
    }
  }
  // Forgets the keys, and the snapshot.
  void clear() noexcept {
    line_.clear();
    members_.clear();
    snapshotLeft_ = 0;
    snapshot_ = false;
  }

 private:
  static constexpr std::size_t ahead = 8;

  std::deque<Key> line_;
  Members members_;
  std::size_t snapshotLeft_ = 0;
  bool snapshot_ = false;
};

}  // namespace Routing::Host
