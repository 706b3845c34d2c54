#include "tools/nexthop-demo/FullTable.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <span>
#include <utility>
#include <vector>

#include "platform/entity/Dir.h"
#include "platform/fib/ForwardingStatus.h"
#include "platform/fib/RouteTable.h"
#include "platform/task/TaskScheduler.h"
#include "platform/trie/TrieGen.h"
#include "records/NexthopConfig.h"
#include "records/NexthopStatus.h"
#include "records/RoutingInfo.h"
#include "resolver/NexthopResolverManagerSm.h"
#include "tools/nexthop-demo/Progress.h"
#include "tools/support/PrefixFile.h"
#include "tools/table-generator/TableGenerator.h"

namespace Routing {

namespace {

const VrfName vrfName = "default";
constexpr FecId firstFecId = 4;
// One nexthop in this many is outside the table.
constexpr std::size_t strayEvery = 101;  // odd, so that every client gets its share

struct ClientChoice {
  const char* name;
  NexthopStatusFecIdType kind;
};
constexpr std::array clientChoices{
    ClientChoice{"bgp", NexthopStatusFecIdType::resolverId},
    ClientChoice{"static", NexthopStatusFecIdType::fibFecId},
    ClientChoice{"tunnels", NexthopStatusFecIdType::resolverId},
    ClientChoice{"policy", NexthopStatusFecIdType::fibFecId},
};

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void printStep(const char* what, std::size_t count, const Stopwatch& watch) {
  std::printf("  %-34s %10zu %9.3f s\n", what, count, watch.seconds());
  std::fflush(stdout);
}

// The shared state of one VRF, filled the way a host fills it.
class World {
 public:
  World()
      : routes4_(makeEntity<Fib::MemoryRouteStatus>()),
        routes6_(makeEntity<Fib6::MemoryRouteStatus>()),
        fecs_(makeEntity<FibGen::MemoryForwardingStatus>()),
        trie4_(makeEntity<TrieGen>("fib4", AddressFamily::ipv4)),
        trie6_(makeEntity<TrieGen>("fib6", AddressFamily::ipv6)),
        configs_(makeEntity<Dir>("nexthopConfig")),
        statuses_(makeEntity<Dir>("nexthopStatus")),
        routingInfo_(makeEntity<Dir>("routingInfo")),
        routing6Info_(makeEntity<Dir>("routing6Info")),
        forwarding_(makeEntity<NexthopResolverForwardingStatus>()),
        context_(makeEntity<NexthopResolverFibViaContext>()),
        scheduler_(TaskSchedulerRoot::findOrCreateScheduler()) {
    routingInfo_->entityIs(vrfName, makeEntity<RoutingInfo>(true));
    routing6Info_->entityIs(vrfName, makeEntity<Routing6::RoutingInfo>(true));
  }

  void addFecs(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      FibGen::Fec fec(firstFecId + i);
      const auto number = static_cast<std::uint32_t>(i);
      // 198.18.0.0/15 is set aside for measurements like this one.
      FibGen::Via via;
      via.intfId = {number % 64 + 1};
      via.hop = IpGenAddr::ipv4(0xc6120000U + number);
      fec.viaIs(via);
      fecs_->fecIs(std::move(fec));
    }
  }

  // The route first, then the prefix in the trie, which announces it.
  void addRoute(const IpGenPrefix& prefix, const Fib::Route& route) {
    if (prefix.family() == AddressFamily::ipv4) {
      routes4_->routeIs(Prefix(prefix), route);
      trie4_->routeIs(prefix, true);
    } else {
      routes6_->routeIs(Ip6Prefix(prefix), route);
      trie6_->routeIs(prefix, true);
    }
  }

  void addClients(std::span<const IpGenAddr> nexthops) {
    for (std::size_t client = 0; client < clientChoices.size(); ++client) {
      const auto& [name, kind] = clientChoices[client];
      const auto config = makeEntity<NexthopConfig>(name);
      const auto vrfConfig = config->vrfIs(vrfName, kind);
      for (std::size_t i = client; i < nexthops.size(); i += clientChoices.size()) {
        vrfConfig->nexthopIs({nexthops[i]});
      }
      configs_->entityIs(name, config);
      statuses_->entityIs(name, makeEntity<NexthopStatus>(name));
    }
  }

  Ptr<NexthopResolverManagerSm> makeManager() {
    return nexthopResolverManagerSmFactory(vrfName,
                                           configs_,
                                           statuses_,
                                           nullptr,
                                           trie4_,
                                           trie6_,
                                           routes4_,
                                           routes6_,
                                           fecs_,
                                           forwarding_,
                                           context_,
                                           routingInfo_,
                                           routing6Info_,
                                           scheduler_);
  }

  TaskScheduler& scheduler() { return *scheduler_; }
  Ptr<NexthopVrfStatus> status(const char* client) const {
    return entityOf<NexthopStatus>(*statuses_, client)->vrf(vrfName);
  }
  std::size_t published() const { return forwarding_->vrf(vrfName)->nexthopResolverIdVia().size(); }

