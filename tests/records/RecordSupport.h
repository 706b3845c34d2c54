#pragma once

// What the tests of records have in common: a log of what a record publishes, and its attributes as
// text.

#include <string>

#include "platform/entity/Ptr.h"
#include "platform/entity/Text.h"
#include "platform/entity/TypeData.h"
#include "tests/support/Addresses.h"
#include "tests/support/EventLog.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

// A reaction that logs "NAME KEY" for the field and "other" for any other.
template <class Key>
Watcher::Reaction logsKeys(EventLog& log, FieldId field, std::string name) {
  return [&log, field, name = std::move(name)](FieldId changed, const void* key) {
    log.add(changed == field ? name + " " + readableText(keyOf<Key>(key)) : "other");
  };
}

// "NAME=VALUE" of each attribute, in the order of the type's description.
inline Events attributesOf(const Entity& entity) {
  Events attributes;
  for (const AttributeData& attribute : entity.typeData().attributes()) {
    attributes.push_back(std::string(attribute.name) + "=" + attribute.value(entity));
  }
  return attributes;
}

}  // namespace Routing::Support
