#include "tests/property/Reach.h"

#include <algorithm>
#include <iomanip>
#include <istream>
#include <ostream>

namespace Routing::Support {

void Reach::countSituations(const SituationCounts& situations) noexcept {
  std::transform(situations_.begin(),
                 situations_.end(),
                 situations.begin(),
                 situations_.begin(),
                 [](std::uint64_t left, std::uint64_t right) { return left + right; });
}

bool Reach::add(std::istream& stream) {
  Reach other;
  for (auto& row : other.pairs_) {
    for (std::uint64_t& count : row) {
      stream >> count;
    }
  }
  for (std::uint64_t& count : other.situations_) {
    stream >> count;
  }
  if (!stream) {
    return false;
  }
  for (std::size_t first = 0; first < Operation::kinds; ++first) {
    for (std::size_t next = 0; next < Operation::kinds; ++next) {
      pairs_[first][next] += other.pairs_[first][next];
    }
  }
  countSituations(other.situations_);
  return true;
}

void Reach::write(std::ostream& stream) const {
  for (const auto& row : pairs_) {
    for (const std::uint64_t count : row) {
      stream << count << ' ';
    }
    stream << '\n';
  }
  for (const std::uint64_t count : situations_) {
    stream << count << ' ';
  }
  stream << '\n';
}

std::size_t Reach::below(std::uint64_t often) const noexcept {
  const auto rare = [often](std::uint64_t count) { return count < often; };
  auto count = std::count_if(situations_.begin(), situations_.end(), rare);
  for (const auto& row : pairs_) {
    count += std::count_if(row.begin(), row.end(), rare);
  }
  return static_cast<std::size_t>(count);
}

void Reach::print(std::ostream& stream, std::uint64_t often) const {
  stream << "situations reached:\n";
  for (std::size_t i = 0; i < situations_.size(); ++i) {
    stream << std::setw(12) << situations_[i] << "  " << nameOf(static_cast<Situation>(i))
           << (situations_[i] < often ? "  (rare)\n" : "\n");
  }
  stream << "pairs of operations reached, by the first: fewest, most\n";
  for (std::size_t first = 0; first < Operation::kinds; ++first) {
    const auto& row = pairs_[first];
    stream << std::setw(12) << *std::min_element(row.begin(), row.end()) << std::setw(12)
           << *std::max_element(row.begin(), row.end()) << "  "
           << nameOf(static_cast<Operation::Kind>(first)) << '\n';
    for (std::size_t next = 0; next < Operation::kinds; ++next) {
      if (row[next] < often) {
        stream << std::setw(12) << row[next]
               << "  rare: " << nameOf(static_cast<Operation::Kind>(first)) << ", "
               << nameOf(static_cast<Operation::Kind>(next)) << '\n';
      }
    }
  }
}

}  // namespace Routing::Support
