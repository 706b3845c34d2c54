// How the daemon bears up: for as long as one likes, the full table changes a thousand times a
// second while clients track nexthops all over it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <span>
#include <thread>
#include <vector>

#include "bench/host/daemon/Lines.h"
#include "tools/table-generator/RandomSource.h"

namespace Routing::Bench {

namespace {

constexpr std::size_t trackedNexthops = 10'000;
constexpr unsigned ticksPerSecond = 10;
constexpr std::size_t changesPerTick = 100;
// Resident memory may move by this much and be called flat: a page here and there.
constexpr double flatMebibytes = 1;

// Random changes that leave the table as large as it is: half of them replace a route, a quarter
// take one away, a quarter bring back the one that has been away longest.
class Churn {
 public:
  explicit Churn(const World& world) : world_(world), present_(world.prefixes.size(), true) {}

  // Queues them; the kernel gets them with the next write.
  void changes(std::size_t count) {
    for (std::size_t change = 0; change < count; ++change) {
      if (change % 4 == 3 && away_.size() > mostAway) {
        add(away_.front());
        away_.pop_front();
      } else if (change % 4 == 1) {
        remove(somePresent());
      } else {
        world_.kernel.replace(world_.prefixes[somePresent()], someGateway());
      }
    }
  }

 private:
  static constexpr std::size_t mostAway = 1000;

  std::size_t somePresent() {
    std::size_t index = 0;
    do {
      index = random_.below(static_cast<std::uint32_t>(present_.size()));
    } while (!present_[index]);
    return index;
  }
  IpGenAddr someGateway() {
    return gateway(world_, random_.below(static_cast<std::uint32_t>(world_.gateways)));
  }
  void add(std::size_t index) {
    world_.kernel.add(world_.prefixes[index], someGateway());
    present_[index] = true;
  }
  void remove(std::size_t index) {
    world_.kernel.remove(world_.prefixes[index]);
    present_[index] = false;
    away_.push_back(index);
  }

  const World& world_;
  RandomSource random_{1};
  std::vector<bool> present_;
  std::deque<std::size_t> away_;
};

// A nexthop whose own host route moves with each batch of changes: when its client hears of that,
// the daemon has read the batch.
class Probe {
 public:
  Probe(const World& world, const DaemonProcess& daemon)
      : world_(world), client_(daemon.socketPath(), "probe") {
    world_.kernel.add(IpGenPrefix::host(nexthop_), gateway(world_, 0));
    world_.kernel.write();
    client_.registerOne(nexthop_);
    client_.waitFor(1);
  }

  // Writes what is queued too. Seconds until the notice.
  double write() {
    const std::uint64_t told = client_.told() + 1;
    world_.kernel.replace(IpGenPrefix::host(nexthop_), gateway(world_, ++writes_ % 2));
    return secondsUntilTold(client_, told, [&] { world_.kernel.write(); });
  }

