#include "tools/nexthop-demo/TextTable.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace Routing {

namespace {

void printRow(const TextTable::Row& row, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < row.size(); ++column) {
    std::string cell = row[column];
    cell.resize(std::max(cell.size(), widths[column]), ' ');
    line += "  " + cell;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  std::puts(line.c_str());
}

}  // namespace

void TextTable::print() {
  std::vector<std::size_t> widths(heading_.size());
  const auto widen = [&](const Row& row) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], row[column].size());
    }
  };
  widen(heading_);
  std::for_each(rows_.begin(), rows_.end(), widen);
  printRow(heading_, widths);
  for (const Row& row : rows_) {
    printRow(row, widths);
  }
  std::puts("");
  rows_.clear();
}

}  // namespace Routing
