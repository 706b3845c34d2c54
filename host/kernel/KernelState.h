#pragma once

// KernelState: what the kernel's messages add up to. Takes messages one after the other, in the
// order in which they arrived, and keeps interfaces, nexthop objects and the routes of every VRF;
// knows nothing of sockets and time.
//
//   input                         what it does
//   notification of a route       VrfRoutes of its table; "local" is merged into the VRF of "main"
//   nexthop object changed        its FEC in place, those of its groups too
//   nexthop object gone           its routes go
//   link down or gone             hops on it are dead, its nexthop objects gone; both families
//   last IPv4 address gone        hops of IPv4 routes on the interface are dead
//   routes without a carrier are  nothing by itself: the routes of the interface are in doubt
//   ignored, or used again
//   VRF device appeared, gone     a VRF of its name with its table
//   dump of anything              the same for each message, and then what was not named is gone
//
// The kernel does the third to fifth without telling of the routes. What is done here by these
// rules is done at once, and checked: takeRecheck() names what should be read again, unless no
// route was known to use the interface. It also names what a message put in doubt. Who reads again
// does so a little later, because the kernel sends the message first and drops the routes after.
//
// Messages come in batches; batchEnd() closes one. Routes that a batch left without a live hop are
// removed there, in one walk. While the kernel is read they wait for the end of the reading: links,
// addresses and nexthop objects are read before the routes, which may lead elsewhere by now.
//
// Owner: KernelRoutes. It follows Vrfs and must end before it.

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/feed/FecIdSource.h"
#include "host/kernel/Links.h"
#include "host/kernel/Messages.h"
#include "host/kernel/NexthopObjects.h"
#include "host/kernel/VrfRoutes.h"
#include "host/vrf/Vrfs.h"

namespace Routing::Host {

// Something to be read from the kernel whole.
struct DumpRequest {
  enum class Kind : std::uint8_t { links, addresses, nexthops, routes };
  Kind kind = Kind::links;
  // Of routes: family, table, and the interface that they use, or 0.
  AddressFamily family = AddressFamily::unset;
  std::uint32_t table = 0;
  std::uint32_t interface = 0;

  friend bool operator==(const DumpRequest&, const DumpRequest&) noexcept = default;
};

// What should be read again.
struct Recheck {
  bool everything = false;
  // Routes that use these, and the nexthop objects.
  std::set<std::uint32_t> interfaces;
  // Messages did not read, of dumps or others. They may be such that they never do.
  bool damaged = false;
  // A dump may have passed over what is there. So may the next, while routes keep changing.
  bool disturbed = false;

  // Whether the kernel has, or is about to have, other routes than there are here.
  bool any() const noexcept { return everything || !interfaces.empty(); }
};

struct KernelCounters {
  // Messages that say something, and that do not.
  std::uint64_t applied = 0;
  std::uint64_t passedOver = 0;
  // Routes of tables that belong to no VRF.
  std::uint64_t otherTables = 0;
  std::uint64_t damaged = 0;
  // Removals of a route that was known with other content.
  std::uint64_t doubtful = 0;
  std::uint64_t deepLabelStacks = 0;
};

class KernelState {
 public:
  KernelState(Vrfs& vrfs, FecIdSource& source, const Ptr<TaskScheduler>& scheduler);
  KernelState(const KernelState&) = delete;
  KernelState& operator=(const KernelState&) = delete;
  ~KernelState();

  void notification(const Message& message) { apply(message, false); }
  // One dump at a time; notifications go on meanwhile.
  void dumpBegin(const DumpRequest& request);
  void dumpMessage(const Message& message) { apply(message, true); }
  // Complete: the kernel sent all of it, and in one piece.
  void dumpEnd(bool complete);
  // No dump follows the last one.
  void readingEnd() {
    reading_ = false;
    unusableDel();
  }
  void batchEnd() {
    if (!reading_) {
      unusableDel();
    }
  }

  // What should be read again since this was asked last.
  Recheck takeRecheck();
  // All that there is to be read, in the order in which it must be.
  std::vector<DumpRequest> everything() const;
  std::vector<DumpRequest> routesOf(const Vrf& vrf, std::uint32_t interface) const;

  const Links& links() const noexcept { return links_; }
  const NexthopObjects& nexthopObjects() const noexcept { return objects_; }
  // Null for a VRF that is not followed.
  const VrfRoutes* routes(const Vrf& vrf) const noexcept;
  const KernelCounters& counters() const noexcept { return counters_; }
  // Of all VRFs that there are and were.
  std::uint64_t viasBeyondLimit() const noexcept;

  // Called with a VRF that came after construction.
  using VrfAdded = std::function<void(Vrf& vrf)>;
  void vrfAddedIs(VrfAdded hook) { vrfAdded_ = std::move(hook); }

 private:
  void apply(const Message& message, bool inDump);
  bool accept(Parsed parsed);
  void routeMessage(const Message& message, bool inDump);
  void nexthopMessage(const Message& message);
  void linkMessage(const Message& message);
  void addressMessage(const Message& message);
  void settingMessage(const Message& message);

  VrfRoutes* routesOfTable(std::uint32_t table) noexcept;
  FecId fecOf(VrfRoutes& routes, RouteMessage& route);
  FecId knownFecOf(const VrfRoutes& routes, const RouteMessage& route) const;
  void deadOnDownLinks(Hops& hops) const noexcept;
  void preferredSourceIs(const RouteMessage& route);

  bool interfaceUsed(std::uint32_t interface) const;
  void linkIs(const LinkMessage& link);
  void linkDel(std::uint32_t interface);
  void linkDown(std::uint32_t interface);
  void addressDel(const AddressMessage& address);
  void objectDel(std::uint32_t object);
  void routesOfGoneDel(std::uint32_t object);
  void unusableDel();
  void objectsChanged(const NexthopObjects::Ids& objects);
  void vrfDeviceIs(const LinkMessage& link, bool named);
  void vrfDeviceDel(std::uint32_t interface);
  void vrfChanged(Vrf& vrf, bool added);

  Vrfs& vrfs_;
  FecIdSource& source_;
  Ptr<TaskScheduler> scheduler_;
  Links links_;
  NexthopObjects objects_;
  std::vector<std::unique_ptr<VrfRoutes>> routes_;
  VrfAdded vrfAdded_;
  // VRF devices that made a VRF.
  std::map<std::uint32_t, VrfName> devices_;
  // Every address that a route of this machine was told to use as source. The kernel drops such a
  // route without a word when the address goes.
  std::set<IpGenAddr> preferredSources_;
  IpGenAddr lastPreferredSource_;
  // Interfaces of routes whose FEC does not name them: of local routes, and of those that were left
  // out because none of their hops was alive. The kernel does not tell when one is again.
  std::set<std::uint32_t> otherInterfaces_;
  Recheck recheck_;
  KernelCounters counters_;
  // Of VRFs that have gone.
  std::uint64_t viasBeyondLimit_ = 0;

  // From the first of several dumps to the end of the last.
  bool reading_ = false;
  DumpRequest dump_;
  // Of a dump of routes; null when its VRF has gone meanwhile.
  VrfRoutes* dumping_ = nullptr;
  // A message was damaged since the dump began.
  bool damaged_ = false;

  // Kept from message to message for their memory.
  RouteMessage route_;
  NexthopMessage nexthop_;
};

}  // namespace Routing::Host