 private:
  Ptr<Fib::MemoryRouteStatus> routes4_;
  Ptr<Fib6::MemoryRouteStatus> routes6_;
  Ptr<FibGen::MemoryForwardingStatus> fecs_;
  Ptr<TrieGen> trie4_;
  Ptr<TrieGen> trie6_;
  Ptr<Dir> configs_;
  Ptr<Dir> statuses_;
  Ptr<Dir> routingInfo_;
  Ptr<Dir> routing6Info_;
  Ptr<NexthopResolverForwardingStatus> forwarding_;
  Ptr<NexthopResolverFibViaContext> context_;
  Ptr<TaskScheduler> scheduler_;
};

std::vector<IpGenPrefix> makeTable(const FullTableOptions& options) {
  const Stopwatch watch;
  auto table =
      options.tableFile ? readTable(*options.tableFile) : generateTable(TableShape{}, options.seed);
  printStep(options.tableFile ? "prefixes read" : "prefixes generated", table.size(), watch);
  return table;
}

// Addresses of the table, some of them replaced by one of a block that no table routes.
std::vector<IpGenAddr> makeNexthops(const std::vector<IpGenPrefix>& table,
                                    const FullTableOptions& options) {
  auto nexthops = pickNexthops(table, options.nexthops, options.seed + 1);
  for (std::size_t i = strayEvery - 1; i < nexthops.size(); i += strayEvery) {
    nexthops[i] = IpGenAddr::ipv4(0xf0000000U + static_cast<std::uint32_t>(i));
  }
  return nexthops;
}

void load(World& world, const std::vector<IpGenPrefix>& table, const FullTableOptions& options) {
  const Stopwatch watch;
  world.addFecs(options.fecs);
  Progress progress("loading routes", table.size());
  std::array<std::size_t, 3> families{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    const Fib::Route route(firstFecId + i % options.fecs,
                           static_cast<std::uint32_t>(i % 1000),
                           200,
                           1);
    world.addRoute(table[i], route);
    ++families.at(static_cast<std::size_t>(table[i].family()));
    progress.doneIs(i);
  }
  progress.doneIs(table.size());
  printStep("routes loaded, tables and tries", table.size(), watch);
  std::printf("  %-34s %10zu\n  %-34s %10zu\n  %-34s %10zu\n",
              "  of these IPv4",
              families[1],
              "  of these IPv6",
              families[2],
              "FECs",
              options.fecs);
}

struct RunFigures {
  std::uint64_t slices = 0;
  double longestSlice = 0;
};

RunFigures runToTheEnd(World& world, std::size_t nexthops) {
  RunFigures figures;
  Progress progress("resolving", nexthops);
  for (bool more = true; more;) {
    const Stopwatch slice;
    more = world.scheduler().runTurn();
    if (more) {
      ++figures.slices;
      figures.longestSlice = std::max(figures.longestSlice, slice.seconds());
    }
    std::size_t written = 0;
    for (const auto& client : clientChoices) {
      written += world.status(client.name)->nexthop().size();
    }
    progress.doneIs(written);
  }
  return figures;
}

void printClients(const World& world) {
  std::printf("\n  %-10s %-12s %10s %10s\n", "client", "identifiers", "resolved", "failed");
  for (const auto& [name, kind] : clientChoices) {
    std::size_t resolved = 0;
    std::size_t failed = 0;
    const auto status = world.status(name);
    for (auto cursor = status->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
      ++(cursor.member().resolutionState == NexthopResolutionState::resolved ? resolved : failed);
    }
    std::printf("  %-10s %-12s %10zu %10zu\n",
                name,
                String(memberName(kind)).c_str(),
                resolved,
                failed);
  }
  std::printf("\n");
}

double peakMegabytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  constexpr double kilobytes = 1024;
  return static_cast<double>(usage.ru_maxrss) / kilobytes;
}

}  // namespace

void runFullTable(const FullTableOptions& options) {
  std::printf("Full table: %s, %zu nexthops of %zu clients\n\n",
              options.tableFile ? options.tableFile->c_str()
                                : ("generated, seed " + std::to_string(options.seed)).c_str(),
              options.nexthops,
              clientChoices.size());
  const std::vector<IpGenPrefix> table = makeTable(options);
  World world;
  load(world, table, options);
  const std::vector<IpGenAddr> nexthops = makeNexthops(table, options);
  const Stopwatch configuration;
  world.addClients(nexthops);
  printStep("nexthops configured", nexthops.size(), configuration);

  const Stopwatch watch;
  const auto manager = world.makeManager();
  const RunFigures figures = runToTheEnd(world, nexthops.size());
  const double seconds = watch.seconds();
  printStep("nexthops resolved, start to last", nexthops.size(), watch);
  std::printf("  %-34s %10zu\n", "resolver identifiers published", world.published());
  printClients(world);
  constexpr double microseconds = 1e6;
  constexpr double milliseconds = 1e3;
  std::printf(
      "  time a nexthop %.2f us, %llu slices, longest %.2f ms, peak memory %.0f MB\n",
      seconds * microseconds / static_cast<double>(std::max<std::size_t>(nexthops.size(), 1)),
      static_cast<unsigned long long>(figures.slices),
      figures.longestSlice * milliseconds,
      peakMegabytes());
}

}  // namespace Routing
