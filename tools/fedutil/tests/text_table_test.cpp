// Aligned tables: widths count characters, not bytes, and colour never shifts a column.
#include <gtest/gtest.h>

#include <sstream>

#include "TextTable.h"

namespace fedutil {
namespace {

TEST(TextTable, CutsLongCellsByCharacters) {
    EXPECT_EQ(DisplayWidth("Zürich"), 6u);
    EXPECT_EQ(Ellipsize("Zürich Nord", 7), "Zürich…");
    EXPECT_EQ(Ellipsize("short", 7), "short");
}

TEST(TextTable, AlignsColumnsAndLeavesNoTrailingBlanks) {
    TextTable table({"lid", "name", "count"});
    table.AlignRight(2);
    table.AddRow({"1", "Zürich", "7"});
    table.AddRow({"22", "Oslo", "120"});
    std::ostringstream plain;
    table.Print(plain, Style(false), "");
    EXPECT_EQ(plain.str(),
              "lid  name    count\n"
              "1    Zürich      7\n"
              "22   Oslo      120\n");

    std::ostringstream coloured;
    TextTable short_table({"a", "b"});
    short_table.AddRow({Cell("x", Tone::Good), "y"});
    short_table.Print(coloured, Style(true), "");
    EXPECT_EQ(coloured.str(), "\033[1ma\033[0m  \033[1mb\033[0m\n\033[32mx\033[0m  y\n");
}

}  // namespace
}  // namespace fedutil
