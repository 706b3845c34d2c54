#pragma once

// The tables that the benchmarks work on.
//
//   prefixTable   a full Internet table: 900,000 IPv4 and 160,000 IPv6 prefixes of the generator,
//                 the same in every run, or the prefixes of the file that NEXTHOP_PREFIXES names
//   Tables        route tables, FEC table and FIB tries as a host fills them
//   spread, below nexthops: spread over a table, or many below one prefix
//
// No generated prefix lies in 10.0.0.0/8, so that what is put there is alone.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/entity/Ptr.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/trie/TrieGen.h"

namespace Routing::Bench {

// Of both families, in order. Throws: PrefixFileError.
const std::vector<IpGenPrefix>& prefixTable();
// Its part of one family.
std::span<const IpGenPrefix> prefixTable(AddressFamily family);

// 10.0.0.0/8 and the default route.
const IpGenPrefix& privateBlock();
const IpGenPrefix& defaultRoute();

struct Tables {
  static constexpr FecId firstFec = 4;

  // The table first, the trie last. A route that is replaced is announced by the trie.
  void addRoute(const IpGenPrefix& prefix, const Fib::Route& route);
  void replaceRoute(const IpGenPrefix& prefix, const Fib::Route& route);
  void removeRoute(const IpGenPrefix& prefix);
  // FECs from firstFec on, with one via each.
  void fecsAre(std::size_t count);
  void fecIs(FecId fecId, std::size_t vias);
  // A route for every prefix, spread over that many FECs.
  void load(std::span<const IpGenPrefix> prefixes, std::size_t fecCount);

  Ptr<Fib::MemoryRouteStatus> routes4 = makeEntity<Fib::MemoryRouteStatus>();
  Ptr<Fib6::MemoryRouteStatus> routes6 = makeEntity<Fib6::MemoryRouteStatus>();
  Ptr<FibGen::MemoryForwardingStatus> fecs = makeEntity<FibGen::MemoryForwardingStatus>();
  Ptr<TrieGen> trie4 = makeEntity<TrieGen>("fib4", AddressFamily::ipv4);
  Ptr<TrieGen> trie6 = makeEntity<TrieGen>("fib6", AddressFamily::ipv6);
};

using Nexthops = std::vector<IpGenAddr>;

// Addresses spread evenly over the prefixes.
Nexthops spread(std::span<const IpGenPrefix> prefixes, std::size_t count);
// The full table's. Made once for each count.
const Nexthops& spread(std::size_t count);
// Distinct addresses of an IPv4 prefix, in no order. Requires: it has so many.
Nexthops below(const IpGenPrefix& prefix, std::size_t count);
void shuffle(Nexthops& nexthops);

}  // namespace Routing::Bench
