// property-soak: random sequences for as long as wanted, then how far they reached.
//
//   property-soak [--minutes N] [--sequences N] [--seed N] [--first N] [--demand N]
//   property-soak --only NUMBER [--seed N]
//
// It goes on until the time is over and that many sequences were tried (0 minutes and 2,000
// sequences unless told otherwise). --demand makes it fail when, after at least 100,000 sequences,
// a situation or a pair of operations was met less often than that; below that number it only shows
// them. --only tries one sequence, in a child process, and shrinks what ends it.

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "tests/property/Campaign.h"
#include "tests/support/Seed.h"

namespace Routing::Support {
namespace {

// From here on a report of what was reached is a promise.
constexpr std::uint64_t enoughSequences = 100000;

struct Arguments {
  std::map<std::string, std::uint64_t> values{{"--minutes", 0},
                                              {"--sequences", 2000},
                                              {"--seed", seed()},
                                              {"--first", 0},
                                              {"--demand", 100}};

  std::uint64_t operator[](const std::string& name) const { return values.at(name); }
  bool has(const std::string& name) const { return values.count(name) != 0; }
};

// Throws: std::invalid_argument.
Arguments read(int count, char** words) {
  Arguments arguments;
  for (int i = 1; i < count; i += 2) {
    const std::string name = words[i];
    if ((!arguments.has(name) && name != "--only") || i + 1 == count) {
      throw std::invalid_argument(name);
    }
    arguments.values[name] = std::stoull(words[i + 1]);
  }
  return arguments;
}

int only(const Arguments& arguments) {
  Campaign campaign(arguments["--seed"]);
  if (campaign.tryApart(arguments["--only"])) {
    std::cout << textOf(Campaign::draw(arguments["--seed"], arguments["--only"]));
    return EXIT_SUCCESS;
  }
  std::cout << campaign.failure();
  return EXIT_FAILURE;
}

// Over when the alarm has rung; at once for no minutes.
volatile std::sig_atomic_t timeIsOver = 0;

void startTime(std::uint64_t minutes) {
  timeIsOver = minutes == 0 ? 1 : 0;
  std::signal(SIGALRM, [](int) { timeIsOver = 1; });
  alarm(static_cast<unsigned>(minutes * 60));
}

int soak(const Arguments& arguments) {
  Campaign campaign(arguments["--seed"]);
  startTime(arguments["--minutes"]);
  std::uint64_t done = 0;
  for (; done < arguments["--sequences"] || timeIsOver == 0; ++done) {
    if (!campaign.tryNumber(arguments["--first"] + done)) {
      std::cout << campaign.failure();
      return EXIT_FAILURE;
    }
  }
  campaign.reach().print(std::cout, arguments["--demand"]);
  const std::size_t rare = campaign.reach().below(arguments["--demand"]);
  std::cout << done << " sequences, " << campaign.stepsDone() << " operations, seed "
            << arguments["--seed"] << ": no failure; " << rare
            << " situations and pairs of operations met less than " << arguments["--demand"]
            << " times\n";
  return rare == 0 || done < enoughSequences ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(int count, char** words) {
  try {
    const Arguments arguments = read(count, words);
    return arguments.has("--only") ? only(arguments) : soak(arguments);
  } catch (const std::exception& error) {
    std::cerr << "property-soak: bad argument: " << error.what() << '\n';
    return 2;
  }
}

}  // namespace
}  // namespace Routing::Support

int main(int argc, char** argv) { return Routing::Support::run(argc, argv); }
