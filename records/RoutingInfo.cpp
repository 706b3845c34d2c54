#include "records/RoutingInfo.h"

#include <type_traits>

#include "platform/entity/Inspection.h"

namespace Routing {

template <class Family>
void RoutingInfoOf<Family>::routingEnabledIs(bool routingEnabled) {
  routingEnabled_ = routingEnabled;
  publish(routingEnabledField);
}

template <class Family>
const TypeData& RoutingInfoOf<Family>::typeData() const {
  static constexpr std::array attributes{
      attribute<&RoutingInfoOf::routingEnabled>("routingEnabled")};
  static const TypeData type(std::is_same_v<Family, Ipv4Routing> ? "Routing::RoutingInfo"
                                                                 : "Routing::Routing6::RoutingInfo",
                             attributes);
  return type;
}

template class RoutingInfoOf<Ipv4Routing>;
template class RoutingInfoOf<Ipv6Routing>;

}  // namespace Routing
