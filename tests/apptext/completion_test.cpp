#include "apptext/completion.h"

#include <gmock/gmock.h>

#include "apptext/sample_program.h"
#include "apptext/shell_scripts.h"

namespace apptext {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Shells, AreKnownByName) {
  EXPECT_EQ(ShellNamed("bash"), Shell::kBash);
  EXPECT_EQ(ShellNamed("zsh"), Shell::kZsh);
  EXPECT_EQ(ShellNamed("fish"), Shell::kFish);
  EXPECT_EQ(ShellNamed("Bash"), std::nullopt);
  EXPECT_EQ(ShellNamed(""), std::nullopt);
}

TEST(QuotedText, IsOneWordForTheShell) {
  EXPECT_EQ(Quoted("it's $x `y` \"z\""), "'it'\\''s $x `y` \"z\"'");
  EXPECT_EQ(Quoted("a\nb"), "'a b'");
  EXPECT_EQ(Quoted(""), "''");
}

class EveryScript : public testing::TestWithParam<Shell> {
 protected:
  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
};

TEST_P(EveryScript, SaysHowItIsUsed) {
  EXPECT_THAT(Completion(*app_, GetParam()), HasSubstr("sample completion "));
}

TEST_P(EveryScript, LeavesOutWhatTheHelpHides) {
  const std::string script = Completion(*app_, GetParam());
  EXPECT_THAT(script, Not(HasSubstr("secret")));
  EXPECT_THAT(script, Not(HasSubstr("hidden")));
}

TEST_P(EveryScript, AsksTheProgramForItsOwnWords) {
  EXPECT_THAT(Completion(*app_, GetParam()), Not(HasSubstr("sample keys")));
  EXPECT_THAT(Completion(*app_, GetParam(), {{"KEY", "sample keys", false}}),
              HasSubstr("sample keys 2>/dev/null"));
}

TEST_P(EveryScript, IsTheSameEachTime) {
  EXPECT_EQ(Completion(*app_, GetParam()), Completion(*app_, GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Shells, EveryScript,
                         testing::Values(Shell::kBash, Shell::kZsh, Shell::kFish));

}  // namespace
}  // namespace apptext
