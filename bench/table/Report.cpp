#include "bench/table/Report.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace Routing::Bench {

namespace {

// Where the targets were set a find took this long.
constexpr double unitOfTargets = 38 * nanosecond;

// The shortest text with three digits that count.
std::string number(double value) {
  std::array<char, 32> text{};
  const int decimals = value >= 100 ? 0 : value >= 10 ? 1 : 2;
  static_cast<void>(std::snprintf(text.data(), text.size(), "%.*f", decimals, value));
  std::string result(text.data());
  if (result.find('.') != std::string::npos) {
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') {
      result.pop_back();
    }
  }
  return result;
}

std::string timeText(double seconds) {
  if (seconds < microsecond) {
    return number(seconds / nanosecond) + " ns";
  }
  if (seconds < millisecond) {
    return number(seconds / microsecond) + " us";
  }
  return seconds < 1 ? number(seconds / millisecond) + " ms" : number(seconds) + " s";
}

std::string bytesText(double bytes) {
  constexpr double mega = 1e6;
  return bytes < mega ? number(bytes) + " B" : number(bytes / mega) + " MB";
}

}  // namespace

void Report::lineIs(const std::string& line) {
  line_ = line;
  std::fprintf(stderr, "bench: %s\n", line.c_str());
  unit_.renew();
}

void Report::row(const std::string& what,
                 const std::string& measured,
                 const std::string& target,
                 bool met) {
  rows_.push_back({line_, what, measured, target, met});
  missed_ += met ? 0U : 1U;
}

double Report::unitSeconds() {
  const double before = unit_.seconds();
  unit_.renew();
  return (before + unit_.seconds()) / 2;
}

void Report::timeAtMostUnits(const std::string& what, double seconds, double units) {
  const double measured = seconds / unitSeconds();
  row(what,
      timeText(seconds) + " = " + number(measured) + " U",
      "at most " + number(units) + " U (" + timeText(units * unitOfTargets) + ")",
      measured <= units);
}

void Report::timeAtMost(const std::string& what, double seconds, double mostSeconds) {
  const double scaled = seconds / unitSeconds() * unitOfTargets;
  row(what,
      timeText(seconds) + ", scaled " + timeText(scaled),
      "at most " + timeText(mostSeconds) + " scaled",
      scaled <= mostSeconds);
}

void Report::realTimeAtMost(const std::string& what, double seconds, double mostSeconds) {
  row(what, timeText(seconds), "at most " + timeText(mostSeconds), seconds <= mostSeconds);
}

void Report::bytesAtMost(const std::string& what, double bytes, double most) {
  row(what, bytesText(bytes), "at most " + bytesText(most), bytes <= most);
}

void Report::ratioAtLeast(const std::string& what, double ours, double twins, double least) {
  row(what,
      number(twins / ours) + " times (" + timeText(ours) + ", twin " + timeText(twins) + ")",
      "at least " + number(least) + " times",
      twins / ours >= least);
}

void Report::growthAtMost(const std::string& what, double smallest, double largest, double most) {
  row(what,
      number(largest / smallest) + " times (" + timeText(smallest) + " to " + timeText(largest) +
          ")",
      "at most " + number(most) + " times",
      largest / smallest <= most);
}

void Report::countIs(const std::string& what, std::uint64_t count, std::uint64_t wanted) {
  row(what, std::to_string(count), std::to_string(wanted), count == wanted);
}

void Report::allocationsAre(const std::string& what, std::uint64_t allocations, double operations) {
  const std::string each = number(static_cast<double>(allocations) / operations);
  allocations_.push_back({line_, what, each, "", true});
}

// A row is a line, its fields between tabs: the table it is of, whether it is met, the texts.
void Report::write(std::FILE* stream, char table, const Row& row) {
  std::fprintf(stream,
               "%c\t%d\t%s\t%s\t%s\t%s\n",
               table,
               row.met ? 1 : 0,
               row.line.c_str(),
               row.what.c_str(),
               row.measured.c_str(),
               row.target.c_str());
}

void Report::write(std::FILE* stream) const {
  for (const Row& each : rows_) {
    write(stream, 'r', each);
  }
  for (const Row& each : allocations_) {
    write(stream, 'a', each);
  }
}

void Report::read(std::FILE* stream) {
  constexpr std::size_t fieldCount = 6;
  std::vector<std::string> fields(1);
  for (int next = std::fgetc(stream); next != EOF; next = std::fgetc(stream)) {
    if (next == '\t') {
      fields.emplace_back();
    } else if (next != '\n') {
      fields.back() += static_cast<char>(next);
    } else {
      if (fields.size() != fieldCount) {
        throw std::runtime_error("a row of a report does not read");
      }
      const Row read{fields[2], fields[3], fields[4], fields[5], fields[1] == "1"};
      (fields[0] == "r" ? rows_ : allocations_).push_back(read);
      missed_ += read.met ? 0U : 1U;
      fields.assign(1, {});
    }
  }
}

void Report::print() const {
  std::printf("\n| what | figure | measured | target | |\n|---|---|---|---|---|\n");
  const std::string* line = nullptr;
  for (const Row& row : rows_) {
    const bool same = line != nullptr && *line == row.line;
    std::printf("| %s | %s | %s | %s | %s |\n",
                same ? "" : row.line.c_str(),
                row.what.c_str(),
                row.measured.c_str(),
                row.target.c_str(),
                row.met ? "ok" : "MISSED");
    line = &row.line;
  }
  std::printf(
      "\n%zu figures, %zu missed. U = %.1f ns at the end; scaled: as if it were %.0f ns. "
      "Built for %s.\n",
      rows_.size(),
      missed_,
      unit_.seconds() / nanosecond,
      unitOfTargets / nanosecond,
      NEXTHOP_BENCH_BUILD);
}

void Report::printAllocations() const {
  std::printf("\n| what | operation | allocations each |\n|---|---|---|\n");
  for (const Row& row : allocations_) {
    std::printf("| %s | %s | %s |\n", row.line.c_str(), row.what.c_str(), row.measured.c_str());
  }
}

}  // namespace Routing::Bench
