#include "apptext/footer.h"

#include <gtest/gtest.h>

namespace apptext {
namespace {

TEST(AFooter, GivesExamplesWithTheirComments) {
  const Footer footer = ReadFooter("Examples:\n  a b        does this\n  c 'd e' | f\n");
  ASSERT_EQ(footer.examples.size(), 2U);
  EXPECT_EQ(footer.examples[0].command, "a b");
  EXPECT_EQ(footer.examples[0].comment, "does this");
  EXPECT_EQ(footer.examples[1].command, "c 'd e' | f");
  EXPECT_EQ(footer.examples[1].comment, "");
}

TEST(AFooter, EndsTheExamplesAtABlankLine) {
  const Footer footer = ReadFooter("Examples:\n  a\n\nProse follows.\n  kept\n");
  EXPECT_EQ(footer.examples.size(), 1U);
  EXPECT_EQ(footer.prose, "Prose follows.\n  kept");
}

TEST(AFooter, EndsTheExamplesAtTheNextTitle) {
  const Footer footer = ReadFooter("Examples:\n  a\nLevels: 1 details, 2 more\n");
  EXPECT_EQ(footer.examples.size(), 1U);
  EXPECT_EQ(footer.prose, "Levels: 1 details, 2 more");
}

TEST(AFooter, GivesTheExitStatusesAsAList) {
  const Footer footer = ReadFooter(
      "Exit status: 0 all went well, 1 a provider failed, or kept\nsomething, 2 wrong words here.");
  ASSERT_EQ(footer.statuses.size(), 3U);
  EXPECT_EQ(footer.statuses[0].status, "0");
  EXPECT_EQ(footer.statuses[0].meaning, "all went well");
  EXPECT_EQ(footer.statuses[1].meaning, "a provider failed, or kept something");
  EXPECT_EQ(footer.statuses[2].status, "2");
  EXPECT_EQ(footer.statuses[2].meaning, "wrong words here");
}

TEST(AFooter, KeepsExitStatusesThatAreNoListAsText) {
  const Footer footer = ReadFooter("Exit status: that of the command.");
  EXPECT_TRUE(footer.statuses.empty());
  EXPECT_EQ(footer.statusText, "that of the command.");
}

TEST(AFooter, LosesNoWordWhenItHasNoTitles) {
  EXPECT_EQ(ReadFooter("One line.\nAnother.\n").prose, "One line.\nAnother.");
}

TEST(AFooter, OfNothingIsEmpty) {
  const Footer footer = ReadFooter("");
  EXPECT_TRUE(footer.examples.empty());
  EXPECT_TRUE(footer.prose.empty());
  EXPECT_TRUE(footer.statusText.empty());
}

}  // namespace
}  // namespace apptext
