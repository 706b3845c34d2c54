#pragma once

// Entity: the base of everything that is shared, published, watched or shown.
//
// An entity is made by makeEntity<T>(...), held by Ptr<T> (Ptr.h) and destroyed when the last Ptr
// goes. It is never copied. Its typeData() describes it to tools: type name, attributes,
// operations.
//
// A Ptr to itself may be made inside its constructor or destructor, as long as it is gone again
// when that returns: what outlives the entity must keep a plain back-pointer. A constructor that
// throws leaves nothing behind that was counted as live.

#include "platform/entity/ReferenceCount.h"

namespace Routing {

class TypeData;

class Entity {
 public:
  Entity(const Entity&) = delete;
  Entity& operator=(const Entity&) = delete;

  virtual const TypeData& typeData() const = 0;

  // For Ptr and makeEntity alone.
  ReferenceCount& referenceCount() const noexcept { return count_; }
  void countAsLive() const;
  static void destroy(const Entity* entity) noexcept;

 protected:
  Entity() noexcept = default;
  virtual ~Entity();

 private:
  mutable ReferenceCount count_;
};

}  // namespace Routing
