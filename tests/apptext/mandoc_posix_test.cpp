#include <gtest/gtest.h>

#include "apptext/man_page.h"
#include "apptext/sample_program.h"
#include "apptext/tool_posix.h"
#include "service/scratch_folder.h"

namespace apptext {
namespace {

TEST(ReadByMandoc, ThePageIsWithoutFault) {
  const auto app = apptext_test::SampleProgram();
  const ktsvc_test::ScratchFolder folder;
  ManualInfo info;
  info.seeAlso = {"cat(1)"};
  const auto page = folder.Write("sample.1", ManPage(*app, info));
  const auto run =
      apptext_test::RunTool({"mandoc", "-T", "lint", page.string()}, folder.path().string());
  EXPECT_EQ(run.output, "");
}

}  // namespace
}  // namespace apptext
