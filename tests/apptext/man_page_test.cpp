#include "apptext/man_page.h"

#include <gmock/gmock.h>

#include "apptext/sample_program.h"

namespace apptext {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

ManualInfo Info() {
  ManualInfo info;
  info.date = "2001-02-03";
  info.source = "samples 1.2";
  info.manual = "sample's manual";
  info.files = {{"/etc/sample", "What it reads."}};
  info.seeAlso = {"other(1)", "more(5)"};
  return info;
}

class TheManualPage : public testing::Test {
 protected:
  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const std::string page_ = ManPage(*app_, Info());
};

TEST_F(TheManualPage, BeginsWithItsTitle) {
  EXPECT_THAT(page_,
              StartsWith(".TH SAMPLE 1 2001-02-03 \"samples 1.2\" \"sample\\(aqs manual\"\n"));
}

TEST_F(TheManualPage, SaysInOneLineWhatTheProgramDoes) {
  EXPECT_THAT(page_, HasSubstr(".SH \"NAME\"\nsample \\- shows things\n"));
}

TEST_F(TheManualPage, HasTheUsageOfEveryCommandInTheSynopsis) {
  EXPECT_THAT(page_, HasSubstr("\\fBsample show\\fR [OPTIONS] [WHAT]\n.br\n"
                               "\\fBsample group add\\fR [OPTIONS] NAME...\n"));
}

TEST_F(TheManualPage, EscapesTheTextOfTheHelp) {
  EXPECT_THAT(page_, HasSubstr("\\(dqtrip\\(dq over $HOME, \\(gadate\\(ga and"));
  EXPECT_THAT(page_, HasSubstr("C:\\enew."));
  EXPECT_THAT(page_, HasSubstr("\n\\&.TH is no title"));
  EXPECT_THAT(page_,
              HasSubstr("5 \\[u20AC] a piece:\n.RS 2\n.nf\nkept    as\n  it is\n.fi\n.RE\n"));
}

TEST_F(TheManualPage, ExplainsOptionsWithTheirValues) {
  EXPECT_THAT(page_, HasSubstr(".TP\n\\fB\\-i\\fR, \\fB\\-\\-in\\fR \\fIDIR\\fR\n"
                               "A folder: where they are\n"));
}

TEST_F(TheManualPage, TitlesTheGroupsWhereThereAreSeveral) {
  EXPECT_THAT(page_, HasSubstr(".PP\nLooks:\n.TP\n\\fB\\-\\-colour\\fR"));
}

TEST_F(TheManualPage, LeavesOutWhatTheHelpHides) {
  EXPECT_THAT(page_, Not(HasSubstr("Not to be seen")));
  EXPECT_THAT(page_, Not(HasSubstr("secret")));
}

TEST_F(TheManualPage, NamesTheAliasesOfACommand) {
  EXPECT_THAT(page_, HasSubstr("Also: \\fBlook\\fR\n"));
}

TEST_F(TheManualPage, ListsTheExitStatusesOfTheFooter) {
  EXPECT_THAT(page_, HasSubstr(".SH \"EXIT STATUS\"\n.TP\n\\fB0\\fR\nall went well\n"
                               ".TP\n\\fB1\\fR\nnothing there\n.TP\n\\fB2\\fR\nwrong words\n"));
}

TEST_F(TheManualPage, CollectsTheExamplesOfAllFooters) {
  EXPECT_THAT(page_, HasSubstr(".SH \"EXAMPLES\"\n.TP\n\\fBsample show\\fR\nall of them\n"
                               ".TP\n\\fBsample show \\-\\-in /tmp \\(aqa b\\(aq\\fR\n\\&\n"
                               ".TP\n\\fBsample show apples\\fR\njust these\n"));
}

TEST_F(TheManualPage, KeepsWhatElseTheFooterSays) {
  EXPECT_THAT(page_, HasSubstr("Colours: only on a terminal.\n"));
}

TEST_F(TheManualPage, EndsWithFilesAndOtherPages) {
  EXPECT_THAT(page_, HasSubstr(".SH \"FILES\"\n.TP\n\\fI/etc/sample\\fR\nWhat it reads.\n"));
  EXPECT_THAT(page_, HasSubstr(".SH \"SEE ALSO\"\n\\fBother\\fR(1),\n\\fBmore\\fR(5)\n"));
}

TEST_F(TheManualPage, IsTheSameEachTime) {
  EXPECT_EQ(ManPage(*app_, Info()), page_);
}

}  // namespace
}  // namespace apptext
