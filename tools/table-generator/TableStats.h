#pragma once

// What a table looks like, in counts: prefixes of each length, how many lie inside another one, how
// deep they nest. The counts are those of LengthDistribution.h, taken from any table.

#include <cstddef>
#include <span>
#include <vector>

#include "platform/net/IpGenPrefix.h"
#include "tools/table-generator/LengthDistribution.h"

namespace Routing {

struct TableStats {
  // Distinct prefixes.
  std::size_t prefixes = 0;
  // How many more there were that repeat one.
  std::size_t repeated = 0;
  // By length, shortest first; only lengths that the table has.
  std::vector<LengthCount> lengths;
  // Prefixes by the number of prefixes that each lies in; at index 0 those outside all others.
  std::vector<std::size_t> depths;

  std::size_t inside() const;
  // A table for people.
  String stringValue() const;
};

// Of the prefixes of one family, in any order.
TableStats tableStats(std::span<const IpGenPrefix> table, AddressFamily family);

}  // namespace Routing
