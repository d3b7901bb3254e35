// Owners and modes of the files that rights are read from.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "access/access_error.h"
#include "access/access_policy.h"
#include "access/token_file.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using testing::HasSubstr;

const std::string kSecret = "0123456789abcdef0123456789abcdef";

// The advice of the refusal; empty when the file is taken.
template <typename Load>
std::string AdviceOf(Load load) {
  try {
    load();
  } catch (const AccessError& error) {
    return error.advice();
  }
  return {};
}

TEST(AccessPolicyLoad, RefusesAFileThatOthersCanWriteWithTheCommandThatRepairsIt) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.File("access.conf", "user root admin\n");
  for (const mode_t mode : {0600U, 0644U, 0444U, 0640U, 0755U}) {
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_EQ(AdviceOf([&] { AccessPolicy::Load(file); }), "") << mode;
  }
  for (const mode_t mode : {0660U, 0622U, 0602U, 0666U, 0777U}) {
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_EQ(AdviceOf([&] { AccessPolicy::Load(file); }), "Run: chmod go-w " + file.string());
  }
}

TEST(TokenFileLoad, RefusesAFileThatOthersCanReachWithTheCommandThatRepairsIt) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.File("tokens", "ci " + kSecret + "\n");
  for (const mode_t mode : {0600U, 0400U, 0700U}) {
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_EQ(AdviceOf([&] { TokenFile::Load(file); }), "") << mode;
  }
  for (const mode_t mode : {0640U, 0604U, 0610U, 0601U, 0644U, 0660U, 0602U}) {
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_THAT(AdviceOf([&] { TokenFile::Load(file); }),
                HasSubstr("Run: chmod 600 " + file.string()));
  }
}

TEST(AccessPolicyLoad, FollowsALinkAndJudgesTheFileBehindIt) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.File("real", "user root admin\n");
  std::filesystem::create_symlink(file, folder / "link");
  EXPECT_EQ(AccessPolicy::Load(folder / "link").subjects().size(), 1U);
  ASSERT_EQ(chmod(file.c_str(), 0666), 0);
  EXPECT_THROW(AccessPolicy::Load(folder / "link"), AccessError);
}

TEST(AccessPolicyLoad, RefusesAPipeWithoutWaitingForAWriter) {
  const TemporaryFolder folder;
  const std::filesystem::path pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  try {
    AccessPolicy::Load(pipe);
    ADD_FAILURE() << "taken";
  } catch (const AccessError& error) {
    EXPECT_EQ(error.reason(), "this is no regular file");
  }
}

TEST(AccessPolicyLoad, KnowsTheSystemsOwnUsers) {
  const TemporaryFolder folder;
  const AccessPolicy policy = AccessPolicy::Load(
      folder.File("access.conf", "user root admin\nuser no-such-user-here observer\n"));
  ASSERT_EQ(policy.warnings().size(), 1U);
  EXPECT_THAT(policy.warnings()[0], HasSubstr("there is no user no-such-user-here"));
}

TEST(SystemNames, FindsRootBothWaysAndNothingForStrangers) {
  const NameDirectory& names = SystemNames();
  EXPECT_TRUE(names.HasUsers());
  EXPECT_EQ(names.UserId("root"), 0U);
  EXPECT_EQ(names.UserName(0), "root");
  EXPECT_EQ(names.GroupId("root"), 0U);
  EXPECT_EQ(names.GroupName(0), "root");
  EXPECT_FALSE(names.UserId("no-such-user-here"));
  EXPECT_FALSE(names.GroupId("no-such-group-here"));
  EXPECT_EQ(names.UserName(4294967000U), "");
  EXPECT_EQ(names.GroupName(4294967000U), "");
}

TEST(OwnUserId, IsTheEffectiveUser) {
  EXPECT_EQ(OwnUserId(), geteuid());
}

}  // namespace
}  // namespace ktsvc::access
