// Resolvers: what queues a nexthop, and what becomes of it when its turn comes.

#include <algorithm>

#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

// ---- what queues nexthops ----

void ReferenceModel::handleNexthopConfig(const VrfName& vrfName,
                                         const String& client,
                                         const std::shared_ptr<ModelVrfConfig>& config,
                                         const IpGenAddr& addr) {
  ModelVrf& target = vrf(vrfName);
  if (!target.manager || !target.manager->active) {
    return;
  }
  const std::shared_ptr<ModelResolver> resolver = target.manager->resolvers.value(client);
  if (!resolver || resolver->config != config) {
    return;
  }
  if (resolver->review.has(addr)) {
    meet(Situation::queuedTwice);
  }
  resolver->review.add(addr);
  schedule(target, client);
}

void ReferenceModel::handleChangedRoute(ModelVrf& vrf, const IpGenPrefix& prefix) {
  if (!vrf.manager || !vrf.manager->active) {
    return;
  }
  if (!prefix) {
    meet(Situation::unsetPrefixAnnounced);
    return;
  }
  if (prefix.length() == 0) {
    meet(Situation::defaultRouteChanges);
  }
  for (const String& client : vrf.manager->resolvers.keys()) {
    ModelResolver& resolver = **vrf.manager->resolvers.find(client);
    if (prefix.isHost() && !resolver.configured(prefix.address())) {
      // Nothing can lie strictly inside a host prefix.
      if (resolver.tracked.count(prefix.address()) != 0) {
        meet(Situation::routeOfHostUnconfigured);
      }
      continue;
    }
    if (prefix.isHost() && resolver.tracked.count(prefix.address()) == 0) {
      meet(Situation::routeOfHostNotYetTracked);
    }
    queueUnder(vrf, resolver, prefix);
  }
}

void ReferenceModel::queueUnder(ModelVrf& vrf, ModelResolver& resolver, const IpGenPrefix& prefix) {
  bool any = false;
  for (const IpGenAddr& addr : resolver.tracked) {
    if (prefix.contains(IpGenPrefix::host(addr))) {
      if (resolver.review.has(addr)) {
        meet(Situation::queuedTwice);
      }
      resolver.review.add(addr);
      any = true;
    }
  }
  if (any) {
    schedule(vrf, resolver.client);
  } else {
    meet(Situation::routeWithNothingUnderIt);
  }
}

// On: all nexthops of the family are queued. Off: all fail at once, and nothing else changes.
void ReferenceModel::handleRouting(ModelVrf& vrf, AddressFamily family) {
  if (!vrf.manager || !vrf.manager->active) {
    return;
  }
  const ModelRoutings present = vrf.routing;
  for (const String& client : vrf.manager->resolvers.keys()) {
    ModelResolver& resolver = **vrf.manager->resolvers.find(client);
    const std::shared_ptr<ModelRouting>& routing = resolver.routingOf(family);
    if (routing != (family == AddressFamily::ipv4 ? present.first : present.second)) {
      continue;
    }
    for (const IpGenAddr& addr : std::set<IpGenAddr>(resolver.tracked)) {
      if (addr.family() != family) {
        continue;
      }
      if (routing->enabled) {
        resolver.review.add(addr);
        schedule(vrf, client);
        meet(Situation::routingSwitchedOn);
      } else {
        writeFailed(vrf, resolver, addr);
        meet(Situation::routingSwitchedOff);
      }
    }
  }
}

// ---- the review ----

void ReferenceModel::handleReview(ModelVrf& vrf, ModelResolver& resolver) {
  reviewSlice(vrf, resolver);
  if (!resolver.review.empty()) {
    schedule(vrf, resolver.client);
  }
}

void ReferenceModel::reviewSlice(ModelVrf& vrf, ModelResolver& resolver) {
  const AddressesInOrder members = resolver.review;
  auto place = members.begin();
  if (resolver.bookmark) {
    meet(Situation::reviewResumesAtBookmark);
    place = std::find(members.begin(), members.end(), resolver.bookmark);
  }
  resolver.bookmark = IpGenAddr();
  for (std::uint64_t questions = 1; place != members.end(); ++questions) {
    processNexthop(vrf, resolver, *place);
    resolver.review.remove(*place);
    ++place;
    if (budget_ != 0 && questions >= budget_) {
      meet(Situation::reviewYields);
      resolver.bookmark = place == members.end() ? IpGenAddr() : *place;
      return;
    }
  }
}

