#include "access/file_guard.h"

#include <gtest/gtest.h>

namespace ktsvc::access {
namespace {

constexpr std::uint32_t kService = 990;
constexpr std::uint32_t kStranger = 1001;

std::optional<FileFault> Judge(std::uint32_t owner, std::uint32_t mode, FileGuard guard) {
  return JudgeFile("/etc/f", {owner, mode}, guard, kService);
}

TEST(JudgeFile, AcceptsExactlyTheModesThatTheGuardAllows) {
  for (std::uint32_t mode = 0; mode <= 0777; ++mode) {
    for (const std::uint32_t owner : {std::uint32_t{0}, kService}) {
      EXPECT_EQ(!Judge(owner, mode, FileGuard::kWrittenByOwnerOnly), (mode & 022) == 0) << mode;
      EXPECT_EQ(!Judge(owner, mode, FileGuard::kReadByOwnerOnly), (mode & 077) == 0) << mode;
    }
  }
}

TEST(JudgeFile, RefusesAThirdUsersFileWhateverItsMode) {
  for (std::uint32_t mode = 0; mode <= 0777; ++mode) {
    EXPECT_TRUE(Judge(kStranger, mode, FileGuard::kWrittenByOwnerOnly));
    EXPECT_TRUE(Judge(kStranger, mode, FileGuard::kReadByOwnerOnly));
  }
}

TEST(JudgeFile, NamesTheCommandThatTakesWritingFromOthers) {
  const auto fault = Judge(0, 0664, FileGuard::kWrittenByOwnerOnly);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason, "others than its owner can write the file (mode 0664)");
  EXPECT_EQ(fault->advice, "Run: chmod go-w /etc/f");
}

TEST(JudgeFile, NamesTheCommandThatClosesATokenFileAndAsksForNewSecrets) {
  const auto fault = Judge(kService, 0640, FileGuard::kReadByOwnerOnly);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->reason, "others than its owner can reach the file (mode 0640)");
  EXPECT_EQ(fault->advice,
            "Run: chmod 600 /etc/f  (and give each token a new secret, if others could have read "
            "it)");
}

TEST(JudgeFile, NamesTheCommandThatGivesAFileToItsRightOwner) {
  const auto access = Judge(kStranger, 0666, FileGuard::kWrittenByOwnerOnly);
  ASSERT_TRUE(access);
  EXPECT_EQ(access->reason,
            "the file belongs to user 1001, neither to root nor to the user that reads it (990)");
  EXPECT_EQ(access->advice, "Run: chown root /etc/f && chmod go-w /etc/f");
  const auto tokens = Judge(kStranger, 0600, FileGuard::kReadByOwnerOnly);
  ASSERT_TRUE(tokens);
  EXPECT_EQ(tokens->advice, "Run: chown 990 /etc/f && chmod 600 /etc/f");
}

TEST(ShellWord, LeavesAPlainPathAndQuotesAnyOther) {
  EXPECT_EQ(ShellWord("/etc/ktsvc/access.conf"), "/etc/ktsvc/access.conf");
  EXPECT_EQ(ShellWord("/srv/a b/f"), "'/srv/a b/f'");
  EXPECT_EQ(ShellWord("it's; rm -rf $HOME"), "'it'\\''s; rm -rf $HOME'");
  EXPECT_EQ(ShellWord("-rf"), "'./-rf'");
  EXPECT_EQ(ShellWord(""), "''");
}

}  // namespace
}  // namespace ktsvc::access
