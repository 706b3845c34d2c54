#pragma once

// What a VRF's FIB-via machine must remember across restarts: how far its counter has come.
//
// Owner: the host, which keeps one a VRF, outside the process that may be killed.
// Publishes: firstUnAllocatedNexthopResolverIdField, without a key, each time the value is written.

#include <cstdint>

#include "platform/entity/Entity.h"
#include "platform/entity/Publisher.h"
#include "records/ResolverId.h"

namespace Routing {

class NexthopResolverFibViaContext final : public Entity, public Publisher {
 public:
  static constexpr FieldId firstUnAllocatedNexthopResolverIdField{1};
  // The counter space is used up.
  static constexpr std::uint64_t allAllocated = ResolverId::maxResId + 1;

  // The smallest counter value not yet handed out; 0 when there never was a run.
  std::uint64_t firstUnAllocatedNexthopResolverId() const noexcept { return first_; }
  // Publishes: firstUnAllocatedNexthopResolverIdField, also when nothing differs.
  void firstUnAllocatedNexthopResolverIdIs(std::uint64_t value);

  const TypeData& typeData() const override;

 private:
  std::uint64_t first_ = 0;
};

}  // namespace Routing
