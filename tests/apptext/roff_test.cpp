#include "apptext/roff.h"

#include <gtest/gtest.h>

namespace apptext {
namespace {

TEST(RoffText, KeepsWhatHasNoMeaningToRoff) {
  EXPECT_EQ(RoffText("Show 3 of {them} <now>."), "Show 3 of {them} <now>.");
}

TEST(RoffText, EscapesWhatRoffWouldTakeForSomethingElse) {
  EXPECT_EQ(RoffText("\\fB"), "\\efB");
  EXPECT_EQ(RoffText("--all"), "\\-\\-all");
  EXPECT_EQ(RoffText("it's \"so\""), "it\\(aqs \\(dqso\\(dq");
  EXPECT_EQ(RoffText("~ ^ `"), "\\(ti \\(ha \\(ga");
}

TEST(RoffText, LetsNoLineBeginAMacro) {
  EXPECT_EQ(RoffText(".TH\n.so x"), "\\&.TH\n\\&.so x");
  EXPECT_EQ(RoffText("'so x"), "\\(aqso x");
  EXPECT_EQ(RoffText("a.b"), "a.b");
}

TEST(RoffText, NamesCharactersBeyondAscii) {
  EXPECT_EQ(RoffText("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), "\\[u00E9]\\[u20AC]\\[u1F600]");
}

TEST(RoffText, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(RoffText("a\xFFz"), "a\\[uFFFD]z");
}

TEST(RoffMacros, QuoteTheirArguments) {
  Roff roff;
  roff.Macro("SH", "SEE \"ALSO\"");
  EXPECT_EQ(roff.page(), ".SH \"SEE \\(dqALSO\\(dq\"\n");
}

TEST(RoffProse, BeginsAParagraphAfterABlankLine) {
  Roff roff;
  roff.Prose("one\ntwo\n\nthree\n");
  EXPECT_EQ(roff.page(), "one\ntwo\n.PP\nthree\n");
}

TEST(RoffProse, LeavesIndentedLinesAsTheyAre) {
  Roff roff;
  roff.Prose("so:\n  a   b\n    c\nend");
  EXPECT_EQ(roff.page(), "so:\n.RS 2\n.nf\na   b\n  c\n.fi\n.RE\nend\n");
}

TEST(RoffProse, EndsTheIndentedPartAtTheEnd) {
  Roff roff;
  roff.Prose("  a\n\n  b");
  EXPECT_EQ(roff.page(), ".RS 2\n.nf\na\n.sp\nb\n.fi\n.RE\n");
}

TEST(RoffProse, BreaksLongLinesBetweenWords) {
  Roff roff;
  roff.Prose(std::string(50, 'a') + " " + std::string(50, 'b') + " .c");
  EXPECT_EQ(roff.page(), std::string(50, 'a') + "\n" + std::string(50, 'b') + " .c\n");
}

TEST(RoffProse, EscapesADotThatABrokenLineBeginsWith) {
  Roff roff;
  roff.Prose(std::string(79, 'a') + " .b");
  EXPECT_EQ(roff.page(), std::string(79, 'a') + "\n\\&.b\n");
}

}  // namespace
}  // namespace apptext
