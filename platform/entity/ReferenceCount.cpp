#include "platform/entity/ReferenceCount.h"

#include <atomic>

#include "platform/entity/Assert.h"
#include "platform/entity/TypeData.h"

namespace Routing {

bool ReferenceCount::multiThreaded_ = false;

void ReferenceCount::multiThreadedIs(bool multiThreaded) {
  ROUTING_ASSERT((multiThreaded == multiThreaded_ || TypeData::liveEntities() == 0) &&
                 "the counting mode is chosen before the first entity");
  multiThreaded_ = multiThreaded;
}

void ReferenceCount::atomicIncrement(std::uint32_t& value) noexcept {
  std::atomic_ref<std::uint32_t>(value).fetch_add(1, std::memory_order_relaxed);
}

bool ReferenceCount::atomicDecrement(std::uint32_t& value) noexcept {
  // Whoever takes the last count sees all that the other holders wrote.
  return std::atomic_ref<std::uint32_t>(value).fetch_sub(1, std::memory_order_acq_rel) == 1;
}

}  // namespace Routing