void ReferenceModel::processNexthop(ModelVrf& vrf, ModelResolver& resolver, const IpGenAddr& addr) {
  if (resolver.configured(addr)) {
    resolver.tracked.insert(addr);
    resolve(vrf, resolver, addr);
    return;
  }
  if (resolver.tracked.count(addr) == 0) {
    meet(Situation::unconfiguredBeforeReview);
  }
  if (resolver.status->entries.erase(addr)) {
    note({.kind = Kind::statusDel, .vrf = vrf.name, .client = resolver.client, .addr = addr});
  }
  resolver.tracked.erase(addr);
  if (resolver.wantsResolverIds()) {
    deleteReferenceForNexthop(vrf, resolver.client, addr);
  }
}

// ---- resolution ----

void ReferenceModel::resolve(ModelVrf& vrf, ModelResolver& resolver, const IpGenAddr& addr) {
  IpGenPrefix matched;
  Fib::Route route;
  for (const auto& [prefix, candidate] : vrf.routes) {
    if (prefix.contains(IpGenPrefix::host(addr)) &&
        (!matched || prefix.length() > matched.length())) {
      matched = prefix;
      route = candidate;
    }
  }
  const std::shared_ptr<ModelRouting>& routing = resolver.routingOf(addr.family());
  if (!routing || !routing->enabled || route.isEq(Fib::Route())) {
    if (vrf.manager->keys.has({resolver.client, addr})) {
      meet(Situation::failureKeepsReference);
    }
    writeFailed(vrf, resolver, addr);
    return;
  }
  std::uint64_t identifier = route.fecId();
  if (resolver.wantsResolverIds()) {
    addReference(vrf, route.fecId(), resolver.client, addr);
    const std::uint64_t* const mapped = vrf.manager->map.find(route.fecId());
    if (mapped == nullptr) {
      return;
    }
    identifier = *mapped;
  }
  const bool is4 = addr.family() == AddressFamily::ipv4;
  write(vrf,
        resolver,
        {.fecId = identifier,
         .metric = static_cast<std::uint32_t>(route.metricPref()),
         .preference = static_cast<std::uint8_t>(route.metricPref() >> 32U),
         .prefix = matched,
         .addr = addr,
         .routeType = is4 ? route.routeType() : std::uint8_t{0},
         .route6Type = is4 ? std::uint8_t{0} : route.routeType(),
         .resolutionState = NexthopResolutionState::resolved});
}

// The reference stays that of the last success.
void ReferenceModel::writeFailed(const ModelVrf& vrf,
                                 ModelResolver& resolver,
                                 const IpGenAddr& addr) {
  write(vrf,
        resolver,
        {.fecId = 0,
         .metric = 0,
         .preference = 1,
         .prefix = IpGenPrefix(),
         .addr = addr,
         .routeType = 0,
         .route6Type = 0,
         .resolutionState = NexthopResolutionState::failed});
}

void ReferenceModel::write(const ModelVrf& vrf,
                           ModelResolver& resolver,
                           const NexthopStatusEntry& entry) {
  resolver.status->entries.put(entry.addr, entry);
  note({.kind = Kind::status,
        .vrf = vrf.name,
        .client = resolver.client,
        .addr = entry.addr,
        .entry = entry});
}

// Resolves every nexthop again that the client has under the FEC, at once.
void ReferenceModel::handleFecIdMap(ModelVrf& vrf, ModelResolver& resolver, FecId fecId) {
  ModelManager& manager = *vrf.manager;
  if (!resolver.wantsResolverIds() || !manager.map.has(fecId)) {
    return;
  }
  if (!manager.references.has(fecId)) {
    throw ModelEnds("a FEC with an identifier has no reference");
  }
  const auto holds = [&](const IpGenAddr& addr) {
    const ModelClientRefs* const clients = manager.references.find(fecId);
    const AddressesInOrder* const held =
        clients == nullptr ? nullptr : clients->find(resolver.client);
    return held != nullptr && held->has(addr);
  };
  for (const IpGenAddr& addr : manager.references.value(fecId).value(resolver.client)) {
    if (!holds(addr)) {
      continue;
    }
    const std::shared_ptr<ModelRouting>& routing = resolver.routingOf(addr.family());
    if (!routing || !routing->enabled) {
      meet(Situation::identifierAppearsWhileRoutingIsOff);
    }
    processNexthop(vrf, resolver, addr);
    if (!holds(addr)) {
      meet(Situation::fecAppearsWhileItsNexthopsMoveAway);
    }
  }
}

}  // namespace Routing::Support
