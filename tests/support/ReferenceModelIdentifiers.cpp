// References of client nexthops to FECs, and the identifiers that referenced FECs get.

#include <algorithm>

#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

namespace {

constexpr std::uint64_t firstCounterValue = 4;
constexpr std::uint64_t lastReserved = 3;
constexpr std::uint64_t counterBits = 0x00ffffffffffffff;
constexpr std::uint64_t usedUp = counterBits + 1;
constexpr std::uint64_t cleanupDelay = 300;

// What an absent FEC reads as.
const FibGen::Fec absentFec(0);

}  // namespace

// ---- references ----

void ReferenceModel::addReference(ModelVrf& vrf,
                                  FecId fecId,
                                  const String& client,
                                  const IpGenAddr& addr) {
  ModelManager& manager = *vrf.manager;
  const FecId old = manager.keys.value({client, addr});
  if (old == fecId) {
    return;
  }
  if (!manager.references.has(fecId)) {
    meet(readFec(fecId).isEq(absentFec) ? Situation::firstReferenceToMissingFec
                                        : Situation::firstReferenceToPresentFec);
    manager.references.put(fecId, {});
    referenceChanged(vrf, fecId);
  }
  ModelClientRefs& clients = *manager.references.find(fecId);
  if (!clients.has(client)) {
    clients.put(client, {});
    clientReferenceChanged(vrf, fecId, client);
  }
  clients.find(client)->add(addr);
  if (old != 0) {
    meet(Situation::moveBetweenFecs);
    deleteReference(vrf, old, client, addr);
  }
  manager.keys.put({client, addr}, fecId);
  keyChanged(vrf, {client, addr});
}

void ReferenceModel::deleteReference(ModelVrf& vrf,
                                     FecId fecId,
                                     const String& client,
                                     const IpGenAddr& addr) {
  ModelManager& manager = *vrf.manager;
  ModelClientRefs* const clients = manager.references.find(fecId);
  AddressesInOrder* const held = clients == nullptr ? nullptr : clients->find(client);
  if (held == nullptr) {
    throw ModelEnds("a reference is removed that is not there");
  }
  held->remove(addr);
  if (held->empty()) {
    clients->erase(client);
    clientReferenceChanged(vrf, fecId, client);
  }
  if (manager.keys.erase({client, addr})) {
    keyChanged(vrf, {client, addr});
  }
  if (clients->empty()) {
    manager.references.erase(fecId);
    referenceChanged(vrf, fecId);
  }
}

void ReferenceModel::deleteReferenceForNexthop(ModelVrf& vrf,
                                               const String& client,
                                               const IpGenAddr& addr) {
  const FecId fecId = vrf.manager->keys.value({client, addr});
  if (fecId != 0) {
    deleteReference(vrf, fecId, client, addr);
  }
}

void ReferenceModel::deleteReferencesForFec(ModelVrf& vrf, FecId fecId) {
  const ModelClientRefs clients = vrf.manager->references.value(fecId);
  for (const auto& [client, held] : clients.members()) {
    for (const IpGenAddr& addr : held) {
      deleteReference(vrf, fecId, client, addr);
    }
  }
}

// The identifiers' owner acts, then it is noted.
void ReferenceModel::referenceChanged(ModelVrf& vrf, FecId fecId) {
  const bool referenced = vrf.manager->references.has(fecId);
  if (vrf.manager->active) {
    if (referenced) {
      allocate(vrf, fecId);
    } else {
      removeIdentifier(vrf, fecId);
    }
  }
  note({.kind = referenced ? Kind::reference : Kind::referenceDel, .vrf = vrf.name, .id = fecId});
}

void ReferenceModel::clientReferenceChanged(const ModelVrf& vrf,
                                            FecId fecId,
                                            const String& client) {
  const ModelClientRefs* const clients = vrf.manager->references.find(fecId);
  const bool there = clients != nullptr && clients->has(client);
  note({.kind = there ? Kind::clientReference : Kind::clientReferenceDel,
        .vrf = vrf.name,
        .client = client,
        .id = fecId});
}

