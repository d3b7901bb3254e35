#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "access/access_error.h"
#include "access/audit_file.h"
#include "access/audit_log.h"
#include "caller_for_tests.h"
#include "temporary_folder.h"

namespace ktsvc::access {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

unsigned ModeOf(const std::filesystem::path& file) {
  struct stat status {};
  EXPECT_EQ(stat(file.c_str(), &status), 0);
  return status.st_mode & 0777U;
}

TEST(OpenAuditFile, MakesAFileForItsOwnerAloneAlsoAfterARotation) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder / "audit.log";
  const mode_t before = umask(0);
  const std::unique_ptr<AuditFile> file = OpenAuditFile(path);
  EXPECT_EQ(ModeOf(path), 0600U);
  std::filesystem::rename(path, folder / "audit.log.1");
  EXPECT_FALSE(file->Reopen());
  EXPECT_EQ(ModeOf(path), 0600U);
  umask(before);
}

TEST(OpenAuditFile, RefusesAFileThatOthersCanWriteWithTheCommandThatRepairsIt) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder.File("audit.log", "");
  ASSERT_EQ(chmod(path.c_str(), 0660), 0);
  try {
    OpenAuditFile(path);
    ADD_FAILURE() << "opened";
  } catch (const AccessError& error) {
    EXPECT_EQ(error.advice(), "Run: chmod go-w " + path.string());
  }
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_NE(OpenAuditFile(path), nullptr);
}

TEST(OpenAuditFile, KeepsTheFormerFileWhenTheNewOneIsRefused) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder / "audit.log";
  const std::unique_ptr<AuditFile> file = OpenAuditFile(path);
  std::filesystem::rename(path, folder / "audit.log.1");
  ASSERT_EQ(chmod(folder.File("audit.log", "").c_str(), 0666), 0);
  EXPECT_EQ(file->Reopen(), std::errc::operation_not_permitted);
  std::size_t written = 0;
  EXPECT_FALSE(file->Append("line\n", written));
  EXPECT_EQ(written, 5U);
  EXPECT_EQ(TemporaryFolder::Read(folder / "audit.log.1"), "line\n");
  EXPECT_EQ(TemporaryFolder::Read(path), "");
}

TEST(OpenAuditFile, IsNotHeldUpByAPipeThatNobodyReads) {
  const TemporaryFolder folder;
  const std::filesystem::path pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THROW(OpenAuditFile(pipe), AccessError);
}

TEST(AuditLog, ReportsAFullDeviceOnce) {
  std::vector<std::string> reports;
  {
    AuditLog log("/dev/full", [&](const std::string& sentence) { reports.push_back(sentence); });
    EXPECT_EQ(log.Write(AuditEntry(CallerForTests::Token("ci"))), AuditLog::Fate::kLost);
    EXPECT_EQ(log.Write(AuditEntry(CallerForTests::Token("ci"))), AuditLog::Fate::kLost);
    EXPECT_EQ(log.lost(), 2U);
  }
  EXPECT_THAT(reports, ElementsAre(HasSubstr("The audit log /dev/full cannot be written: ")));
}

TEST(OpenAuditFile, DoesNotHandItsFileToChildProcesses) {
  const TemporaryFolder folder;
  const std::unique_ptr<AuditFile> file = OpenAuditFile(folder / "audit.log");
  struct stat wanted {};
  ASSERT_EQ(stat((folder / "audit.log").c_str(), &wanted), 0);
  int found = 0;
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && status.st_ino == wanted.st_ino &&
        status.st_dev == wanted.st_dev) {
      ++found;
      EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    }
  }
  EXPECT_EQ(found, 1);
}

}  // namespace
}  // namespace ktsvc::access
