#pragma once

// Watcher: subscribes to one publisher for as long as it lives and hands every change to a
// function.
//
//   Watcher watcher(*status, [&](FieldId field, const void* key) {
//     log.add("nexthop " + keyOf<IpGenAddr>(key).stringValue());
//   });

#include <functional>
#include <utility>

#include "platform/entity/Publisher.h"

namespace Routing::Support {

class Watcher final : public Notifiee {
 public:
  using Reaction = std::function<void(FieldId field, const void* key)>;

  Watcher(const Publisher& publisher, Reaction reaction) : reaction_(std::move(reaction)) {
    subscribe(publisher);
  }

  void onAttribute(FieldId field, const void* key) override { reaction_(field, key); }

 private:
  Reaction reaction_;
};

template <class Key>
const Key& keyOf(const void* key) noexcept {
  return *static_cast<const Key*>(key);
}

}  // namespace Routing::Support
