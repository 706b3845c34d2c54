#include "bench/table/Events.h"

#include <algorithm>
#include <string>

#include "tools/table-generator/RandomSource.h"

namespace Routing::Bench {

namespace {

constexpr const char* client = "client";

// A world whose one client has its nexthops below one route, resolved.
class CoveredWorld : public World {
 public:
  CoveredWorld(Tables& tables, NexthopStatusFecIdType kind, std::span<const IpGenAddr> nexthops)
      : World(tables), tables_(tables) {
    tables.addRoute(privateBlock(), routeOf(0));
    Vrf::client(Bench::client, kind, nexthops);
    start();
    run();
  }
  CoveredWorld(const CoveredWorld&) = delete;
  CoveredWorld& operator=(const CoveredWorld&) = delete;
  ~CoveredWorld() {
    stop();
    tables_.removeRoute(privateBlock());
  }

 private:
  Tables& tables_;
};

IpGenPrefix subnet(std::uint32_t address, std::uint8_t length) {
  return {IpGenAddr::ipv4(address), length};
}

}  // namespace

Fib::Route routeOf(std::uint32_t metric) { return Fib::Route(Tables::firstFec, metric, 200, 1); }

std::vector<IpGenPrefix> spreadPrefixes(std::size_t count) {
  const auto& table = prefixTable();
  std::vector<IpGenPrefix> prefixes;
  prefixes.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    prefixes.push_back(table[table.size() * i / count]);
  }
  return prefixes;
}

Cost costOfCoveringRoute(Tables& tables, std::size_t nexthops) {
  CoveredWorld world(tables, fibFecId, below(privateBlock(), nexthops));
  std::uint32_t metric = 0;
  return medianOf5([&] {
    ++metric;
    return costOf([&] {
      tables.replaceRoute(privateBlock(), routeOf(metric));
      world.run();
    });
  });
}

Cost costOfMoreSpecificRoute(Tables& tables, std::size_t nexthops) {
  constexpr std::size_t covered = 1024;
  const IpGenPrefix lowerHalf = subnet(0x0a000000U, 9);
  const IpGenPrefix specific = subnet(0x0ac80000U, 16);
  Nexthops all = below(lowerHalf, nexthops - std::min(nexthops, covered));
  const Nexthops some = below(specific, covered);
  all.insert(all.end(), some.begin(), some.end());
  shuffle(all);
  CoveredWorld world(tables, fibFecId, all);
  return medianOf5([&] {
    const Cost cost = costOf([&] {
      tables.addRoute(specific, routeOf(1));
      world.run();
    });
    tables.removeRoute(specific);
    world.run();
    return cost;
  });
}

Cost costOfHostRoutes(Tables& tables, std::size_t nexthops) {
  const Nexthops all = below(privateBlock(), nexthops);
  CoveredWorld world(tables, fibFecId, all);
  RandomSource random(3);
  return medianOf5([&] {
    std::vector<IpGenPrefix> hosts;
    for (std::size_t i = 0; i < hostRouteCount; ++i) {
      const auto place = random.below(static_cast<std::uint32_t>(all.size() / hostRouteCount));
      hosts.push_back(IpGenPrefix::host(all[i * (all.size() / hostRouteCount) + place]));
    }
    const Cost cost = costOf([&] {
      for (const IpGenPrefix& host : hosts) {
        tables.addRoute(host, routeOf(1));
        world.run();
      }
    });
    for (const IpGenPrefix& host : hosts) {
      tables.removeRoute(host);
    }
    world.run();
    return cost;
  });
}

Cost costOfUnrelatedRoutes(Tables& tables,
                           std::size_t nexthops,
                           std::size_t clients,
                           Unrelated where) {
  // No two of the addresses are as near as a /28 is wide.
  Nexthops all = below(privateBlock(), nexthops + unrelatedRouteCount);
  auto prefixes = spreadPrefixes(unrelatedRouteCount);
  if (where == Unrelated::nearby) {
    std::transform(all.begin() + static_cast<std::ptrdiff_t>(nexthops),
                   all.end(),
                   prefixes.begin(),
                   [](const IpGenAddr& address) { return IpGenPrefix(address, 28); });
  }
  all.resize(nexthops);
  for (const IpGenPrefix& prefix : prefixes) {
    tables.addRoute(prefix, routeOf(0));
  }
  World world(tables);
  world.clients(clients, fibFecId, all);
  world.start();
  world.run();
  const Cost cost = medianOf5([&] {
    return costOf([&] {
      for (const IpGenPrefix& prefix : prefixes) {
        tables.replaceRoute(prefix, routeOf(1));
      }
      world.run();
    });
  });
  if (where == Unrelated::nearby) {
    for (const IpGenPrefix& prefix : prefixes) {
      tables.removeRoute(prefix);
    }
  }
  return cost;
}

Cost costOfUnregistering(Tables& tables, std::size_t nexthops) {
  Nexthops all = below(privateBlock(), nexthops);
  Nexthops order = all;
  shuffle(order);
  return medianOf5([&] {
    CoveredWorld world(tables, resolverId, all);
    NexthopVrfConfig& config = world.config(client);
    return costOf([&] {
      for (const IpGenAddr& nexthop : order) {
        config.nexthopDel(nexthop);
      }
      world.run();
    });
  });
}

Cost costOfIgnoredVrf(std::size_t vrfs) {
  Host host;
  const Tables tables;
  std::vector<std::unique_ptr<Vrf>> all;
  for (std::size_t i = 0; i < vrfs; ++i) {
    all.push_back(std::make_unique<Vrf>(host, tables, "vrf-" + std::to_string(i)));
    all.back()->client(client, fibFecId, {});
    all.back()->start();
  }
  const auto record = entityOf<NexthopConfig>(*host.configs, client);
  constexpr std::size_t changes = 20;
  Cost cost = medianOf5([&record] {
    return costOf([&record] {
      for (std::size_t i = 0; i < changes / 2; ++i) {
        record->vrfIs("vrf-of-nobody", fibFecId);
        record->vrfDel("vrf-of-nobody");
      }
    });
  });
  cost.seconds /= changes;
  return cost;
}

}  // namespace Routing::Bench
