#include "bench/host/daemon/Lines.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Routing::Bench {

namespace {

constexpr std::size_t manyNexthops = 100'000;
constexpr int fewRuns = 5;
constexpr int manyRuns = 1'000;

const std::vector<std::string> noStore{"--no-store"};

std::string leastText(const Times& times) { return "least " + timeText(times.quantile(0)); }

IpGenPrefix block(const char* text) { return *IpGenPrefix::parse(text); }

void pause(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// What comes later than the last notice that was waited for was one too many.
void expectSilence(Client& client, std::uint64_t told) {
  pause(0.1);
  if (client.told() != told) {
    throw std::runtime_error("told of " + std::to_string(client.told() - told) +
                             " nexthops that nothing happened to");
  }
}

struct Registered {
  Times times;
  Times cpu;
};

Registered registerRuns(const World& world, const std::vector<std::string>& arguments) {
  const DaemonProcess daemon(world.directory, arguments);
  Client client(daemon.socketPath(), "many");
  const Nexthops nexthops = spread(world.prefixes, manyNexthops);
  Registered registered;
  for (int run = 0; run < fewRuns; ++run) {
    const std::uint64_t before = client.told();
    const double cpu = daemon.cpuSeconds();
    registered.times.add(
        secondsUntilTold(client, before + manyNexthops, [&] { client.registerAll(nexthops); }));
    registered.cpu.add(daemon.cpuSeconds() - cpu);
    expectSilence(client, before + manyNexthops);
    client.unregisterAll();
  }
  return registered;
}

Times bareRuns(const World& world) {
  Client client(world.bareSocket, "bare");
  const Nexthops nexthops = spread(world.prefixes, manyNexthops);
  Times times;
  for (int run = 0; run < fewRuns; ++run) {
    const std::uint64_t before = client.told();
    times.add(
        secondsUntilTold(client, before + manyNexthops, [&] { client.registerAll(nexthops); }));
  }
  return times;
}

// From before the kernel is told until all `k` nexthops below the prefix have been heard of.
Times replaceRuns(const World& world,
                  Client& client,
                  const IpGenPrefix& prefix,
                  std::size_t k,
                  int runs) {
  Times times;
  for (int run = 0; run < runs; ++run) {
    // The daemon sleeps when the change comes.
    pause(k == 1 ? millisecond : 5 * millisecond);
    const std::uint64_t told = client.told() + k;
    times.add(secondsUntilTold(client, told, [&] {
      world.kernel.replace(prefix, gateway(world, static_cast<std::size_t>(run) % 7));
      world.kernel.write();
    }));
  }
  expectSilence(client, client.told());
  return times;
}

// A host route for a nexthop of the client's, replaced many times; taken away again.
Times hostRouteRuns(const World& world, Client& client, const IpGenAddr& nexthop) {
  const IpGenPrefix host = IpGenPrefix::host(nexthop);
  std::uint64_t told = client.told();
  world.kernel.add(host, gateway(world, 10));
  world.kernel.write();
  client.waitFor(++told);
  Times times = replaceRuns(world, client, host, 1, manyRuns);
  told = client.told();
  world.kernel.remove(host);
  world.kernel.write();
  client.waitFor(++told);
  return times;
}

// The kernel's part: written, and read by somebody who does nothing with it.
Times notifiedRuns(const World& world, const IpGenPrefix& prefix, int runs) {
  Times times;
  for (int run = 0; run < runs; ++run) {
    times.add(world.kernel.notified(prefix, gateway(world, static_cast<std::size_t>(run) % 7)));
  }
  return times;
}

// A client whose nexthops, and nothing else, lie below the prefix.
std::unique_ptr<Client> clientBelow(const World& world,
                                    const DaemonProcess& daemon,
                                    const IpGenPrefix& prefix,
                                    const Nexthops& nexthops) {
  world.kernel.replace(prefix, gateway(world, 20));
  world.kernel.write();
  auto client =
      std::make_unique<Client>(daemon.socketPath(), "below-" + prefix.stringValue().substr(0, 5));
  client->registerAll(nexthops);
  client->waitFor(nexthops.size());
  return client;
}

void hostRouteLine(const World& world,
                   const std::string& among,
                   const Times& times,
                   const Times& kernel) {
  const std::string what = "one host route replaced, k = 1 among " + among;
  world.rows.below(what + ", median",
                   times.median(),
                   250 * microsecond,
                   "kernel's write and notification " + timeText(kernel.median()));
  world.rows.below(what + ", p99",
                   times.quantile(0.99),
                   millisecond,
                   "the same, p99 " + timeText(kernel.quantile(0.99)));
}

// What is left when the daemon need not keep pace with the kernel: the routes wait in its socket.
// The next one of each run is a tracked nexthop's, so that its client hears of it.
Times waitingRuns(const World& world,
                  const DaemonProcess& daemon,
                  Client& client,
                  const IpGenAddr& nexthop) {
  // Fewer than the socket's buffer holds.
  constexpr std::size_t waiting = 10'000;
  const Nexthops hosts = below(block("10.208.0.0/12"), waiting * fewRuns);
  Times times;
  for (std::size_t run = 0; run < fewRuns; ++run) {
    const std::uint64_t told = client.told();
    const double cpu = daemon.cpuSeconds();
    daemon.stop();
    for (std::size_t index = 0; index < waiting; ++index) {
      world.kernel.add(IpGenPrefix::host(hosts[run * waiting + index]), gateway(world, index));
    }
    world.kernel.replace(IpGenPrefix::host(nexthop), gateway(world, run));
    world.kernel.write();
    daemon.resume();
    client.waitFor(told + 1);
    pause(0.1);
    times.add((daemon.cpuSeconds() - cpu) / static_cast<double>(waiting));
  }
  return times;
}

void unrelatedLine(const World& world,
                   const DaemonProcess& daemon,
                   Client& client,
                   const IpGenAddr& nexthop) {
  constexpr std::size_t burst = 100'000;
  const Nexthops hosts = below(block("10.192.0.0/12"), burst);
  const double cpu = daemon.cpuSeconds();
  const std::uint64_t told = client.told();
  const double written = secondsOf([&] {
    for (std::size_t index = 0; index < hosts.size(); ++index) {
      world.kernel.add(IpGenPrefix::host(hosts[index]), gateway(world, index));
    }
    // Whoever has heard of the last route has seen all others.
    world.kernel.add(IpGenPrefix::host(nexthop), gateway(world, 10));
    world.kernel.write();
  });
  client.waitFor(told + 1);
  pause(0.1);
  const double each = (daemon.cpuSeconds() - cpu) / static_cast<double>(burst);
  world.rows.below("an unrelated route, burst of 100,000, four clients: daemon's CPU each",
                   each,
                   2 * microsecond,
                   "kernel's write " + timeText(written / static_cast<double>(burst)) + " each");
  const Times waiting = waitingRuns(world, daemon, client, nexthop);
  world.rows.shown("the same of 10,000 that it finds waiting, median",
                   timeText(waiting.median()),
                   leastText(waiting));
}

void idleLine(const World& world, const DaemonProcess& daemon) {
  pause(2);
  const std::uint64_t first = daemon.counter("loop_wakeups");
  // What a question for the counter adds.
  const std::uint64_t question = daemon.counter("loop_wakeups") - first;
  const double cpu = daemon.cpuSeconds();
  const std::uint64_t before = daemon.counter("loop_wakeups");
  pause(world.idleSeconds);
  const std::uint64_t woken = daemon.counter("loop_wakeups") - before - question;
  // Dead readers of the store are looked for once a minute.
  const auto timers = static_cast<std::uint64_t>(world.idleSeconds / 60) + 1;
  world.rows.is("idle for " + number("%.0f s", world.idleSeconds) + ": returns of epoll_wait",
                std::to_string(woken),
                "timers: at most " + std::to_string(timers),
                woken <= timers,
                "daemon's CPU " + timeText(daemon.cpuSeconds() - cpu) + ", two questions included");
}

std::uint64_t routesOf(const DaemonProcess& daemon) {
  grpc::ClientContext context;
  Proto::ListVrfsResponse response;
  const grpc::Status status = daemon.stub().ListVrfs(&context, {}, &response);
  if (!status.ok() || response.vrfs_size() != 1) {
    throw std::runtime_error("nexthopd does not tell its VRF: " + status.error_message());
  }
  return response.vrfs(0).routes4();
}

}  // namespace

IpGenAddr gateway(const World& world, std::size_t index) {
  constexpr std::uint32_t first = 0x0aff0002U;  // 10.255.0.2
  constexpr std::uint32_t link = 0x100U;        // 10.255.1.2 is the first of the next
  const auto number = static_cast<std::uint32_t>(index % world.gateways);
  return IpGenAddr::ipv4(first + number / gatewaysOfLink * link + number % gatewaysOfLink);
}

std::vector<std::string> withStore(const World& world) {
  return {"--store", world.directory + "/state"};
}

double writeTable(const World& world) {
  return secondsOf([&world] {
    for (std::size_t index = 0; index < world.prefixes.size(); ++index) {
      world.kernel.add(world.prefixes[index], gateway(world, index));
    }
    world.kernel.write();
  });
}

void loadLines(const World& world) {
  Times dumps;
  Times loads;
  Times cpu;
  double resident = 0;
  double peak = 0;
  for (int run = 0; run < fewRuns; ++run) {
    dumps.add(world.kernel.dump(world.prefixes.size()));
    const DaemonProcess daemon(world.directory, noStore);
    loads.add(daemon.loadSeconds());
    cpu.add(daemon.cpuSeconds());
    resident = daemon.mebibytes("VmRSS");
    peak = daemon.mebibytes("VmHWM");
  }
  const double ratio = loads.median() / dumps.median();
  const std::string count = std::to_string(world.prefixes.size()) + " routes: ";
  world.rows.is(count + "from the daemon's start until it follows them",
                timeText(loads.median()) + ", " + number("%.2f dumps", ratio),
                "at most 4 dumps",
                ratio <= 4,
                "dump read and discarded " + timeText(dumps.median()));
  world.rows.shown(count + "the least of both, of " + std::to_string(fewRuns) + " runs",
                   timeText(loads.quantile(0)) + ", CPU " + timeText(cpu.quantile(0)),
                   "dump " + timeText(dumps.quantile(0)));
  world.rows.is(count + "resident memory",
                number("%.0f MiB", resident),
                "at most 140 MiB",
                resident <= 140,
                number("peak %.0f MiB", peak));
}

void registrationLines(const World& world) {
  const Registered light = registerRuns(world, noStore);
  const Registered stored = registerRuns(world, withStore(world));
  const Times bare = bareRuns(world);
  const double lookUps = world.kernel.lookUp(spread(world.prefixes, manyNexthops));
  const std::string what = "100,000 registrations to the last status, ";
  world.rows.below(what + "with the store",
                   stored.times.median(),
                   200 * millisecond,
                   leastText(stored.times) + ", daemon's CPU " + timeText(stored.cpu.median()));
  world.rows.below(what + "`--no-store`",
                   light.times.median(),
                   120 * millisecond,
                   leastText(light.times) + ", daemon's CPU " + timeText(light.cpu.median()));
  world.rows.shown("the store's share", timeText(stored.times.median() - light.times.median()));
  world.rows.shown("the transport's share: a server that does nothing",
                   timeText(bare.median()),
                   leastText(bare));
  world.rows.shown("100,000 lookups by the kernel (`RTM_GETROUTE`)", timeText(lookUps));
}

void notificationLines(const World& world) {
  const DaemonProcess daemon(world.directory, {"--no-store", "--receive-buffer", "16777216"});
  Client client(daemon.socketPath(), "one");
  const IpGenPrefix cover = block("10.0.0.0/9");
  client.registerOne(cover.address());
  client.waitFor(1);
  const std::uint64_t routes = routesOf(daemon);
  double written = 0;
  const double told = secondsUntilTold(client, 2, [&] {
    written = writeTable(world);
    world.kernel.add(cover, gateway(world, 0));
    world.kernel.write();
  });
  const std::uint64_t lost = daemon.counter("kernel_overruns");
  const std::uint64_t missing = routes + world.prefixes.size() + 1 - routesOf(daemon);
  const double rate = static_cast<double>(world.prefixes.size()) / written / 1e6;
  world.rows.is(
      std::to_string(world.prefixes.size()) + " notifications, 16 MiB receive buffer: overruns",
      std::to_string(lost) + ", routes missing " + std::to_string(missing),
      "none lost",
      lost == 0 && missing == 0,
      number("%.2f million a second", rate) + ", last notice " + timeText(told - written) +
          " after the last write");
}

void roundTripLines(const World& world, const DaemonProcess& daemon) {
  Client client(daemon.socketPath(), "one");
  Client bare(world.bareSocket, "bare");
  const Nexthops nexthops = spread(world.prefixes, manyRuns);
  Times empty;
  Times transport;
  Times calls;
  Times told;
  for (const IpGenAddr& nexthop : nexthops) {
    empty.add(secondsOf([&] { static_cast<void>(daemon.counter("loop_wakeups")); }));
    transport.add(secondsOf([&] { bare.registerOne(nexthop); }));
    told.add(secondsUntilTold(client, client.told() + 1, [&] {
      calls.add(secondsOf([&] { client.registerOne(nexthop); }));
    }));
  }
  const double ratio = calls.median() / empty.median();
  world.rows.is("one registration, round trip, median",
                timeText(calls.median()) + ", " + number("%.2f empty calls", ratio),
                "at most 1.6 empty calls",
                ratio <= 1.6,
                "empty call (GetInfo) " + timeText(empty.median()));
  world.rows.shown("the same call to a server that does nothing", timeText(transport.median()));
  world.rows.shown("one registration until its status is told, median",
                   timeText(told.median()),
                   "kernel's lookup " + timeText(world.kernel.lookUp(nexthops) / manyRuns));
  client.unregisterAll();
}

void changeLines(const World& world, const DaemonProcess& daemon) {
  const IpGenPrefix small = block("10.128.0.0/16");
  const Nexthops few = below(small, 1'000);
  const auto fewClient = clientBelow(world, daemon, small, few);
  const Times amongFew = hostRouteRuns(world, *fewClient, few[500]);
  const Times moved = replaceRuns(world, *fewClient, small, few.size(), 200);
  world.rows.below("a covering route replaced, k = 1,000, until the last notice, median",
                   moved.median(),
                   2 * millisecond,
                   leastText(moved) + ", p99 " + timeText(moved.quantile(0.99)));

  const IpGenPrefix large = block("10.0.0.0/9");
  const Nexthops many = below(large, manyNexthops);
  const auto manyClient = clientBelow(world, daemon, large, many);
  const Times movedMany = replaceRuns(world, *manyClient, large, manyNexthops, 11);
  world.rows.below("a covering route replaced, k = 100,000, until the last notice, median",
                   movedMany.median(),
                   120 * millisecond,
                   leastText(movedMany));

  const Times amongMany = hostRouteRuns(world, *manyClient, many[5'000]);
  manyClient->unregisterAll();
  fewClient->unregisterAll();
  hostRouteLine(world, "1,000", amongFew, notifiedRuns(world, small, manyRuns));
  hostRouteLine(world, "100,000", amongMany, notifiedRuns(world, large, manyRuns));
}

void quietLines(const World& world, const DaemonProcess& daemon) {
  constexpr std::size_t clients = 4;
  const Nexthops nexthops = below(block("10.0.0.0/9"), manyNexthops);
  world.kernel.replace(block("10.0.0.0/9"), gateway(world, 0));
  world.kernel.write();
  std::vector<std::unique_ptr<Client>> all;
  for (std::size_t index = 0; index < clients; ++index) {
    constexpr std::size_t share = manyNexthops / clients;
    all.push_back(std::make_unique<Client>(daemon.socketPath(), "quiet-" + std::to_string(index)));
    all.back()->registerAll(std::span(nexthops).subspan(index * share, share));
    all.back()->waitFor(share);
  }
  unrelatedLine(world, daemon, *all.front(), nexthops.front());
  idleLine(world, daemon);
}

}  // namespace Routing::Bench
