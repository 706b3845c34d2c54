#include "host/ctl/Table.h"

#include <algorithm>
#include <cstdio>

#include "platform/entity/Assert.h"

namespace Routing::Host {

Table::Table(Row heading) : widths_(heading.size()) { append(std::move(heading)); }

void Table::add(Row row) {
  for (std::string& cell : row) {
    if (cell.empty()) {
      cell.assign(1, '-');
    }
  }
  append(std::move(row));
}

void Table::addMore(Row row) { append(std::move(row)); }

void Table::append(Row row) {
  ROUTING_ASSERT(row.size() == widths_.size());
  for (std::size_t column = 0; column < row.size(); ++column) {
    widths_[column] = std::max(widths_[column], row[column].size());
  }
  rows_.push_back(std::move(row));
}

void Table::print() {
  constexpr std::size_t gap = 2;
  std::string text;
  for (const Row& row : rows_) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      text.append(row[column]);
      text.append(widths_[column] + gap - row[column].size(), ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text.push_back('\n');
  }
  rows_.clear();
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace Routing::Host
