#include "tests/support/ReferenceModel.h"

#include <algorithm>

namespace Routing::Support {

ModelVrf& ReferenceModel::vrf(const VrfName& name) {
  ModelVrf& vrf = vrfs_[name];
  vrf.name = name;
  return vrf;
}

bool ReferenceModel::scheduled(const VrfName& vrf, const String& client) const {
  return std::find(runnable_.begin(), runnable_.end(), Task{vrf, client}) != runnable_.end();
}

void ReferenceModel::schedule(const ModelVrf& vrf, const String& client) {
  if (!scheduled(vrf.name, client)) {
    runnable_.push_back({vrf.name, client});
  }
}

void ReferenceModel::forEachActive(const std::function<void(ModelVrf&)>& call) {
  for (const VrfName& name : std::vector<VrfName>(subscribed_)) {
    call(vrf(name));
  }
}

// ---- client records ----

void ReferenceModel::config(const String& client) {
  if (!configs_.has(client)) {
    configs_.put(client, std::make_shared<ModelConfig>());
    renotifyConfig(client);
  }
}

void ReferenceModel::configDel(const String& client) {
  if (configs_.erase(client)) {
    renotifyConfig(client);
  }
}

void ReferenceModel::renotifyConfig(const String& client) {
  forEachActive([&](ModelVrf& vrf) { handleConfigDir(vrf, client); });
}

void ReferenceModel::configVrf(const String& client,
                               const VrfName& vrf,
                               NexthopStatusFecIdType kind) {
  config(client);
  const std::shared_ptr<ModelConfig> record = configs_.value(client);
  if (const auto* present = record->vrfs.find(vrf)) {
    (*present)->kind = kind;
    return;
  }
  record->vrfs.put(vrf, std::make_shared<ModelVrfConfig>(ModelVrfConfig{kind, {}}));
  handleVrfOfRecord(vrf, client, record.get());
}

void ReferenceModel::configVrfDel(const String& client, const VrfName& vrf) {
  const std::shared_ptr<ModelConfig> record = configs_.value(client);
  if (record && record->vrfs.erase(vrf)) {
    handleVrfOfRecord(vrf, client, record.get());
  }
}

void ReferenceModel::nexthop(const String& client, const VrfName& vrf, const IpGenAddr& addr) {
  const std::shared_ptr<ModelVrfConfig> config = configs_.value(client)->vrfs.value(vrf);
  config->nexthops.add(addr);
  handleNexthopConfig(vrf, client, config, addr);
}

void ReferenceModel::nexthopDel(const String& client, const VrfName& vrf, const IpGenAddr& addr) {
  const std::shared_ptr<ModelVrfConfig> config = configs_.value(client)->vrfs.value(vrf);
  if (config->nexthops.has(addr)) {
    config->nexthops.remove(addr);
    handleNexthopConfig(vrf, client, config, addr);
  }
}

void ReferenceModel::status(const String& client, bool cell) {
  auto& directory = cell ? cellStatuses_ : statuses_;
  if (!directory.has(client)) {
    directory.put(client, std::make_shared<ModelStatus>());
    renotifyStatus(client, cell);
  }
}

void ReferenceModel::statusDel(const String& client, bool cell) {
  if ((cell ? cellStatuses_ : statuses_).erase(client)) {
    renotifyStatus(client, cell);
  }
}

void ReferenceModel::renotifyStatus(const String& client, bool cell) {
  forEachActive([&](ModelVrf& vrf) {
    if (!cell || vrf.manager->withCells) {
      handleStatusDir(vrf, client, cell);
    }
  });
}

// ---- tables ----

void ReferenceModel::route(const VrfName& vrfName,
                           const IpGenPrefix& prefix,
                           const Fib::Route& route) {
  ModelVrf& target = vrf(vrfName);
  target.routes[prefix] = route;
  handleChangedRoute(target, prefix);
}

void ReferenceModel::routeDel(const VrfName& vrfName, const IpGenPrefix& prefix) {
  ModelVrf& target = vrf(vrfName);
  if (target.routes.erase(prefix) != 0) {
    handleChangedRoute(target, prefix);
  }
}

void ReferenceModel::announce(const VrfName& vrfName,
                              AddressFamily /*family*/,
                              const IpGenPrefix& prefix) {
  handleChangedRoute(vrf(vrfName), prefix);
}

void ReferenceModel::routing(const VrfName& vrfName, AddressFamily family, bool enabled) {
  ModelVrf& target = vrf(vrfName);
  auto& info = family == AddressFamily::ipv4 ? target.routing.first : target.routing.second;
  if (!info) {
    info = std::make_shared<ModelRouting>(ModelRouting{enabled});
    return;
  }
  info->enabled = enabled;
  handleRouting(target, family);
}

void ReferenceModel::routingDel(const VrfName& vrfName, AddressFamily family) {
  ModelRoutings& routing = vrf(vrfName).routing;
  (family == AddressFamily::ipv4 ? routing.first : routing.second) = nullptr;
}

void ReferenceModel::fec(const FibGen::Fec& fec) {
  fecs_.insert_or_assign(fec.fecId(), fec);
  announceFec(fec.fecId());
}

void ReferenceModel::fecDel(FecId fecId) {
  if (fecs_.erase(fecId) != 0) {
    announceFec(fecId);
  }
}

void ReferenceModel::announceFec(FecId fecId) {
  forEachActive([&](ModelVrf& vrf) { handleGenFec(vrf, fecId); });
}

void ReferenceModel::context(const VrfName& vrfName, std::uint64_t value) {
  contextIs(vrf(vrfName), value);
}

void ReferenceModel::published(const VrfName& vrfName, std::uint64_t resolverId) {
  publish(vrf(vrfName), resolverId, FibGen::Fec(0));
}

// ---- tasks and time ----

void ReferenceModel::runTask() {
  const Task task = runnable_.front();
  runnable_.pop_front();
  ModelVrf& of = vrf(task.vrf);
  if (!of.manager->active) {
    return;
  }
  if (task.client.empty()) {
    cleanUpRecords(of);
  } else {
    handleReview(of, **of.manager->resolvers.find(task.client));
  }
}

void ReferenceModel::step() {
  if (!runnable_.empty()) {
    runTask();
  }
}

void ReferenceModel::run() {
  while (!runnable_.empty()) {
    runTask();
  }
}

void ReferenceModel::advance(std::uint64_t seconds) {
  const std::uint64_t target = now_ + seconds;
  run();
  for (;;) {
    const auto next =
        std::min_element(timers_.begin(), timers_.end(), [](const Timer& left, const Timer& right) {
          return left.expiry < right.expiry;
        });
    if (next == timers_.end() || next->expiry > target) {
      break;
    }
    now_ = next->expiry;
    runnable_.push_back({next->vrf, String()});
    timers_.erase(next);
    run();
  }
  now_ = target;
}

}  // namespace Routing::Support