void ReferenceModel::keyChanged(const ModelVrf& vrf, const ModelKey& key) {
  const FecId* const fecId = vrf.manager->keys.find(key);
  note({.kind = fecId != nullptr ? Kind::key : Kind::keyDel,
        .vrf = vrf.name,
        .client = key.first,
        .addr = key.second,
        .id = fecId != nullptr ? *fecId : 0});
}

// ---- identifiers ----

FibGen::Fec ReferenceModel::readFec(FecId fecId) const {
  const auto found = fecs_.find(fecId);
  return found == fecs_.end() ? absentFec : found->second;
}

void ReferenceModel::startFibVia(ModelVrf& vrf) {
  const auto reserved =
      std::count_if(vrf.published.members().begin(),
                    vrf.published.members().end(),
                    [](const auto& member) { return member.first <= lastReserved; });
  bool cleanUp = true;
  if (vrf.context == usedUp) {
    meet(Situation::startCounterUsedUp);
    contextIs(vrf, firstCounterValue);
    unpublishAll(vrf);
    cleanUp = false;
  } else if (vrf.published.empty()) {
    meet(Situation::startNothingPublished);
    contextIs(vrf, firstCounterValue);
    cleanUp = false;
  } else if (vrf.published.size() == static_cast<std::size_t>(reserved)) {
    meet(Situation::startOnlyReservedPublished);
    contextIs(vrf, firstCounterValue);
  } else if (vrf.context <= firstCounterValue) {
    meet(Situation::startPublishedWithoutContext);
    unpublishAll(vrf);
    contextIs(vrf, firstCounterValue);
  } else {
    meet(Situation::startGoesOn);
  }
  if (cleanUp) {
    timers_.push_back({vrf.name, now_ + cleanupDelay});
  }
  vrf.manager->lastOfEarlierRun = vrf.context - 1;
  vrf.manager->lastAllocated = vrf.context - 1;
}

// A FEC was written, removed or announced.
void ReferenceModel::handleGenFec(ModelVrf& vrf, FecId fecId) {
  ModelManager& manager = *vrf.manager;
  const ModelClientRefs* const clients = manager.references.find(fecId);
  const FibGen::Fec fec = readFec(fecId);
  if (clients == nullptr) {
    const bool back = withdrawn_.erase(fecId) != 0 && !fec.isEq(absentFec);
    meet(back ? Situation::fecComesBackAfterItsReferencesWent : Situation::fecChangesUnreferenced);
    return;
  }
  if (fec.isEq(absentFec)) {
    meet(clients->size() > 1 ? Situation::fecRemovedUnderTwoClients
                             : Situation::fecRemovedUnderReferences);
    withdrawn_.insert(fecId);
    deleteReferencesForFec(vrf, fecId);
    return;
  }
  std::uint64_t resolverId = manager.map.value(fecId);
  const bool isNew = resolverId == 0;
  meet(isNew ? Situation::fecAppearsUnderReferences : Situation::fecChangesUnderIdentifier);
  if (isNew) {
    resolverId = newIdentifier(vrf, fecId);
  }
  publish(vrf, resolverId, fec);
  // FecId 0 has this identifier already when it is not here for the first time.
  if (isNew && !manager.map.has(fecId)) {
    manager.map.put(fecId, resolverId);
    mapChanged(vrf, fecId);
  }
}

// A FEC got its first reference.
void ReferenceModel::allocate(ModelVrf& vrf, FecId fecId) {
  if (vrf.manager->map.has(fecId)) {
    throw ModelEnds("a FEC gets a second identifier");
  }
  const FibGen::Fec fec = readFec(fecId);
  if (fec.isEq(absentFec)) {
    return;
  }
  const std::uint64_t resolverId = newIdentifier(vrf, fecId);
  publish(vrf, resolverId, fec);
  vrf.manager->map.put(fecId, resolverId);
  mapChanged(vrf, fecId);
}

// A FEC lost its last reference: the record goes first.
void ReferenceModel::removeIdentifier(ModelVrf& vrf, FecId fecId) {
  const std::uint64_t* const resolverId = vrf.manager->map.find(fecId);
  if (resolverId == nullptr) {
    meet(Situation::lastReferenceOfFecWithoutIdentifier);
    return;
  }
  meet(Situation::lastReferenceWithdrawsIdentifier);
  unpublish(vrf, *resolverId);
  vrf.manager->map.erase(fecId);
  mapChanged(vrf, fecId);
}

