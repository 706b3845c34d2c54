// nexthop-replay: drives the resolver library from text files over in-process state and virtual
// time.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/nexthop-replay/Output.h"
#include "tools/nexthop-replay/Session.h"

namespace {

using Routing::String;
using Routing::Replay::ExitCode;
using Routing::Replay::Form;
using Routing::Replay::Output;
using Routing::Replay::Session;

constexpr const char* usage =
    "usage: nexthop-replay [--json] [--stats] [FILE ...]\n"
    "       nexthop-replay --help\n";

constexpr const char* help =
    "\n"
    "Drives resolver managers over in-process state and a virtual clock, as the FILEs say, one\n"
    "command a line, and prints what they ask for. All FILEs drive one world, in order. Without a\n"
    "FILE, or where it is -, standard input is read.\n"
    "\n"
    "  --json   print each line as one JSON object\n"
    "  --stats  print counts and times on standard error at the end\n"
    "\n"
    "exit code\n"
    "  0  everything was executed\n"
    "  1  an exception left the library\n"
    "  2  bad input, or wrong arguments\n"
    "  3  an expectation failed\n"
    "  4  standard output could not be written\n"
    "\n"
    "docs/replay.md describes the commands and the lines.\n";

struct Options {
  Form form = Form::text;
  bool stats = false;
  bool help = false;
  std::vector<String> files;
};

// Nothing, after a message, when the command line is none of those in the usage.
std::optional<Options> parse(const std::vector<std::string_view>& words) {
  Options options;
  bool optionsMayFollow = true;
  for (const std::string_view word : words) {
    if (!optionsMayFollow || !word.starts_with('-') || word == "-") {
      options.files.emplace_back(word);
    } else if (word == "--") {
      optionsMayFollow = false;
    } else if (word == "--json") {
      options.form = Form::json;
    } else if (word == "--stats") {
      options.stats = true;
    } else if (word == "--help" || word == "-h") {
      options.help = true;
    } else {
      const String message = "nexthop-replay: unknown option: \"" + String(word) + "\"\n" + usage;
      std::fputs(message.c_str(), stderr);
      return std::nullopt;
    }
  }
  if (options.files.empty()) {
    options.files.emplace_back("-");
  }
  return options;
}

ExitCode replay(const Options& options) {
  Output output(STDOUT_FILENO, options.form);
  output.flushAtSignals();
  ExitCode code = ExitCode::good;
  {
    Session session(output);
    code = session.run(options.files);
    output.flush();
    if (options.stats) {
      std::fputs(session.stats().text().c_str(), stderr);
    }
  }
  if (output.error() != 0) {
    std::fprintf(stderr,
                 "nexthop-replay: cannot write standard output: %s\n",
                 std::strerror(output.error()));
    return code == ExitCode::good ? ExitCode::outputFailed : code;
  }
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Options> options = parse({argv + 1, argv + argc});
  if (!options) {
    return static_cast<int>(ExitCode::badInput);
  }
  if (options->help) {
    std::fputs(usage, stdout);
    std::fputs(help, stdout);
    return 0;
  }
  return static_cast<int>(replay(*options));
}
