#pragma once

// ChangeQueue: which keys a slow reader has still to be told of. Keys only: what is told is their
// state at the time of telling, so a key that changes ten times is told once, and the queue is
// never longer than there are keys.
//
// A snapshot is the same queue filled with every key; its end is the point behind the last of them.
// A key keeps its place in line when it changes again.

#include <cstddef>

#include "platform/entity/DenseTable.h"

namespace Routing::Host {

template <class Key>
class ChangeQueue {
 public:
  std::size_t size() const noexcept { return keys_.size(); }
  bool empty() const noexcept { return keys_.empty(); }

  // False when the key is queued already.
  bool add(const Key& key) { return keys_.insert(key); }

  // Everything that is queued now belongs to the snapshot; its end is due once that was taken.
  void snapshotIs() noexcept {
    snapshotLeft_ = keys_.size();
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
    auto scout = keys_.cursor();
    for (std::size_t step = 0; step < ahead && !scout.atEnd(); ++step, scout.next()) {
      soon(scout.key());
    }
    for (auto cursor = keys_.cursor(); !cursor.atEnd() && !snapshotEndDue(); cursor.next()) {
      const Key key = cursor.key();
      if (!scout.atEnd()) {
        soon(scout.key());
        scout.next();
      }
      if (!take(key)) {
        return;
      }
      keys_.remove(key);
      snapshotLeft_ -= snapshotLeft_ == 0 ? 0U : 1U;
    }
  }
  template <class Visit>
  void walk(Visit visit) const {
    for (auto cursor = keys_.cursor(); !cursor.atEnd(); cursor.next()) {
      visit(cursor.key());
    }
  }
  // Forgets the keys, and the snapshot.
  void clear() noexcept {
    keys_.clear();
    snapshotLeft_ = 0;
    snapshot_ = false;
  }

 private:
  static constexpr std::size_t ahead = 8;

  DenseSet<Key> keys_;
  std::size_t snapshotLeft_ = 0;
  bool snapshot_ = false;
};

}  // namespace Routing::Host
