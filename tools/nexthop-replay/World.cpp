#include "tools/nexthop-replay/World.h"

#include "platform/entity/TypeData.h"
#include "records/RoutingInfo.h"

namespace Routing::Replay {

namespace {

// An entry of a type that no directory is meant to hold.
class ForeignEntry final : public Entity {
 public:
  const TypeData& typeData() const override {
    static const TypeData type("Routing::Replay::ForeignEntry");
    return type;
  }
};

constexpr std::array<const char*, 5> directoryNames{"nexthopConfig",
                                                    "nexthopStatus",
                                                    "nexthopCellSpecificStatus",
                                                    "routingInfo",
                                                    "routing6Info"};

std::size_t indexOf(Directory directory) noexcept { return static_cast<std::size_t>(directory); }

}  // namespace

World::World(Output& output, Watch& watch)
    : output_(output),
      watch_(watch),
      clock_(makeEntity<VirtualClock>()),
      scheduler_(makeEntity<TaskScheduler>(clock_)) {
  scheduler_->workBudgetIs(0);
  TaskSchedulerRoot::schedulerIs(scheduler_);
}

World::~World() {
  for (auto& [name, vrf] : vrfs_) {
    vrf.manager = nullptr;
  }
  vrfs_.clear();
  TaskSchedulerRoot::schedulerIs(nullptr);
}

Vrf& World::vrf(const VrfName& name) {
  Vrf& vrf = vrfs_[name];
  if (!vrf.context) {
    vrf.name = name;
    vrf.trie4 = makeEntity<TrieGen>(name, AddressFamily::ipv4);
    vrf.trie6 = makeEntity<TrieGen>(name, AddressFamily::ipv6);
    vrf.routes4 = makeEntity<Fib::MemoryRouteStatus>();
    vrf.routes4->corruptionHookIs(corruptionHook("route4", name));
    vrf.routes6 = makeEntity<Fib6::MemoryRouteStatus>();
    vrf.routes6->corruptionHookIs(corruptionHook("route6", name));
    vrf.context = makeEntity<NexthopResolverFibViaContext>();
    watch_.attach(*vrf.context, name);
  }
  return vrf;
}

std::function<void(const String&)> World::corruptionHook(std::string_view type,
                                                         const VrfName& vrf) {
  return [this, type, vrf](const String& message) {
    Line line("corruption");
    line.word("type", type);
    if (vrf.empty()) {
      line.null("vrf", "-");
    } else {
      line.word("vrf", vrf);
    }
    output_.print(line.word("message", message));
  };
}

const Ptr<Dir>& World::dir(Directory directory) {
  Ptr<Dir>& dir = dirs_[indexOf(directory)];
  if (!dir) {
    dir = makeEntity<Dir>(directoryNames[indexOf(directory)]);
  }
  return dir;
}

Ptr<Entity> World::entry(Directory directory, const String& name) const {
  const Ptr<Dir>& dir = dirs_[indexOf(directory)];
  return dir ? dir->entityPtr(name) : nullptr;
}

void World::walk(Directory directory, const std::function<void(const String&)>& visit) const {
  if (const Ptr<Dir>& dir = dirs_[indexOf(directory)]) {
    for (auto cursor = dir->entry().cursor(); !cursor.atEnd(); cursor.next()) {
      visit(cursor.key());
    }
  }
}

const Ptr<FibGen::MemoryForwardingStatus>& World::fecs() {
  if (!fecs_) {
    fecs_ = makeEntity<FibGen::MemoryForwardingStatus>();
    fecs_->corruptionHookIs(corruptionHook("fec", VrfName()));
  }
  return fecs_;
}

const Ptr<NexthopResolverForwardingStatus>& World::forwardingStatus() {
  if (!forwardingStatus_) {
    forwardingStatus_ = makeEntity<NexthopResolverForwardingStatus>();
    watch_.attach(*forwardingStatus_);
  }
  return forwardingStatus_;
}

template <class Record>
Ptr<Record> World::record(Directory directory, const String& client) {
  Ptr<Record> record = ptrCast<Record>(entry(directory, client));
  if (!record) {
    record = makeEntity<Record>(client);
    if constexpr (std::is_same_v<Record, NexthopStatus>) {
      watch_.attach(*record);
    }
    dir(directory)->entityIs(client, record);
  }
  return record;
}

Ptr<NexthopConfig> World::config(const String& client) {
  return record<NexthopConfig>(Directory::config, client);
}

Ptr<NexthopStatus> World::status(const String& client, Directory directory) {
  return record<NexthopStatus>(directory, client);
}

Ptr<NexthopStatus> World::presentStatus(const String& client) const {
  const auto status = ptrCast<NexthopStatus>(entry(Directory::status, client));
  return status ? status : ptrCast<NexthopStatus>(entry(Directory::cell, client));
}

Ptr<NexthopVrfConfig> World::presentVrfConfig(const String& client, const VrfName& vrf) const {
  const auto config = ptrCast<NexthopConfig>(entry(Directory::config, client));
  return config ? config->vrf(vrf) : nullptr;
}

void World::vrfConfigIs(const String& client, const VrfName& vrfName, NexthopStatusFecIdType kind) {
  vrf(vrfName);
  const Ptr<NexthopConfig> config = this->config(client);
  if (const Ptr<NexthopVrfConfig> vrfConfig = config->vrf(vrfName)) {
    vrfConfig->fecIdTypeIs(kind);
  } else {
    config->vrfIs(vrfName, kind);
  }
}

void World::statusEntryIs(const String& client,
                          const VrfName& vrfName,
                          NexthopStatusFecIdType kind,
                          const NexthopStatusEntry& entry) {
  vrf(vrfName);
  const Ptr<NexthopStatus> present = presentStatus(client);
  const Ptr<NexthopStatus> status = present ? present : makeEntity<NexthopStatus>(client);
  watch_.attach(*status);
  status->vrfIs(vrfName, kind)->nexthopIs(entry);
  if (!present) {
    dir(Directory::status)->entityIs(client, status);
  }
}

void World::replaceEntry(Directory directory, const String& client) {
  if (directory == Directory::config) {
    dir(directory)->entityIs(client, makeEntity<NexthopConfig>(client));
    return;
  }
  const auto status = makeEntity<NexthopStatus>(client);
  watch_.attach(*status);
  dir(directory)->entityIs(client, status);
}

void World::foreignEntryIs(Directory directory, const String& name) {
  dir(directory)->entityIs(name, makeEntity<ForeignEntry>());
}

void World::routingIs(const VrfName& vrfName, AddressFamily family, bool enabled) {
  if (family == AddressFamily::ipv4) {
    routingEntryIs<RoutingInfo>(Directory::routing4, vrfName, enabled);
  } else {
    routingEntryIs<Routing6::RoutingInfo>(Directory::routing6, vrfName, enabled);
  }
}

template <class Info>
void World::routingEntryIs(Directory directory, const VrfName& vrfName, bool enabled) {
  if (const auto info = ptrCast<Info>(entry(directory, vrfName))) {
    info->routingEnabledIs(enabled);
  } else {
    dir(directory)->entityIs(vrfName, makeEntity<Info>(enabled));
  }
}

void World::tableRouteIs(Vrf& vrf, const IpGenPrefix& prefix, const Fib::Route& route) {
  if (prefix.family() == AddressFamily::ipv4) {
    vrf.routes4->routeIs(Prefix(prefix), route);
  } else {
    vrf.routes6->routeIs(Ip6Prefix(prefix), route);
  }
}

void World::tableRouteDel(Vrf& vrf, const IpGenPrefix& prefix) {
  if (prefix.family() == AddressFamily::ipv4) {
    vrf.routes4->routeDel(Prefix(prefix));
  } else {
    vrf.routes6->routeDel(Ip6Prefix(prefix));
  }
}

void World::corruptRoute(Vrf& vrf, const IpGenPrefix& prefix) {
  if (prefix.family() == AddressFamily::ipv4) {
    vrf.routes4->corruptIs(Prefix(prefix));
  } else {
    vrf.routes6->corruptIs(Ip6Prefix(prefix));
  }
}

void World::routeIs(Vrf& vrf, const IpGenPrefix& prefix, const Fib::Route& route) {
  tableRouteIs(vrf, prefix, route);
  TrieGen& trie = *vrf.trie(prefix.family());
  const std::size_t before = trie.routeCount();
  trie.routeIs(prefix, true);
  // One that was there is announced too. Nobody else writes this trie.
  if (trie.routeCount() == before) {
    trie.changedPrefixIs(prefix);
  }
}

void World::routeDel(Vrf& vrf, const IpGenPrefix& prefix) {
  tableRouteDel(vrf, prefix);
  vrf.trie(prefix.family())->routeDel(prefix);
}

void World::makeManager(Vrf& vrf, bool withCells) {
  vrf.manager = nexthopResolverManagerSmFactory(vrf.name,
                                                dir(Directory::config),
                                                dir(Directory::status),
                                                withCells ? dir(Directory::cell) : nullptr,
                                                vrf.trie4,
                                                vrf.trie6,
                                                vrf.routes4,
                                                vrf.routes6,
                                                fecs(),
                                                forwardingStatus(),
                                                vrf.context,
                                                dir(Directory::routing4),
                                                dir(Directory::routing6),
                                                scheduler_);
  attachManager(*vrf.manager);
}

void World::attachManager(const NexthopResolverManagerSm& manager) {
  if (manager.fecIdToClientHop()) {
    watch_.attach(*manager.fecIdToClientHop());
    watch_.attach(*manager.fecIdToResolverId());
  }
  // The manager and its resolvers may still work with what the directories have let go.
  for (auto cursor = manager.nexthopStatusPtr().cursor(); !cursor.atEnd(); cursor.next()) {
    watch_.attach(*cursor.member().value);
  }
  for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    const NexthopResolverSm& resolver = *cursor.member().value;
    watch_.attach(*resolver.nexthopVrfStatus(), resolver.name());
    watch_.attach(*resolver.fecIdToClientHop());
    watch_.attach(*resolver.fecIdToResolverId());
  }
}

void World::attachManagers() {
  for (const auto& [name, vrf] : vrfs_) {
    if (vrf.manager) {
      attachManager(*vrf.manager);
    }
  }
}

void World::attachAll() {
  for (const Directory directory : {Directory::status, Directory::cell}) {
    walk(directory, [this, directory](const String& name) {
      if (const auto status = ptrCast<NexthopStatus>(entry(directory, name))) {
        watch_.attach(*status);
      }
    });
  }
  if (forwardingStatus_) {
    watch_.attach(*forwardingStatus_);
  }
  for (const auto& [name, vrf] : vrfs_) {
    watch_.attach(*vrf.context, name);
  }
  attachManagers();
}

}  // namespace Routing::Replay
