#include "host/kernel/VrfRoutes.h"

#include <linux/netlink.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/entity/Assert.h"

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

bool has(const Alternatives& list, const Alternative& alternative) noexcept {
  return std::find(list.begin(), list.end(), alternative) != list.end();
}

auto rangeOf(Alternatives& alternatives, const Alternative& key) noexcept {
  return std::equal_range(alternatives.begin(), alternatives.end(), key, before);
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

std::uint8_t scopeBit(const VrfRoutes::Scope& scope) noexcept {
  const unsigned family = scope.family == AddressFamily::ipv4 ? 0 : 1;
  return static_cast<std::uint8_t>(1U << (family * 2 + (scope.local ? 1 : 0)));
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

class Collect final : public TrieGenWalkCallback {
 public:
  explicit Collect(std::function<bool(const IpGenPrefix&)> wanted) : wanted_(std::move(wanted)) {}
  bool handlePrefix(const IpGenPrefix& prefix) override {
    if (wanted_(prefix)) {
      found_.push_back(prefix);
    }
    return true;
  }
  const std::vector<IpGenPrefix>& found() const noexcept { return found_; }
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Host::VrfRoutes::Collect");
    return type;
  }

 private:
  std::function<bool(const IpGenPrefix&)> wanted_;
  std::vector<IpGenPrefix> found_;
};

IpGenPrefix wholeFamily(AddressFamily family) {
  return {family == AddressFamily::ipv4 ? IpGenAddr::ipv4(0) : IpGenAddr::ipv6(IpGenAddr::Words{}),
          0};
}

}  // namespace

// ---- what is known
// -------------------------------------------------------------------------------

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

bool VrfRoutes::dumpedTableHas(const IpGenPrefix& prefix) const {
  const Alternatives present = alternatives(prefix);
  return std::any_of(present.begin(), present.end(), [this](const Alternative& alternative) {
    return alternative.local == dump_->scope.local;
  });
}

