#pragma once

// The world that a replay drives: everything a host hands to the library, in this process's memory,
// over a virtual clock and one scheduler, which is the process-wide one too.
//
// What belongs to a VRF (tries, route tables, context) appears when the VRF is first named, what is
// shared (directories, FEC table, forwarding status) when it is first needed. Every object whose
// notifications the watch prints is attached to it here, before anybody else can reach the object.
//
// What was removed and is made again is a new object.

#include <array>
#include <functional>
#include <map>
#include <string_view>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/Clock.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "resolver/NexthopResolverManagerSm.h"
#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Watch.h"

namespace Routing::Replay {

enum class Directory : std::uint8_t { config, status, cell, routing4, routing6 };

// A VRF's inputs, and its manager while there is one.
struct Vrf {
  VrfName name;
  Ptr<TrieGen> trie4;
  Ptr<TrieGen> trie6;
  Ptr<Fib::MemoryRouteStatus> routes4;
  Ptr<Fib6::MemoryRouteStatus> routes6;
  Ptr<NexthopResolverFibViaContext> context;
  Ptr<NexthopResolverManagerSm> manager;

  const Ptr<TrieGen>& trie(AddressFamily family) const noexcept {
    return family == AddressFamily::ipv4 ? trie4 : trie6;
  }
};

class World {
 public:
  // Both outlive the world. The scheduler is installed as the process-wide one.
  World(Output& output, Watch& watch);
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  // Drops the managers first.
  ~World();

  TaskScheduler& scheduler() const noexcept { return *scheduler_; }
  VirtualClock& clock() const noexcept { return *clock_; }

  // The VRF, which appears with this.
  Vrf& vrf(const VrfName& name);
  // By name. The VRFs that have been named.
  const std::map<VrfName, Vrf>& vrfs() const noexcept { return vrfs_; }

  const Ptr<Dir>& dir(Directory directory);
  // Null when there is no such entry, or no such directory yet.
  Ptr<Entity> entry(Directory directory, const String& name) const;
  // Visits the entry names of a directory in its order.
  void walk(Directory directory, const std::function<void(const String&)>& visit) const;
  const Ptr<FibGen::MemoryForwardingStatus>& fecs();
  const Ptr<NexthopResolverForwardingStatus>& forwardingStatus();
  // Null when nothing has needed it yet.
  const Ptr<NexthopResolverForwardingStatus>& presentForwardingStatus() const noexcept {
    return forwardingStatus_;
  }

  // The client's record in the directory, made unless there is one.
  Ptr<NexthopConfig> config(const String& client);
  Ptr<NexthopStatus> status(const String& client, Directory directory);
  // The client's record in either status directory, or null.
  Ptr<NexthopStatus> presentStatus(const String& client) const;
  // Null when the client does not configure the VRF.
  Ptr<NexthopVrfConfig> presentVrfConfig(const String& client, const VrfName& vrf) const;
  // Makes the configuration or changes its kind in place.
  void vrfConfigIs(const String& client, const VrfName& vrf, NexthopStatusFecIdType kind);
  // A resolved entry that an earlier run left.
  void statusEntryIs(const String& client,
                     const VrfName& vrf,
                     NexthopStatusFecIdType kind,
                     const NexthopStatusEntry& entry);
  // Puts a new empty record in the place of an entry of the config, status or cell directory.
  void replaceEntry(Directory directory, const String& client);
  void foreignEntryIs(Directory directory, const String& name);
  void routingIs(const VrfName& vrf, AddressFamily family, bool enabled);

  // The table alone.
  static void tableRouteIs(Vrf& vrf, const IpGenPrefix& prefix, const Fib::Route& route);
  static void tableRouteDel(Vrf& vrf, const IpGenPrefix& prefix);
  // The table first, then the trie, which announces the prefix whether or not it held it.
  static void routeIs(Vrf& vrf, const IpGenPrefix& prefix, const Fib::Route& route);
  static void routeDel(Vrf& vrf, const IpGenPrefix& prefix);
  static void corruptRoute(Vrf& vrf, const IpGenPrefix& prefix);

  // Requires: the VRF has no manager.
  void makeManager(Vrf& vrf, bool withCells);
  // Attaches to the watch what the managers made.
  void attachManagers();
  // Attaches everything that there is.
  void attachAll();

 private:
  void attachManager(const NexthopResolverManagerSm& manager);
  template <class Record>
  Ptr<Record> record(Directory directory, const String& client);
  template <class Info>
  void routingEntryIs(Directory directory, const VrfName& vrf, bool enabled);
  std::function<void(const String&)> corruptionHook(std::string_view type, const VrfName& vrf);

  Output& output_;
  Watch& watch_;
  Ptr<VirtualClock> clock_;
  Ptr<TaskScheduler> scheduler_;
  std::array<Ptr<Dir>, 5> dirs_;
  Ptr<FibGen::MemoryForwardingStatus> fecs_;
  Ptr<NexthopResolverForwardingStatus> forwardingStatus_;
  std::map<VrfName, Vrf> vrfs_;
};

}  // namespace Routing::Replay
