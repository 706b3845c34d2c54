#pragma once

// Daemon: nexthopd put together. Who tells whom stands here and nowhere else.
//
//   kernel -> KernelRoutes -> tables, FECs, tries of the VRFs -> managers -> statuses, forwarding
//   clients -> ClientService -> configurations -> managers
//   statuses, forwarding, configurations -> StateStore, ClientService -> clients
//
// Start: the store is opened, what it holds is put into the records, clients are listened to, the
// kernel is read. A VRF's manager starts when its routes have been read once: no client ever sees a
// nexthop fail that only waits for the table.
//
// A turn of the loop ends with: commit to the store, then tell the clients. A commit that fails
// ends the daemon before anybody is told.
//
// End: clients are let go and the managers end while the VRFs' routing information still stands, so
// that what they published stays for the next run.

#include <chrono>
#include <csignal>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/daemon/Options.h"
#include "host/feed/FecIdSource.h"
#include "host/kernel/KernelRoutes.h"
#include "host/loop/EventLoop.h"
#include "host/metrics/DaemonMetrics.h"
#include "host/metrics/MetricsServer.h"
#include "host/record/Recorder.h"
#include "host/service/ClientService.h"
#include "host/store/StateStore.h"
#include "host/vrf/Vrfs.h"
#include "platform/task/Task.h"

namespace Routing::Host {

class Daemon {
 public:
  // Puts everything together and restores what is stored. Throws: SystemError, StoreError,
  // VrfError.
  explicit Daemon(const DaemonOptions& options);
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon();

  // Serves until SIGTERM or SIGINT. Throws: what made going on impossible.
  void run();

  EventLoop& loop() noexcept { return loop_; }

 private:
  class StoredRegistrations;

  void runBegin();
  void restore();
  FecIdSource fecIdSource();
  ServiceOptions serviceOptions(const DaemonOptions& options) const;
  ServiceHooks serviceHooks();
  void countersTo(std::map<std::string, std::uint64_t>& counters) const;
  std::vector<std::string> kernelRoutes(const Vrf& vrf, const IpGenPrefix& prefix) const;
  void metricsStart(const std::string& address);
  void kernelIsSynced();
  void turnEnd();
  void housekeeping(FieldId field, const void* key);

  DaemonOptions options_;
  EventLoop loop_;
  // Null without a store.
  std::unique_ptr<StateStore> store_;
  std::unique_ptr<StoredRegistrations> registrations_;
  // Nanoseconds since 1970-01-01T00:00:00Z.
  std::int64_t startedAt_ =
      std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
  // The number of this run.
  std::uint64_t run_ = 0;
  Vrfs vrfs_;
  FecIdSource fecIds_;
  std::unique_ptr<ClientService> service_;
  // Null without --record.
  std::unique_ptr<Recorder> recorder_;
  std::unique_ptr<KernelRoutes> kernel_;
  // Null without --metrics.
  std::unique_ptr<DaemonMetrics> metrics_;
  std::unique_ptr<MetricsServer> metricsServer_;
  bool announced_ = false;

  Ptr<TimerTask> housekeepingTimer_;
  Subscription<Daemon, &Daemon::housekeeping> housekeepingRun_{*this};
};

}  // namespace Routing::Host
