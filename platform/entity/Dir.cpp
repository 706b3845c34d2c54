#include "platform/entity/Dir.h"

#include <utility>

#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing {

Dir::Dir(std::string name) : name_(std::move(name)) {}

void Dir::entityIs(const std::string& name, const Ptr<Entity>& entity) {
  if (!entity) {
    throw NullArgumentError("Routing::Dir", "entry");
  }
  entry_.put(*this, {name, entity});
}

const TypeData& Dir::typeData() const {
  static constexpr std::array attributes{attribute<&Dir::name>("name"),
                                         attribute<&Dir::entry>("entry")};
  static const TypeData type("Routing::Dir", attributes);
  return type;
}

}  // namespace Routing
