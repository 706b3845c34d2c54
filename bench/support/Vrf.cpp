#include "bench/support/Vrf.h"

#include <utility>

namespace Routing::Bench {

Host::Host() : scheduler(TaskSchedulerRoot::findOrCreateScheduler()) {}

Vrf::Vrf(Host& host, const Tables& tables, VrfName name)
    : host_(host), tables_(tables), name_(std::move(name)) {
  host.routing4->entityIs(name_, routingInfo4);
  host.routing6->entityIs(name_, routingInfo6);
}

void Vrf::client(const String& name,
                 NexthopStatusFecIdType kind,
                 std::span<const IpGenAddr> nexthops) {
  auto record = entityOf<NexthopConfig>(*host_.configs, name);
  if (!record) {
    record = makeEntity<NexthopConfig>(name);
    host_.configs->entityIs(name, record);
    host_.statuses->entityIs(name, makeEntity<NexthopStatus>(name));
  }
  const auto vrfConfig = record->vrfIs(name_, kind);
  for (const IpGenAddr& nexthop : nexthops) {
    vrfConfig->nexthopIs({nexthop});
  }
}

void Vrf::clients(std::size_t count,
                  NexthopStatusFecIdType kind,
                  std::span<const IpGenAddr> nexthops) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t first = nexthops.size() * i / count;
    const std::size_t end = nexthops.size() * (i + 1) / count;
    client("client" + std::to_string(i), kind, nexthops.subspan(first, end - first));
  }
}

void Vrf::start() {
  manager_ = nexthopResolverManagerSmFactory(name_,
                                             host_.configs,
                                             host_.statuses,
                                             nullptr,
                                             tables_.trie4,
                                             tables_.trie6,
                                             tables_.routes4,
                                             tables_.routes6,
                                             tables_.fecs,
                                             host_.forwarding,
                                             context_,
                                             host_.routing4,
                                             host_.routing6,
                                             host_.scheduler);
}

void Vrf::run() {
  while (host_.scheduler->runTurn()) {
  }
}

NexthopVrfConfig& Vrf::config(const String& client) const {
  return *entityOf<NexthopConfig>(*host_.configs, client)->vrf(name_);
}

NexthopVrfStatus& Vrf::status(const String& client) const {
  return *entityOf<NexthopStatus>(*host_.statuses, client)->vrf(name_);
}

const NexthopResolverVrfForwardingStatus& Vrf::published() const {
  return *host_.forwarding->vrf(name_);
}

std::size_t Vrf::waiting() const {
  std::size_t count = 0;
  for (auto cursor = manager_->resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    count += cursor.member().value->reviewNexthop().size();
  }
  return count;
}

std::uint64_t Vrf::reviews() const {
  std::uint64_t count = 0;
  for (auto cursor = manager_->resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    count += cursor.member().value->reviewNexthopTask()->taskWorkCount();
  }
  return count;
}

std::size_t Vrf::resolved() const {
  std::size_t count = 0;
  for (auto cursor = manager_->resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
    const auto& entries = cursor.member().value->nexthopVrfStatus()->nexthop();
    for (auto entry = entries.cursor(); !entry.atEnd(); entry.next()) {
      count += entry.member().resolutionState == NexthopResolutionState::resolved ? 1U : 0U;
    }
  }
  return count;
}

}  // namespace Routing::Bench
