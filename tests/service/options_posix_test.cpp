#include <gtest/gtest.h>

#include "host_system.h"
#include "options.h"
#include "service/scratch_folder.h"

namespace ktsvc {
namespace {

TEST(CommandLineRegistry, NamesAFolderThatIsThere) {
  const ktsvc_test::ScratchFolder folder;
  EXPECT_EQ(ParseCommandLine({"run", "--registry", PathText(folder.path()), "a"}).registry,
            folder.path());
}

TEST(CommandLineRegistry, IsRefusedWhenTheFolderIsNotThere) {
  try {
    ParseCommandLine({"run", "--registry", "not/there", "a"});
    FAIL() << "nothing was refused";
  } catch (const CommandLineEnd& end) {
    EXPECT_EQ(end.status(), kExitUsage);
    EXPECT_NE(std::string(end.what()).find("--registry: there is no folder not/there"),
              std::string::npos);
  }
}

TEST(CommandLinePosix, ASocketFileIsNamedOrRefused) {
  EXPECT_EQ(ParseCommandLine({"run", "a", "--socket", "s.sock"}).socket, "s.sock");
  for (const char* other : {"--once", "--no-socket"}) {
    EXPECT_THROW(ParseCommandLine({"run", "a", "--socket", "s.sock", other}), CommandLineEnd);
  }
}

}  // namespace
}  // namespace ktsvc
