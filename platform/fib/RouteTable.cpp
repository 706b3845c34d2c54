#include "platform/fib/RouteTable.h"

#include <type_traits>

#include "platform/entity/Assert.h"
#include "platform/entity/Exceptions.h"
#include "platform/entity/Inspection.h"

namespace Routing {

template <class PrefixT>
Fib::Route MemoryRouteStatus<PrefixT>::route(const PrefixT& prefix) const {
  if (!corrupt_.empty() && corrupt_.has(prefix)) {
    throw RangeError("route " + prefix.stringValue() + " is corrupt");
  }
  return valueOf(route_, prefix);
}

template <class PrefixT>
void MemoryRouteStatus<PrefixT>::doCorruptionDetected(const String& message) const {
  if (corruptionHook_) {
    corruptionHook_(message);
  }
}

template <class PrefixT>
void MemoryRouteStatus<PrefixT>::routeIs(const PrefixT& prefix, const Route& route) {
  ROUTING_ASSERT(prefix.validAsPrefix() && !prefix.unset() &&
                 "a route stands under a prefix of the table's family");
  const PrefixT key = prefix;
  route_.put({key, route});
  corrupt_.remove(key);
  this->publish(this->routeField, &key);
}

template <class PrefixT>
bool MemoryRouteStatus<PrefixT>::routeDel(const PrefixT& prefix) {
  const PrefixT key = prefix;
  corrupt_.remove(key);
  const bool removed = route_.remove(key).has_value();
  if (removed) {
    this->publish(this->routeField, &key);
  }
  return removed;
}

template <class PrefixT>
const TypeData& MemoryRouteStatus<PrefixT>::typeData() const {
  static constexpr std::array attributes{attribute<&MemoryRouteStatus::routeCount>("routes")};
  static const TypeData type(std::is_same_v<PrefixT, Prefix> ? "Routing::Fib::MemoryRouteStatus"
                                                             : "Routing::Fib6::MemoryRouteStatus",
                             attributes);
  return type;
}

template class MemoryRouteStatus<Prefix>;
template class MemoryRouteStatus<Ip6Prefix>;

}  // namespace Routing
