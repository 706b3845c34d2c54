#pragma once

// DenseTable: the hash table behind every collection, with its members in one array in order of
// insertion, so that a walk is a scan and its order is the same in every run.
//
//   DenseSet<Key>            members are their own keys
//   DenseMap<Key, Value>     members are {key, value}
//   DenseTable<Member, KeyOf>  members that carry their key; KeyOf::key(member) returns it
//
// Layout: one block holding the array of members, a bitmap of the places in use, and an index of
// 32-bit slots, each a place and as many bits of the member's hash as fit beside it. A table of a
// few members has no index: it is searched from end to end.
//
// Order: a member removed and inserted again goes to the end; a replaced one keeps its place.
//
// Cursors: a walk is a Cursor. It survives every change of the table, the removal of the member it
// stands on and the end of the table itself included. Members inserted during a walk are visited by
// it. References and pointers to members are good until the next change.
//
// Invariants:
//   1. Every key stands in exactly one used place and in exactly one slot.
//   2. The place of a member changes only while no cursor is open.
//   3. Removed places (holes) are closed up, order kept, when no cursor is open and a large table
//      has 16 places a member, or a small one two, or when there is no place left and a quarter of
//      them are holes; so insertion and removal cost O(1), amortised. A large table that is emptied
//      step by step moves hardly anything, and one whose members come and go but stay as many takes
//      twice as much at most, half as much again when each goes before another comes.
//   4. An operation that throws (no memory) has changed nothing.
//
// A member is destroyed after the table is in order again: its destructor may come back here.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/entity/DenseCursor.h"
#include "platform/entity/DenseKeys.h"
#include "platform/entity/DenseLayout.h"
#include "platform/entity/Hash.h"
#include "platform/entity/Prefetch.h"

namespace Routing {

template <class Member, class KeyOf>
class DenseTable {
  friend class DenseCursor<Member, KeyOf>;
  static_assert(std::is_nothrow_move_constructible_v<Member>);
  static_assert(std::is_nothrow_move_assignable_v<Member>);

 public:
  using Key = std::remove_cvref_t<decltype(KeyOf::key(std::declval<const Member&>()))>;

  using Cursor = DenseCursor<Member, KeyOf>;

  DenseTable() noexcept = default;
  DenseTable(const DenseTable&) = delete;
  DenseTable& operator=(const DenseTable&) = delete;
  ~DenseTable() {
    for (Cursor* cursor = cursors_; cursor != nullptr; cursor = cursor->next_) {
      cursor->table_ = nullptr;
    }
    cursors_ = nullptr;
    // What a member inserts while it ends, ends here too.
    while (block_ != nullptr) {
      clearBlock();
    }
  }

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  // The block's size in bytes.
  std::size_t memory() const noexcept {
    return capacity_ == 0 ? 0 : DenseLayout(sizeof(Member), capacity_).bytes;
  }

  bool has(const Key& key) const noexcept { return find(key) != nullptr; }
  // The member of that key, or null. Whoever has the key's hash already gives it along.
  const Member* find(const Key& key) const noexcept { return find(key, hashIfIndexed(key)); }
  const Member* find(const Key& key, std::uint32_t hash) const noexcept {
    const std::uint32_t slot = findSlot(key, hash);
    return slot == noSlot ? nullptr : members() + placeAt(slot);
  }
  // The same, to change what is not the key.
  Member* find(const Key& key) noexcept { return find(key, hashIfIndexed(key)); }
  Member* find(const Key& key, std::uint32_t hash) noexcept {
    const Member* const member = std::as_const(*this).find(key, hash);
    return const_cast<Member*>(member);  // NOLINT(*-const-cast): own member
  }
  // Hints that the key of this hash will be looked up, or inserted: Far, some time before, fetches
  // its slot, Near, shortly before, its member or the place for it.
  void prefetchFar(std::uint32_t hash) const noexcept {
    if (indexed()) {
      prefetch(slots() + (hash & slotMask_));
    } else {
      prefetch(members());
      prefetch(places_.words());
    }
  }
  void prefetchNear(std::uint32_t hash) const noexcept {
    const Member* const member = hint(hash);
    prefetchObject(member == nullptr ? members() + end_ : member);
  }
  // What find will most likely return, without a look at it: for who prepares, not for who decides.
  // Another member when their hashes look alike; null in a table without an index.
  const Member* hint(std::uint32_t hash) const noexcept {
    if (!indexed()) {
      return nullptr;
    }
    std::uint32_t at = hash & slotMask_;
    while (slots()[at] != 0 && !mayBe(slots()[at], hash)) {
      at = (at + 1) & slotMask_;
    }
    return slots()[at] == 0 ? nullptr : members() + placeOf(slots()[at]);
  }

