#include "host/kernel/VrfRoutes.h"

#include <linux/netlink.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Routing::Host {

namespace {

using Alternative = VrfRoutes::Alternative;
using Alternatives = VrfRoutes::Alternatives;

// The kernel's order of preference between routes of different keys.
bool before(const Alternative& left, const Alternative& right) noexcept {
  if (left.local != right.local) {
    return left.local;
  }
  return left.metric < right.metric;
}

// Puts the route in the place of one of its range. What stands there for it already goes: two
// routes of the kernel may differ in what makes no difference here.
void replace(Alternatives& present,
             std::pair<Alternatives::iterator, Alternatives::iterator> range,
             Alternatives::iterator place,
             const Alternative& added) {
  *place = added;
  const auto behind = std::next(place);
  present.erase(std::remove(behind, range.second, added), range.second);
}

Fib::Route routeOf(const Alternative& alternative) noexcept {
  return {alternative.fec,
          alternative.metric,
          alternative.preference,
          static_cast<std::uint8_t>(alternative.type)};
}

// The hops of both, each once.
Hops joined(Hops hops, const Hops& more) {
  for (const Hop& hop : more) {
    const auto found = std::find_if(hops.begin(), hops.end(), [&hop](const Hop& present) {
      return present.via == hop.via;
    });
    if (found == hops.end()) {
      hops.push_back(hop);
    } else {
      found->dead = hop.dead;
    }
  }
  return hops;
}

// A hop is removed by where it leads; how much it weighed among the others is not told.
bool leadsThere(const Hop& hop, const Hop& removed) noexcept {
  return hop.via.hop == removed.via.hop && hop.via.intfId == removed.via.intfId;
}

}  // namespace

// ---- what is known
// -------------------------------------------------------------------------------

VrfRoutes::Range VrfRoutes::rangeOf(Alternatives& alternatives, const Alternative& key) noexcept {
  return std::equal_range(alternatives.begin(), alternatives.end(), key, before);
}

Alternative VrfRoutes::alternativeOf(const RouteMessage& route, FecId fec) const noexcept {
  return {fec,
          route.metric,
          preferenceOf(route.protocol),
          route.type,
          isLocal(route),
          route.interface};
}

// A route that stands alone in the VRF's table is from "local" when its type is.
Alternative VrfRoutes::plainOf(const Fib::Route& route) const noexcept {
  const auto metric = static_cast<std::uint32_t>(route.metricPref());
  const auto preference = static_cast<std::uint8_t>(route.metricPref() >> 32U);
  const auto type = static_cast<RouteType>(route.routeType());
  return {route.fecId(), metric, preference, type, mergesLocal_ && type == RouteType::local, 0};
}

bool VrfRoutes::isIn(const Scope& scope, const Alternative& alternative) const {
  return scope.interface == 0 || alternative.interface == scope.interface ||
         feed_.fecs().usesInterface(alternative.fec, scope.interface);
}

bool VrfRoutes::isPlain(const Alternatives& alternatives) const noexcept {
  return alternatives.size() == 1 && plainOf(routeOf(alternatives.front())) == alternatives.front();
}

Alternatives VrfRoutes::alternatives(const IpGenPrefix& prefix) const {
  if (!several_.empty()) {
    const auto found = several_.find(prefix);
    if (found != several_.end()) {
      return found->second;
    }
  }
  const Fib::Route route = feed_.route(prefix);
  return route.fecId() == 0 ? Alternatives{} : Alternatives{plainOf(route)};
}

// The new ones are held before the old ones are let go, and the table stands between.
void VrfRoutes::alternativesIs(const IpGenPrefix& prefix, Alternatives alternatives) {
  const bool plain = isPlain(alternatives);
  for (const Alternative& alternative : alternatives) {
    feed_.fecs().hold(alternative.fec);
  }
  if (alternatives.empty()) {
    feed_.routeDel(prefix);
  } else {
    feed_.routeIs(prefix, routeOf(alternatives.front()));
  }
  Alternatives old;
  const auto found = several_.find(prefix);
  if (found != several_.end()) {
    old = std::move(found->second);
    several_.erase(found);
  }
  if (plain || alternatives.empty()) {
    old.insert(old.end(), alternatives.begin(), alternatives.end());
  } else {
    several_.emplace(prefix, std::move(alternatives));
  }
  for (const Alternative& alternative : old) {
    feed_.fecs().release(alternative.fec);
  }
}

// ---- notifications
// -------------------------------------------------------------------------------

void VrfRoutes::routeIs(const RouteMessage& route, FecId fec, std::uint16_t flags) {
  const Alternative added = alternativeOf(route, fec);
  if (!inDump(route)) {
    return routeAdd(route, added, flags);
  }
  const Alternatives before = alternatives(route.prefix);
  routeAdd(route, added, flags);
  touch({route.prefix, route.metric}, before);
}

bool VrfRoutes::routeDel(const RouteMessage& route, FecId fec) {
  const Alternative removed = alternativeOf(route, fec);
  if (!inDump(route)) {
    return routeRemove(route, removed);
  }
  Alternatives before = alternatives(route.prefix);
  before.push_back(removed);
  const bool fits = routeRemove(route, removed);
  touch({route.prefix, route.metric}, before);
  if (route.prefix.family() == AddressFamily::ipv6 && !dumpedTableHas(route.prefix)) {
    dump_->disturbed = true;
  }
  return fits;
}