// The context is written for a reserved FEC too, and that lowers it.
std::uint64_t ReferenceModel::newIdentifier(ModelVrf& vrf, FecId fecId) {
  std::uint64_t& last = vrf.manager->lastAllocated;
  if (last == counterBits) {
    throw ModelEnds("the counter space is used up");
  }
  std::uint64_t resolverId = fecId;
  if (fecId > lastReserved) {
    resolverId = (fecId & ~counterBits) | ++last;
  }
  if ((fecId & ~counterBits) != 0) {
    meet(Situation::identifierWithInformationBits);
  }
  if (fecId <= lastReserved) {
    meet(Situation::identifierOfReservedFec);
    if (vrf.context > fecId + 1) {
      meet(Situation::contextLoweredByReservedFec);
    }
  }
  contextIs(vrf, (resolverId & counterBits) + 1);
  return resolverId;
}

void ReferenceModel::contextIs(ModelVrf& vrf, std::uint64_t value) {
  vrf.context = value;
  note({.kind = Kind::context, .vrf = vrf.name, .id = value});
}

void ReferenceModel::publish(ModelVrf& vrf, std::uint64_t resolverId, const FibGen::Fec& fec) {
  std::vector<NexthopResolverVia> vias;
  for (const FibGen::Via& from : fec.via()) {
    NexthopResolverVia via(from.intfId, from.hop);
    via.mplsLabelAndActionIs(from.mplsLabelAndAction());
    via.weightIs(from.weight);
    via.beyondBoundaryIs(fec.viaIndexBoundary() != 0 && vias.size() >= fec.viaIndexBoundary());
    vias.push_back(via);
  }
  const std::size_t count = vias.size();
  vrf.published.put(resolverId, std::move(vias));
  note({.kind = Kind::forwarding, .vrf = vrf.name, .id = resolverId, .value = count});
}

void ReferenceModel::unpublish(ModelVrf& vrf, std::uint64_t resolverId) {
  if (vrf.published.erase(resolverId)) {
    note({.kind = Kind::forwardingDel, .vrf = vrf.name, .id = resolverId});
  }
}

void ReferenceModel::unpublishAll(ModelVrf& vrf) {
  for (const std::uint64_t resolverId : vrf.published.keys()) {
    unpublish(vrf, resolverId);
  }
}

// All resolvers of the VRF act, then it is noted how the map stands by then.
void ReferenceModel::mapChanged(ModelVrf& vrf, FecId fecId) {
  ModelManager& manager = *vrf.manager;
  const bool appeared = manager.map.has(fecId);
  if (manager.active) {
    for (const String& client : manager.resolvers.keys()) {
      if (appeared && !manager.map.has(fecId)) {
        meet(Situation::outerDeliveryAfterIdentifierWasWithdrawn);
      }
      handleFecIdMap(vrf, **manager.resolvers.find(client), fecId);
    }
  }
  const std::uint64_t* const resolverId = manager.map.find(fecId);
  note({.kind = resolverId != nullptr ? Kind::map : Kind::mapDel,
        .vrf = vrf.name,
        .id = fecId,
        .value = resolverId != nullptr ? *resolverId : 0});
}

// Removes what earlier runs published, but for reserved records that this run has taken over.
void ReferenceModel::cleanUpRecords(ModelVrf& vrf) {
  for (const std::uint64_t resolverId : vrf.published.keys()) {
    const bool reserved = resolverId <= lastReserved;
    const bool taken = reserved ? vrf.manager->map.has(resolverId)
                                : (resolverId & counterBits) > vrf.manager->lastOfEarlierRun;
    if (!taken) {
      unpublish(vrf, resolverId);
    }
    meet(reserved ? (taken ? Situation::cleanupKeepsReservedRecord
                           : Situation::cleanupRemovesReservedRecord)
                  : (taken ? Situation::cleanupKeepsRecordOfThisRun
                           : Situation::cleanupRemovesEarlierRecord));
  }
}

}  // namespace Routing::Support
