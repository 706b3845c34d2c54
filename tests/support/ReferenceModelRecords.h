#pragma once

// What the reference model is made of: plain values in plain containers.
//
// InOrder is a map that is walked in order of insertion, as all collections of the library are. A
// member removed and inserted again goes to the end, a replaced one keeps its place. It is searched
// from one end to the other: the model's universes are small.
//
// Records that a machine may go on holding after a directory let go of them (ModelConfig and those
// below) are shared; everything else is a value of whoever owns it.

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "platform/fib/Fec.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenAddr.h"
#include "platform/net/IpGenPrefix.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"

namespace Routing::Support {

template <class Key, class Value>
class InOrder {
 public:
  using Member = std::pair<Key, Value>;

  bool empty() const noexcept { return members_.empty(); }
  std::size_t size() const noexcept { return members_.size(); }
  const std::vector<Member>& members() const noexcept { return members_; }
  Value* find(const Key& key) noexcept {
    const auto found = position(key);
    return found == members_.end() ? nullptr : &found->second;
  }
  const Value* find(const Key& key) const noexcept {
    return const_cast<InOrder*>(this)->find(key);  // NOLINT(*-const-cast): changes nothing
  }
  bool has(const Key& key) const noexcept { return find(key) != nullptr; }
  // The value under the key, or the type's default.
  Value value(const Key& key) const {
    const Value* const found = find(key);
    return found == nullptr ? Value() : *found;
  }
  void put(const Key& key, Value value) {
    if (Value* const found = find(key)) {
      *found = std::move(value);
    } else {
      members_.emplace_back(key, std::move(value));
    }
  }
  // True when it was there.
  bool erase(const Key& key) {
    const auto found = position(key);
    if (found == members_.end()) {
      return false;
    }
    members_.erase(found);
    return true;
  }
  // The keys as they are now, for a walk during which members may go.
  std::vector<Key> keys() const {
    std::vector<Key> keys;
    keys.reserve(members_.size());
    for (const Member& member : members_) {
      keys.push_back(member.first);
    }
    return keys;
  }

 private:
  typename std::vector<Member>::iterator position(const Key& key) noexcept {
    return std::find_if(members_.begin(), members_.end(), [&key](const Member& member) {
      return member.first == key;
    });
  }

  std::vector<Member> members_;
};

// A set that is walked in order of insertion.
class AddressesInOrder : public std::vector<IpGenAddr> {
 public:
  bool has(const IpGenAddr& addr) const noexcept {
    return std::find(begin(), end(), addr) != end();
  }
  void add(const IpGenAddr& addr) {
    if (!has(addr)) {
      push_back(addr);
    }
  }
  void remove(const IpGenAddr& addr) { erase(std::remove(begin(), end(), addr), end()); }
};

struct ModelVrfConfig {
  NexthopStatusFecIdType kind = NexthopStatusFecIdType::fibFecId;
  AddressesInOrder nexthops;
};
struct ModelConfig {
  InOrder<VrfName, std::shared_ptr<ModelVrfConfig>> vrfs;
};
struct ModelVrfStatus {
  NexthopStatusFecIdType kind = NexthopStatusFecIdType::fibFecId;
  InOrder<IpGenAddr, NexthopStatusEntry> entries;
};
struct ModelStatus {
  InOrder<VrfName, std::shared_ptr<ModelVrfStatus>> vrfs;
};
// A family's routing information.
struct ModelRouting {
  bool enabled;
};
using ModelRoutings = std::pair<std::shared_ptr<ModelRouting>, std::shared_ptr<ModelRouting>>;

// The resolver of one client in one VRF.
struct ModelResolver {
  String client;
  std::shared_ptr<ModelVrfConfig> config;
  std::shared_ptr<ModelVrfStatus> status;
  // IPv4, IPv6; null when there was none when the resolver was made.
  ModelRoutings routing;
  // Addresses that were processed while they were configured.
  std::set<IpGenAddr> tracked;
  AddressesInOrder review;
  // Where the next slice begins; unset: at the beginning.
  IpGenAddr bookmark;

  bool configured(const IpGenAddr& addr) const noexcept { return config->nexthops.has(addr); }
  bool wantsResolverIds() const noexcept {
    return status->kind == NexthopStatusFecIdType::resolverId;
  }
  const std::shared_ptr<ModelRouting>& routingOf(AddressFamily family) const noexcept {
    return family == AddressFamily::ipv4 ? routing.first : routing.second;
  }
};

using ModelClientRefs = InOrder<String, AddressesInOrder>;
using ModelKey = std::pair<String, IpGenAddr>;

// The manager of a VRF with all that it owns.
struct ModelManager {
  bool withCells = true;
  // Whether notifications are on.
  bool active = true;
  InOrder<String, std::shared_ptr<ModelConfig>> configs;
  InOrder<String, std::shared_ptr<ModelStatus>> statuses;
  InOrder<String, std::shared_ptr<ModelResolver>> resolvers;
  // The reference index, both ways, and the map of identifiers.
  InOrder<FecId, ModelClientRefs> references;
  InOrder<ModelKey, FecId> keys;
  InOrder<FecId, std::uint64_t> map;
  // The last counter value of the run before, and of this one.
  std::uint64_t lastOfEarlierRun = 0;
  std::uint64_t lastAllocated = 0;
};

struct ModelVrf {
  VrfName name;
  // The routing trie holds the same prefixes as the table: a host writes both.
  std::map<IpGenPrefix, Fib::Route> routes;
  ModelRoutings routing;
  // What survives the manager.
  std::uint64_t context = 0;
  InOrder<std::uint64_t, std::vector<NexthopResolverVia>> published;
  std::shared_ptr<ModelManager> manager;
};

}  // namespace Routing::Support
