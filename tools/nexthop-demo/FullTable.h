#pragma once

// The full-table run: a routing table of Internet size, four clients and many nexthops, resolved
// through the library's entry point on the machine's own clock, with figures for each step.
//
// The clients take turns at the nexthops; two want FIB identifiers, two resolver identifiers. One
// nexthop in a hundred lies outside the table and fails. Counts are a function of the options;
// times and memory are the machine's.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Routing {

struct FullTableOptions {
  // A file of prefixes, one CIDR a line, plain or gzip; otherwise a generated table.
  std::optional<std::string> tableFile;
  std::uint64_t seed = 1;
  std::size_t nexthops = 100'000;
  std::size_t fecs = 10'000;
};

// Prints the steps as they are done. Throws: PrefixFileError for a bad table file.
void runFullTable(const FullTableOptions& options);

}  // namespace Routing
