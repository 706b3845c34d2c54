#include "bench/support/Tables.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <utility>

#include "tools/support/PrefixFile.h"
#include "tools/table-generator/RandomSource.h"
#include "tools/table-generator/TableGenerator.h"

namespace Routing::Bench {

namespace {

constexpr TableShape shape{900'000, 160'000};
constexpr std::uint64_t seed = 1;

std::vector<IpGenPrefix> makePrefixTable() {
  const char* file = std::getenv("NEXTHOP_PREFIXES");
  if (file == nullptr) {
    return generateTable(shape, seed);
  }
  std::vector<IpGenPrefix> prefixes = readTable(file);
  std::sort(prefixes.begin(), prefixes.end());
  prefixes.erase(std::unique(prefixes.begin(), prefixes.end()), prefixes.end());
  return prefixes;
}

}  // namespace

const std::vector<IpGenPrefix>& prefixTable() {
  static const std::vector<IpGenPrefix> table = makePrefixTable();
  return table;
}

std::span<const IpGenPrefix> prefixTable(AddressFamily family) {
  const auto& table = prefixTable();
  const auto middle =
      std::partition_point(table.begin(), table.end(), [](const IpGenPrefix& prefix) {
        return prefix.family() == AddressFamily::ipv4;
      });
  return family == AddressFamily::ipv4 ? std::span(table.begin(), middle)
                                       : std::span(middle, table.end());
}

const IpGenPrefix& privateBlock() {
  static const IpGenPrefix prefix(IpGenAddr::ipv4(0x0a000000U), 8);
  return prefix;
}

const IpGenPrefix& defaultRoute() {
  static const IpGenPrefix prefix(IpGenAddr::ipv4(0), 0);
  return prefix;
}

void Tables::addRoute(const IpGenPrefix& prefix, const Fib::Route& route) {
  if (prefix.family() == AddressFamily::ipv4) {
    routes4->routeIs(Prefix(prefix), route);
    trie4->routeIs(prefix, true);
  } else {
    routes6->routeIs(Ip6Prefix(prefix), route);
    trie6->routeIs(prefix, true);
  }
}

void Tables::replaceRoute(const IpGenPrefix& prefix, const Fib::Route& route) {
  if (prefix.family() == AddressFamily::ipv4) {
    routes4->routeIs(Prefix(prefix), route);
    trie4->changedPrefixIs(prefix);
  } else {
    routes6->routeIs(Ip6Prefix(prefix), route);
    trie6->changedPrefixIs(prefix);
  }
}

void Tables::removeRoute(const IpGenPrefix& prefix) {
  if (prefix.family() == AddressFamily::ipv4) {
    routes4->routeDel(Prefix(prefix));
    trie4->routeDel(prefix);
  } else {
    routes6->routeDel(Ip6Prefix(prefix));
    trie6->routeDel(prefix);
  }
}

void Tables::fecsAre(std::size_t count) {
  for (FecId fecId = firstFec; fecId < firstFec + count; ++fecId) {
    fecIs(fecId, 1);
  }
}

void Tables::fecIs(FecId fecId, std::size_t vias) {
  FibGen::Fec fec(fecId);
  for (std::size_t i = 0; i < vias; ++i) {
    FibGen::Via via;
    via.intfId = {static_cast<std::uint32_t>(i + 1)};
    // 198.18.0.0/15 is set aside for measurements like this one.
    via.hop = IpGenAddr::ipv4(0xc6120000U + static_cast<std::uint32_t>(fecId + i));
    fec.viaIs(via);
  }
  fecs->fecIs(std::move(fec));
}

void Tables::load(std::span<const IpGenPrefix> prefixes, std::size_t fecCount) {
  fecsAre(fecCount);
  RandomSource random(seed);
  for (const IpGenPrefix& prefix : prefixes) {
    const std::uint32_t number = random.below(static_cast<std::uint32_t>(fecCount));
    addRoute(prefix, Fib::Route(firstFec + number, number % 1000, 200, 1));
  }
}

Nexthops spread(std::span<const IpGenPrefix> prefixes, std::size_t count) {
  return pickNexthops(prefixes, count, seed + 1);
}

const Nexthops& spread(std::size_t count) {
  static std::map<std::size_t, Nexthops> made;
  Nexthops& nexthops = made[count];
  if (nexthops.empty()) {
    nexthops = spread(prefixTable(), count);
  }
  return nexthops;
}

// A product with an odd number takes each value once.
Nexthops below(const IpGenPrefix& prefix, std::size_t count) {
  constexpr std::uint32_t odd = 0x9e3779b1U;
  const std::uint32_t hostBits = ~std::uint32_t{0} >> prefix.length();
  Nexthops nexthops;
  nexthops.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    nexthops.push_back(IpGenAddr::ipv4(prefix.words()[0] | (i * odd & hostBits)));
  }
  return nexthops;
}

void shuffle(Nexthops& nexthops) {
  RandomSource random(seed + 2);
  for (std::size_t i = nexthops.size(); i > 1; --i) {
    std::swap(nexthops[i - 1], nexthops[random.below(static_cast<std::uint32_t>(i))]);
  }
}

}  // namespace Routing::Bench
