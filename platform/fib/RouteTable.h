#pragma once

// The route tables of a VRF as the resolver reads them: routes by prefix, one table a family.
//
// RouteStatus is the narrow read interface: a lookup by key, a notification by key, and the hook
// for a reader that finds the table corrupt. Where the routes stand is the implementation's
// business (MemoryRouteStatus: in this process).
//
// Publishes: routeField with the prefix (const Key*), after the change.

#include <cstdint>
#include <functional>
#include <utility>

#include "platform/entity/DenseTable.h"
#include "platform/entity/Entity.h"
#include "platform/entity/Ptr.h"
#include "platform/entity/Publisher.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing {

// Identifies a forwarding equivalence class (FEC) of the forwarding tables. 0 means none.
using FecId = std::uint64_t;

namespace Fib {

// What a table tells of one route. The default value is what an absent route reads as.
class Route {
 public:
  constexpr Route() noexcept = default;
  constexpr Route(FecId fecId,
                  std::uint32_t metric,
                  std::uint8_t preference,
                  std::uint8_t routeType) noexcept
      : fecId_(fecId), metric_(metric), preference_(preference), routeType_(routeType) {}

  constexpr FecId fecId() const noexcept { return fecId_; }
  // The metric in bits 0 to 31, the preference in bits 32 to 39.
  constexpr std::uint64_t metricPref() const noexcept {
    return metric_ | std::uint64_t{preference_} << 32U;
  }
  constexpr std::uint8_t routeType() const noexcept { return routeType_; }
  constexpr bool isEq(const Route& other) const noexcept { return *this == other; }
  friend constexpr bool operator==(const Route&, const Route&) noexcept = default;

 private:
  FecId fecId_ = 0;
  std::uint32_t metric_ = 0;
  std::uint8_t preference_ = 1;
  std::uint8_t routeType_ = 0;
};

}  // namespace Fib

template <class PrefixT>
class RouteStatusOf : public Entity, public Publisher {
 public:
  using Key = PrefixT;
  using Route = Fib::Route;
  static constexpr FieldId routeField{1};

  // The route under exactly this prefix; the default route value when there is none.
  // Throws: when the table is found corrupt.
  virtual Route route(const PrefixT& prefix) const = 0;
  // Tells the table's owner what a read found.
  virtual void doCorruptionDetected(const String& message) const = 0;
  // Hints that the route will be read: Far some time before, Near shortly before.
  virtual void prefetchFar(const PrefixT& /*prefix*/) const noexcept {}
  virtual void prefetchNear(const PrefixT& /*prefix*/) const noexcept {}
  // What a read would most likely find, for who prepares for it; the default route value also when
  // the table does not tell.
  virtual Route routeHint(const PrefixT& /*prefix*/) const noexcept { return {}; }
};

// The table in this process's memory. Its writer keeps the routing trie in step: the table first,
// the trie last.
template <class PrefixT>
class MemoryRouteStatus final : public RouteStatusOf<PrefixT> {
 public:
  using Route = Fib::Route;
  using CorruptionHook = std::function<void(const String& message)>;

  Route route(const PrefixT& prefix) const override;
  void doCorruptionDetected(const String& message) const override;
  void prefetchFar(const PrefixT& prefix) const noexcept override {
    route_.prefetchFar(hashOf(prefix));
  }
  void prefetchNear(const PrefixT& prefix) const noexcept override {
    route_.prefetchNear(hashOf(prefix));
  }
  Route routeHint(const PrefixT& prefix) const noexcept override {
    const auto* const entry = route_.hint(hashOf(prefix));
    return entry == nullptr ? valueOf(route_, prefix) : entry->value;
  }

  // Stores the route, replacing the one under the prefix. Publishes: the prefix.
  // Requires: a prefix of the table's family, so that the unset key never finds a route.
  void routeIs(const PrefixT& prefix, const Route& route);
  // True when there was one. Publishes: the prefix, if there was one.
  bool routeDel(const PrefixT& prefix);
  bool routeHas(const PrefixT& prefix) const noexcept { return route_.has(prefix); }
  std::size_t routeCount() const noexcept { return route_.size(); }
  void reserve(std::size_t routes) { route_.reserve(routes); }
  std::size_t memory() const noexcept { return route_.memory() + corrupt_.memory(); }

  // From now on reading this key throws, until the key is stored or removed.
  void corruptIs(const PrefixT& prefix) { corrupt_.insert(prefix); }
  // Called by doCorruptionDetected.
  void corruptionHookIs(CorruptionHook hook) { corruptionHook_ = std::move(hook); }

  const TypeData& typeData() const override;

 private:
  DenseMap<PrefixT, Route> route_;
  DenseSet<PrefixT> corrupt_;
  CorruptionHook corruptionHook_;
};

extern template class MemoryRouteStatus<Prefix>;
extern template class MemoryRouteStatus<Ip6Prefix>;

namespace Fib {
using RouteStatus = RouteStatusOf<Prefix>;
using MemoryRouteStatus = Routing::MemoryRouteStatus<Prefix>;
}  // namespace Fib

namespace Fib6 {
using Route = Fib::Route;
using RouteStatus = RouteStatusOf<Ip6Prefix>;
using MemoryRouteStatus = Routing::MemoryRouteStatus<Ip6Prefix>;
}  // namespace Fib6

}  // namespace Routing
