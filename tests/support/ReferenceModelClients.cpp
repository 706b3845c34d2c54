// Managers and clients: which client has a resolver, and what becomes of its status.

#include <algorithm>

#include "tests/support/ReferenceModel.h"

namespace Routing::Support {

// ---- the manager's life ----

void ReferenceModel::manager(const VrfName& vrfName, bool withCells) {
  ModelVrf& target = vrf(vrfName);
  target.manager = std::make_shared<ModelManager>();
  target.manager->withCells = withCells;
  subscribed_.push_back(vrfName);
  startFibVia(target);
  for (const String& client : configs_.keys()) {
    handleConfigDir(target, client);
  }
  for (const String& client : statuses_.keys()) {
    handleStatusDir(target, client, false);
  }
  if (withCells) {
    for (const String& client : cellStatuses_.keys()) {
      handleStatusDir(target, client, true);
    }
  }
}

void ReferenceModel::notifications(const VrfName& vrfName, bool active) {
  ModelManager& manager = *vrf(vrfName).manager;
  if (manager.active == active) {
    return;
  }
  manager.active = active;
  if (active) {
    subscribed_.push_back(vrfName);
    meet(Situation::notificationsPausedAndResumed);
  } else {
    subscribed_.erase(std::find(subscribed_.begin(), subscribed_.end(), vrfName));
  }
}

// Everything is silent first; then status, then the identifiers' owner, then the resolvers go.
void ReferenceModel::managerDel(const VrfName& vrfName) {
  ModelVrf& target = vrf(vrfName);
  ModelManager& manager = *target.manager;
  notifications(vrfName, false);
  cleanUpStatuses(target);
  if (!manager.map.empty()) {
    meet(Situation::managerEndsWithPublishedRecords);
  }
  std::erase_if(timers_, [&](const Timer& timer) { return timer.vrf == vrfName; });
  std::erase(runnable_, Task{vrfName, String()});
  for (const String& client : manager.resolvers.keys()) {
    removeResolver(target, client);
  }
  // What the resolvers have left in the index ends with it.
  for (const FecId fecId : manager.references.keys()) {
    const ModelClientRefs clients = manager.references.value(fecId);
    manager.references.erase(fecId);
    referenceChanged(target, fecId);
    for (const String& client : clients.keys()) {
      clientReferenceChanged(target, fecId, client);
    }
  }
  target.manager = nullptr;
}

void ReferenceModel::cleanUpStatuses(ModelVrf& vrf) {
  const bool gone = !vrf.routing.first || !vrf.routing.second;
  if (gone) {
    meet(Situation::managerEndsWithoutVrf);
  }
  for (const String& client : vrf.manager->statuses.keys()) {
    const std::shared_ptr<ModelConfig> config = vrf.manager->configs.value(client);
    if (gone || !config || !config->vrfs.has(vrf.name)) {
      clearVrfStatus(vrf, client);
    } else {
      meet(Situation::managerEndsAndStatusIsKept);
    }
  }
}

// ---- the directories ----

void ReferenceModel::handleConfigDir(ModelVrf& vrf, const String& client) {
  auto& known = vrf.manager->configs;
  const std::shared_ptr<ModelConfig> record = configs_.value(client);
  if (record == known.value(client)) {
    return;
  }
  if (record) {
    known.put(client, record);
  } else {
    known.erase(client);
    if (vrf.manager->resolvers.has(client)) {
      meet(Situation::configurationRemovedUnderResolver);
    }
  }
  handleClient(vrf, client);
}

void ReferenceModel::handleStatusDir(ModelVrf& vrf, const String& client, bool cell) {
  auto& known = vrf.manager->statuses;
  const std::shared_ptr<ModelStatus> record = (cell ? cellStatuses_ : statuses_).value(client);
  const bool elsewhere = (cell ? statuses_ : cellStatuses_).has(client);
  if (record && elsewhere && vrf.manager->withCells) {
    throw ModelEnds("a client's status is in both directories");
  }
  if (record == known.value(client)) {
    return;
  }
  if (record) {
    known.put(client, record);
  } else {
    known.erase(client);
    if (vrf.manager->resolvers.has(client)) {
      meet(Situation::statusRemovedUnderResolver);
    }
  }
  handleClient(vrf, client);
}

// The record's own collection changed: only the VRF's own manager cares, if it watches this record.
void ReferenceModel::handleVrfOfRecord(const VrfName& vrfName,
                                       const String& client,
                                       const void* record) {
  ModelVrf& target = vrf(vrfName);
  if (!target.manager || !target.manager->active) {
    return;
  }
  if (target.manager->configs.value(client).get() == record ||
      target.manager->statuses.value(client).get() == record) {
    handleClient(target, client);
  }
}

// ---- one client ----

void ReferenceModel::handleClient(ModelVrf& vrf, const String& client) {
  const std::shared_ptr<ModelConfig> config = vrf.manager->configs.value(client);
  const std::shared_ptr<ModelStatus> status = vrf.manager->statuses.value(client);
  const auto vrfConfig = config ? config->vrfs.value(vrf.name) : nullptr;
  if (!vrfConfig || !status) {
    removeResolver(vrf, client);
    clearVrfStatus(vrf, client);
    return;
  }
  if (!status->vrfs.has(vrf.name)) {
    meet(Situation::statusCreationComesBack);
    status->vrfs.put(vrf.name,
                     std::make_shared<ModelVrfStatus>(ModelVrfStatus{vrfConfig->kind, {}}));
    handleVrfOfRecord(vrf.name, client, status.get());
    note({.kind = Kind::statusVrf,
          .vrf = vrf.name,
          .client = client,
          .value = static_cast<std::uint64_t>(vrfConfig->kind)});
  }
  makeResolver(vrf, client, vrfConfig, status->vrfs.value(vrf.name));
}

void ReferenceModel::makeResolver(ModelVrf& vrf,
                                  const String& client,
                                  const std::shared_ptr<ModelVrfConfig>& config,
                                  const std::shared_ptr<ModelVrfStatus>& status) {
  if (const auto* present = vrf.manager->resolvers.find(client)) {
    const ModelResolver& resolver = **present;
    if (resolver.config != config || resolver.status != status || resolver.routing != vrf.routing) {
      throw ModelEnds("a resolver's input was replaced");
    }
    return;
  }
  const auto resolver = std::make_shared<ModelResolver>();
  resolver->client = client;
  resolver->config = config;
  resolver->status = status;
  resolver->routing = vrf.routing;
  for (const IpGenAddr& addr : config->nexthops) {
    resolver->review.add(addr);
  }
  for (const IpGenAddr& addr : status->entries.keys()) {
    meet(Situation::startsOnKeptStatus);
    if (!config->nexthops.has(addr)) {
      meet(Situation::statusEntryNoLongerConfigured);
    }
    resolver->review.add(addr);
  }
  if (status->kind != config->kind) {
    meet(Situation::kindOfKeptStatusDiffers);
  }
  vrf.manager->resolvers.put(client, resolver);
  if (!resolver->review.empty()) {
    schedule(vrf, client);
  }
}

// The references of what is configured go with the resolver; those of a nexthop that was
// unconfigured and not reviewed since stay.
void ReferenceModel::removeResolver(ModelVrf& vrf, const String& client) {
  ModelManager& manager = *vrf.manager;
  const std::shared_ptr<ModelResolver> resolver = manager.resolvers.value(client);
  if (!resolver) {
    return;
  }
  manager.resolvers.erase(client);
  if (resolver->wantsResolverIds()) {
    for (const IpGenAddr& addr : AddressesInOrder(resolver->config->nexthops)) {
      deleteReferenceForNexthop(vrf, client, addr);
    }
    if (std::any_of(manager.keys.members().begin(),
                    manager.keys.members().end(),
                    [&](const auto& member) { return member.first.first == client; })) {
      meet(Situation::resolverEndsWithUnreviewedReference);
    }
  }
  std::erase(runnable_, Task{vrf.name, client});
}

void ReferenceModel::clearVrfStatus(ModelVrf& vrf, const String& client) {
  const std::shared_ptr<ModelStatus> status = vrf.manager->statuses.value(client);
  const auto vrfStatus = status ? status->vrfs.value(vrf.name) : nullptr;
  if (!vrfStatus) {
    return;
  }
  meet(vrf.manager->active ? Situation::statusClearingComesBack : Situation::staleStatusCleared);
  for (const IpGenAddr& addr : vrfStatus->entries.keys()) {
    vrfStatus->entries.erase(addr);
    note({.kind = Kind::statusDel, .vrf = vrf.name, .client = client, .addr = addr});
  }
  status->vrfs.erase(vrf.name);
  handleVrfOfRecord(vrf.name, client, status.get());
  note({.kind = Kind::statusVrfDel, .vrf = vrf.name, .client = client});
}

}  // namespace Routing::Support