  // Inserts the member unless its key is there. True when inserted.
  bool insert(const Member& member) { return insertOne(member); }
  bool insert(Member&& member) { return insertOne(std::move(member)); }
  // Requires: the key is not there; its hash.
  void insertNew(Member member, std::uint32_t hash) { append(std::move(member), hash); }
  // Inserts the member, or replaces the one of its key in its place. True when inserted. A replaced
  // member that has a destructor is left in the argument of swapIn.
  bool put(Member member) { return swapIn(member); }
  bool swapIn(Member& member) {
    const std::uint32_t hash = hashIfIndexed(KeyOf::key(member));
    const std::uint32_t slot = findSlot(KeyOf::key(member), hash);
    if (slot == noSlot) {
      append(std::move(member), hash);
      return true;
    }
    Member& replaced = members()[placeAt(slot)];
    if constexpr (std::is_trivially_destructible_v<Member>) {
      replaced = std::move(member);
    } else {
      std::swap(replaced, member);
    }
    return false;
  }
  // Removes and returns the member of that key.
  std::optional<Member> remove(const Key& key) { return remove(key, hashIfIndexed(key)); }
  std::optional<Member> remove(const Key& key, std::uint32_t hash) {
    const std::uint32_t slot = findSlot(key, hash);
    if (slot == noSlot) {
      return std::nullopt;
    }
    std::optional<Member> removed = take(slot);
    compactIfDue();
    return removed;
  }
  // Removes every member; what one of them inserts while it ends stays.
  void clear() noexcept {
    if (cursors_ == nullptr) {
      clearBlock();
      return;
    }
    // A walk of its own keeps the places, and notices when the table ends with a member.
    const std::uint32_t end = end_;
    for (Cursor walk = cursor(); !walk.atEnd() && walk.place_ < end; walk.next()) {
      const Key& key = walk.key();
      static_cast<void>(take(findSlot(key, hashIfIndexed(key))));
    }
  }
  // Makes room for that many members without a further allocation, as long as none is removed.
  void reserve(std::size_t members) {
    if (members > capacity_ - holes()) {
      closeManyHoles();
    }
    if (members > capacity_ - holes()) {
      const std::size_t places = std::size_t{checkedCapacity(members)} + holes();
      rebuild(checkedCapacity(std::max(places, capacityPlus(capacity_ / 2 + 1))));
    }
  }

  // A walk from the first member, or from the one of that key when it is there.
  Cursor cursor() const noexcept { return Cursor(*this, usedPlace(begin_)); }
  Cursor cursorAt(const Key& key) const noexcept {
    const std::uint32_t slot = findSlot(key, hashIfIndexed(key));
    return Cursor(*this, slot == noSlot ? usedPlace(begin_) : placeAt(slot));
  }

 private:
  static constexpr std::uint32_t noSlot = std::numeric_limits<std::uint32_t>::max();
  static constexpr std::uint32_t leastCapacity = 2;
  static constexpr std::uint32_t mostInSmall = 1024;
  static constexpr std::uint32_t mostCapacity = 1U << 30U;

  // Members of whole cache lines begin with one, so that none takes a line more than it needs.
  static constexpr std::align_val_t blockAlignment{
      std::max(alignof(Member),
               sizeof(Member) % cacheLineBytes == 0 ? cacheLineBytes : alignof(std::uint64_t))};

  Member* members() const noexcept { return reinterpret_cast<Member*>(block_); }
  std::uint32_t* slots() const noexcept { return slots_; }

