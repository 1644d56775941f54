#include "tools/policyctl/render/table.h"

#include <gtest/gtest.h>

#include "tools/policyctl/render/table_text.h"

namespace {

using Align = TableColumn::Align;

constexpr std::size_t WIDE = 1000;

Table small_table() {
  Table table({{"ACL", Align::RIGHT}, {"NAME"}, {"DESCRIPTION", Align::LEFT, true}});
  table.add(std::uint64_t{7});
  table.add("north");
  table.add("what comes in from outside");
  table.add(std::uint64_t{1234});
  table.add("x");
  table.add("");
  return table;
}

std::string written(const Table& table, std::size_t width, bool in_colour = false) {
  std::string text;
  table.write(text, width, in_colour);
  return text;
}

TEST(Table, AlignsItsColumnsAndLeavesNoBlanksAtTheEndOfALine) {
  EXPECT_EQ(written(small_table(), WIDE),
            " ACL  NAME   DESCRIPTION\n"
            "   7  north  what comes in from outside\n"
            "1234  x\n");
}

TEST(Table, CutsOnlyWhatMayBeCutAndOnlyAsFarAsTheWindowAsks) {
  EXPECT_EQ(written(small_table(), 30),
            " ACL  NAME   DESCRIPTION\n"
            "   7  north  what comes in fr\xe2\x80\xa6\n"
            "1234  x\n");
  EXPECT_EQ(written(small_table(), 5),
            " ACL  NAME   DESCRIPTION\n"
            "   7  north  what comes\xe2\x80\xa6\n"
            "1234  x\n");
  EXPECT_EQ(small_table().narrowest(), 24U);
}

TEST(Table, LeavesOutAColumnWithoutAnyText) {
  Table table({{"A"}, {"B"}, {"C"}});
  table.add("1");
  table.add("");
  table.add("3");
  EXPECT_EQ(written(table, WIDE), "A  C\n1  3\n");
}

TEST(Table, ColoursTextsAndNothingElse) {
  Table table({{"A"}, {"B"}});
  table.add("no", TextColour::RED);
  table.add("yes", TextColour::GREEN);
  table.add("", TextColour::RED);
  table.add("plain");
  EXPECT_EQ(written(table, WIDE, true),
            "\033[1mA\033[0m   \033[1mB\033[0m\n"
            "\033[31mno\033[0m  \033[32myes\033[0m\n"
            "    plain\n");
}

TEST(Table, EscapesWhatATerminalWouldObey) {
  Table table({{"A"}});
  table.add("\033[2J");
  EXPECT_EQ(written(table, WIDE), "A\n\"\\x1b[2J\"\n");
}

TEST(TableText, CountsCellsNotBytes) {
  EXPECT_EQ(text_width("abc"), 3U);
  EXPECT_EQ(text_width("\xc3\xa9t\xc3\xa9"), 3U);         // e with accents
  EXPECT_EQ(text_width("\xe6\x97\xa5\xe6\x9c\xac"), 4U);  // two wide ones
  EXPECT_EQ(text_width("e\xcc\x81"), 1U);                 // a combining accent
}

TEST(TableText, CutsBetweenCharacters) {
  EXPECT_EQ(cut_text("abcdef", 6), "abcdef");
  EXPECT_EQ(cut_text("abcdef", 4), "abc\xe2\x80\xa6");
  EXPECT_EQ(cut_text("\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e", 4), "\xe6\x97\xa5\xe2\x80\xa6");
  EXPECT_EQ(cut_text("abc", 0), "");
}

}  // namespace
