// nexthop-trace: reads the binary traces that the library writes.

#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/trace/RingDecoder.h"
#include "platform/trace/TraceText.h"

namespace {

using Routing::RingDecoder;
using Routing::String;
using Routing::TraceMessage;
using Routing::TraceTime;

enum ExitCode : int { whole = 0, damaged = 1, failed = 2 };

constexpr std::string_view usage =
    "usage: nexthop-trace decode [--time] FILE\n"
    "       nexthop-trace --help\n";

constexpr std::string_view help =
    "\n"
    "decode prints the messages of a trace ring file, oldest first, as the text trace has them:\n"
    "\n"
    "  LEVEL FACILITY: MESSAGE\n"
    "  TIME LEVEL FACILITY: MESSAGE      with --time; the time is UTC\n"
    "\n"
    "The file may be that of a process that runs, ended or was killed. What is wrong with it goes "
    "to\n"
    "standard error.\n"
    "\n"
    "exit code\n"
    "  0  every message in the file was printed\n"
    "  1  the file is damaged; what could be read was printed\n"
    "  2  wrong arguments, a file that is no trace ring or cannot be read, or output that failed\n";

struct Arguments {
  bool help = false;
  TraceTime time = TraceTime::hidden;
  String file;
};

// Nothing when the command line is none of those in the usage.
std::optional<Arguments> parse(const std::vector<std::string_view>& words) {
  Arguments arguments;
  if (words.size() == 1 && (words[0] == "--help" || words[0] == "-h")) {
    arguments.help = true;
    return arguments;
  }
  if (words.empty() || words[0] != "decode") {
    return std::nullopt;
  }
  bool options = true;
  std::vector<std::string_view> files;
  for (std::size_t index = 1; index < words.size(); ++index) {
    const std::string_view word = words[index];
    if (options && word == "--") {
      options = false;
    } else if (options && word == "--time") {
      arguments.time = TraceTime::shown;
    } else if (options && (word == "--help" || word == "-h")) {
      arguments.help = true;
    } else if (options && word.starts_with('-')) {
      return std::nullopt;
    } else {
      files.push_back(word);
    }
  }
  if (!arguments.help && files.size() != 1) {
    return std::nullopt;
  }
  arguments.file = files.empty() ? String() : String(files.front());
  return arguments;
}

bool print(std::FILE* to, std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), to) == text.size();
}

void complain(std::string_view text) {
  String line = "nexthop-trace: ";
  line += text;
  line += '\n';
  print(stderr, line);
}

ExitCode decode(const Arguments& arguments) {
  RingDecoder decoder = RingDecoder::fromFile(arguments.file);
  String line;
  bool written = true;
  while (written) {
    const std::optional<TraceMessage> message = decoder.next();
    if (!message) {
      break;
    }
    line.clear();
    appendTraceLine(line, *message, arguments.time);
    written = print(stdout, line);
  }
  if (std::fflush(stdout) != 0 || !written) {
    complain("cannot write the output");
    return failed;
  }
  for (const String& problem : decoder.problems()) {
    complain(arguments.file + ": " + problem);
  }
  return decoder.problems().empty() ? whole : damaged;
}

ExitCode run(const std::vector<std::string_view>& words) {
  const std::optional<Arguments> arguments = parse(words);
  if (!arguments) {
    print(stderr, usage);
    return failed;
  }
  if (arguments->help) {
    const bool written = print(stdout, usage) && print(stdout, help) && std::fflush(stdout) == 0;
    return written ? whole : failed;
  }
  return decode(*arguments);
}

}  // namespace

int main(int count, char** words) {
  try {
    return run({words + 1, words + count});
  } catch (const std::exception& error) {
    complain(error.what());
    return failed;
  }
}
