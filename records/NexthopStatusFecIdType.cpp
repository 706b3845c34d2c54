#include "records/NexthopStatusFecIdType.h"

#include <ostream>

#include "platform/entity/Assert.h"

namespace Routing {

std::string_view memberName(NexthopStatusFecIdType type) noexcept {
  switch (type) {
    case NexthopStatusFecIdType::fibFecId:
      return "fibFecId";
    case NexthopStatusFecIdType::resolverId:
      return "resolverId";
  }
  ROUTING_ASSERT(!"invalid identifier kind");
}

std::ostream& operator<<(std::ostream& stream, NexthopStatusFecIdType type) {
  return stream << memberName(type);
}

}  // namespace Routing
