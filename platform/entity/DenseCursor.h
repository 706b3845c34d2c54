#pragma once

// A place in a walk of a DenseTable (DenseTable.h), where its rules are told.

#include <cstdint>

#include "platform/entity/Assert.h"

namespace Routing {

template <class Member, class KeyOf>
class DenseTable;

// A place in a walk. Opened by cursor() and cursorAt(), closed by its destructor.
template <class Member, class KeyOf>
class DenseCursor {
 public:
  DenseCursor(const DenseCursor&) = delete;
  DenseCursor& operator=(const DenseCursor&) = delete;
  ~DenseCursor() {
    if (table_ != nullptr) {
      table_->closeCursor(*this);
    }
  }

  // True when the walk is over, or the table is gone.
  bool atEnd() const noexcept { return table_ == nullptr || place_ >= table_->end_; }
  // Moves to the next member; no effect when the table is gone. Requires: not at its end.
  void next() noexcept {
    if (table_ == nullptr) {
      return;
    }
    ROUTING_ASSERT(!atEnd() && "a walk goes no further than its end");
    place_ = table_->usedPlace(place_ + 1);
  }
  // The member under the cursor. Requires: it has not been removed.
  const Member& member() const noexcept {
    ROUTING_ASSERT(!atEnd() && table_->places_.used(place_) && "the cursor stands on a member");
    return table_->members()[place_];
  }
  decltype(auto) key() const noexcept { return KeyOf::key(member()); }
  // Where it stands, for who keeps something of his own beside a member. The place of a member does
  // not change while a cursor is open.
  std::uint32_t place() const noexcept { return place_; }
  // Places from here to the end, holes among them.
  std::uint32_t placesLeft() const noexcept { return atEnd() ? 0 : table_->end_ - place_; }
  // The member so many places on, for who prepares for it; null when there is none or the place
  // is a hole.
  const Member* ahead(std::uint32_t places) const noexcept {
    const bool there = table_ != nullptr && places < table_->end_ &&
                       place_ < table_->end_ - places && table_->places_.used(place_ + places);
    return there ? table_->members() + place_ + places : nullptr;
  }

 private:
  friend class DenseTable<Member, KeyOf>;
  // Out of line: g++ takes the list of cursors for a pointer left dangling otherwise.
  [[gnu::noinline]] DenseCursor(const DenseTable<Member, KeyOf>& table,
                                std::uint32_t place) noexcept
      : table_(&table), place_(place), next_(table.cursors_) {
    if (next_ != nullptr) {
      next_->previous_ = this;
    }
    table.cursors_ = this;
  }

  const DenseTable<Member, KeyOf>* table_;
  std::uint32_t place_;
  DenseCursor* previous_ = nullptr;
  DenseCursor* next_;
};

}  // namespace Routing