// The ordinary case, without a list: the prefix has no other route, or this one takes its place.
bool VrfRoutes::routeIsAlone(const IpGenPrefix& prefix,
                             const Alternative& alternative,
                             std::uint16_t flags) {
  if (alternative.fec == 0 || !(plainOf(routeOf(alternative)) == alternative) ||
      (!several_.empty() && several_.count(prefix) != 0)) {
    return false;
  }
  const Fib::Route present = feed_.route(prefix);
  if (present.fecId() != 0 && !(present == routeOf(alternative))) {
    const Alternative old = plainOf(present);
    if (prefix.family() != AddressFamily::ipv4 || before(old, alternative) ||
        before(alternative, old) || (flags & (NLM_F_EXCL | NLM_F_REPLACE)) == 0) {
      return false;
    }
  }
  feed_.routeIs(prefix, routeOf(alternative));
  return true;
}

void VrfRoutes::routeAdd(const RouteMessage& route, const Alternative& added, std::uint16_t flags) {
  if (routeIsAlone(route.prefix, added, flags)) {
    return;
  }
  Alternatives present = alternatives(route.prefix);
  if (route.prefix.family() == AddressFamily::ipv4) {
    add4(present, added, flags);
  } else {
    add6(present, added, route, flags);
  }
  // One that the kernel holds and does not use.
  std::erase_if(present, [](const Alternative& alternative) { return alternative.fec == 0; });
  alternativesIs(route.prefix, std::move(present));
}

void VrfRoutes::add4(Alternatives& present, const Alternative& added, std::uint16_t flags) const {
  const auto [first, last] = rangeOf(present, added);
  if ((flags & NLM_F_EXCL) != 0) {
    present.insert(present.erase(first, last), added);
  } else if ((flags & NLM_F_REPLACE) != 0 && first != last) {
    replace(present, {first, last}, first, added);
  } else if (std::find(first, last, added) != last) {
    // Read from a dump before, or told once more.
  } else {
    present.insert((flags & NLM_F_APPEND) != 0 ? last : first, added);
  }
}

bool VrfRoutes::isMultipath(const Alternative& alternative) const {
  if (alternative.fec == 0 || alternative.type == RouteType::routerAdvertisement ||
      feed_.fecs().object(alternative.fec) != 0) {
    return false;
  }
  const Hops& hops = feed_.fecs().hops(alternative.fec);
  return !hops.empty() && hops.front().via.hop;
}

Alternatives::iterator VrfRoutes::findMultipath(Range range) const {
  return std::find_if(range.first, range.second, [this](const Alternative& alternative) {
    return isMultipath(alternative);
  });
}

void VrfRoutes::add6(Alternatives& present,
                     Alternative added,
                     const RouteMessage& route,
                     std::uint16_t flags) {
  const bool replaces = (flags & NLM_F_REPLACE) != 0;
  const Range range = rangeOf(present, added);
  const auto [first, last] = range;
  const auto multipath = findMultipath(range);
  if (isMultipath(added) && multipath != last) {
    if (!route.multipath && !replaces) {
      added.fec = feed_.fecs().ofHops(AddressFamily::ipv6,
                                      joined(feed_.fecs().hops(multipath->fec), route.hops));
    }
    *multipath = added;
    return;
  }
  if (replaces && first != last) {
    const auto replaced = std::find_if(first, last, [&](const Alternative& alternative) {
      return isMultipath(alternative) == isMultipath(added);
    });
    replace(present, range, replaced != last ? replaced : first, added);
  } else if (std::find(first, last, added) == last) {
    present.insert(last, added);
  }
}

bool VrfRoutes::routeRemove(const RouteMessage& route, const Alternative& removed) {
  Alternatives present = alternatives(route.prefix);
  const auto [first, last] = rangeOf(present, removed);
  if (first == last) {
    return true;
  }
  const auto same = std::find(first, last, removed);
  if (same != last) {
    present.erase(same);
  } else if (route.prefix.family() != AddressFamily::ipv6 || !remove6(present, removed, route)) {
    return false;
  }
  alternativesIs(route.prefix, std::move(present));
  return true;
}

bool VrfRoutes::remove6(Alternatives& present,
                        const Alternative& removed,
                        const RouteMessage& route) {
  const Range range = rangeOf(present, removed);
  const auto multipath = findMultipath(range);
  if (multipath == range.second || route.hops.empty() || route.object != 0 ||
      route.type == RouteType::routerAdvertisement) {
    return false;
  }
  if (route.multipath) {
    present.erase(multipath);
    return true;
  }
  Hops hops = feed_.fecs().hops(multipath->fec);
  const auto gone =
      std::erase_if(hops, [&route](const Hop& hop) { return leadsThere(hop, route.hops.front()); });
  multipath->fec = feed_.fecs().ofHops(AddressFamily::ipv6, hops);
  if (multipath->fec == 0) {
    present.erase(multipath);
  }
  return gone != 0;
}

}  // namespace Routing::Host
