// host_daemon_bench: nexthopd on the real kernel, in a network namespace of its own, with a full
// table, measured as its clients see it.
//
//   --routes N       how many routes the table has (900,000)
//   --gateways N     over how many gateways, 20 on a link, they are spread (1,000)
//   --idle SECONDS   how long nothing happens (10)
//   --only WORD      load, registration, change, quiet or notification
//   --endurance MINUTES  instead of all this, so long under 1,000 route changes a second
//   --check          exit code 1 when a target is missed

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "bench/host/daemon/BareServer.h"
#include "bench/host/daemon/Lines.h"
#include "tests/host/kernel/Namespace.h"

namespace Routing::Bench {
namespace {

constexpr const char* linkGroup = "7";

struct Options {
  std::size_t routes = 900'000;
  std::size_t gateways = 1'000;
  double idle = 10;
  unsigned endurance = 0;
  std::string only;
  bool check = false;
};

// False when the arguments do not read.
bool parse(int argc, char** argv, Options& options) {
  for (int index = 1; index < argc; ++index) {
    const std::string word = argv[index];
    if (word == "--check") {
      options.check = true;
      continue;
    }
    if (++index >= argc) {
      return false;
    }
    const std::string value = argv[index];
    if (word == "--only") {
      options.only = value;
    } else if (word == "--routes") {
      options.routes = std::stoul(value);
    } else if (word == "--gateways") {
      options.gateways = std::stoul(value);
    } else if (word == "--endurance") {
      options.endurance = static_cast<unsigned>(std::stoul(value));
    } else if (word == "--idle") {
      options.idle = std::stod(value);
    } else {
      return false;
    }
  }
  return options.gateways >= 21 && options.gateways <= 5'000 && options.routes >= 100'000;
}

// In memory, like the daemon's own runtime directory.
class Directory {
 public:
  Directory() {
    const bool shm = std::filesystem::is_directory("/dev/shm");
    path_ = (shm ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string()) +
            "/nexthop-bench-XXXXXX";
    if (::mkdtemp(path_.data()) == nullptr) {
      throw Host::SystemError(errno, "cannot make a directory");
    }
  }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  ~Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

void require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(what);
  }
}

// The kernel compares a new route with every set of hops that leads out of the same link, so a
// thousand gateways on one link make it eight times as slow as it is with as many as a link has.
void makeLinks(const Host::Testing::Namespace& net, std::size_t gateways) {
  for (std::size_t link = 0; link * gatewaysOfLink < gateways; ++link) {
    const std::string name = "v" + std::to_string(link);
    require(net.ipTry(fmt::format("link add {0} type veth peer name {0}peer", name)) &&
                net.ipTry(fmt::format("link set {} up group {}", name, linkGroup)) &&
                net.ipTry(fmt::format("link set {}peer up", name)) &&
                net.ipTry(fmt::format("addr add 10.255.{}.1/24 dev {}", link, name)),
            "cannot make a link");
  }
}

// The kernel drops the routes of a link that goes down. It tells within seconds that all links run
// again, and a daemon that hears of that reads the whole table.
void emptyTable(const Host::Testing::Namespace& net) {
  const std::string links = std::string("link set group ") + linkGroup;
  require(net.ipTry(links + " down") && net.ipTry(links + " up"), "cannot empty the table");
  std::this_thread::sleep_for(std::chrono::seconds(3));
}

void measure(const Options& options,
             const Host::Testing::Namespace& net,
             bool privileged,
             const World& world) {
  const auto wanted = [&options](const char* word) {
    return std::string(word).find(options.only) != std::string::npos;
  };
  const double written = writeTable(world);
  world.rows.shown("the kernel's table filled over netlink", timeText(written));
  if (options.endurance != 0) {
    enduranceLines(world, options.endurance);
    return;
  }
  if (wanted("load")) {
    loadLines(world);
  }
  if (wanted("registration")) {
    registrationLines(world);
  }
  if (wanted("registration") || wanted("change") || wanted("quiet")) {
    const DaemonProcess daemon(world.directory, {"--store", world.directory + "/state"});
    if (wanted("registration")) {
      roundTripLines(world, daemon);
    }
    if (wanted("change")) {
      changeLines(world, daemon);
    }
    if (wanted("quiet")) {
      quietLines(world, daemon);
    }
  }
  if (wanted("notification") && privileged) {
    emptyTable(net);
    notificationLines(world);
  } else if (wanted("notification")) {
    std::fprintf(stderr, "notifications without loss are for root, who may have the buffer\n");
  }
}

int run(const Options& options) {
  const bool privileged = ::geteuid() == 0;
  const Host::Testing::Namespace net;
  if (!net.missing().empty()) {
    std::fprintf(stderr, "the daemon is not measured: this needs %s\n", net.missing().c_str());
    return 1;
  }
  makeLinks(net, options.gateways);
  const Directory directory;
  const BareServer bare(directory.path() + "/bare");
  KernelTable kernel;
  Rows rows;
  const auto prefixes = prefixTable(AddressFamily::ipv4);
  require(options.routes <= prefixes.size(), "there are not so many prefixes");
  measure(options,
          net,
          privileged,
          World{kernel,
                rows,
                directory.path(),
                directory.path() + "/bare",
                prefixes.first(options.routes),
                options.gateways,
                options.idle});
  return rows.summary() != 0 && options.check ? 1 : 0;
}

}  // namespace
}  // namespace Routing::Bench

int main(int argc, char** argv) {
  try {
    Routing::Bench::Options options;
    if (!Routing::Bench::parse(argc, argv, options)) {
      std::fprintf(stderr,
                   "host_daemon_bench [--routes N] [--gateways N] [--idle SECONDS] [--only WORD] "
                   "[--endurance MINUTES] [--check]\n");
      return 2;
    }
    return Routing::Bench::run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "host_daemon_bench: %s\n", error.what());
    return 1;
  }
}
