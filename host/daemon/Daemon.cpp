#include "host/daemon/Daemon.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include "host/daemon/Notify.h"
#include "host/loop/Log.h"
#include "host/loop/RuntimeDirectory.h"

namespace Routing::Host {

namespace {

constexpr std::string_view nextFecIdKey = "nextFecId";
constexpr std::string_view runKey = "run";
// Dead readers of the store keep its pages until somebody looks.
constexpr TimerTask::Seconds housekeepingPeriod{60};

// The machine's clock, running faster.
class FastClock final : public Clock {
 public:
  explicit FastClock(unsigned rate) : rate_(rate) {}
  Nanoseconds now() const override { return real_->now() * rate_; }
  const TypeData& typeData() const override { return real_->typeData(); }

 private:
  Ptr<RealClock> real_ = makeEntity<RealClock>();
  unsigned rate_;
};

// The one scheduler of the process, which the library's timers run on too.
Ptr<TaskScheduler> schedulerOf(unsigned clockRate) {
  Ptr<Clock> clock = makeEntity<RealClock>();
  if (clockRate > 1) {
    clock = makeEntity<FastClock>(clockRate);
  }
  auto scheduler = makeEntity<TaskScheduler>(clock);
  scheduler->timeBudgetIs(TaskScheduler::defaultTimeBudget * clockRate);
  TaskSchedulerRoot::schedulerIs(scheduler);
  return scheduler;
}

// Null when nothing is to be stored. Makes the directory where things are that nobody said
// otherwise of.
std::unique_ptr<StateStore> storeOf(const DaemonOptions& options) {
  for (const std::string& path : {options.storeDirectory, options.socketPath}) {
    if (std::filesystem::path(path).parent_path() == runtimeDirectory()) {
      ownDirectoryMake(runtimeDirectory());
    }
  }
  if (options.storeDirectory.empty()) {
    return nullptr;
  }
  auto store = std::make_unique<StateStore>(options.storeDirectory);
  if (!store->setAside().empty()) {
    log(LogLevel::warning, store->setAside());
  }
  return store;
}

std::string viaText(const KernelRoutes::Description::Hop& hop) {
  std::string text;
  if (!hop.address.empty()) {
    text += " via " + hop.address;
  }
  text += " dev " + hop.interface;
  if (hop.label != MplsLabelAndAction::noLabel) {
    text += " label " + std::to_string(hop.label);
  }
  if (hop.weight != 1) {
    text += " weight " + std::to_string(hop.weight);
  }
  return text + (hop.dead ? " dead" : "");
}

std::string routeText(const KernelRoutes::Description& route) {
  std::string text = routeTypeName(route.type);
  text += " metric " + std::to_string(route.metric);
  if (route.local) {
    text += " table local";
  }
  if (route.object != 0) {
    text += " nexthop object " + std::to_string(route.object);
  }
  for (const auto& hop : route.hops) {
    text += viaText(hop);
  }
  return text;
}

}  // namespace

// The service's own small records, in the store.
class Daemon::StoredRegistrations final : public RegistrationStore {
 public:
  explicit StoredRegistrations(StateStore& store) : store_(store) {}

  void put(const std::string& key, const std::string& value) override {
    store_.registrationIs(key, value);
  }
  void erase(const std::string& key) override { store_.registrationDel(key); }
  void walk(const Visit& visit) const override {
    store_.walkRegistrations([&visit](std::string_view key, std::string_view value) {
      visit(std::string(key), std::string(value));
    });
  }

