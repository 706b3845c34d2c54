// nexthop-bench: measures what the table of targets asks for and prints it.
//
//   --check         exit code 1 when a target is missed
//   --allocations   also what each operation allocates
//   --plot FOLDER   write plots of how cost grows, and nothing else
//   --only WORD     only the groups whose name has this word in it
//
// Each group runs in a process of its own: what one leaves in the heap and in the tries' arenas is
// no part of another's figures.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "bench/table/Lines.h"
#include "bench/table/Plot.h"

namespace Routing::Bench {
namespace {

struct Options {
  bool check = false;
  bool allocations = false;
  std::string only;
  std::string plotFolder;
};

// Nothing when the arguments do not read.
std::optional<Options> parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--check") {
      options.check = true;
    } else if (argument == "--allocations") {
      options.allocations = true;
    } else if (argument == "--only" && i + 1 < argc) {
      options.only = argv[++i];
    } else if (argument == "--plot" && i + 1 < argc) {
      options.plotFolder = argv[++i];
    } else {
      std::fprintf(stderr,
                   "unknown argument: %s\nnexthop-bench [--check] [--allocations] [--only WORD] "
                   "[--plot FOLDER]\n",
                   argument.c_str());
      return std::nullopt;
    }
  }
  return options;
}

class Groups {
 public:
  Groups(const Options& options, Unit& unit, Report& report)
      : options_(options), unit_(unit), report_(report) {}

  void run(const char* name, void (*lines)(Report& report)) {
    if (wanted(name)) {
      runApart([lines](Report& report) { lines(report); });
    }
  }
  void run(const char* name, void (*lines)(Report& report, Tables& full)) {
    if (wanted(name)) {
      runApart([lines](Report& report) {
        // The full table, over 10,000 FECs.
        constexpr std::size_t fecs = 10000;
        Tables full;
        full.load(prefixTable(), fecs);
        lines(report, full);
      });
    }
  }

 private:
  bool wanted(const char* name) const {
    return std::string(name).find(options_.only) != std::string::npos;
  }
  static std::FILE* streamOf(int fd, const char* mode) {
    std::FILE* const stream = ::fdopen(fd, mode);
    if (stream == nullptr) {
      throw std::system_error(errno, std::generic_category(), "fdopen");
    }
    return stream;
  }
  // Measures in a child process, which writes its rows into a pipe.
  template <class Lines>
  void runApart(const Lines& lines) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    static_cast<void>(std::fflush(stdout));
    const pid_t child = ::fork();
    if (child == -1) {
      throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
      ::close(ends[0]);
      ::_exit(measure(lines, ends[1]));
    }
    ::close(ends[1]);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> rows(streamOf(ends[0], "r"), std::fclose);
    report_.read(rows.get());
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0) {
      throw std::runtime_error("a group ended before its time");
    }
  }
  template <class Lines>
  int measure(const Lines& lines, int pipe) {
    try {
      std::FILE* const rows = streamOf(pipe, "w");
      Report report(unit_);
      lines(report);
      report.write(rows);
      return std::fclose(rows) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "nexthop-bench: %s\n", error.what());
      return EXIT_FAILURE;
    }
  }

  const Options& options_;
  Unit& unit_;
  Report& report_;
};

int run(const Options& options) {
  if (!options.plotFolder.empty()) {
    writePlots(options.plotFolder);
    return 0;
  }
  Unit unit;
  Report report(unit);
  // Made once, for all processes.
  static_cast<void>(prefixTable());
  Groups groups(options, unit, report);
  groups.run("trie", trieLines);
  groups.run("build", buildLines);
  groups.run("publish", publishLines);
  groups.run("vrf", vrfLines);
  groups.run("memory", memoryLines);
  groups.run("resolution", resolutionLines);
  groups.run("slice", sliceLines);
  groups.run("coveringRoute", coveringRouteLines);
  groups.run("moreSpecificRoute", moreSpecificRouteLines);
  groups.run("hostRoute", hostRouteLines);
  groups.run("unrelatedRoute", unrelatedRouteLines);
  groups.run("defaultRoute", defaultRouteLines);
  groups.run("routing", routingLines);
  groups.run("fec", fecLines);
  groups.run("unregistering", unregisteringLines);
  groups.run("withdrawal", withdrawalLines);
  if (report.empty()) {
    std::fprintf(stderr, "nexthop-bench: no group has %s in its name\n", options.only.c_str());
    return 2;
  }
  report.print();
  if (options.allocations) {
    report.printAllocations();
  }
  return options.check && !report.allMet() ? 1 : 0;
}

}  // namespace
}  // namespace Routing::Bench

int main(int argc, char** argv) {
  try {
    const auto options = Routing::Bench::parse(argc, argv);
    return options ? Routing::Bench::run(*options) : 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "nexthop-bench: %s\n", error.what());
    return 1;
  }
}
