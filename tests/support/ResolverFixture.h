#pragma once

// ResolverFixture: the resolver of client c1 in VRF v1 on its own, its index of references and its
// map of identifiers in the test's hands. Identifiers appear only when the test enters them into
// the map.
//
// The log holds, in order, what the resolver writes and, after traced(), what it traces:
//
//   status 10.0.0.1 resolved 12 by 10.0.0.0/8      status 10.0.0.1 failed      status 10.0.0.1
//   removed

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "resolver/NexthopResolverLocal.h"
#include "resolver/NexthopResolverSm.h"
#include "tests/support/EventLog.h"
#include "tests/support/ReferenceWatch.h"
#include "tests/support/TraceLog.h"
#include "tests/support/VrfWorld.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

inline std::string statusLine(const NexthopVrfStatus& status, const IpGenAddr& key) {
  const NexthopStatusEntry* entry = status.nexthop(key);
  const std::string name = "status " + key.stringValue();
  if (entry == nullptr) {
    return name + " removed";
  }
  if (entry->resolutionState == NexthopResolutionState::failed) {
    return name + " failed";
  }
  return name + " resolved " + std::to_string(entry->fecId) + " by " + entry->prefix.stringValue();
}

class ResolverFixture : public testing::Test {
 protected:
  // Makes the resolver for what is configured until now.
  void start(NexthopStatusFecIdType kind = NexthopStatusFecIdType::fibFecId) {
    if (!config) {
      configure(kind);
    }
    statusWatch.emplace(*status, [this](FieldId, const void* key) {
      log.add(statusLine(*status, keyOf<IpGenAddr>(key)));
    });
    resolver = makeResolver();
  }
  void configure(NexthopStatusFecIdType kind) {
    config = makeEntity<NexthopVrfConfig>("v1", kind);
    status = makeEntity<NexthopVrfStatus>("v1", kind);
  }
  Ptr<NexthopResolverSm> makeResolver(const String& client = "c1") {
    return nexthopResolverSmFactory("v1",
                                    client,
                                    config,
                                    status,
                                    world.trie4,
                                    world.trie6,
                                    world.routes4,
                                    world.routes6,
                                    world.routing4,
                                    world.routing6,
                                    references,
                                    map,
                                    world.scheduler);
  }
  void nexthop(std::string_view text) { config->nexthopIs({addr(text)}); }
  void nexthopDel(std::string_view text) { config->nexthopDel(addr(text)); }
  void traced() { traces.emplace(log, "NexthopResolverSm"); }
  // Runs until idle and returns what was logged since the last look.
  Events run() {
    world.runUntilIdle();
    return log.take();
  }
  // One run of one task.
  Events step() {
    world.scheduler->runTask();
    return log.take();
  }
  std::vector<std::string> queued() const {
    std::vector<std::string> addresses;
    for (auto cursor = resolver->reviewNexthop().cursor(); !cursor.atEnd(); cursor.next()) {
      addresses.push_back(cursor.key().stringValue());
    }
    return addresses;
  }
  bool tracked(std::string_view text) const {
    const IpGenPrefix host = IpGenPrefix::host(addr(text));
    return (host.family() == AddressFamily::ipv4 ? resolver->nexthopTrie4()
                                                 : resolver->nexthopTrie6())
        ->routeHas(host);
  }
  FecId referenced(std::string_view text, const String& client = "c1") const {
    return references->clientNexthopToFecId({client, addr(text)});
  }
  bool scheduled() const { return resolver->reviewNexthopTask()->taskIsRunnable(); }

  EventLog log;
  VrfWorld world;
  Ptr<NexthopVrfConfig> config;
  Ptr<NexthopVrfStatus> status;
  Ptr<FecIdToClientHop> references = fecIdToClientHopFactory("v1");
  Ptr<FecIdToResolverId> map = fecIdToResolverIdFactory("v1");
  Ptr<NexthopResolverSm> resolver;
  std::optional<Watcher> statusWatch;
  std::optional<TraceLog> traces;
};

// The line of a message of the resolver of client c1 in VRF v1.
inline std::string resolverLine(int level, const std::string& message) {
  return std::to_string(level) + " NexthopResolverSm: [v1:c1] " + message;
}

}  // namespace Routing::Support
