#pragma once

// Whether routing is enabled in a VRF: one record a family, in one directory a family, by VRF name.
//
// Owner: the host. The resolver only reads.
// Publishes: routingEnabledField, without a key, each time the flag is written.

#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"

namespace Routing {

// The two families' records differ by type, so that one is never taken for the other.
template <class Family>
class RoutingInfoOf final : public Entity, public Publisher {
 public:
  static constexpr FieldId routingEnabledField{1};

  explicit RoutingInfoOf(bool routingEnabled) noexcept : routingEnabled_(routingEnabled) {}

  bool routingEnabled() const noexcept { return routingEnabled_; }
  // Publishes: routingEnabledField, also when nothing differs.
  void routingEnabledIs(bool routingEnabled);

  const TypeData& typeData() const override;

 private:
  bool routingEnabled_;
};

struct Ipv4Routing;
struct Ipv6Routing;
extern template class RoutingInfoOf<Ipv4Routing>;
extern template class RoutingInfoOf<Ipv6Routing>;

using RoutingInfo = RoutingInfoOf<Ipv4Routing>;
namespace Routing6 {
using RoutingInfo = RoutingInfoOf<Ipv6Routing>;
}  // namespace Routing6

// No record reads as routing disabled.
template <class Family>
bool routingEnabled(const Ptr<const RoutingInfoOf<Family>>& routingInfo) noexcept {
  return routingInfo && routingInfo->routingEnabled();
}

}  // namespace Routing