void VrfRoutes::touch(const Key& key, const Alternatives& before) {
  Alternatives& gone = dump_->touched[key];
  const Alternatives present = alternatives(key.prefix);
  std::erase_if(gone, [&](const Alternative& alternative) { return has(present, alternative); });
  std::copy_if(before.begin(),
               before.end(),
               std::back_inserter(gone),
               [&](const Alternative& alternative) { return !has(present, alternative); });
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

// ---- dumps
// ---------------------------------------------------------------------------------------

bool VrfRoutes::Dump::seen(const IpGenPrefix& prefix) const noexcept {
  return prefix.family() == AddressFamily::ipv4 ? seen4.has(Routing::Prefix(prefix))
                                                : seen6.has(Ip6Prefix(prefix));
}

void VrfRoutes::Dump::seenIs(const IpGenPrefix& prefix) {
  if (first) {
    return;
  }
  if (prefix.family() == AddressFamily::ipv4) {
    seen4.insert(Routing::Prefix(prefix));
  } else {
    seen6.insert(Ip6Prefix(prefix));
  }
}

VrfRoutes::Dump::Dump(const Scope& dumped, bool nothingBefore)
    : scope(dumped), first(nothingBefore) {}

// True when the dump would have named the route if it were there.
bool VrfRoutes::Dump::covers(const IpGenPrefix& prefix, const Alternative& alternative) const {
  return alternative.local == scope.local && touched.count({prefix, alternative.metric}) == 0;
}

void VrfRoutes::dumpBegin(const Scope& scope) {
  ROUTING_ASSERT(!dump_ && "one dump at a time");
  dump_.emplace(scope, (dumped_ & scopeBit(scope)) == 0 && scope.interface == 0);
}

void VrfRoutes::dumpRoute(const RouteMessage& route, FecId fec) {
  ROUTING_ASSERT(dump_ && "a dump is under way");
  if (!(route.prefix == dump_->current)) {
    groupApply();
    dump_->current = route.prefix;
    dump_->seenIs(route.prefix);
  }
  const Alternative added = alternativeOf(route, fec);
  if (fec == 0 || added.local != dump_->scope.local) {
    return;
  }
  const auto touched = dump_->touched.find({route.prefix, route.metric});
  if (touched != dump_->touched.end()) {
    if (!has(touched->second, added)) {
      dump_->late.push_back(added);
    }
    return;
  }
  if (route.prefix.family() == AddressFamily::ipv6) {
    add6(dump_->group, added, route, NLM_F_APPEND);
  } else {
    add4(dump_->group, added, NLM_F_APPEND);
  }
}

// What the dump says of a prefix stands in place of what was known, notifications apart.
void VrfRoutes::groupApply() {
  const IpGenPrefix prefix = dump_->current;
  if (!prefix) {
    return;
  }
  const Scope& scope = dump_->scope;
  // What uses other interfaces is not in the dump of one, so nothing says that it is alone.
  const std::uint16_t flags = scope.interface == 0 ? NLM_F_EXCL : 0;
  if (dump_->group.size() == 1 && dump_->touched.empty() &&
      routeIsAlone(prefix, dump_->group.front(), flags)) {
    dump_->group.clear();
    return;
  }
  Alternatives group;
  group.swap(dump_->group);
  Alternatives present = alternatives(prefix);
  // A dump of everything tells the order as well; one of an interface does not.
  std::erase_if(present, [&](const Alternative& alternative) {
    const bool stays = scope.interface != 0 && has(group, alternative);
    return dump_->covers(prefix, alternative) && isIn(scope, alternative) && !stays;
  });
  for (const Alternative& alternative : group) {
    const auto [first, last] = rangeOf(present, alternative);
    if (std::find(first, last, alternative) == last) {
      present.insert(last, alternative);
    }
  }
  lateApply(present);
  alternativesIs(prefix, std::move(present));
}

// Routes that were there before the notification, and that it left alone. The hops of a multipath
// route are not: whatever was told of it was all of it.
void VrfRoutes::lateApply(Alternatives& present) {
  for (const Alternative& alternative : dump_->late) {
    const Range range = rangeOf(present, alternative);
    const bool known = std::find(range.first, range.second, alternative) != range.second;
    const bool multipath = isMultipath(alternative) && findMultipath(range) != range.second;
    if (!known && !(multipath && dump_->scope.family == AddressFamily::ipv6)) {
      present.insert(range.second, alternative);
    }
  }
  dump_->late.clear();
}

bool VrfRoutes::dumpEnd(bool whole) {
  ROUTING_ASSERT(dump_ && "a dump is under way");
  groupApply();
  const Scope scope = dump_->scope;
  const bool disturbed = dump_->disturbed;
  if (whole && !disturbed && !dump_->first) {
    removeIf(scope.family,
             [this, scope](const IpGenPrefix& prefix, const Alternative& alternative) {
               return !dump_->seen(prefix) && dump_->covers(prefix, alternative) &&
                      isIn(scope, alternative);
             });
  }
  if (scope.interface == 0) {
    dumped_ |= scopeBit(scope);
  }
  dump_.reset();
  return !disturbed;
}

void VrfRoutes::unusableDel() {
  if (!feed_.fecs().takeUnusable()) {
    return;
  }
  for (const AddressFamily family : {AddressFamily::ipv4, AddressFamily::ipv6}) {
    removeIf(family, [this](const IpGenPrefix& /*prefix*/, const Alternative& alternative) {
      return !feed_.fecs().usable(alternative.fec);
    });
  }
}

// A trie is not changed while it is walked.
void VrfRoutes::removeIf(AddressFamily family, const Doomed& doomed) {
  const auto collect = makeEntity<Collect>([this, &doomed](const IpGenPrefix& prefix) {
    if (several_.empty() || several_.count(prefix) == 0) {
      return doomed(prefix, plainOf(feed_.route(prefix)));
    }
    const Alternatives& present = several_.at(prefix);
    return std::any_of(present.begin(), present.end(), [&](const Alternative& alternative) {
      return doomed(prefix, alternative);
    });
  });
  feed_.trie(family)->preOrderWalk(wholeFamily(family), collect);
  for (const IpGenPrefix& prefix : collect->found()) {
    Alternatives present = alternatives(prefix);
    std::erase_if(present,
                  [&](const Alternative& alternative) { return doomed(prefix, alternative); });
    alternativesIs(prefix, std::move(present));
  }
}

}  // namespace Routing::Host
