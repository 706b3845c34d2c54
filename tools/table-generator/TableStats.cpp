#include "tools/table-generator/TableStats.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <ios>
#include <iterator>
#include <sstream>

namespace Routing {
namespace {

double percent(std::size_t part, std::size_t whole) {
  return whole == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(whole);
}

std::vector<IpGenPrefix> sortedFamily(std::span<const IpGenPrefix> table, AddressFamily family) {
  std::vector<IpGenPrefix> result;
  std::ranges::copy_if(table, std::back_inserter(result), [family](const IpGenPrefix& prefix) {
    return prefix.family() == family;
  });
  if (!std::ranges::is_sorted(result)) {
    std::ranges::sort(result);
  }
  return result;
}

void writeLength(std::ostream& out, const LengthCount& entry, std::size_t prefixes) {
  out << std::setw(5) << '/' + std::to_string(entry.length) << std::setw(11) << entry.prefixes
      << std::setw(8) << percent(entry.prefixes, prefixes) << " %" << std::setw(11) << entry.inside
      << std::setw(8) << percent(entry.inside, entry.prefixes) << " %" << std::setw(9)
      << entry.covers << std::setw(11) << entry.covered << '\n';
}

}  // namespace

TableStats tableStats(std::span<const IpGenPrefix> table, AddressFamily family) {
  TableStats stats;
  std::array<LengthCount, 129> lengths{};
  // The prefixes that the current one lies in, each with the mark that it covers one already.
  struct Cover {
    IpGenPrefix prefix;
    bool counted;
  };
  std::vector<Cover> covers;
  IpGenPrefix last;
  for (const IpGenPrefix& prefix : sortedFamily(table, family)) {
    if (prefix == last) {
      ++stats.repeated;
      continue;
    }
    last = prefix;
    while (!covers.empty() && !covers.back().prefix.contains(prefix)) {
      covers.pop_back();
    }
    LengthCount& entry = lengths.at(prefix.length());
    ++entry.prefixes;
    ++stats.prefixes;
    if (!covers.empty()) {
      ++entry.inside;
      LengthCount& cover = lengths.at(covers.back().prefix.length());
      ++cover.covered;
      cover.covers += covers.back().counted ? 0U : 1U;
      covers.back().counted = true;
    }
    stats.depths.resize(std::max(stats.depths.size(), covers.size() + 1));
    ++stats.depths[covers.size()];
    covers.push_back({prefix, false});
  }
  for (std::size_t length = 0; length < lengths.size(); ++length) {
    if (lengths.at(length).prefixes != 0) {
      stats.lengths.push_back(lengths.at(length));
      stats.lengths.back().length = static_cast<std::uint8_t>(length);
    }
  }
  return stats;
}

std::size_t TableStats::inside() const { return depths.empty() ? 0 : prefixes - depths.front(); }

String TableStats::stringValue() const {
  std::ostringstream out;
  out << std::fixed << std::setprecision(2);
  out << prefixes << " prefixes, " << inside() << " (" << percent(inside(), prefixes)
      << " %) inside another";
  if (repeated != 0) {
    out << ", " << repeated << " repeated";
  }
  out << "\nlength   prefixes     share     inside     share   covers    covered\n";
  for (const LengthCount& entry : lengths) {
    writeLength(out, entry, prefixes);
  }
  out << "depth    prefixes     share\n";
  for (std::size_t depth = 0; depth < depths.size(); ++depth) {
    out << std::setw(5) << depth << std::setw(11) << depths[depth] << std::setw(8)
        << percent(depths[depth], prefixes) << " %\n";
  }
  return out.str();
}

}  // namespace Routing
