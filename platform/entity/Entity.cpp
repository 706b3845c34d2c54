#include "platform/entity/Entity.h"

#include "platform/entity/Assert.h"
#include "platform/entity/TypeData.h"

namespace Routing {

Entity::~Entity() {
  ROUTING_ASSERT(count_.value() == 1 && "an entity is destroyed only when no Ptr holds it");
}

void Entity::countAsLive() const { typeData().liveInc(); }

void Entity::destroy(const Entity* entity) noexcept {
  entity->typeData().liveDec();
  entity->count_.holdForDestruction();
  delete entity;
}

}  // namespace Routing
