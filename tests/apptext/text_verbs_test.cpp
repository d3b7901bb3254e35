#include "apptext/text_verbs.h"

#include <gmock/gmock.h>

#include "apptext/sample_program.h"

namespace apptext {
namespace {

using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

class TheTextVerbs : public testing::Test {
 protected:
  TheTextVerbs() { AddTextVerbs(*app_); }

  // The words come from the end, as the parser takes them.
  std::optional<std::string> TextFor(std::vector<std::string> words) {
    app_->parse(words);
    return AskedText(*app_, {}, {{"KEY", "sample keys", false}});
  }

  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
};

TEST_F(TheTextVerbs, PrintTheManualPageWithThemselvesInIt) {
  const auto text = TextFor({"man"});
  EXPECT_THAT(text, Optional(StartsWith(".TH SAMPLE 1 ")));
  EXPECT_THAT(text, Optional(HasSubstr("\\fBsample completion\\fR [OPTIONS] SHELL")));
}

TEST_F(TheTextVerbs, PrintTheCompletionsOfTheShellWithTheProgramsOwnWords) {
  const auto text = TextFor({"bash", "completion"});
  EXPECT_EQ(text, Completion(*app_, Shell::kBash, {{"KEY", "sample keys", false}}));
  EXPECT_THAT(text, Optional(HasSubstr("'bash' 'zsh' 'fish'")));
}

TEST_F(TheTextVerbs, RefuseAnotherShell) {
  EXPECT_THROW(TextFor({"csh", "completion"}), CLI::ParseError);
  EXPECT_THROW(TextFor({"completion"}), CLI::ParseError);
}

TEST_F(TheTextVerbs, HaveNothingToPrintForAnotherCommand) {
  EXPECT_EQ(TextFor({"show"}), std::nullopt);
}

}  // namespace
}  // namespace apptext
