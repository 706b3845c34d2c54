#pragma once

// Published collections: a DenseTable that tells its entity's subscribers of every change. The
// accessors of an entity are one line each over these operations. The field that is published is
// part of the type, and the entity hands itself to each operation that publishes: there are many
// entities, and most of their collections are small or empty.
//
//   put        inserts or replaces, and always publishes
//   set        of a map: publishes only when the value under the key becomes another
//   insert     publishes only when the key was absent
//   remove     publishes only when the key was there; returns what was removed
//   removeAll  one publication a member; clears silently when nobody subscribes
//
// Every operation brings the collection in order, then publishes with a key that is no longer the
// collection's, and touches nothing of the entity afterwards: a notifiee may release the entity. A
// member that was removed or replaced lives until the publication is over. An operation that may go
// on after its entity has gone is safe (removeAll ends with it).

#include <optional>
#include <utility>

#include "platform/entity/DenseTable.h"
#include "platform/entity/EntityTable.h"
#include "platform/entity/Publisher.h"

namespace Routing {

template <FieldId field, class Member, class KeyOf>
class PublishedTable {
 public:
  using Table = DenseTable<Member, KeyOf>;
  using Key = typename Table::Key;
  using Cursor = typename Table::Cursor;

  std::size_t size() const noexcept { return table_.size(); }
  bool empty() const noexcept { return table_.empty(); }
  bool has(const Key& key) const noexcept { return table_.has(key); }
  const Member* find(const Key& key) const noexcept { return table_.find(key); }
  // The value under the key, or the type's default, where members have one.
  auto value(const Key& key) const {
    const auto* member = table_.find(key);
    return member == nullptr ? decltype(member->value)() : member->value;
  }
  Cursor cursor() const noexcept { return table_.cursor(); }
  Cursor cursorAt(const Key& key) const noexcept { return table_.cursorAt(key); }
  std::size_t memory() const noexcept { return table_.memory(); }
  void reserve(std::size_t members) { table_.reserve(members); }
  const Member* find(const Key& key, std::uint32_t hash) const noexcept {
    return table_.find(key, hash);
  }
  const Member* hint(std::uint32_t hash) const noexcept { return table_.hint(hash); }
  void prefetchFar(std::uint32_t hash) const noexcept { table_.prefetchFar(hash); }
  void prefetchNear(std::uint32_t hash) const noexcept { table_.prefetchNear(hash); }

  // The publisher is always the entity that holds this as a member.

  // True when the key was absent.
  bool put(const Publisher& publisher, Member member) {
    const Key key = KeyOf::key(member);
    const bool inserted = table_.swapIn(member);
    publisher.publish(field, &key);
    return inserted;
  }
  bool insert(const Publisher& publisher, Member member) {
    const Key key = KeyOf::key(member);
    const bool inserted = table_.insert(std::move(member));
    if (inserted) {
      publisher.publish(field, &key);
    }
    return inserted;
  }
  std::optional<Member> remove(const Publisher& publisher, const Key& oldKey) {
    return remove(publisher, oldKey, hashOf(oldKey));
  }
  // The same, for who has the key's hash already.
  std::optional<Member> remove(const Publisher& publisher, const Key& oldKey, std::uint32_t hash) {
    // The key that was given may have been the member's own.
    std::optional<Member> removed = table_.remove(oldKey, hash);
    if (removed) {
      publisher.publish(field, &KeyOf::key(*removed));
    }
    return removed;
  }
  void removeAll(const Publisher& publisher) {
    if (!publisher.hasSubscribers()) {
      table_.clear();
      return;
    }
    for (auto cursor = table_.cursor(); !cursor.atEnd(); cursor.next()) {
      remove(publisher, cursor.key());
    }
  }
  // Publishes the key without a change.
  void announce(const Publisher& publisher, const Key& oldKey) const {
    const Key key = oldKey;
    publisher.publish(field, &key);
  }

  // Removes and returns the value; the type's default when the key was absent.
  auto removeValue(const Publisher& publisher, const Key& key) {
    auto removed = remove(publisher, key);
    return removed ? std::move(removed->value) : decltype(removed->value)();
  }

 protected:
  Table table_;
};

template <FieldId field, class Key>
using PublishedSet = PublishedTable<field, Key, OwnKey>;

// Of entities that carry their own key.
template <FieldId field, class T, auto accessor>
using PublishedEntities = PublishedTable<field, EntityEntry<T>, EntityKey<accessor>>;

template <FieldId field, class Key, class Value>
class PublishedMap : public PublishedTable<field, DenseMapEntry<Key, Value>, EntryKey> {
 public:
  // True when that changed something, and was published.
  bool set(const Publisher& publisher, const Key& oldKey, Value value) {
    return set(publisher, oldKey, std::move(value), hashOf(oldKey));
  }
  // The same, for who has the key's hash already.
  bool set(const Publisher& publisher, const Key& oldKey, Value value, std::uint32_t hash) {
    std::optional<Key> key;
    if (publisher.hasSubscribers()) {
      key = oldKey;
    }
    if (auto* entry = this->table_.find(oldKey, hash)) {
      if (entry->value == value) {
        return false;
      }
      std::swap(entry->value, value);
    } else {
      this->table_.insertNew({oldKey, std::move(value)}, hash);
    }
    if (key) {
      publisher.publish(field, &*key);
    }
    return true;
  }
};

}  // namespace Routing
