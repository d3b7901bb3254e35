#include <gmock/gmock.h>

#include "apptext/man_page.h"
#include "apptext/sample_program.h"
#include "apptext/tool_posix.h"
#include "service/scratch_folder.h"

namespace apptext {
namespace {

using testing::HasSubstr;

class ReadByMan : public testing::Test {
 protected:
  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const ktsvc_test::ScratchFolder folder_;
  const std::filesystem::path page_ = folder_.Write("sample.1", ManPage(*app_, {}));
};

TEST_F(ReadByMan, ThePageGivesNoWarning) {
  const auto run = apptext_test::RunTool(
      {"sh", "-c", "man --warnings -E UTF-8 -Tutf8 -Z -l \"$0\" >/dev/null", page_.string()},
      folder_.path().string());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "");
}

TEST_F(ReadByMan, TheTextOfTheHelpComesOutAsItStands) {
  const auto run = apptext_test::RunTool({"man", "-P", "cat", "-E", "UTF-8", "-l", page_.string()},
                                         folder_.path().string());
  EXPECT_THAT(run.output, HasSubstr("sample - shows things"));
  EXPECT_THAT(run.output, HasSubstr("\"trip\" over $HOME, `date` and"));
  EXPECT_THAT(run.output, HasSubstr("'this' no macro."));
  EXPECT_THAT(run.output, HasSubstr("-i, --in DIR"));
  EXPECT_THAT(run.output, HasSubstr("5 \xE2\x82\xAC a piece:"));
  EXPECT_THAT(run.output, HasSubstr("kept    as\n"));
  EXPECT_THAT(run.output, HasSubstr("sample show --in /tmp 'a b'"));
}

}  // namespace
}  // namespace apptext
