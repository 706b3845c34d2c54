#pragma once

// FibFeed: writes what the kernel forwards in one table into a VRF's FECs, route tables and tries,
// in the order that keeps every reader right:
//
//   a route appears or changes    its FEC, then the route table, then the trie
//   a route goes                  the route table, then the trie; its FEC when the reviews ran
//   (Fecs)
//
// So a nexthop that is reviewed at any moment in between finds a route and the FEC that it names,
// and a route that is replaced is never missing. What is written again unchanged causes no event.
//
// A route in the table holds its FEC. Both families go through the same two operations; the prefix
// says which.
//
// Owner: the kernel's mirror of the table (host/kernel). It must end before the VRF does.

#include <cstdint>

#include "host/feed/Fecs.h"
#include "host/vrf/Vrfs.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenPrefix.h"

namespace Routing::Host {

class FibFeed {
 public:
  FibFeed(Vrf& vrf, FecIdSource& source, const Ptr<TaskScheduler>& scheduler);

  Vrf& vrf() const noexcept { return vrf_; }
  Fecs& fecs() noexcept { return fecs_; }
  const Fecs& fecs() const noexcept { return fecs_; }

  // The route as it stands; Fib::Route{} when there is none.
  Fib::Route route(const IpGenPrefix& prefix) const;
  // Requires: a FEC of fecs(), and a prefix of a family.
  // Publishes: the prefix, from the table and from the trie, if the route is new or differs.
  void routeIs(const IpGenPrefix& prefix, const Fib::Route& route);
  // Publishes: the same, if there was a route.
  void routeDel(const IpGenPrefix& prefix);

  const Ptr<TrieGen>& trie(AddressFamily family) const;
  std::size_t routeCount() const noexcept;
  // Routes added, changed or removed so far.
  std::uint64_t changes() const noexcept { return changes_; }

 private:
  template <class Table>
  void routeIsIn(Table& table, TrieGen& trie, const IpGenPrefix& prefix, const Fib::Route& route);
  template <class Table>
  void routeDelIn(Table& table, TrieGen& trie, const IpGenPrefix& prefix);

  Vrf& vrf_;
  Fecs fecs_;
  std::uint64_t changes_ = 0;
};

}  // namespace Routing::Host