 private:
  StateStore& store_;
};

Daemon::Daemon(const DaemonOptions& options)
    : options_(options),
      loop_(schedulerOf(options.clockRate), options.clockRate),
      store_(storeOf(options)),
      vrfs_(loop_.scheduler()),
      fecIds_(fecIdSource()) {
  for (const auto& [name, table] : options_.vrfs) {
    vrfs_.vrfIs(name, table);
  }
  runBegin();
  restore();
  service_ = std::make_unique<ClientService>(loop_,
                                             vrfs_,
                                             registrations_.get(),
                                             serviceOptions(options),
                                             serviceHooks());
  service_->restore();
  if (!options.recordFile.empty()) {
    recorder_ = std::make_unique<Recorder>(options.recordFile, vrfs_, loop_.scheduler()->clock());
  }
  KernelRoutes::Options kernelOptions;
  kernelOptions.receiveBuffer = options.receiveBuffer;
  kernel_ = std::make_unique<KernelRoutes>(loop_, vrfs_, fecIds_, kernelOptions);
  kernel_->vrfReadyIs([this](Vrf& vrf) { vrfs_.managerStart(vrf); });
  kernel_->syncedIs([this] { kernelIsSynced(); });
  if (!options.metricsAddress.empty()) {
    metricsStart(options.metricsAddress);
  }
  loop_.turnEndIs([this] { turnEnd(); });
}

// Whoever may touch the records goes before them.
Daemon::~Daemon() {
  metricsServer_.reset();
  metrics_.reset();
  kernel_.reset();
  recorder_.reset();
  service_.reset();
}

void Daemon::run() {
  // Before the first thread, which would take the signals otherwise.
  for (const int signal : {SIGTERM, SIGINT}) {
    loop_.signalIs(signal, [this] {
      log(LogLevel::info, "ending");
      loop_.stop();
    });
  }
  service_->start();
  kernel_->start();
  log(LogLevel::info, "clients connect at " + options_.socketPath);
  loop_.run();
  notifyServiceManager("STOPPING=1");
  service_->stop();
}

// Configurations come before statuses: a status without a configuration is cleared at once.
void Daemon::restore() {
  if (!store_) {
    return;
  }
  registrations_ = std::make_unique<StoredRegistrations>(*store_);
  store_->configsLoad(vrfs_.records());
  store_->statusesLoad(vrfs_.records());
  for (const auto& vrf : vrfs_.all()) {
    store_->vrfLoad(*vrf);
  }
  store_->follow(vrfs_);
  housekeepingTimer_ =
      makeEntity<TimerTask>(loop_.scheduler(), TaskPriority::leastUrgent, "StoreHousekeeping");
  housekeepingRun_.subscribe(*housekeepingTimer_);
  housekeepingTimer_->scheduleTaskLowestDelay(housekeepingPeriod * options_.clockRate);
}

// Greater than every run before: by the clock where the store does not know of them, being none,
// a fresh one or not used by them; by the store where the clock was set back.
void Daemon::runBegin() {
  run_ = static_cast<std::uint64_t>(startedAt_);
  if (store_) {
    run_ = std::max(run_, store_->metaNumber(runKey).value_or(0) + 1);
    store_->metaNumberIs(runKey, run_);
  }
}

FecIdSource Daemon::fecIdSource() {
  if (!store_) {
    return FecIdSource();
  }
  return FecIdSource(store_->metaNumber(nextFecIdKey).value_or(FecIdSource::firstFecId),
                     [this](FecId upTo) { store_->metaNumberIs(nextFecIdKey, upTo); });
}

ServiceOptions Daemon::serviceOptions(const DaemonOptions& options) const {
  ServiceOptions result;
  result.socketPath = options.socketPath;
  result.socketGroup = options.socketGroup;
  result.tlsAddress = options.tlsAddress;
  result.tlsCertificate = options.tlsCertificate;
  result.tlsKey = options.tlsKey;
  result.tlsAuthority = options.tlsAuthority;
  result.grace = Registrations::Seconds(options.graceSeconds * options.clockRate);
  result.limits.registrations = options.mostRegistrations;
  result.identity.version = NEXTHOP_VERSION;
  result.identity.startedAt = startedAt_;
  result.identity.run = run_;
  return result;
}

ServiceHooks Daemon::serviceHooks() {
  ServiceHooks hooks;
  hooks.synced = [this] { return kernel_ && kernel_->synced(); };
  hooks.interfaceName = [this](std::uint32_t index) {
    return kernel_->state().links().name(index);
  };
  hooks.kernelRoutes = [this](const Vrf& vrf, const IpGenPrefix& prefix) {
    return kernelRoutes(vrf, prefix);
  };
  hooks.counters = [this](std::map<std::string, std::uint64_t>& counters) { countersTo(counters); };
  return hooks;
}

std::vector<std::string> Daemon::kernelRoutes(const Vrf& vrf, const IpGenPrefix& prefix) const {
  std::vector<std::string> lines;
  for (const auto& route : kernel_->describe(vrf, prefix)) {
    lines.push_back(routeText(route));
  }
  return lines;
}

void Daemon::countersTo(std::map<std::string, std::uint64_t>& counters) const {
  const KernelRoutes::Counters kernel = kernel_->counters();
  counters["kernel_messages"] = kernel.messages.applied;
  counters["kernel_overruns"] = kernel.overruns;
  counters["kernel_resyncs"] = kernel.resyncs;
  counters["kernel_torn_dumps"] = kernel.tornDumps;
  counters["kernel_truncated"] = kernel.truncated;
  counters["kernel_damaged"] = kernel.messages.damaged;
  counters["loop_wakeups"] = loop_.wakeups();
  if (store_) {
    counters["store_commits"] = store_->counters().commits;
    counters["store_writes"] = store_->counters().writes;
    counters["store_enlargements"] = store_->counters().enlargements;
    counters["store_dead_readers"] = store_->counters().deadReaders;
  }
}

void Daemon::metricsStart(const std::string& address) {
  metrics_ = std::make_unique<DaemonMetrics>(
      DaemonMetrics::Parts{loop_, vrfs_, *kernel_, *service_, store_.get(), NEXTHOP_VERSION});
  metricsServer_ =
      std::make_unique<MetricsServer>(loop_, address, [this] { return metrics_->text(); });
  log(LogLevel::info, "figures at port " + std::to_string(metricsServer_->port()));
}

void Daemon::kernelIsSynced() {
  service_->syncedChanged();
  if (!std::exchange(announced_, true)) {
    std::size_t routes = 0;
    for (const auto& vrf : vrfs_.all()) {
      routes += vrf->routes4()->routeCount() + vrf->routes6()->routeCount();
    }
    const std::size_t count = vrfs_.all().size();
    log(LogLevel::info,
        "following " + std::to_string(routes) + " routes of " +
            (count == 1 ? "VRF " + vrfs_.all().front()->name() : std::to_string(count) + " VRFs"));
    notifyServiceManager("READY=1");
  }
}

void Daemon::turnEnd() {
  if (store_) {
    store_->commit();
  }
  service_->flush(metrics_ ? metrics_->cause(loop_.turnTimes().began) : Nanoseconds(0));
  if (recorder_) {
    recorder_->turnEnd();
  }
  if (metrics_) {
    const EventLoop::TurnTimes& times = loop_.turnTimes();
    metrics_->turnEnd({times.began,
                       times.sliceBegan,
                       times.sliceEnded,
                       std::chrono::steady_clock::now().time_since_epoch()});
  }
}

void Daemon::housekeeping(FieldId field, const void* /*key*/) {
  if (field == Task::runField) {
    store_->deadReadersClear();
    housekeepingTimer_->scheduleTaskLowestDelay(housekeepingPeriod * options_.clockRate);
  }
}

}  // namespace Routing::Host
