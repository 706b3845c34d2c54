#include "tests/fault/SharedRecords.h"

namespace Routing::Support {

using Replay::Directory;
using Replay::World;

namespace {

template <class Member, class Table>
std::vector<Member> membersOf(const Table& table) {
  std::vector<Member> members;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    members.push_back(cursor.member());
  }
  return members;
}

}  // namespace

template <class Record, class Entry>
std::vector<SharedRecords::Client<Entry>> SharedRecords::copyOf(const World& world,
                                                                Directory directory) {
  std::vector<Client<Entry>> clients;
  world.walk(directory, [&](const String& name) {
    const auto record = ptrCast<Record>(world.entry(directory, name));
    std::vector<VrfRecord<Entry>> vrfs;
    for (auto cursor = record->vrf().cursor(); !cursor.atEnd(); cursor.next()) {
      const VrfName& vrf = cursor.key();
      const auto& vrfRecord = cursor.member().value;
      vrfs.push_back({vrf, vrfRecord->fecIdType(), membersOf<Entry>(vrfRecord->nexthop())});
    }
    clients.emplace_back(name, std::move(vrfs));
  });
  return clients;
}

SharedRecords::SharedRecords(World& world)
    : config_(copyOf<NexthopConfig, NexthopConfigEntry>(world, Directory::config)),
      status_(copyOf<NexthopStatus, NexthopStatusEntry>(world, Directory::status)),
      cellStatus_(copyOf<NexthopStatus, NexthopStatusEntry>(world, Directory::cell)) {
  const auto& vrfs = world.forwardingStatus()->vrf();
  for (auto cursor = vrfs.cursor(); !cursor.atEnd(); cursor.next()) {
    const auto& records = cursor.member().value;
    forwarding_.emplace_back(cursor.key(),
                             membersOf<NexthopResolverIdVia>(records->nexthopResolverIdVia()));
  }
  for (const auto& [name, vrf] : world.vrfs()) {
    contexts_[name] = vrf.context->firstUnAllocatedNexthopResolverId();
  }
}

template <class Record, class Entry>
void SharedRecords::put(World& world,
                        Directory directory,
                        const std::vector<Client<Entry>>& clients) {
  for (const auto& [name, vrfs] : clients) {
    const auto record = makeEntity<Record>(name);
    for (const VrfRecord<Entry>& vrf : vrfs) {
      const auto vrfRecord = record->vrfIs(vrf.vrf, vrf.kind);
      for (const Entry& entry : vrf.entries) {
        vrfRecord->nexthopIs(entry);
      }
    }
    world.dir(directory)->entityIs(name, record);
  }
}

void SharedRecords::putInto(World& world) const {
  put<NexthopConfig>(world, Directory::config, config_);
  put<NexthopStatus>(world, Directory::status, status_);
  put<NexthopStatus>(world, Directory::cell, cellStatus_);
  for (const auto& [name, records] : forwarding_) {
    const auto vrf = world.forwardingStatus()->vrfIs(name);
    for (const NexthopResolverIdVia& record : records) {
      vrf->nexthopResolverIdViaIs(record);
    }
  }
  for (const auto& [name, value] : contexts_) {
    world.vrf(name).context->firstUnAllocatedNexthopResolverIdIs(value);
  }
}

std::vector<std::pair<VrfName, ResolverId>> SharedRecords::counterIdentifiers() const {
  std::vector<std::pair<VrfName, ResolverId>> identifiers;
  for (const auto& [name, records] : forwarding_) {
    for (const NexthopResolverIdVia& record : records) {
      if (!record.resolverId().isResIdForReservedFecId()) {
        identifiers.emplace_back(name, record.resolverId());
      }
    }
  }
  return identifiers;
}

}  // namespace Routing::Support
