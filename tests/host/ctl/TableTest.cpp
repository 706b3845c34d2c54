#include <gtest/gtest.h>

#include <string>

#include "host/ctl/Table.h"

namespace Routing::Host {
namespace {

std::string printed(Table& table) {
  ::testing::internal::CaptureStdout();
  table.print();
  return ::testing::internal::GetCapturedStdout();
}

TEST(Table, ColumnsAreAsWideAsTheirLongestCellAndNoLineEndsInBlanks) {
  Table table({"NAME", "VALUE", "NOTE"});
  table.add({"a", "", "short"});
  table.add({"longer", "1", "x y z"});
  table.addMore({"", "2", ""});
  EXPECT_EQ(printed(table),
            "NAME    VALUE  NOTE\n"
            "a       -      short\n"
            "longer  1      x y z\n"
            "        2\n");
}

TEST(Table, RowsThatComeLaterKeepTheWidths) {
  Table table({"NAME", "VALUE"});
  table.add({"longest", "1"});
  printed(table);
  table.add({"a", "2"});
  EXPECT_EQ(printed(table), "a        2\n");
  table.add({"even-longer", "3"});
  EXPECT_EQ(printed(table), "even-longer  3\n");
  EXPECT_EQ(printed(table), "");
}

}  // namespace
}  // namespace Routing::Host
