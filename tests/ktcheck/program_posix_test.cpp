// What can only be tried where there are signals and folders of a registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include "ktcheck/ktcheck_program.h"

namespace ktcheck_test {
namespace {

TEST(BrokenModule, WhoseThreadBlocksSignalsIsToldThatAThreadIsLeft) {
  const nlohmann::json verdict =
      VerdictOn(BrokenModule("deaf"), {"exports", "names", "life"}, {"--patience", "30"});
  EXPECT_THAT(KindsIn(verdict), testing::ElementsAre("thread-left"));
  EXPECT_THAT(FirstOf(verdict, "thread-left").at("what").get<std::string>(),
              testing::HasSubstr("it blocks signals"));
}

ktsvc_test::Result RunByShell(const std::string& line, const ktsvc_test::Environment& environment) {
  const auto program = ktsvc_test::BuiltProgram().parent_path() / "ktcheck";
  return ktsvc_test::Program({"-c", program.string() + " " + line}, environment, "/bin/sh").Wait();
}

TEST(KtcheckProgram, WhoseVerdictCannotBeWrittenHasNone) {
  const auto result = RunByShell("--quiet --only names hostkit > /dev/full", {});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.errors, "ktcheck: the verdict cannot be written\n");
}

TEST(KtcheckProgram, ThatCannotDoItsWorkHasNoVerdict) {
  const auto result =
      RunByShell("--quiet --only names hostkit", {{"TMPDIR", "/proc/nobody/can/write/here"}});
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.errors, testing::StartsWith("ktcheck: "));
  EXPECT_EQ(result.output, "");
}

// A process as the system shows it: its state ('Z': it has ended; 0: it is gone) and who began it.
struct Shown {
  char state = 0;
  std::intptr_t parent = 0;
};

Shown Look(const std::string& number) {
  const std::string text = ktsvc_test::ReadFile("/proc/" + number + "/stat");
  Shown shown;
  std::istringstream words(text.substr(std::min(text.size(), text.rfind(')') + 1)));
  words >> shown.state >> shown.parent;
  return shown;
}

// The first process that the other one has begun; "" when there is none yet.
std::string ChildOf(std::intptr_t parent) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string number = entry.path().filename().string();
    if (number.find_first_not_of("0123456789") != std::string::npos) continue;
    if (Look(number).parent == parent) return number;
  }
  return {};
}

TEST(KtcheckProgram, ThatIsKilledTakesTheProcessOfItsCheckAlong) {
  const ktsvc_test::ScratchFolder folder;  // for what it leaves behind
  ktsvc_test::Program program({"--lives", "1000000", "--only", "lives", "hostkit"},
                              {{"TMPDIR", folder.path().string()}},
                              ktsvc_test::BuiltProgram().parent_path() / "ktcheck");
  std::string child;
  for (; child.empty(); child = ChildOf(program.Number())) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  program.Signal(SIGKILL);
  program.Wait();
  char state = Look(child).state;
  for (; state != 0 && state != 'Z'; state = Look(child).state) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(state == 0 || state == 'Z') << "the process still runs";
}

class EndlessRun : public testing::TestWithParam<int> {
 protected:
  // Waits until it runs.
  void SetUp() override { ASSERT_TRUE(program_.WaitForError("lives: ")); }
  void TearDown() override { static_cast<void>(std::signal(GetParam(), former_)); }

  // A program that was started with a signal ignored leaves it so, as this one may have been.
  void (*const former_)(int) = std::signal(GetParam(), SIG_DFL);
  ktsvc_test::ScratchFolder folder_;
  ktsvc_test::Program program_{{"--lives", "1000000", "--only", "lives", "hostkit"},
                               {{"TMPDIR", folder_.path().string()}},
                               ktsvc_test::BuiltProgram().parent_path() / "ktcheck"};
};

TEST_P(EndlessRun, EndsBySignalAndLeavesNothingBehind) {
  program_.Signal(GetParam());
  EXPECT_EQ(program_.Wait().status, -1);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_P(EndlessRun, HasAFolderThatNobodyElseMayEnter) {
  const std::filesystem::directory_iterator made(folder_.path());
  EXPECT_EQ(std::filesystem::status(*made).permissions(), std::filesystem::perms::owner_all);
  program_.Signal(GetParam());
  program_.Wait();
}

INSTANTIATE_TEST_SUITE_P(Ktcheck, EndlessRun, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
}  // namespace ktcheck_test
