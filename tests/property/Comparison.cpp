#include "tests/property/Comparison.h"

#include <string>

#include "tests/property/LiveWorld.h"
#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

namespace {

// True when the table has the model's members in the model's order, as far as `same` can tell.
template <class Table, class Member, class Same>
bool sameMembers(const Table& table, const std::vector<Member>& members, Same same) {
  if (table.size() != members.size()) {
    return false;
  }
  std::size_t place = 0;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    if (!same(cursor, members[place++])) {
      return false;
    }
  }
  return true;
}

template <class Table, class Value>
bool sameKeys(const Table& table, const InOrder<String, Value>& members) {
  return sameMembers(table, members.members(), [](const auto& cursor, const auto& member) {
    return cursor.key() == member.first;
  });
}

// ---- status ----

bool sameEntries(const NexthopVrfStatus& status, const ModelVrfStatus& model) {
  return status.fecIdType() == model.kind &&
         sameMembers(status.nexthop(),
                     model.entries.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.member() == member.second;
                     });
}

String statusDifference(const LiveWorld& world, const ReferenceModel& model, bool cell) {
  const auto& directory = world.statusDir(cell).entry();
  if (!sameKeys(directory, model.statuses(cell))) {
    return "the clients with a status";
  }
  for (const auto& [client, record] : model.statuses(cell).members()) {
    const auto status = entityOf<NexthopStatus>(world.statusDir(cell), client);
    if (!sameKeys(status->vrf(), record->vrfs)) {
      return "the VRFs of the status of " + client;
    }
    for (const auto& [vrf, vrfStatus] : record->vrfs.members()) {
      if (!sameEntries(*status->vrf(vrf), *vrfStatus)) {
        return "the status of " + client + " in " + vrf;
      }
    }
  }
  return {};
}

// ---- resolvers ----

bool sameAddresses(const DenseSet<IpGenAddr>& set, const AddressesInOrder& addresses) {
  return sameMembers(set, addresses, [](const auto& cursor, const IpGenAddr& addr) {
    return cursor.key() == addr;
  });
}

bool sameTracked(const NexthopResolverSm& resolver, const ModelResolver& model) {
  for (const IpGenAddr& addr : model.tracked) {
    const bool is4 = addr.family() == AddressFamily::ipv4;
    if (!(is4 ? resolver.nexthopTrie4() : resolver.nexthopTrie6())
             ->routeHas(IpGenPrefix::host(addr))) {
      return false;
    }
  }
  return resolver.nexthopTrie4()->routeCount() + resolver.nexthopTrie6()->routeCount() ==
         model.tracked.size();
}

String resolverDifference(const NexthopResolverSm& resolver,
                          const ModelResolver& model,
                          bool scheduled) {
  if (!sameAddresses(resolver.reviewNexthop(), model.review)) {
    return "the review set";
  }
  if (resolver.reviewNexthopBookmark() != model.bookmark) {
    return "the bookmark";
  }
  if (resolver.reviewNexthopTask()->taskIsRunnable() != scheduled) {
    return "whether the review is scheduled";
  }
  if (!sameTracked(resolver, model)) {
    return "the tracked nexthops";
  }
  // One that the directories have let go of is not compared otherwise.
  if (!sameEntries(*resolver.nexthopVrfStatus(), *model.status)) {
    return "the status entries";
  }
  return {};
}

// ---- references and identifiers ----

bool sameClientRefs(const NexthopResolverFecIdRef& record, const ModelClientRefs& model) {
  return sameMembers(record.clientRef(),
                     model.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.key() == member.first &&
                              sameAddresses(cursor.member().value->nexthopRef(), member.second);
                     });
}

bool sameReferences(const FecIdToClientHop& index, const ModelManager& model) {
  return sameMembers(index.fecIdRef(),
                     model.references.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.key() == member.first &&
                              sameClientRefs(*cursor.member().value, member.second);
                     });
}

bool sameReferenceKeys(const FecIdToClientHop& index, const ModelManager& model) {
  return sameMembers(index.clientNexthopToFecId(),
                     model.keys.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.key().clientName() == member.first.first &&
                              cursor.key().nexthop() == member.first.second &&
                              cursor.member().value == member.second;
                     });
}

bool sameMap(const FecIdToResolverId& map, const ModelManager& model) {
  return sameMembers(map.fecIdToResolverIdMap(),
                     model.map.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.key() == member.first &&
                              cursor.member().value.value() == member.second;
                     });
}

bool samePublished(const NexthopResolverVrfForwardingStatus& status, const ModelVrf& model) {
  return sameMembers(status.nexthopResolverIdVia(),
                     model.published.members(),
                     [](const auto& cursor, const auto& member) {
                       return cursor.key().value() == member.first &&
                              cursor.member().nexthopResolverVia() == member.second;
                     });
}

bool sameFibVia(const NexthopResolverFibViaSm& machine, const ModelManager& model) {
  return machine.currentId().value() == model.lastOfEarlierRun &&
         machine.resIdAllocator()->currentId().value() == model.lastAllocated;
}

// ---- a VRF ----

String managerDifference(const NexthopResolverManagerSm& manager,
                         const ModelVrf& vrf,
                         const ReferenceModel& model) {
  const ModelManager& of = *vrf.manager;
  if (!sameKeys(manager.nexthopConfigPtr(), of.configs) ||
      !sameKeys(manager.nexthopStatusPtr(), of.statuses)) {
    return "the known client records";
  }
  if (!sameKeys(manager.resolverSm(), of.resolvers)) {
    return "the clients that have a resolver";
  }
  if (!sameReferences(*manager.fecIdToClientHop(), of)) {
    return "the references";
  }
  if (!sameReferenceKeys(*manager.fecIdToClientHop(), of)) {
    return "the references' keys";
  }
  if (!sameMap(*manager.fecIdToResolverId(), of)) {
    return "the map of identifiers";
  }
  if (!sameFibVia(*manager.nexthopResolverFibViaSm(), of)) {
    return "the counter";
  }
  for (auto cursor = manager.resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    const String found = resolverDifference(*cursor.member().value,
                                            **of.resolvers.find(cursor.key()),
                                            model.scheduled(vrf.name, cursor.key()));
    if (!found.empty()) {
      return found + " of " + cursor.key();
    }
  }
  return {};
}

String vrfDifference(const LiveWorld& world, const ModelVrf& vrf, const ReferenceModel& model) {
  const auto found = world.vrfs().find(vrf.name);
  // A VRF that only has routing information, or nothing, is not made yet.
  if (found == world.vrfs().end()) {
    return vrf.manager ? "a manager" : "";
  }
  if (found->second.context->firstUnAllocatedNexthopResolverId() != vrf.context) {
    return "the context";
  }
  const Ptr<NexthopResolverVrfForwardingStatus> published = world.forwarding(vrf.name);
  if (published ? !samePublished(*published, vrf) : !vrf.published.empty()) {
    return "the published records";
  }
  const Ptr<NexthopResolverManagerSm> manager = world.managerOf(vrf.name);
  if ((manager != nullptr) != (vrf.manager != nullptr)) {
    return "a manager";
  }
  return manager ? managerDifference(*manager, vrf, model) : String();
}

}  // namespace

String difference(const LiveWorld& world, const ReferenceModel& model) {
  for (const bool cell : {false, true}) {
    const String found = statusDifference(world, model, cell);
    if (!found.empty()) {
      return found;
    }
  }
  for (const auto& [name, vrf] : model.vrfs()) {
    const String found = vrfDifference(world, vrf, model);
    if (!found.empty()) {
      return found + " of VRF " + name;
    }
  }
  return {};
}

}  // namespace Routing::Support
