#include "tests/property/LiveWorld.h"

#include "platform/task/VirtualTime.h"

namespace Routing::Support {

LiveWorld::LiveWorld() {
  scheduler_->workBudgetIs(0);
  TaskSchedulerRoot::schedulerIs(scheduler_);
  observe(*forwarding_);
}

LiveWorld::~LiveWorld() {
  listenerIs(nullptr);
  for (auto& [name, vrf] : vrfs_) {
    vrf.manager = nullptr;
  }
  TaskSchedulerRoot::schedulerIs(nullptr);
}

LiveVrf& LiveWorld::vrf(const VrfName& name) {
  const auto [found, isNew] = vrfs_.try_emplace(name);
  if (isNew) {
    observe(*found->second.context, name);
  }
  return found->second;
}

Ptr<NexthopResolverManagerSm> LiveWorld::managerOf(const VrfName& vrf) const {
  const auto found = vrfs_.find(vrf);
  return found == vrfs_.end() ? nullptr : found->second.manager;
}

Ptr<NexthopResolverFibViaContext> LiveWorld::contextOf(const VrfName& vrf) const {
  const auto found = vrfs_.find(vrf);
  return found == vrfs_.end() ? nullptr : found->second.context;
}

std::vector<VrfName> LiveWorld::vrfNames() const {
  std::vector<VrfName> names;
  for (const auto& [name, vrf] : vrfs_) {
    names.push_back(name);
  }
  return names;
}

// ---- client records ----

void LiveWorld::config(const String& client) {
  if (!configDir_->entityPtr(client)) {
    configDir_->entityIs(client, makeEntity<NexthopConfig>(client));
  }
}

void LiveWorld::configDel(const String& client) { configDir_->entityDel(client); }

void LiveWorld::configVrf(const String& client, const VrfName& vrf, NexthopStatusFecIdType kind) {
  config(client);
  const auto record = entityOf<NexthopConfig>(*configDir_, client);
  if (const auto present = record->vrf(vrf)) {
    present->fecIdTypeIs(kind);
  } else {
    record->vrfIs(vrf, kind);
  }
}

void LiveWorld::configVrfDel(const String& client, const VrfName& vrf) {
  if (const auto record = entityOf<NexthopConfig>(*configDir_, client)) {
    record->vrfDel(vrf);
  }
}

void LiveWorld::nexthop(const String& client, const VrfName& vrf, const IpGenAddr& addr) {
  entityOf<NexthopConfig>(*configDir_, client)->vrf(vrf)->nexthopIs({addr});
}

void LiveWorld::nexthopDel(const String& client, const VrfName& vrf, const IpGenAddr& addr) {
  entityOf<NexthopConfig>(*configDir_, client)->vrf(vrf)->nexthopDel(addr);
}

void LiveWorld::status(const String& client, bool cell) {
  Dir& dir = cell ? *cellDir_ : *statusDir_;
  if (!dir.entityPtr(client)) {
    const auto record = makeEntity<NexthopStatus>(client);
    observe(*record);
    dir.entityIs(client, record);
  }
}

void LiveWorld::statusDel(const String& client, bool cell) {
  (cell ? *cellDir_ : *statusDir_).entityDel(client);
}

void LiveWorld::renotifyConfig(const String& client) { configDir_->entityAnnounce(client); }

void LiveWorld::renotifyStatus(const String& client, bool cell) {
  (cell ? *cellDir_ : *statusDir_).entityAnnounce(client);
}

// ---- tables ----

void LiveWorld::route(const VrfName& vrfName, const IpGenPrefix& prefix, const Fib::Route& route) {
  const LiveVrf& target = vrf(vrfName);
  const bool is4 = prefix.family() == AddressFamily::ipv4;
  if (is4) {
    target.routes4->routeIs(Prefix(prefix), route);
  } else {
    target.routes6->routeIs(Ip6Prefix(prefix), route);
  }
  TrieGen& trie = is4 ? *target.trie4 : *target.trie6;
  if (trie.routeHas(prefix)) {
    trie.changedPrefixIs(prefix);
  } else {
    trie.routeIs(prefix, true);
  }
}

void LiveWorld::routeDel(const VrfName& vrfName, const IpGenPrefix& prefix) {
  const LiveVrf& target = vrf(vrfName);
  if (prefix.family() == AddressFamily::ipv4) {
    target.routes4->routeDel(Prefix(prefix));
    target.trie4->routeDel(prefix);
  } else {
    target.routes6->routeDel(Ip6Prefix(prefix));
    target.trie6->routeDel(prefix);
  }
}

void LiveWorld::announce(const VrfName& vrfName, AddressFamily family, const IpGenPrefix& prefix) {
  const LiveVrf& target = vrf(vrfName);
  (family == AddressFamily::ipv4 ? *target.trie4 : *target.trie6).changedPrefixIs(prefix);
}

template <class Info>
void LiveWorld::routingIs(Dir& dir, const VrfName& vrf, bool enabled) {
  if (const auto info = entityOf<Info>(dir, vrf)) {
    info->routingEnabledIs(enabled);
  } else {
    dir.entityIs(vrf, makeEntity<Info>(enabled));
  }
}

void LiveWorld::routing(const VrfName& vrfName, AddressFamily family, bool enabled) {
  vrf(vrfName);
  if (family == AddressFamily::ipv4) {
    routingIs<RoutingInfo>(*routing4Dir_, vrfName, enabled);
  } else {
    routingIs<Routing6::RoutingInfo>(*routing6Dir_, vrfName, enabled);
  }
}

void LiveWorld::routingDel(const VrfName& vrfName, AddressFamily family) {
  (family == AddressFamily::ipv4 ? *routing4Dir_ : *routing6Dir_).entityDel(vrfName);
}

void LiveWorld::fec(const FibGen::Fec& fec) { fecs_->fecIs(fec); }

void LiveWorld::fecDel(FecId fecId) { fecs_->fecDel(fecId); }

void LiveWorld::announceFec(FecId fecId) { fecs_->fecAnnounce(fecId); }

void LiveWorld::context(const VrfName& vrfName, std::uint64_t value) {
  vrf(vrfName).context->firstUnAllocatedNexthopResolverIdIs(value);
}

void LiveWorld::published(const VrfName& vrfName, std::uint64_t resolverId) {
  vrf(vrfName);
  forwarding_->vrfIs(vrfName)->nexthopResolverIdViaIs(NexthopResolverIdVia(ResolverId(resolverId)));
}

// ---- machines and time ----

void LiveWorld::manager(const VrfName& vrfName, bool withCells) {
  LiveVrf& target = vrf(vrfName);
  target.manager = nexthopResolverManagerSmFactory(vrfName,
                                                   configDir_,
                                                   statusDir_,
                                                   withCells ? cellDir_ : nullptr,
                                                   target.trie4,
                                                   target.trie6,
                                                   target.routes4,
                                                   target.routes6,
                                                   fecs_,
                                                   forwarding_,
                                                   target.context,
                                                   routing4Dir_,
                                                   routing6Dir_,
                                                   scheduler_);
  observe(*target.manager);
}

void LiveWorld::managerDel(const VrfName& vrfName) { vrf(vrfName).manager = nullptr; }

void LiveWorld::notifications(const VrfName& vrfName, bool active) {
  vrf(vrfName).manager->hasNotificationActiveIs(active);
}

void LiveWorld::budget(std::uint64_t questions) { scheduler_->workBudgetIs(questions); }

void LiveWorld::step() { scheduler_->runTask(); }

void LiveWorld::run() { runUntilIdle(*scheduler_); }

void LiveWorld::advance(std::uint64_t seconds) {
  advanceTime(*scheduler_, *clock_, std::chrono::seconds(seconds));
}

}  // namespace Routing::Support
