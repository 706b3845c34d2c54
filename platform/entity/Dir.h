#pragma once

// Dir: a directory of named entities of any type.
//
// Owner: the host, which hands it to whom it concerns. Walked in order of insertion.
// Publishes: entryField with the entry's name (const String*), after the change: for an entry
// added, replaced or removed, and on announcement.

#include <string>

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Published.h"
#include "platform/entity/Publisher.h"

namespace Routing {

class Dir : public Entity, public Publisher {
 public:
  static constexpr FieldId entryField{1};
  using Entries = PublishedMap<entryField, std::string, Ptr<Entity>>;

  explicit Dir(std::string name);

  const std::string& name() const noexcept { return name_; }
  const Entries& entry() const noexcept { return entry_; }
  // Null when there is none of that name.
  Ptr<Entity> entityPtr(const std::string& name) const { return entry_.value(name); }

  // Adds the entry, or replaces the one of that name. Publishes: the name.
  // Throws: NullArgumentError.
  void entityIs(const std::string& name, const Ptr<Entity>& entity);
  // Returns the removed entity, or null. Publishes: the name, if there was one.
  Ptr<Entity> entityDel(const std::string& name) { return entry_.removeValue(*this, name); }
  // Publishes: the name, without a change.
  void entityAnnounce(const std::string& name) const { entry_.announce(*this, name); }

  const TypeData& typeData() const override;

 private:
  std::string name_;
  Entries entry_;
};

// The entry of that name if it is a T, else null.
template <class T>
Ptr<T> entityOf(const Dir& dir, const std::string& name) {
  return ptrCast<T>(dir.entityPtr(name));
}

}  // namespace Routing
