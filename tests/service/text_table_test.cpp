#include "text_table.h"

#include <gtest/gtest.h>

namespace ktsvc {
namespace {

TEST(TextTable, LinesUpItsColumns) {
  TextTable table;
  table.Add({"a", "bbb", "c"});
  table.Add({"aaa", "b", "c"});
  EXPECT_EQ(table.Text("  "), "  a    bbb  c\n  aaa  b    c\n");
}

TEST(TextTable, LeavesNoBlanksAtTheEndOfALine) {
  TextTable table;
  table.Add({"a", "b"});
  table.Add({"aaa", ""});
  table.Add({"a"});
  EXPECT_EQ(table.Text(""), "a    b\naaa\na\n");
}

TEST(TextTable, CountsCharactersAndNotBytes) {
  TextTable table;
  table.Add({"\xC3\xA9", "x"});
  table.Add({"ab", "x"});
  EXPECT_EQ(table.Text(""), "\xC3\xA9   x\nab  x\n");
}

TEST(TextTable, IsNoTextWithoutRows) {
  EXPECT_EQ(TextTable().Text("  "), "");
}

}  // namespace
}  // namespace ktsvc
