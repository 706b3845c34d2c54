#pragma once

// Published collections: a DenseTable that tells its entity's subscribers of every change. The
// accessors of an entity are one line each over these operations.
//
//   put        inserts or replaces, and always publishes
//   set        of a map: publishes only when the value under the key becomes another
//   insert     publishes only when the key was absent
//   remove     publishes only when the key was there; returns what was removed
//   removeAll  one publication a member; clears silently when nobody subscribes
//
// Every operation brings the collection in order, then publishes with a copy of the key, and
// touches nothing of the entity afterwards: a notifiee may release the entity. A member that was
// removed or replaced lives until the publication is over. An operation that may go on after its
// entity has gone is safe (removeAll ends with it).

#include <optional>
#include <utility>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Publisher.h"

namespace Routing {

template <class Member, class KeyOf>
class PublishedTable {
 public:
  using Table = DenseTable<Member, KeyOf>;
  using Key = typename Table::Key;
  using Cursor = typename Table::Cursor;

  // The publisher is the entity that holds this as a member.
  PublishedTable(Publisher& publisher, FieldId field) noexcept
      : publisher_(publisher), field_(field) {}

  std::size_t size() const noexcept { return table_.size(); }
  bool empty() const noexcept { return table_.empty(); }
  bool has(const Key& key) const noexcept { return table_.has(key); }
  const Member* find(const Key& key) const noexcept { return table_.find(key); }
  Cursor cursor() const noexcept { return table_.cursor(); }
  Cursor cursorAt(const Key& key) const noexcept { return table_.cursorAt(key); }
  std::size_t memory() const noexcept { return table_.memory(); }
  void reserve(std::size_t members) { table_.reserve(members); }
  void prefetchFar(const Key& key) const noexcept { table_.prefetchFar(key); }
  void prefetchNear(const Key& key) const noexcept { table_.prefetchNear(key); }

  // True when the key was absent.
  bool put(Member member) {
    const Key key = KeyOf::key(member);
    const bool inserted = table_.swapIn(member);
    publisher_.publish(field_, &key);
    return inserted;
  }
  bool insert(Member member) {
    const Key key = KeyOf::key(member);
    const bool inserted = table_.insert(std::move(member));
    if (inserted) {
      publisher_.publish(field_, &key);
    }
    return inserted;
  }
  std::optional<Member> remove(const Key& oldKey) {
    const Key key = oldKey;
    std::optional<Member> removed = table_.remove(key);
    if (removed) {
      publisher_.publish(field_, &key);
    }
    return removed;
  }
  void removeAll() {
    if (!publisher_.hasSubscribers()) {
      table_.clear();
      return;
    }
    for (auto cursor = table_.cursor(); !cursor.atEnd(); cursor.next()) {
      remove(cursor.key());
    }
  }
  // Publishes the key without a change.
  void announce(const Key& oldKey) const {
    const Key key = oldKey;
    publisher_.publish(field_, &key);
  }

 protected:
  Table table_;
  Publisher& publisher_;
  FieldId field_;
};

template <class Key>
using PublishedSet = PublishedTable<Key, OwnKey>;

template <class Key, class Value>
class PublishedMap : public PublishedTable<DenseMapEntry<Key, Value>, EntryKey> {
  using Base = PublishedTable<DenseMapEntry<Key, Value>, EntryKey>;

 public:
  using Base::Base;

  // The value under the key, or the type's default.
  Value value(const Key& key) const { return valueOf(this->table_, key); }
  // True when that changed something, and was published.
  bool set(const Key& oldKey, Value value) {
    const Key key = oldKey;
    if (auto* entry = this->table_.find(key)) {
      if (entry->value == value) {
        return false;
      }
      std::swap(entry->value, value);
    } else {
      this->table_.insert({key, std::move(value)});
    }
    this->publisher_.publish(this->field_, &key);
    return true;
  }
  // Removes and returns the value; the type's default when the key was absent.
  Value removeValue(const Key& key) {
    auto removed = this->remove(key);
    return removed ? std::move(removed->value) : Value{};
  }
};

}  // namespace Routing
