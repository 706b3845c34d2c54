#pragma once

// EntityTable: a DenseTable of entities that carry their own key, so that it is held once.
//
//   using Vrfs = EntityTable<NexthopVrfConfig, &NexthopVrfConfig::vrfName>;
//
// The accessor returns a reference to what never changes. A member reads like that of a DenseMap:
// its value is the entity.

#include "platform/entity/DenseTable.h"
#include "platform/entity/Ptr.h"

namespace Routing {

template <class T>
struct EntityEntry {
  Ptr<T> value;
};

template <auto accessor>
struct EntityKey {
  template <class Entry>
  static const auto& key(const Entry& entry) noexcept {
    return ((*entry.value).*accessor)();
  }
};

template <class T, auto accessor>
using EntityTable = DenseTable<EntityEntry<T>, EntityKey<accessor>>;

// The entity of that key, or null.
template <class T, auto accessor>
Ptr<T> valueOf(const EntityTable<T, accessor>& table,
               const typename EntityTable<T, accessor>::Key& key) {
  const EntityEntry<T>* entry = table.find(key);
  return entry == nullptr ? nullptr : entry->value;
}

}  // namespace Routing
