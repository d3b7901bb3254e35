#include "blockdev/devices/clean_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace kt::blockdev {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kMark = "\xEF\xBF\xBD";

std::string Marked(std::string_view before, int marks, std::string_view after) {
  std::string text(before);
  for (int i = 0; i < marks; ++i) text += kMark;
  return text.append(after);
}

TEST(ValidUtf8, KeepsTextThatIsValid) {
  EXPECT_EQ(ValidUtf8("Disk \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x92\xBE"),
            "Disk \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x92\xBE");
}

TEST(ValidUtf8, ReplacesEveryByteThatIsNoPartOfASequence) {
  EXPECT_EQ(ValidUtf8("a\xFF\xFE"
                      "b"),
            Marked("a", 2, "b"));
  EXPECT_EQ(ValidUtf8("a\x80z"), Marked("a", 1, "z"));
}

TEST(ValidUtf8, ReplacesASequenceThatIsCutShort) {
  EXPECT_EQ(ValidUtf8("a\xC3"), Marked("a", 1, ""));
  EXPECT_EQ(ValidUtf8("\xE2\x82z"), Marked("", 2, "z"));
}

TEST(ValidUtf8, RefusesOverlongFormsSurrogatesAndValuesBeyondTheLast) {
  EXPECT_EQ(ValidUtf8("\xC0\xAF"), Marked("", 2, ""));
  EXPECT_EQ(ValidUtf8("\xE0\x9F\x80"), Marked("", 3, ""));
  EXPECT_EQ(ValidUtf8("\xED\xA0\x80"), Marked("", 3, ""));
  EXPECT_EQ(ValidUtf8("\xF0\x8F\x80\x80"), Marked("", 4, ""));
  EXPECT_EQ(ValidUtf8("\xF4\x90\x80\x80"), Marked("", 4, ""));
}

TEST(ValidUtf8, EndsAtTheFirstZeroByte) {
  EXPECT_EQ(ValidUtf8("abc\0def"sv), "abc");
}

TEST(CleanText, CutsBlanksOffAtBothEndsAndKeepsThemInside) {
  EXPECT_EQ(CleanText("  Fast Disk 9000   "), "Fast Disk 9000");
}

TEST(CleanText, TurnsControlCharactersIntoBlanks) {
  EXPECT_EQ(CleanText("\tA\x01"
                      "B\x7F\n"),
            "A B");
}

TEST(CleanText, TurnsUpperControlCharactersIntoBlanks) {
  EXPECT_EQ(CleanText("\xC2\x85Some\xC2\x9B"
                      "Disk\xC2\xA9"),
            "Some Disk\xC2\xA9");
}

TEST(CleanText, OfBlanksAloneIsEmpty) {
  EXPECT_EQ(CleanText("   \t "), "");
  EXPECT_EQ(CleanText(""), "");
}

}  // namespace
}  // namespace kt::blockdev