 private:
  const World& world_;
  Client client_;
  IpGenAddr nexthop_ = IpGenAddr::ipv4(0x0a000001U);  // 10.0.0.1
  std::size_t writes_ = 0;
};

// Calls with every thousand routes and what number the first of them has, and lets the daemon come
// along.
template <class Change>
void changeAll(const World& world, Probe& probe, Change change) {
  constexpr std::size_t atOnce = 1000;
  for (std::size_t first = 0; first < world.prefixes.size(); first += atOnce) {
    const std::size_t count = std::min(atOnce, world.prefixes.size() - first);
    change(world.prefixes.subspan(first, count), first);
    static_cast<void>(probe.write());
  }
}

// Fills whatever in the daemon is bounded and fills in time, so that it is as one that has run for
// long. What leaves a table and comes back stands in another place of it until the table closes its
// holes: every route goes and comes back. And the log holds the last 131,072 events: the nexthops
// move as often as makes so many.
void wearIn(const World& world, Probe& probe) {
  changeAll(world, probe, [&world](std::span<const IpGenPrefix> some, std::size_t first) {
    for (const IpGenPrefix& prefix : some) {
      world.kernel.remove(prefix);
    }
    for (std::size_t index = 0; index < some.size(); ++index) {
      world.kernel.add(some[index], gateway(world, first + index));
    }
  });
  constexpr std::size_t events = 131'072;
  for (std::size_t round = 1; round <= events / trackedNexthops + 1; ++round) {
    changeAll(world, probe, [&world, round](std::span<const IpGenPrefix> some, std::size_t first) {
      for (std::size_t index = 0; index < some.size(); ++index) {
        world.kernel.replace(some[index], gateway(world, first + index + round));
      }
    });
  }
}

struct Minute {
  double resident = 0;
  double cpu = 0;
  double median = 0;
};

Minute oneMinute(Churn& churn, Probe& probe, const DaemonProcess& daemon, Times& delays) {
  Times times;
  const double cpu = daemon.cpuSeconds();
  auto next = std::chrono::steady_clock::now();
  for (unsigned tick = 0; tick < 60 * ticksPerSecond; ++tick) {
    next += std::chrono::milliseconds(1000 / ticksPerSecond);
    churn.changes(changesPerTick - 1);
    const double delay = probe.write();
    times.add(delay);
    delays.add(delay);
    std::this_thread::sleep_until(next);
  }
  return {daemon.mebibytes("VmRSS"), (daemon.cpuSeconds() - cpu) / 60, times.median()};
}

}  // namespace

void enduranceLines(const World& world, unsigned minutes) {
  const DaemonProcess daemon(world.directory, withStore(world));
  Client client(daemon.socketPath(), "patient");
  client.registerAll(spread(world.prefixes, trackedNexthops));
  client.waitFor(trackedNexthops);
  Probe probe(world, daemon);
  const double fresh = daemon.mebibytes("VmRSS");
  wearIn(world, probe);
  const std::uint64_t overruns = daemon.counter("kernel_overruns");
  Churn churn(world);
  Times delays;
  // What the first minutes of this pace fill for good counts as the level.
  const unsigned settled = (minutes + 5) / 6;
  double level = 0;
  double most = 0;
  const auto start = std::chrono::steady_clock::now();
  for (unsigned number = 1; number <= minutes; ++number) {
    const Minute minute = oneMinute(churn, probe, daemon, delays);
    double& highest = number <= settled ? level : most;
    highest = std::max(highest, minute.resident);
    std::fprintf(stderr,
                 "minute %u: %.2f MiB, CPU %.1f %%, notice after %s, %llu told\n",
                 number,
                 minute.resident,
                 minute.cpu * 100,
                 timeText(minute.median).c_str(),
                 static_cast<unsigned long long>(client.told()));
  }
  const double changes = 60.0 * ticksPerSecond * changesPerTick * minutes;
  const double rate = changes / secondsSince(start);
  const std::string what = number("%.0f route changes, ", changes);
  world.rows.is(what + "a second", number("%.0f", rate), "1,000", rate > 990);
  world.rows.is(what + "resident memory, most of the last five sixths",
                number("%.2f MiB", most),
                number("%.0f MiB over the first sixth", flatMebibytes),
                most <= level + flatMebibytes,
                number("first sixth %.2f MiB, ", level) + number("at first %.2f MiB", fresh));
  world.rows.shown(
      what + "notice after the write of 100 changes, median",
      timeText(delays.median()),
      "p99 " + timeText(delays.quantile(0.99)) + ", most " + timeText(delays.quantile(1)));
  const std::uint64_t lost = daemon.counter("kernel_overruns") - overruns;
  world.rows.is(what + "overruns of the kernel's socket", std::to_string(lost), "none", lost == 0);
  world.rows.shown(what + "nexthops told to the client that tracks 10,000",
                   std::to_string(client.told()));
}

}  // namespace Routing::Bench
