// nexthop-demo: shows what the library does. Without arguments: the small story, then the full
// table.

#include <getopt.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "tools/nexthop-demo/FullTable.h"
#include "tools/nexthop-demo/Story.h"

namespace Routing {
namespace {

constexpr int usageError = 2;
constexpr const char* usageText =
    "usage: nexthop-demo [story [FILE]] [full [--table FILE] [--nexthops N] [--fecs N] [--seed "
    "N]]\n"
    "\n"
    "  story          a small fabric as tables; FILE: another replay file\n"
    "  full           a routing table of Internet size, with figures\n"
    "  --table FILE   prefixes, one CIDR a line, plain or gzip, instead of a generated table\n"
    "  --nexthops N   nexthops of the four clients together (100000)\n"
    "  --fecs N       forwarding equivalence classes that the routes share (10000)\n"
    "  --seed N       of the generated table and the choice of nexthops (1)\n"
    "\n"
    "Without arguments: both.\n";

struct Choice {
  bool story = false;
  bool full = false;
  std::optional<std::string> storyFile;
  FullTableOptions fullTable;
};

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() && !text.empty();
}

bool readOption(int option, const char* value, FullTableOptions& options) {
  constexpr std::size_t mostNexthops = 10'000'000;
  switch (option) {
    case 't':
      options.tableFile = value;
      return true;
    case 'n':
      return readNumber(value, options.nexthops) && options.nexthops <= mostNexthops;
    case 'f':
      return readNumber(value, options.fecs) && options.fecs > 0;
    case 's':
      return readNumber(value, options.seed);
    default:
      return false;
  }
}

// Nothing when the words are not understood.
std::optional<Choice> readChoice(int argc, char** argv) {
  static const std::array<option, 5> names{{{"table", required_argument, nullptr, 't'},
                                            {"nexthops", required_argument, nullptr, 'n'},
                                            {"fecs", required_argument, nullptr, 'f'},
                                            {"seed", required_argument, nullptr, 's'},
                                            {nullptr, 0, nullptr, 0}}};
  Choice choice;
  for (int found = ::getopt_long(argc, argv, "", names.data(), nullptr); found != -1;
       found = ::getopt_long(argc, argv, "", names.data(), nullptr)) {
    if (!readOption(found, optarg, choice.fullTable)) {
      return std::nullopt;
    }
  }
  for (int i = optind; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "full") {
      choice.full = true;
    } else if (word == "story") {
      choice.story = true;
    } else if (choice.story && !choice.storyFile) {
      choice.storyFile = word;
    } else {
      return std::nullopt;
    }
  }
  if (!choice.story && !choice.full) {
    choice.story = choice.full = true;
  }
  return choice;
}

// The story's file beside the sources or, installed, beside the program.
std::string defaultStory(const std::filesystem::path& programs) {
  for (const auto& place : {std::filesystem::path("examples"),
                            programs / "../share/nexthop-resolver/examples",
                            programs / "../../../examples"}) {
    if (std::filesystem::exists(place / "fabric.replay")) {
      return place / "fabric.replay";
    }
  }
  return "examples/fabric.replay";
}

int run(const Choice& choice) {
  const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (choice.story) {
    const std::string file = choice.storyFile.value_or(defaultStory(programs));
    if (!tellStory(programs / "nexthop-replay", file)) {
      return 1;
    }
  }
  if (choice.full) {
    runFullTable(choice.fullTable);
  }
  return 0;
}

}  // namespace
}  // namespace Routing

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--help") {
    std::fputs(Routing::usageText, stdout);
    return 0;
  }
  const auto choice = Routing::readChoice(argc, argv);
  if (!choice) {
    std::fputs(Routing::usageText, stderr);
    return Routing::usageError;
  }
  try {
    return Routing::run(*choice);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "nexthop-demo: %s\n", error.what());
    return Routing::usageError;
  }
}
