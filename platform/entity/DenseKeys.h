#pragma once

// Where the members of a DenseTable (DenseTable.h) have their keys.

namespace Routing {

// Members of a set are their own keys.
struct OwnKey {
  template <class Key>
  static const Key& key(const Key& member) noexcept {
    return member;
  }
};

// Those of a map carry them.
struct EntryKey {
  template <class Entry>
  static const auto& key(const Entry& entry) noexcept {
    return entry.key;
  }
};

template <class Key, class Value>
struct DenseMapEntry {
  Key key;
  Value value;
};

}  // namespace Routing
