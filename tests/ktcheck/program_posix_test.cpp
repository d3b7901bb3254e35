// What can only be tried where there are signals and folders of a registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

TEST(KtcheckProgram, EndsBySignalAndLeavesNothingBehind) {
  const ktsvc_test::ScratchFolder folder;
  ktsvc_test::Program program({"--lives", "1000000", "--only", "lives", "hostkit"},
                              {{"TMPDIR", folder.path().string()}},
                              ktsvc_test::BuiltProgram().parent_path() / "ktcheck");
  ASSERT_TRUE(program.WaitForError("lives: "));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.Wait().status, -1);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
}  // namespace ktcheck_test
