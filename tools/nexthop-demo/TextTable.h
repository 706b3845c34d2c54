#pragma once

// A table of text in columns as wide as what stands in them.

#include <string>
#include <vector>

namespace Routing {

class TextTable {
 public:
  using Row = std::vector<std::string>;

  explicit TextTable(Row heading) : heading_(std::move(heading)) {}

  // Requires: as many cells as the heading has.
  void add(Row row) { rows_.push_back(std::move(row)); }
  // Null when there is none.
  Row* lastRow() noexcept { return rows_.empty() ? nullptr : &rows_.back(); }
  bool empty() const noexcept { return rows_.empty(); }
  // Prints to standard output, with an empty line after it, and empties the table.
  void print();

 private:
  Row heading_;
  std::vector<Row> rows_;
};

}  // namespace Routing
