#pragma once

// ManagerFixture: the manager of VRF v1 in a whole world (VrfWorld.h).
//
// The test sets the world up and calls start(). From then on the log holds, in order, what the
// manager traces and, for a client that is watched, what happens to its status. Watched before the
// start, a client's line stands before what the manager does about it:
//
//   c1: v1 added, entries: 0      c1: v1 removed      c1 v1: status 10.0.0.1 failed

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/entity/Dir.h"
#include "platform/entity/Ptr.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"
#include "resolver/NexthopResolverManagerSm.h"
#include "tests/support/EventLog.h"
#include "tests/support/ResolverFixture.h"
#include "tests/support/TraceLog.h"
#include "tests/support/VrfWorld.h"
#include "tests/support/Watcher.h"

namespace Routing::Support {

// What a manager is made of; a test replaces what it wants another of.
struct ManagerInputs {
  explicit ManagerInputs(const VrfWorld& world, const VrfName& vrf = "v1")
      : vrfName(vrf),
        configDir(world.configDir),
        statusDir(world.statusDir),
        cellStatusDir(world.cellStatusDir),
        trie4(world.trie4),
        trie6(world.trie6),
        routes4(world.routes4),
        routes6(world.routes6),
        fecs(world.fecs),
        forwarding(world.forwarding),
        context(world.context),
        routing4Dir(world.routing4Dir),
        routing6Dir(world.routing6Dir),
        scheduler(world.scheduler) {}

  Ptr<NexthopResolverManagerSm> make() const {
    return nexthopResolverManagerSmFactory(vrfName,
                                           configDir,
                                           statusDir,
                                           cellStatusDir,
                                           trie4,
                                           trie6,
                                           routes4,
                                           routes6,
                                           fecs,
                                           forwarding,
                                           context,
                                           routing4Dir,
                                           routing6Dir,
                                           scheduler);
  }
  // Leaves its notifications as the constructor does.
  Ptr<NexthopResolverManagerSm> construct() const {
    return makeEntity<NexthopResolverManagerSm>(vrfName,
                                                configDir,
                                                statusDir,
                                                cellStatusDir,
                                                trie4,
                                                trie6,
                                                routes4,
                                                routes6,
                                                fecs,
                                                forwarding,
                                                context,
                                                routing4Dir,
                                                routing6Dir,
                                                scheduler);
  }

  VrfName vrfName;
  Ptr<const Dir> configDir;
  Ptr<Dir> statusDir;
  Ptr<Dir> cellStatusDir;
  Ptr<const TrieGen> trie4;
  Ptr<const TrieGen> trie6;
  Ptr<const Fib::RouteStatus> routes4;
  Ptr<const Fib6::RouteStatus> routes6;
  Ptr<const FibGen::ForwardingStatus> fecs;
  Ptr<NexthopResolverForwardingStatus> forwarding;
  Ptr<NexthopResolverFibViaContext> context;
  Ptr<const Dir> routing4Dir;
  Ptr<const Dir> routing6Dir;
  Ptr<TaskScheduler> scheduler;
};

// Logs what happens to the status of one client in all VRFs. Holds nothing of it.
class StatusWatch {
 public:
  StatusWatch(const NexthopStatus& status, EventLog& log)
      : status_(status), log_(log), watcher_(status, [this](FieldId field, const void* key) {
          if (field == NexthopStatus::vrfField) {
            onVrf(keyOf<VrfName>(key));
          }
        }) {
    for (auto cursor = status.vrf().cursor(); !cursor.atEnd(); cursor.next()) {
      watchEntries(*cursor.member().value);
    }
  }

 private:
  void onVrf(const VrfName& vrf) {
    const Ptr<NexthopVrfStatus> vrfStatus = status_.vrf(vrf);
    std::string line = status_.name() + ": " + vrf;
    line +=
        vrfStatus ? " added, entries: " + std::to_string(vrfStatus->nexthop().size()) : " removed";
    log_.add(line);
    if (vrfStatus) {
      watchEntries(*vrfStatus);
    }
  }
  void watchEntries(const NexthopVrfStatus& vrfStatus) {
    entries_.erase(vrfStatus.vrfName());
    entries_.try_emplace(
        vrfStatus.vrfName(),
        vrfStatus,
        [this, client = status_.name(), &vrfStatus](FieldId /*field*/, const void* key) {
          log_.add(client + " " + vrfStatus.vrfName() + ": " +
                   statusLine(vrfStatus, keyOf<IpGenAddr>(key)));
        });
  }

  const NexthopStatus& status_;
  EventLog& log_;
  std::map<VrfName, Watcher> entries_;
  Watcher watcher_;
};

// The line of a message of a manager.
inline std::string managerLine(int level, const std::string& message, const VrfName& vrf = "v1") {
  return std::to_string(level) + " NexthopResolverManager: [" + vrf + "] " + message;
}

template <class Table>
std::vector<String> keysOf(const Table& table) {
  std::vector<String> keys;
  for (auto cursor = table.cursor(); !cursor.atEnd(); cursor.next()) {
    keys.push_back(cursor.key());
  }
  return keys;
}

// The value under the name, or null.
template <class Table>
auto memberOf(const Table& table, const String& name) {
  return valueOf(table, name);
}

class ManagerFixture : public testing::Test {
 protected:
  static constexpr auto fibFecId = NexthopStatusFecIdType::fibFecId;
  static constexpr auto resolverId = NexthopStatusFecIdType::resolverId;

  // Makes the manager and returns what its start-up logged.
  Events start() {
    traced();
    manager = ManagerInputs(world).make();
    return log.take();
  }
  void startQuietly() { manager = ManagerInputs(world).make(); }
  // Ends the manager and returns what that logged.
  Events stop() {
    manager = nullptr;
    return log.take();
  }
  Events run() {
    world.runUntilIdle();
    return log.take();
  }
  void traced() { traces.emplace(log, "NexthopResolverManager"); }
  // Makes the client's status record if need be.
  void watch(const String& client) { statusWatches.emplace_back(*world.status(client), log); }

  // A client with a configuration of the VRF and an empty status record.
  void client(const String& name, NexthopStatusFecIdType kind = fibFecId) {
    world.config(name, kind);
    world.status(name);
  }
  // The same with one nexthop, whose route has a FEC.
  void clientWithNexthop(const String& name, NexthopStatusFecIdType kind = resolverId) {
    world.fec(12);
    world.route("10.0.0.0/8", {12, 0, 1, 0});
    world.config(name, kind)->nexthopIs({addr("10.0.0.1")});
    world.status(name);
  }
  // A status of the VRF with one failed entry, as an earlier run left it.
  Ptr<NexthopVrfStatus> keptStatus(const String& client,
                                   NexthopStatusFecIdType kind = fibFecId,
                                   const VrfName& vrf = "v1") {
    const Ptr<NexthopVrfStatus> kept = world.status(client)->vrfIs(vrf, kind);
    addFailedResolutionStatusEntry(kept, addr("10.0.0.9"));
    return kept;
  }
  // The client's record itself, or null.
  Ptr<NexthopConfig> config(const String& client) const {
    return entityOf<NexthopConfig>(*world.configDir, client);
  }
  Ptr<NexthopResolverSm> resolver(const String& client) const {
    return memberOf(manager->resolverSm(), client);
  }

  EventLog log;
  VrfWorld world;
  Ptr<NexthopResolverManagerSm> manager;
  std::optional<TraceLog> traces;
  std::deque<StatusWatch> statusWatches;
};

}  // namespace Routing::Support
