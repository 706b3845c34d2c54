// nexthop-bench: measures what the table of targets asks for and prints it.
//
//   --check         exit code 1 when a target is missed
//   --allocations   also what each operation allocates
//   --plot FOLDER   write plots of how cost grows, and nothing else
//   --only WORD     only the groups whose name has this word in it

#include <cstdio>
#include <optional>
#include <string>

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
  Groups(const Options& options, Report& report) : options_(options), report_(report) {}

  void run(const char* name, void (*lines)(Report& report)) {
    if (wanted(name)) {
      lines(report_);
    }
  }
  void run(const char* name, void (*lines)(Report& report, Tables& full)) {
    if (wanted(name)) {
      lines(report_, full());
    }
  }

 private:
  bool wanted(const char* name) const {
    return std::string(name).find(options_.only) != std::string::npos;
  }
  // The full table, over 10,000 FECs.
  Tables& full() {
    if (!full_) {
      constexpr std::size_t fecs = 10000;
      full_.emplace();
      full_->load(prefixTable(), fecs);
    }
    return *full_;
  }

  const Options& options_;
  Report& report_;
  std::optional<Tables> full_;
};

int run(const Options& options) {
  if (!options.plotFolder.empty()) {
    writePlots(options.plotFolder);
    return 0;
  }
  Unit unit;
  Report report(unit);
  Groups groups(options, report);
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
  const auto options = Routing::Bench::parse(argc, argv);
  return options ? Routing::Bench::run(*options) : 2;
}
