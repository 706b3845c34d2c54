#pragma once

// DaemonMetrics: what nexthopd tells of itself (docs/metrics.md lists it).
//
// Figures are read from the parts of the daemon when they are asked for. Three things are measured
// as they happen, once a turn: how long the scheduler's task ran, how long the store's transaction
// took, and how long it was from the first kernel message of a stretch of work to the moment when a
// stream told of its outcome. A stretch begins in a turn that applied kernel messages and ends when
// nothing is left to run; what it has a slow stream tell is told later, and is counted then.
//
// The parts outlive it. One thread.

#include <cstdint>
#include <functional>
#include <string>

#include "host/kernel/KernelRoutes.h"
#include "host/loop/EventLoop.h"
#include "host/metrics/Metrics.h"
#include "host/service/ClientService.h"
#include "host/store/StateStore.h"
#include "host/vrf/Vrfs.h"

namespace Routing::Host {

// On the steady clock.
struct TurnTimes {
  // The loop woke up.
  Nanoseconds began{0};
  // The same when no task ran.
  Nanoseconds sliceBegan{0};
  Nanoseconds sliceEnded{0};
  // Clients have been told.
  Nanoseconds ended{0};
};

class DaemonMetrics {
 public:
  struct Parts {
    const EventLoop& loop;
    const Vrfs& vrfs;
    const KernelRoutes& kernel;
    const ClientService& service;
    // Null without a store.
    const StateStore* store;
    std::string version;
  };

  explicit DaemonMetrics(const Parts& parts);
  DaemonMetrics(const DaemonMetrics&) = delete;
  DaemonMetrics& operator=(const DaemonMetrics&) = delete;

  // When the stretch of work began that a turn belongs to, which began then itself; 0 when there is
  // none. To be called at the end of each turn, before the clients are told.
  Nanoseconds cause(Nanoseconds began);
  // To be called at the end of each turn, after the clients were told.
  void turnEnd(const TurnTimes& times);

  std::string text() const { return metrics_.text(); }

 private:
  void addTables();
  void addKernel();
  void addKernelDumps();
  void kernelCounterIs(const char* name,
                       const char* help,
                       std::function<std::uint64_t(const KernelRoutes::Counters& all)> value);
  void addClients();
  void addStore();

  Parts parts_;
  Metrics metrics_;
  Histogram& slices_;
  Histogram& noticeDelays_;
  // Null without a store.
  Histogram* commits_ = nullptr;
  // As of the last turn's end.
  std::uint64_t applied_ = 0;
  std::uint64_t committed_ = 0;
  // When the stretch of work began; 0 when there is none.
  Nanoseconds stretch_{0};
};

}  // namespace Routing::Host
