// A file that cannot become as long as the recording: what a full disk and a quota come to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host_system.h"
#include "service/program.h"

namespace replay_test {
namespace {

using testing::HasSubstr;

class RecordingPlace : public testing::Test {
 protected:
  RecordingPlace() : environment_(ktsvc_test::HarmlessServices(folder_)) {
    environment_["KT_REGISTRY"] = folder_.path().string();
  }

  [[nodiscard]] std::string Path(const char* name) const {
    return (folder_.path() / name).string();
  }

  ktsvc_test::Result RecordTo(const std::string& path) {
    return ktsvc_test::RunKtsvc({"run", "--once", "--record", path, "hostkit"}, environment_);
  }

  ktsvc_test::ScratchFolder folder_;
  ktsvc_test::Environment environment_;
};

TEST_F(RecordingPlace, ThatIsFullEndsTheRecordingAndLeavesTheProvidersAlone) {
  // The shell's unit is 512 bytes; the signal that usually goes with the limit is not of interest.
  const std::string command = "trap '' XFSZ; ulimit -f 1; exec \"$0\" run --once --record '" +
                              Path("life.ktrec") + "' hostkit";
  ktsvc_test::Program program({"-c", command, ktsvc_test::BuiltProgram().string()}, environment_,
                              "/bin/sh");
  const auto result = program.Wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("it cannot be written: File too large"));
  EXPECT_LE(std::filesystem::file_size(Path("life.ktrec")), 512U);
}

TEST_F(RecordingPlace, IsItsOwnersAlone) {
  const mode_t usual = umask(0);
  const auto result = RecordTo(Path("life.ktrec"));
  umask(usual);
  ASSERT_EQ(result.status, 0) << result.errors;
  struct stat facts {};
  ASSERT_EQ(stat(Path("life.ktrec").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

TEST_F(RecordingPlace, GetsAFileOfItsOwnWhereAnOlderOneStands) {
  std::ofstream(Path("life.ktrec")) << "somebody reads this";
  std::filesystem::permissions(Path("life.ktrec"), std::filesystem::perms::all);
  std::ifstream reader(Path("life.ktrec"));
  ASSERT_EQ(RecordTo(Path("life.ktrec")).status, 0);
  struct stat facts {};
  ASSERT_EQ(stat(Path("life.ktrec").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
  std::string seen;
  std::getline(reader, seen);
  EXPECT_EQ(seen, "somebody reads this");
}

TEST_F(RecordingPlace, MayBeNoLinkAndNoFolderWhichStayAsTheyAre) {
  std::ofstream(Path("precious")) << "kept";
  std::filesystem::permissions(Path("precious"), std::filesystem::perms::all);
  std::filesystem::create_symlink(Path("precious"), Path("link"));
  std::filesystem::create_directory(Path("folder"));
  for (const char* const name : {"link", "folder"}) {
    const auto result = RecordTo(Path(name));
    EXPECT_NE(result.status, 0) << name;
    EXPECT_THAT(result.errors, HasSubstr("no ordinary file")) << name;
  }
  std::string kept;
  std::getline(std::ifstream(Path("precious")), kept);
  EXPECT_EQ(kept, "kept");
  EXPECT_EQ(std::filesystem::status(Path("precious")).permissions(), std::filesystem::perms::all);
}

}  // namespace
}  // namespace replay_test
