// A disk that is full.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host_system.h"
#include "service/program.h"

namespace replay_test {
namespace {

using testing::HasSubstr;

TEST(FullDisk, EndsTheRecordingIsToldAndLeavesTheProvidersAlone) {
  const ktsvc_test::ScratchFolder folder;
  ktsvc_test::Environment environment = ktsvc_test::HarmlessServices(folder);
  environment["KT_REGISTRY"] = folder.path().string();
  const auto result =
      ktsvc_test::RunKtsvc({"run", "--once", "--record", "/dev/full", "hostkit"}, environment);
  EXPECT_NE(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("No space left on device"));
}

}  // namespace
}  // namespace replay_test
