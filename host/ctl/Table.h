#pragma once

// A table for people: a heading, and rows whose columns are as wide as what stands in them. The
// last column is not padded, so no line is longer than what it says.
//
// Rows of a stream come one by one: what is printed already stays as it is, and a column grows when
// a longer cell comes.

#include <string>
#include <vector>

namespace Routing::Host {

class Table {
 public:
  using Row = std::vector<std::string>;

  explicit Table(Row heading);

  // Requires: as many cells as the heading has. An empty cell shows as "-".
  void add(Row row);
  // A row that goes on with the one before: its empty cells stay empty.
  void addMore(Row row);
  // To standard output, the heading before the first time. Keeps the widths.
  void print();

 private:
  void append(Row row);

  std::vector<Row> rows_;
  std::vector<std::size_t> widths_;
};

}  // namespace Routing::Host
