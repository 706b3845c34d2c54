#include "platform/entity/Inspection.h"

#include "platform/entity/Exceptions.h"

namespace Routing {

std::optional<std::string> callOperation(Entity& entity,
                                         std::string_view name,
                                         std::span<const std::string> arguments) {
  const TypeData& type = entity.typeData();
  const OperationData* operation = type.operation(name);
  if (operation == nullptr) {
    throw DeserialisationError(type.name(), name, 0);
  }
  if (operation->argumentCount != arguments.size()) {
    throw DeserialisationError(type.name(), "arguments", arguments.size());
  }
  return operation->call(entity, arguments);
}

}  // namespace Routing
