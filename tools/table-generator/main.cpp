// nexthop-table: writes a generated routing table, or tells what a table looks like.

#include <getopt.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tools/support/PrefixFile.h"
#include "tools/table-generator/TableGenerator.h"
#include "tools/table-generator/TableStats.h"

namespace Routing {
namespace {

constexpr int exitUsage = 2;

constexpr const char* usage =
    "usage: nexthop-table [--ipv4 N] [--ipv6 N] [--seed S] [--output FILE]\n"
    "       nexthop-table --stats FILE\n"
    "\n"
    "Writes a routing table that looks like the Internet's, one prefix a line, in order.\n"
    "\n"
    "  --ipv4 N       IPv4 prefixes, default 901899\n"
    "  --ipv6 N       IPv6 prefixes, default 160147\n"
    "  --seed S       another table of the same shape, default 1\n"
    "  --output FILE  where to; - is standard output, the default\n"
    "  --stats FILE   prints the lengths and the nesting of a table, plain or gzip; - is\n"
    "                 standard input\n"
    "  --help         prints this\n";

struct Options {
  TableShape shape;
  std::uint64_t seed = 1;
  String output = "-";
  std::optional<String> stats;
  bool help = false;
};

// A mistake on the command line.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::uint64_t number(const char* option, std::string_view text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) {
    throw UsageError(String("--") + option + ": not a number: \"" + String(text) + '"');
  }
  return value;
}

Options parseOptions(std::span<char*> arguments) {
  static const option known[] = {{"ipv4", required_argument, nullptr, '4'},
                                 {"ipv6", required_argument, nullptr, '6'},
                                 {"seed", required_argument, nullptr, 's'},
                                 {"output", required_argument, nullptr, 'o'},
                                 {"stats", required_argument, nullptr, 't'},
                                 {"help", no_argument, nullptr, 'h'},
                                 {nullptr, 0, nullptr, 0}};
  Options options;
  int letter = 0;
  const int count = static_cast<int>(arguments.size());
  while ((letter = getopt_long(count, arguments.data(), "", known, nullptr)) != -1) {
    switch (letter) {
      case '4':
        options.shape.ipv4 = number("ipv4", optarg);
        break;
      case '6':
        options.shape.ipv6 = number("ipv6", optarg);
        break;
      case 's':
        options.seed = number("seed", optarg);
        break;
      case 'o':
        options.output = optarg;
        break;
      case 't':
        options.stats = optarg;
        break;
      case 'h':
        options.help = true;
        break;
      default:
        throw UsageError("try --help");  // getopt_long has named the option.
    }
  }
  if (optind != count) {
    throw UsageError(String("not an option: \"") + arguments[static_cast<std::size_t>(optind)] +
                     '"');
  }
  return options;
}

// A file that is written in one go; standard output is flushed, not closed.
class OutputFile {
 public:
  explicit OutputFile(const String& path)
      : path_(path), file_(path == "-" ? stdout : std::fopen(path.c_str(), "w")) {
    if (file_ == nullptr) {
      fail("cannot open: ");
    }
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile() {
    if (file_ != nullptr && file_ != stdout) {
      std::fclose(file_);
    }
  }

  void write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) {
      fail("cannot write: ");
    }
  }

  // Trouble may show only now, when what was kept back is written.
  void close() {
    std::FILE* const file = file_;
    file_ = nullptr;
    if ((file == stdout ? std::fflush(file) : std::fclose(file)) != 0) {
      fail("cannot write: ");
    }
  }

 private:
  [[noreturn]] void fail(const char* what) const {
    throw PrefixFileError(path_, 0, String(what) + std::strerror(errno));
  }

  String path_;
  std::FILE* file_;
};

void writeTable(const Options& options) {
  const std::vector<IpGenPrefix> table = generateTable(options.shape, options.seed);
  OutputFile output(options.output);
  for (const IpGenPrefix& prefix : table) {
    output.write(prefix.stringValue() + '\n');
  }
  output.close();
}

void writeStats(const String& path) {
  const std::vector<IpGenPrefix> table = readTable(path);
  OutputFile output("-");
  output.write("IPv4: " + tableStats(table, AddressFamily::ipv4).stringValue());
  output.write("\nIPv6: " + tableStats(table, AddressFamily::ipv6).stringValue());
  output.close();
}

int run(std::span<char*> arguments) {
  try {
    const Options options = parseOptions(arguments);
    if (options.help) {
      OutputFile output("-");
      output.write(usage);
      output.close();
    } else if (options.stats) {
      writeStats(*options.stats);
    } else {
      writeTable(options);
    }
    return 0;
  } catch (const PrefixFileError& error) {
    std::fprintf(stderr, "%s\n", error.what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "nexthop-table: %s\n", error.what());
  }
  return exitUsage;
}

}  // namespace
}  // namespace Routing

int main(int count, char** arguments) {
  return Routing::run({arguments, static_cast<std::size_t>(count)});
}
