// property-soak: random sequences for as long as wanted, then how far they reached.
//
//   property-soak [--minutes N] [--sequences N] [--seed N] [--first N] [--counts FILE]
//   property-soak --only NUMBER [--seed N]
//   property-soak --sum FILE...
//
// It goes on until the time is over and that many sequences were tried (0 minutes and 2,000
// sequences unless told otherwise). It fails when, after at least 100,000 sequences, a situation or
// a pair of operations was met less than 100 times; below that number of sequences it only shows
// them. With --counts it leaves that to --sum: what each of several processes has counted goes to a
// file of its own, and --sum judges all together.
//
// --only tries one sequence, in a child process, and shrinks what ends it.

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/property/Campaign.h"
#include "tests/support/Seed.h"

namespace Routing::Support {
namespace {

// From here on a report of what was reached is a promise.
constexpr std::uint64_t enoughSequences = 100000;
constexpr std::uint64_t oftenEnough = 100;

struct Arguments {
  std::map<std::string, std::uint64_t> values{{"--minutes", 0},
                                              {"--sequences", 2000},
                                              {"--seed", seed()},
                                              {"--first", 0}};
  std::string counts;

  std::uint64_t operator[](const std::string& name) const { return values.at(name); }
  bool has(const std::string& name) const { return values.count(name) != 0; }
};

// Throws: std::invalid_argument.
Arguments read(const std::vector<std::string>& words) {
  Arguments arguments;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const std::string& name = words[i];
    if (i + 1 == words.size()) {
      throw std::invalid_argument(name);
    }
    if (name == "--counts") {
      arguments.counts = words[i + 1];
    } else if (arguments.has(name) || name == "--only") {
      arguments.values[name] = std::stoull(words[i + 1]);
    } else {
      throw std::invalid_argument(name);
    }
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

int judgeReach(const Reach& reach, std::uint64_t sequences) {
  reach.print(std::cout, oftenEnough);
  const std::size_t rare = reach.below(oftenEnough);
  std::cout << sequences << " sequences: " << rare
            << " situations and pairs of operations met less than " << oftenEnough << " times\n";
  return rare == 0 || sequences < enoughSequences ? EXIT_SUCCESS : EXIT_FAILURE;
}

int soak(const Arguments& arguments) {
  constexpr std::uint64_t sequencesAReport = 5000;
  Campaign campaign(arguments["--seed"]);
  startTime(arguments["--minutes"]);
  std::uint64_t done = 0;
  while (done < arguments["--sequences"] || timeIsOver == 0) {
    if (!campaign.tryNumber(arguments["--first"] + done)) {
      std::cout << campaign.failure();
      return EXIT_FAILURE;
    }
    if (++done % sequencesAReport == 0) {
      std::cout << done << " sequences, no failure\n" << std::flush;
    }
  }
  std::cout << done << " sequences, " << campaign.stepsDone() << " operations, seed "
            << arguments["--seed"] << ": no failure\n";
  if (arguments.counts.empty()) {
    return judgeReach(campaign.reach(), done);
  }
  std::ofstream file(arguments.counts);
  file << done << '\n';
  campaign.reach().write(file);
  return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Throws: std::invalid_argument.
int sum(const std::vector<std::string>& files) {
  Reach reach;
  std::uint64_t sequences = 0;
  for (const std::string& name : files) {
    std::ifstream file(name);
    std::uint64_t done = 0;
    if (!(file >> done) || !reach.add(file)) {
      throw std::invalid_argument(name + " holds no counts");
    }
    sequences += done;
  }
  return judgeReach(reach, sequences);
}

int run(std::vector<std::string> words) {
  try {
    if (!words.empty() && words.front() == "--sum") {
      words.erase(words.begin());
      return sum(words);
    }
    const Arguments arguments = read(words);
    return arguments.has("--only") ? only(arguments) : soak(arguments);
  } catch (const std::exception& error) {
    std::cerr << "property-soak: bad argument: " << error.what() << '\n';
    return 2;
  }
}

}  // namespace
}  // namespace Routing::Support

int main(int argc, char** argv) { return Routing::Support::run({argv + 1, argv + argc}); }
