#include "host/metrics/DaemonMetrics.h"

#include <chrono>
#include <utility>

#include "host/service/NexthopView.h"

namespace Routing::Host {

namespace {

// Seconds, a factor of about three apart.
const std::vector<double> sliceBounds{1e-5, 3e-5, 1e-4, 3e-4, 1e-3, 3e-3, 0.01, 0.03, 0.1};
const std::vector<double> commitBounds{1e-5, 3e-5, 1e-4, 3e-4, 1e-3, 3e-3, 0.01, 0.03, 0.1, 1.0};
const std::vector<double> delayBounds{1e-4, 3e-4, 1e-3, 3e-3, 0.01, 0.03, 0.1, 0.3, 1.0, 3.0};

double seconds(Nanoseconds duration) noexcept {
  return std::chrono::duration<double>(duration).count();
}

template <class Integer>
double number(Integer value) noexcept {
  return static_cast<double>(value);
}

std::uint64_t identifiersOf(const Vrf& vrf) {
  const auto published = vrf.forwarding()->vrf(vrf.name());
  return published ? published->nexthopResolverIdVia().size() : 0;
}

// Nexthops that wait for their review.
std::uint64_t queuedIn(const Vrf& vrf) {
  std::uint64_t queued = 0;
  if (vrf.managed()) {
    for (auto cursor = vrf.manager()->resolverSm().cursor(); !cursor.atEnd(); cursor.next()) {
      queued += cursor.member().value->reviewNexthop().size();
    }
  }
  return queued;
}

// One sample for each VRF.
template <class Value>
Metrics::Samples ofVrfs(const Vrfs& vrfs, Value value) {
  return [&vrfs, value](const Metrics::Sink& sink) {
    for (const auto& vrf : vrfs.all()) {
      sink({{"vrf", vrf->name()}}, number(value(*vrf)));
    }
  };
}

}  // namespace

DaemonMetrics::DaemonMetrics(const Parts& parts)
    : parts_(parts),
      slices_(metrics_.histogramIs("nexthopd_slice_seconds",
                                   "How long a task ran before the loop looked at its sockets.",
                                   sliceBounds)),
      noticeDelays_(metrics_.histogramIs(
          "nexthopd_notice_delay_seconds",
          "From the kernel message that began a stretch of work until a stream told of it.",
          delayBounds)) {
  metrics_.gaugeIs("nexthopd_version", "1, with the version.", [this](const Metrics::Sink& sink) {
    sink({{"version", parts_.version}}, 1);
  });
  metrics_.counterIs("nexthopd_loop_wakeups", "Turns of the event loop.", [this] {
    return number(parts_.loop.wakeups());
  });
  addTables();
  addKernel();
  addKernelDumps();
  addClients();
  if (parts_.store != nullptr) {
    addStore();
  }
}

Nanoseconds DaemonMetrics::cause(Nanoseconds began) {
  const std::uint64_t applied = parts_.kernel.counters().messages.applied;
  if (std::exchange(applied_, applied) != applied && stretch_ == Nanoseconds(0)) {
    stretch_ = began;
  }
  return stretch_;
}

void DaemonMetrics::turnEnd(const TurnTimes& times) {
  for (const Nanoseconds cause : parts_.service.toldCauses()) {
    noticeDelays_.observe(seconds(times.ended - cause));
  }
  if (!parts_.loop.scheduler()->hasRunnable()) {
    stretch_ = Nanoseconds(0);
  }
  if (times.sliceEnded != times.sliceBegan) {
    slices_.observe(seconds(times.sliceEnded - times.sliceBegan));
  }
  if (commits_ != nullptr && parts_.store->counters().commits != committed_) {
    committed_ = parts_.store->counters().commits;
    commits_->observe(seconds(parts_.store->counters().lastCommit));
  }
}

void DaemonMetrics::addTables() {
  metrics_.gaugeIs(
      "nexthopd_routes",
      "Prefixes with a route, by VRF and family.",
      [this](const Metrics::Sink& sink) {
        for (const auto& vrf : parts_.vrfs.all()) {
          sink({{"vrf", vrf->name()}, {"family", "ipv4"}}, number(vrf->routes4()->routeCount()));
          sink({{"vrf", vrf->name()}, {"family", "ipv6"}}, number(vrf->routes6()->routeCount()));
        }
      });
  metrics_.gaugeIs("nexthopd_fecs",
                   "Forwarding equivalence classes that routes lead to.",
                   ofVrfs(parts_.vrfs, [](const Vrf& vrf) { return vrf.fecs()->fecCount(); }));
  metrics_.gaugeIs("nexthopd_identifiers",
                   "Resolver identifiers that are published with their vias.",
                   ofVrfs(parts_.vrfs, identifiersOf));
  metrics_.gaugeIs("nexthopd_review_queue",
                   "Nexthops that wait for their review.",
                   ofVrfs(parts_.vrfs, queuedIn));
  metrics_.gaugeIs("nexthopd_serving",
                   "1 when the nexthops of the VRF are resolved: its routes have been read once.",
                   ofVrfs(parts_.vrfs, [](const Vrf& vrf) { return vrf.managed() ? 1 : 0; }));
}

void DaemonMetrics::kernelCounterIs(
    const char* name,
    const char* help,
    std::function<std::uint64_t(const KernelRoutes::Counters& all)> value) {
  metrics_.counterIs(name, help, [this, value = std::move(value)] {
    return number(value(parts_.kernel.counters()));
  });
}

void DaemonMetrics::addKernel() {
  using Counters = KernelRoutes::Counters;
  metrics_.gaugeIs("nexthopd_synced", "1 when the tables are the kernel's.", [this] {
    return parts_.kernel.synced() ? 1.0 : 0.0;
  });
  kernelCounterIs("nexthopd_kernel_messages",
                  "Kernel messages that said something.",
                  [](const Counters& all) { return all.messages.applied; });
  kernelCounterIs("nexthopd_kernel_received_bytes",
                  "Bytes of kernel messages.",
                  [](const Counters& all) { return all.bytes; });
  kernelCounterIs("nexthopd_kernel_damaged",
                  "Kernel messages that do not read.",
                  [](const Counters& all) { return all.messages.damaged; });
  kernelCounterIs("nexthopd_kernel_overruns",
                  "Times that the receive buffer ran over.",
                  [](const Counters& all) { return all.overruns; });
  kernelCounterIs("nexthopd_kernel_truncated",
                  "Kernel messages that were cut off.",
                  [](const Counters& all) { return all.truncated; });
  kernelCounterIs("nexthopd_kernel_deep_label_stacks",
                  "Hops with several MPLS labels, of which the outermost was taken.",
                  [](const Counters& all) { return all.messages.deepLabelStacks; });
  kernelCounterIs("nexthopd_kernel_vias_beyond_limit",
                  "Vias left out of a FEC with too many.",
                  [](const Counters& all) { return all.viasBeyondLimit; });
}

void DaemonMetrics::addKernelDumps() {
  using Counters = KernelRoutes::Counters;
  kernelCounterIs("nexthopd_kernel_torn_dumps",
                  "Dumps that changes tore.",
                  [](const Counters& all) { return all.tornDumps; });
  kernelCounterIs("nexthopd_kernel_failed_dumps",
                  "Dumps that the kernel refused.",
                  [](const Counters& all) { return all.failedDumps; });
  kernelCounterIs("nexthopd_kernel_resyncs",
                  "Readings of everything after the first.",
                  [](const Counters& all) { return all.resyncs; });
  kernelCounterIs("nexthopd_kernel_checks",
                  "Readings of the routes of an interface.",
                  [](const Counters& all) { return all.checks; });
}

void DaemonMetrics::addClients() {
  const auto gauge = [this](const char* name, const char* help, auto value) {
    metrics_.gaugeIs(name, help, [this, value] { return number(value(parts_.service.figures())); });
  };
  metrics_.gaugeIs("nexthopd_nexthops",
                   "Registered nexthops, by state and reason.",
                   [this](const Metrics::Sink& sink) {
                     const NexthopTable::Census census = parts_.service.figures().nexthops;
                     for (std::size_t state = 0; state < nexthopStates; ++state) {
                       for (std::size_t reason = 0; reason < nexthopReasons; ++reason) {
                         if (census[state][reason] != 0) {
                           sink({{"state", nexthopStateName(static_cast<NexthopState>(state))},
                                 {"reason", nexthopReasonName(static_cast<NexthopReason>(reason))}},
                                number(census[state][reason]));
                         }
                       }
                     }
                   });
  gauge("nexthopd_registrations", "Nexthops registered by all clients.", [](ServiceFigures all) {
    return all.registrations;
  });
  gauge("nexthopd_clients", "Clients with registrations or a stream.", [](ServiceFigures all) {
    return all.clients;
  });
  gauge("nexthopd_live_clients", "Clients whose Watch stream is open.", [](ServiceFigures all) {
    return all.liveClients;
  });
  gauge("nexthopd_streams", "Open streams of all kinds.", [](ServiceFigures all) {
    return all.streams;
  });
  gauge("nexthopd_stream_backlog",
        "What streams have still to tell: nexthops, identifiers, trace lines.",
        [](ServiceFigures all) { return all.backlog; });
  metrics_.counterIs("nexthopd_notices", "Nexthops told of, in all streams.", [this] {
    return number(parts_.service.figures().told);
  });
}

void DaemonMetrics::addStore() {
  const auto counter = [this](const char* name, const char* help, auto value) {
    metrics_.counterIs(name, help, [this, value] {
      return number(value(parts_.store->counters()));
    });
  };
  using Counters = StateStore::Counters;
  commits_ = &metrics_.histogramIs("nexthopd_store_commit_seconds",
                                   "How long the transaction of a turn took.",
                                   commitBounds);
  counter("nexthopd_store_writes", "Records written.", [](const Counters& all) {
    return all.writes;
  });
  counter("nexthopd_store_enlargements", "Times that the map grew.", [](const Counters& all) {
    return all.enlargements;
  });
  counter("nexthopd_store_dead_readers",
          "Readers cleared after they died.",
          [](const Counters& all) { return all.deadReaders; });
  metrics_.gaugeIs("nexthopd_store_map_bytes", "Size of the store's map.", [this] {
    return number(parts_.store->mapSize());
  });
  metrics_.gaugeIs("nexthopd_store_used_bytes", "What is used of the map.", [this] {
    return number(parts_.store->usedSize());
  });
}

}  // namespace Routing::Host
