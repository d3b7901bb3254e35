// Widths, cuts, tables, colours and what decides about them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/display_text.h"
#include "cli/painter.h"
#include "cli/screen.h"
#include "cli/table.h"
#include "cli_test.h"

namespace ktctl {
namespace {

using cli_test::VariablesOf;
using Kind = Column::Kind;

constexpr const char* kEllipsis = "\xE2\x80\xA6";

Screen Terminal80(std::size_t width = 80) {
  return {true, false, true, width};
}
Screen Pipe() {
  return {false, false, true, std::nullopt};
}

TEST(DisplayWidth, CountsCharactersAndNotBytes) {
  EXPECT_EQ(DisplayWidth("abc"), 3U);
  EXPECT_EQ(DisplayWidth("\xC3\xA9"), 1U);
}

TEST(DisplayWidth, GivesTwoColumnsToWideCharacters) {
  EXPECT_EQ(DisplayWidth("\xE7\xA3\x81\xE7\x9B\x98"), 4U);  // two ideographs
  EXPECT_EQ(DisplayWidth("\xF0\x9F\x98\x80"), 2U);          // a face
}

TEST(DisplayWidth, GivesNoneToWhatCombines) {
  EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1U);
}

TEST(DisplayWidth, GivesOneToAByteThatIsNoCharacter) {
  EXPECT_EQ(DisplayWidth("a\xFF"), 2U);
}

TEST(CutToWidth, LeavesWhatFits) {
  EXPECT_EQ(CutToWidth("abc", 3, "..."), "abc");
}

TEST(CutToWidth, PutsTheMarkInTheLastColumns) {
  EXPECT_EQ(CutToWidth("abcdef", 4, kEllipsis), std::string("abc") + kEllipsis);
  EXPECT_EQ(CutToWidth("abcdef", 5, "..."), "ab...");
}

TEST(CutToWidth, CutsNoCharacterInTwo) {
  // An ideograph does not fit into the one column that is left.
  EXPECT_EQ(CutToWidth("a\xE7\xA3\x81\xE7\x9B\x98", 3, kEllipsis), std::string("a") + kEllipsis);
}

TEST(CutToWidth, LeavesAMarkOutThatDoesNotFit) {
  EXPECT_EQ(CutToWidth("abc", 2, "..."), "ab");
}

TEST(Table, LinesUpItsColumnsUnderTheirHeadings) {
  Table table({{"A"}, {"LONG"}, {"N", Kind::kNumber}});
  table.Add({"aaa", "b", "10"});
  table.Add({"a", "", "5"});
  EXPECT_EQ(table.Text(Pipe()),
            "A    LONG   N\n"
            "aaa  b     10\n"
            "a           5\n");
}

TEST(Table, LeavesNoBlanksAtTheEndOfALine) {
  Table table({{""}, {""}});
  table.Add({"aaa", "b"});
  table.Add({"a", ""});
  EXPECT_EQ(table.Text(Pipe(), 2), "  aaa  b\n  a\n");
}

TEST(Table, LinesUpWideCharactersByTheirWidth) {
  Table table({{""}, {""}});
  table.Add({"\xE7\xA3\x81", "x"});
  table.Add({"abc", "x"});
  EXPECT_EQ(table.Text(Pipe()), "\xE7\xA3\x81   x\nabc  x\n");
}

TEST(Table, CutsNothingWhereNobodyLooksOn) {
  Table table({{"", Kind::kCut}});
  table.Add({std::string(500, 'x')});
  EXPECT_EQ(table.Text(Pipe()), std::string(500, 'x') + "\n");
}

TEST(Table, CutsLongCellsToTheTerminal) {
  Table table({{"ID"}, {"VALUE", Kind::kCut}});
  table.Add({"0123456789", std::string(100, 'x')});
  EXPECT_EQ(table.Text(Terminal80(30)),
            "ID          VALUE\n0123456789  " + std::string(17, 'x') + kEllipsis + "\n");
}

TEST(Table, CutsTheWidestColumnsFirst) {
  Table table({{"", Kind::kCut}, {"", Kind::kCut}});
  table.Add({std::string(12, 'a'), std::string(40, 'b')});
  EXPECT_EQ(table.Text(Terminal80(34)),
            std::string(12, 'a') + "  " + std::string(19, 'b') + kEllipsis + "\n");
}

TEST(Table, SharesTheRoomWhereSeveralAreTooWide) {
  Table table({{"", Kind::kCut}, {"", Kind::kCut}});
  table.Add({std::string(30, 'a'), std::string(40, 'b')});
  EXPECT_EQ(table.Text(Terminal80(22)),
            std::string(9, 'a') + kEllipsis + "  " + std::string(9, 'b') + kEllipsis + "\n");
}

TEST(Table, IsWiderThanTheTerminalRatherThanCutWhatMustBeWhole) {
  Table table({{""}, {"", Kind::kCut}});
  table.Add({std::string(30, 'a'), std::string(20, 'b')});
  EXPECT_EQ(table.Text(Terminal80(20)),
            std::string(30, 'a') + "  " + std::string(7, 'b') + kEllipsis + "\n");
}

TEST(Table, MarksACutWithAsciiWhereThereIsNothingElse) {
  Screen screen = Terminal80(10);
  screen.utf8 = false;
  Table table({{"", Kind::kCut}});
  table.Add({std::string(20, 'a')});
  EXPECT_EQ(table.Text(screen), "aaaaaaa...\n");
}

TEST(Table, ColoursDoNotMoveColumns) {
  Screen screen = Terminal80();
  screen.colours = true;
  Table table({{""}, {""}});
  table.Add({{"a", Style::kBad}, "x"});
  table.Add({"bbb", "x"});
  EXPECT_EQ(table.Text(screen), "\x1b[31ma\x1b[0m    x\nbbb  x\n");
}

TEST(Painter, LeavesTextsAloneWithoutColours) {
  EXPECT_EQ(Painter(false).Paint(Style::kGood, "x"), "x");
}

TEST(Painter, TurnsEveryStyleOffBehindTheText) {
  for (const Style style :
       {Style::kHeading, Style::kName, Style::kGood, Style::kBad, Style::kFaint}) {
    const std::string text = Painter(true).Paint(style, "x");
    EXPECT_TRUE(text.starts_with("\x1b[")) << text;
    EXPECT_TRUE(text.ends_with("x\x1b[0m")) << text;
  }
}

TEST(Painter, PaintsNothingWhereThereIsNothing) {
  EXPECT_EQ(Painter(true).Paint(Style::kGood, ""), "");
  EXPECT_EQ(Painter(true).Paint(Style::kPlain, "x"), "x");
}

// ---- Screen ------------------------------------------------------------------------------------

const Terminal kTerminal{true, true, false, 100};

TEST(Screen, HasColoursOnATerminalOnly) {
  EXPECT_TRUE(MakeScreen(kTerminal, "auto", VariablesOf({})).colours);
  EXPECT_FALSE(MakeScreen(Terminal(), "auto", VariablesOf({})).colours);
}

TEST(Screen, HasColoursAsTheOptionSays) {
  EXPECT_TRUE(MakeScreen(Terminal(), "always", VariablesOf({{"NO_COLOR", "1"}})).colours);
  EXPECT_FALSE(MakeScreen(kTerminal, "never", VariablesOf({})).colours);
}

TEST(Screen, HonoursNoColor) {
  EXPECT_FALSE(MakeScreen(kTerminal, "auto", VariablesOf({{"NO_COLOR", "1"}})).colours);
}

TEST(Screen, HasNoColoursOnADumbTerminal) {
  EXPECT_FALSE(MakeScreen(kTerminal, "auto", VariablesOf({{"TERM", "dumb"}})).colours);
}

TEST(Screen, TakesItsWidthFromColumnsBeforeTheTerminal) {
  EXPECT_EQ(MakeScreen(kTerminal, "auto", VariablesOf({{"COLUMNS", "60"}})).width, 60U);
  EXPECT_EQ(MakeScreen(kTerminal, "auto", VariablesOf({{"COLUMNS", "wide"}})).width, 100U);
}

TEST(Screen, IsEightyColumnsWideWhereNobodyKnows) {
  EXPECT_EQ(MakeScreen({true, true, false, std::nullopt}, "auto", VariablesOf({})).width, 80U);
}

TEST(Screen, HasNoWidthWhereNobodyLooksOn) {
  EXPECT_EQ(MakeScreen(Terminal(), "auto", VariablesOf({{"COLUMNS", "60"}})).width, std::nullopt);
}

TEST(Screen, ShowsUtf8WhereTheLocaleNamesIt) {
  EXPECT_TRUE(MakeScreen(kTerminal, "auto", VariablesOf({{"LANG", "de_DE.UTF-8"}})).utf8);
  EXPECT_TRUE(MakeScreen(kTerminal, "auto", VariablesOf({{"LC_CTYPE", "C.utf8"}})).utf8);
  EXPECT_FALSE(MakeScreen(kTerminal, "auto", VariablesOf({{"LANG", "C"}})).utf8);
  EXPECT_FALSE(MakeScreen(kTerminal, "auto", VariablesOf({})).utf8);
}

TEST(Screen, AsksTheStrongestVariableOfTheLocaleAlone) {
  EXPECT_FALSE(
      MakeScreen(kTerminal, "auto", VariablesOf({{"LC_ALL", "C"}, {"LANG", "C.UTF-8"}})).utf8);
}

}  // namespace
}  // namespace ktctl
