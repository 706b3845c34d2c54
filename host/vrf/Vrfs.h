#pragma once

// The library's objects of every VRF: made, wired to a manager and taken apart here and nowhere
// else.
//
//   SharedRecords   the directories that all managers share: configurations and statuses by client,
//                   routing information by VRF
//   Vrf             one VRF: tables, FECs and tries that routes are written to, what it publishes,
//                   the context that survives a restart, and the manager while it runs
//   Vrfs            all of them, in order of addition
//
// A VRF is added without a manager. The manager starts when its inputs stand: stored records
// loaded, the first dump of its routes applied. So a restart never shows a client a failure that is
// only the table being empty.
//
// Invariants:
//   1. Both routing-information entries of a VRF exist before its manager and go after it; they are
//      never replaced meanwhile.
//   2. A name and a kernel table belong to at most one VRF.
//   3. FECs, published forwarding records and the context are one a VRF.

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/entity/Dir.h"
#include "platform/entity/Ptr.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopResolverFibViaContext.h"
#include "records/NexthopResolverForwardingStatus.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverManagerSm.h"

namespace Routing::Host {

struct SharedRecords {
  // NexthopConfig and NexthopStatus, by client.
  Ptr<Dir> configs;
  Ptr<Dir> statuses;
  // RoutingInfo and Routing6::RoutingInfo, by VRF.
  Ptr<Dir> routing4;
  Ptr<Dir> routing6;
};

// A VRF that cannot be added: its name or its table is another's.
class VrfError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Vrf {
 public:
  Vrf(VrfName name, std::uint32_t table);

  const VrfName& name() const noexcept { return name_; }
  // The kernel's routing table.
  std::uint32_t table() const noexcept { return table_; }

  const Ptr<Fib::MemoryRouteStatus>& routes4() const noexcept { return routes4_; }
  const Ptr<Fib6::MemoryRouteStatus>& routes6() const noexcept { return routes6_; }
  const Ptr<TrieGen>& trie4() const noexcept { return trie4_; }
  const Ptr<TrieGen>& trie6() const noexcept { return trie6_; }
  const Ptr<FibGen::MemoryForwardingStatus>& fecs() const noexcept { return fecs_; }
  // Holds the entry of this VRF alone.
  const Ptr<NexthopResolverForwardingStatus>& forwarding() const noexcept { return forwarding_; }
  const Ptr<NexthopResolverFibViaContext>& context() const noexcept { return context_; }
  // Null before the manager's start.
  const Ptr<NexthopResolverManagerSm>& manager() const noexcept { return manager_; }
  bool managed() const noexcept { return manager_ != nullptr; }

 private:
  friend class Vrfs;

  VrfName name_;
  std::uint32_t table_;
  Ptr<Fib::MemoryRouteStatus> routes4_;
  Ptr<Fib6::MemoryRouteStatus> routes6_;
  Ptr<TrieGen> trie4_;
  Ptr<TrieGen> trie6_;
  Ptr<FibGen::MemoryForwardingStatus> fecs_;
  Ptr<NexthopResolverForwardingStatus> forwarding_;
  Ptr<NexthopResolverFibViaContext> context_;
  Ptr<RoutingInfo> routing4_;
  Ptr<Routing6::RoutingInfo> routing6_;
  Ptr<NexthopResolverManagerSm> manager_;
};

class Vrfs {
 public:
  // Told after a VRF was added, and before one goes.
  using Listener = std::function<void(Vrf& vrf, bool added)>;

  explicit Vrfs(const Ptr<TaskScheduler>& scheduler);
  Vrfs(const Vrfs&) = delete;
  Vrfs& operator=(const Vrfs&) = delete;
  // Ends the managers, the last one first. Records stay as they are.
  ~Vrfs();

  const SharedRecords& records() const noexcept { return records_; }

  // Adds the VRF with routing enabled and no manager; the one that is there if it has the same
  // name and table. Throws: VrfError.
  Vrf& vrfIs(const VrfName& name, std::uint32_t table);
  // The manager ends while the VRF's routing information still stands, so that what it published
  // stays for a later run; then the rest goes. No effect when there is none.
  void vrfDel(const VrfName& name);

  // Null when there is none.
  Vrf* vrf(const VrfName& name) const noexcept;
  Vrf* vrfOfTable(std::uint32_t table) const noexcept;
  const std::vector<std::unique_ptr<Vrf>>& all() const noexcept { return vrfs_; }

  // Starts the manager. No effect when it runs. Throws: what its start throws.
  void managerStart(Vrf& vrf);

  void listenerIs(Listener listener) { listeners_.push_back(std::move(listener)); }

 private:
  Ptr<TaskScheduler> scheduler_;
  SharedRecords records_;
  std::vector<std::unique_ptr<Vrf>> vrfs_;
  std::vector<Listener> listeners_;
};

}  // namespace Routing::Host