  // The first used place from this one on; end_ when there is none.
  std::uint32_t usedPlace(std::uint32_t from) const noexcept { return places_.next(from, end_); }

  bool indexed() const noexcept { return slotMask_ != 0; }
  std::uint32_t hashIfIndexed(const Key& key) const noexcept { return indexed() ? hashOf(key) : 0; }
  // A slot is 0 (empty), placeMask_ (deleted), or place + 1 in the low bits with the hash's own
  // high bits above them.
  std::uint32_t placeOf(std::uint32_t slot) const noexcept { return (slot & placeMask_) - 1; }
  std::uint32_t slotFor(std::uint32_t place, std::uint32_t hash) const noexcept {
    return (place + 1) | (hash & ~placeMask_);
  }
  // False when a slot that is not empty is deleted or that of a member with another hash.
  bool mayBe(std::uint32_t slot, std::uint32_t hash) const noexcept {
    return ((slot ^ hash) & ~placeMask_) == 0 && slot != placeMask_;
  }
  // The place that the slot names; without an index a member's place is its slot.
  std::uint32_t placeAt(std::uint32_t slot) const noexcept {
    return indexed() ? placeOf(slots()[slot]) : slot;
  }
  std::uint32_t findSlot(const Key& key, std::uint32_t hash) const noexcept {
    if (!indexed()) {
      return findUnindexed(key);
    }
    for (std::uint32_t at = hash & slotMask_;; at = (at + 1) & slotMask_) {
      const std::uint32_t slot = slots()[at];
      if (slot == 0) {
        return noSlot;
      }
      if (mayBe(slot, hash) && KeyOf::key(members()[placeOf(slot)]) == key) {
        return at;
      }
    }
  }
  std::uint32_t findUnindexed(const Key& key) const noexcept {
    static_assert(DenseLayout::mostUnindexed <= DenseLayout::bitsPerWord);
    for (std::uint64_t bits = block_ == nullptr ? 0 : *places_.words(); bits != 0;
         bits &= bits - 1) {
      const auto place = static_cast<std::uint32_t>(std::countr_zero(bits));
      if (KeyOf::key(members()[place]) == key) {
        return place;
      }
    }
    return noSlot;
  }
  // Requires: the key is not there and a slot is free.
  void enterSlot(std::uint32_t place, std::uint32_t hash) noexcept {
    std::uint32_t at = hash & slotMask_;
    while (slots()[at] != 0 && slots()[at] != placeMask_) {
      at = (at + 1) & slotMask_;
    }
    usedSlots_ += slots()[at] == 0 ? 1U : 0U;
    slots()[at] = slotFor(place, hash);
  }
  void leaveSlot(std::uint32_t at) noexcept {
    // A probe that reaches an empty slot ends there, so a slot before one can be empty too.
    const bool endsProbes = slots()[(at + 1) & slotMask_] == 0;
    slots()[at] = endsProbes ? 0U : placeMask_;
    usedSlots_ -= endsProbes ? 1U : 0U;
  }

  template <class Given>
  bool insertOne(Given&& member) {
    const std::uint32_t hash = hashIfIndexed(KeyOf::key(member));
    if (findSlot(KeyOf::key(member), hash) != noSlot) {
      return false;
    }
    // Copied first: the argument may be a member of this table.
    append(Member(std::forward<Given>(member)), hash);
    return true;
  }
  void append(Member member, std::uint32_t hash) {
    if (makeRoom() && indexed()) {
      hash = hashOf(KeyOf::key(member));
    }
    const std::uint32_t place = end_;
    std::construct_at(members() + place, std::move(member));
    places_.use(place);
    if (indexed()) {
      enterSlot(place, hash);
    }
    ++end_;
    ++size_;
  }
  // Takes the member of the slot out; it leaves a hole.
  std::optional<Member> take(std::uint32_t slot) noexcept {
    const std::uint32_t place = placeAt(slot);
    if (indexed()) {
      leaveSlot(slot);
    }
    places_.free(place);
    --size_;
    std::optional<Member> taken(std::move(members()[place]));
    std::destroy_at(members() + place);
    if (place == begin_) {
      begin_ = usedPlace(place + 1);
    }
    return taken;
  }

