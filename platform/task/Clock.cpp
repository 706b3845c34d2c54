#include "platform/task/Clock.h"

#include "platform/entity/Assert.h"
#include "platform/entity/TypeData.h"

namespace Routing {

Nanoseconds RealClock::now() const {
  return std::chrono::duration_cast<Nanoseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

const TypeData& RealClock::typeData() const {
  static const TypeData type("Routing::RealClock");
  return type;
}

void VirtualClock::nowIs(Nanoseconds now) {
  ROUTING_ASSERT(now >= now_ && "time does not run backwards");
  now_ = now;
}

const TypeData& VirtualClock::typeData() const {
  static const TypeData type("Routing::VirtualClock");
  return type;
}

}  // namespace Routing
