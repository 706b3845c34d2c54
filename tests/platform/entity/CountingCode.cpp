// Functions whose machine code counting_code_test.sh reads; nothing calls them. Compiled with the
// flags of a release whatever the build, since the promise is about that code.

#include <atomic>
#include <cstdint>

#include "platform/entity/Ptr.h"

namespace Routing {

// Somebody that the compiler cannot see into, so that it keeps the count correct around the call.
void lookAt(const Entity& entity) noexcept;

void copyAndDrop(const Ptr<Entity>& ptr) {
  const Ptr<Entity> copy = ptr;
  lookAt(*copy);
}

// The same with atomic instructions, to see that the test notices them.
void addAndSubtract(std::atomic<std::uint32_t>& count) {
  ++count;
  if (--count == 0) {
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
}

}  // namespace Routing