  // True when there may be another block now.
  bool makeRoom() {
    if (end_ == capacity_) {
      closeManyHoles();
      if (end_ == capacity_) {
        rebuild(checkedCapacity(grownCapacity()));
      }
      return true;
    }
    const std::uint32_t slotCount = slotMask_ + 1;
    if (indexed() && usedSlots_ >= slotCount - slotCount / 8) {
      reindex();
    }
    return false;
  }
  // Small tables are many, and where there are holes, members go as others come.
  std::size_t grownCapacity() const noexcept {
    return capacityPlus(capacity_ > mostInSmall && holes() == 0 ? capacity_ : capacity_ / 2 + 1);
  }
  // The last growth is to the most there may be; more than that is refused.
  std::size_t capacityPlus(std::size_t more) const noexcept {
    const std::size_t grown = std::min<std::size_t>(capacity_ + more, mostCapacity);
    return std::max(grown, std::size_t{capacity_} + 1);
  }
  static std::uint32_t checkedCapacity(std::size_t members) {
    if (members > mostCapacity) {
      throw std::bad_alloc();
    }
    return std::max(static_cast<std::uint32_t>(members), leastCapacity);
  }
  // Moves everything to a block of that capacity, each member to the same place.
  void rebuild(std::uint32_t capacity) {
    DenseTable grown;
    grown.allocate(capacity);
    grown.begin_ = begin_;
    for (std::uint32_t place = usedPlace(begin_); place < end_; place = usedPlace(place + 1)) {
      moveMember(grown, place, place);
      grown.end_ = place + 1;
    }
    adopt(grown);
  }
  std::uint32_t holes() const noexcept { return end_ - size_; }
  void closeManyHoles() noexcept {
    if (cursors_ == nullptr && holes() != 0 && holes() >= end_ / 4) {
      compact();
    }
  }
  void compactIfDue() noexcept {
    const std::uint32_t placesAMember = end_ > mostInSmall ? 16 : 2;
    if (cursors_ == nullptr && size_ < (end_ + placesAMember - 1) / placesAMember) {
      compact();
    }
  }
  // Closes the holes; gives back memory when most of it is no longer needed.
  void compact() noexcept {
    if (size_ == 0) {
      releaseBlock();
      return;
    }
    const std::uint32_t wanted = std::max(size_ + size_ / 2, leastCapacity);
    if (wanted <= capacity_ / 2 && compactInto(wanted)) {
      return;
    }
    std::uint32_t to = 0;
    for (std::uint32_t from = usedPlace(begin_); from < end_; from = usedPlace(from + 1)) {
      if (from != to) {
        std::construct_at(members() + to, std::move(members()[from]));
        std::destroy_at(members() + from);
      }
      ++to;
    }
    begin_ = 0;
    end_ = size_;
    places_.useFirst(size_, capacity_);
    reindex();
  }
  // False when there is no memory for a smaller block; the present one serves on.
  bool compactInto(std::uint32_t capacity) noexcept {
    DenseTable smaller;
    try {
      smaller.allocate(capacity);
    } catch (const std::bad_alloc&) {
      return false;
    }
    std::uint32_t to = 0;
    for (std::uint32_t from = usedPlace(begin_); from < end_; from = usedPlace(from + 1)) {
      moveMember(smaller, from, to++);
    }
    smaller.end_ = to;
    adopt(smaller);
    return true;
  }
  void reindex() noexcept {
    if (!indexed()) {
      return;
    }
    std::fill_n(slots(), std::size_t{slotMask_} + 1, 0U);
    usedSlots_ = 0;
    for (std::uint32_t place = usedPlace(begin_); place < end_; place = usedPlace(place + 1)) {
      enterSlot(place, hashOf(KeyOf::key(members()[place])));
    }
  }
  void moveMember(DenseTable& target, std::uint32_t from, std::uint32_t to) noexcept {
    Member& member = members()[from];
    if (target.indexed()) {
      target.enterSlot(to, hashOf(KeyOf::key(member)));
    }
    std::construct_at(target.members() + to, std::move(member));
    target.places_.use(to);
    std::destroy_at(&member);
  }
  // Takes over the block of a table that this one's members were moved to.
  void adopt(DenseTable& other) noexcept {
    const std::uint32_t end = cursors_ == nullptr ? other.end_ : end_;
    other.size_ = size_;
    releaseBlock();
    swapBlock(other);
    // With cursors open the holes at the end stay places, so that a cursor there is not beyond it.
    end_ = end;
  }
  void allocate(std::uint32_t capacity) {
    const DenseLayout layout(sizeof(Member), capacity);
    block_ = static_cast<std::byte*>(::operator new(layout.bytes, blockAlignment));
    places_ = DensePlaces(reinterpret_cast<std::uint64_t*>(block_ + layout.bitmapAt));
    places_.useFirst(0, capacity);
    slots_ = reinterpret_cast<std::uint32_t*>(block_ + layout.slotsAt);
    std::fill_n(slots_, layout.slotCount, 0U);
    capacity_ = capacity;
    slotMask_ = layout.slotCount == 0 ? 0 : layout.slotCount - 1;
    placeMask_ = std::bit_ceil(capacity + 2) - 1;
  }
  // Requires: no cursor is open.
  void clearBlock() noexcept {
    // Detached first, so that a destructor that comes back finds an empty table.
    DenseTable old;
    swapBlock(old);
    for (std::uint32_t place = old.usedPlace(0); place < old.end_;
         place = old.usedPlace(place + 1)) {
      std::destroy_at(old.members() + place);
    }
    old.releaseBlock();
  }
  // Requires: no member is constructed in it.
  void releaseBlock() noexcept {
    ::operator delete(block_, blockAlignment);
    block_ = nullptr;
    places_ = DensePlaces();
    slots_ = nullptr;
    capacity_ = begin_ = end_ = size_ = usedSlots_ = slotMask_ = placeMask_ = 0;
  }
  void swapBlock(DenseTable& other) noexcept {
    std::swap(block_, other.block_);
    std::swap(places_, other.places_);
    std::swap(slots_, other.slots_);
    std::swap(capacity_, other.capacity_);
    std::swap(begin_, other.begin_);
    std::swap(end_, other.end_);
    std::swap(size_, other.size_);
    std::swap(usedSlots_, other.usedSlots_);
    std::swap(slotMask_, other.slotMask_);
    std::swap(placeMask_, other.placeMask_);
  }

