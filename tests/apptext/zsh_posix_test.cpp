#include <gtest/gtest.h>

#include "apptext/completion.h"
#include "apptext/sample_program.h"
#include "apptext/tool_posix.h"
#include "service/scratch_folder.h"

namespace apptext {
namespace {

class InZsh : public testing::Test {
 protected:
  const std::unique_ptr<CLI::App> app_ = apptext_test::SampleProgram();
  const ktsvc_test::ScratchFolder folder_;
  const std::filesystem::path script_ =
      folder_.Write("_sample", Completion(*app_, Shell::kZsh, {{"KEY", "sample keys", true}}));
};

TEST_F(InZsh, TheScriptIsWellFormed) {
  const auto run =
      apptext_test::RunTool({"zsh", "-f", "-n", script_.string()}, folder_.path().string());
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output, "");
}

TEST_F(InZsh, TheScriptIsFoundByItsFirstLine) {
  const auto run = apptext_test::RunTool(
      {"zsh", "-f", "-c",
       "fpath=($HOME $fpath); autoload -Uz compinit && compinit -u -D && print ${_comps[sample]}"},
      folder_.path().string());
  EXPECT_EQ(run.output, "_sample\n");
}

TEST_F(InZsh, TheScriptAnnouncesItselfWhenItIsSourced) {
  const auto run = apptext_test::RunTool({"zsh", "-f", "-c",
                                          "autoload -Uz compinit && compinit -u -D && "
                                          "source $HOME/_sample && print ${_comps[sample]}"},
                                         folder_.path().string());
  EXPECT_EQ(run.output, "_sample\n");
}

}  // namespace
}  // namespace apptext
