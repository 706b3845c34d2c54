#include "host/vrf/Vrfs.h"

#include <algorithm>
#include <utility>

namespace Routing::Host {

Vrf::Vrf(VrfName name, std::uint32_t table)
    : name_(std::move(name)),
      table_(table),
      routes4_(makeEntity<Fib::MemoryRouteStatus>()),
      routes6_(makeEntity<Fib6::MemoryRouteStatus>()),
      trie4_(makeEntity<TrieGen>(name_ + ".fib4", AddressFamily::ipv4)),
      trie6_(makeEntity<TrieGen>(name_ + ".fib6", AddressFamily::ipv6)),
      fecs_(makeEntity<FibGen::MemoryForwardingStatus>()),
      forwarding_(makeEntity<NexthopResolverForwardingStatus>()),
      context_(makeEntity<NexthopResolverFibViaContext>()),
      routing4_(makeEntity<RoutingInfo>(true)),
      routing6_(makeEntity<Routing6::RoutingInfo>(true)) {}

Vrfs::Vrfs(const Ptr<TaskScheduler>& scheduler)
    : scheduler_(scheduler),
      records_{makeEntity<Dir>("nexthopConfig"),
               makeEntity<Dir>("nexthopStatus"),
               makeEntity<Dir>("routingInfo"),
               makeEntity<Dir>("routing6Info")} {}

Vrfs::~Vrfs() {
  while (!vrfs_.empty()) {
    vrfs_.back()->manager_ = nullptr;
    vrfs_.pop_back();
  }
}

Vrf& Vrfs::vrfIs(const VrfName& name, std::uint32_t table) {
  if (Vrf* present = vrf(name)) {
    if (present->table() != table) {
      throw VrfError("VRF " + name + " has table " + std::to_string(present->table()) +
                     " and cannot have table " + std::to_string(table));
    }
    return *present;
  }
  if (const Vrf* other = vrfOfTable(table)) {
    throw VrfError("table " + std::to_string(table) + " belongs to VRF " + other->name() +
                   " and cannot be that of VRF " + name);
  }
  vrfs_.push_back(std::make_unique<Vrf>(name, table));
  Vrf& vrf = *vrfs_.back();
  records_.routing4->entityIs(name, vrf.routing4_);
  records_.routing6->entityIs(name, vrf.routing6_);
  for (const Listener& listener : listeners_) {
    listener(vrf, true);
  }
  return vrf;
}

void Vrfs::vrfDel(const VrfName& name) {
  const auto found = std::find_if(vrfs_.begin(), vrfs_.end(), [&name](const auto& vrf) {
    return vrf->name() == name;
  });
  if (found == vrfs_.end()) {
    return;
  }
  const std::unique_ptr<Vrf> vrf = std::move(*found);
  vrfs_.erase(found);
  for (const Listener& listener : listeners_) {
    listener(*vrf, false);
  }
  vrf->manager_ = nullptr;
  records_.routing4->entityDel(vrf->name());
  records_.routing6->entityDel(vrf->name());
}

Vrf* Vrfs::vrf(const VrfName& name) const noexcept {
  for (const auto& vrf : vrfs_) {
    if (vrf->name() == name) {
      return vrf.get();
    }
  }
  return nullptr;
}

Vrf* Vrfs::vrfOfTable(std::uint32_t table) const noexcept {
  for (const auto& vrf : vrfs_) {
    if (vrf->table() == table) {
      return vrf.get();
    }
  }
  return nullptr;
}

void Vrfs::managerStart(Vrf& vrf) {
  if (vrf.managed()) {
    return;
  }
  vrf.manager_ = nexthopResolverManagerSmFactory(vrf.name(),
                                                 records_.configs,
                                                 records_.statuses,
                                                 nullptr,
                                                 vrf.trie4(),
                                                 vrf.trie6(),
                                                 vrf.routes4(),
                                                 vrf.routes6(),
                                                 vrf.fecs(),
                                                 vrf.forwarding(),
                                                 vrf.context(),
                                                 records_.routing4,
                                                 records_.routing6,
                                                 scheduler_);
}

}  // namespace Routing::Host