  void closeCursor(Cursor& cursor) const noexcept {
    (cursor.previous_ == nullptr ? cursors_ : cursor.previous_->next_) = cursor.next_;
    if (cursor.next_ != nullptr) {
      cursor.next_->previous_ = cursor.previous_;
    }
    // What removals left for later. No table is a constant object, only seen as one.
    const_cast<DenseTable*>(this)->compactIfDue();  // NOLINT(*-const-cast)
  }

  std::byte* block_ = nullptr;
  DensePlaces places_;
  std::uint32_t* slots_ = nullptr;
  mutable Cursor* cursors_ = nullptr;
  std::uint32_t capacity_ = 0;   // places in the block
  std::uint32_t begin_ = 0;      // places before it are holes
  std::uint32_t end_ = 0;        // places used so far, holes included
  std::uint32_t size_ = 0;       // members
  std::uint32_t usedSlots_ = 0;  // slots that are not empty, deleted ones included
  std::uint32_t slotMask_ = 0;   // number of slots - 1; 0 without an index
  std::uint32_t placeMask_ = 0;  // the bits of a slot that hold a place
};

template <class Key>
using DenseSet = DenseTable<Key, OwnKey>;

template <class Key, class Value>
using DenseMap = DenseTable<DenseMapEntry<Key, Value>, EntryKey>;

// The value under the key, or the type's default: null for a Ptr, 0 for a number.
template <class Key, class Value>
Value valueOf(const DenseMap<Key, Value>& map, const Key& key) {
  const auto* entry = map.find(key);
  return entry == nullptr ? Value{} : entry->value;
}

}  // namespace Routing
