#include <gtest/gtest.h>

#include "host_system.h"
#include "options.h"
#include "service/scratch_folder.h"

namespace ktsvc {
namespace {

TEST(CommandLineRegistry, IsRefusedBecauseTheRegistryIsTheSystems) {
  const ktsvc_test::ScratchFolder folder;
  try {
    ParseCommandLine({"run", "--registry", PathText(folder.path()), "a"});
    FAIL() << "nothing was refused";
  } catch (const CommandLineEnd& end) {
    EXPECT_EQ(end.status(), kExitUsage);
    EXPECT_NE(std::string(end.what()).find("--registry has no meaning here"), std::string::npos);
  }
}

}  // namespace
}  // namespace ktsvc
