#include "module_file.h"

#include <gtest/gtest.h>
#include <windows.h>

// After windows.h, whose types it needs.
#include <aclapi.h>

#include <array>

#include "host_system.h"
#include "module_error.h"
#include "service/program.h"

namespace ktsvc {
namespace {

namespace fs = std::filesystem;
using ktsvc_test::BuiltModules;
using ktsvc_test::ScratchFolder;
using ktsvc_test::TestModules;

// A folder with a module in it, and access lists of the test's own.
class ModuleFileTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(folder_);
    fs::copy_file(TestModules() / "eager.dll", module_);
    Allow(folder_, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE);
    Allow(module_, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE);
  }

  // The system everything, everybody these rights.
  static void Allow(const fs::path& path, DWORD everybody) {
    std::array<EXPLICIT_ACCESSW, 2> entries{};
    std::array<std::array<unsigned char, SECURITY_MAX_SID_SIZE>, 2> sids{};
    const std::array types{WinLocalSystemSid, WinWorldSid};
    const std::array<DWORD, 2> rights{FILE_ALL_ACCESS, everybody};
    for (std::size_t i = 0; i < entries.size(); ++i) {
      auto size = static_cast<DWORD>(sids[i].size());
      ASSERT_NE(CreateWellKnownSid(types[i], nullptr, sids[i].data(), &size), FALSE);
      entries[i].grfAccessPermissions = rights[i];
      entries[i].grfAccessMode = GRANT_ACCESS;
      entries[i].Trustee.TrusteeForm = TRUSTEE_IS_SID;
      entries[i].Trustee.ptstrName = reinterpret_cast<LPWSTR>(sids[i].data());
    }
    PACL list = nullptr;
    ASSERT_EQ(SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(), nullptr, &list),
              static_cast<DWORD>(ERROR_SUCCESS));
    std::wstring name = path.wstring();
    EXPECT_EQ(SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT,
                                    DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                    nullptr, nullptr, list, nullptr),
              static_cast<DWORD>(ERROR_SUCCESS));
    LocalFree(list);
  }

  // What is said and advised about the file; "" when it is taken.
  static std::string Refusal(const fs::path& file) {
    try {
      const ModuleFile opened(file);
    } catch (const ModuleError& error) {
      return std::string(error.what()) + " | " + error.advice();
    }
    return "";
  }

  const ScratchFolder scratch_;
  const fs::path folder_ = scratch_.path() / "a folder";
  const fs::path module_ = folder_ / "eager.dll";
};

TEST_F(ModuleFileTest, TakesWhatNobodyElseCanWrite) {
  EXPECT_EQ(Refusal(module_), "");
}

TEST_F(ModuleFileTest, TakesTheModulesOfTheBuild) {
  EXPECT_EQ(Refusal(BuiltModules() / "hostkit.dll"), "");
}

TEST_F(ModuleFileTest, GivesTheCanonicalPath) {
  const ModuleFile file(folder_ / ".." / "a folder" / "." / "eager.dll");
  EXPECT_TRUE(file.path().is_absolute());
  EXPECT_EQ(PathText(file.path()).find(".."), std::string::npos);
  EXPECT_TRUE(fs::equivalent(file.path(), module_));
}

TEST_F(ModuleFileTest, RefusesAFileThatOthersCanWriteAndNamesTheCommand) {
  Allow(module_, FILE_ALL_ACCESS);
  const std::string refusal = Refusal(module_);
  EXPECT_EQ(refusal.rfind("others could decide what code this is: ", 0), 0U) << refusal;
  EXPECT_NE(refusal.find("eager.dll\" /grant:r *S-1-1-0:RX"), std::string::npos) << refusal;
  Allow(module_, FILE_GENERIC_READ | FILE_GENERIC_EXECUTE);
  EXPECT_EQ(Refusal(module_), "");
}

TEST_F(ModuleFileTest, RefusesAFolderThatOthersCanWriteAndNamesTheCommand) {
  Allow(folder_, FILE_ALL_ACCESS);
  const std::string refusal = Refusal(module_);
  EXPECT_NE(refusal.find("a folder\" /grant:r *S-1-1-0:(OI)(CI)RX"), std::string::npos) << refusal;
}

TEST_F(ModuleFileTest, LetsNobodyWriteTheFileWhileItIsBeingLoaded) {
  const ModuleFile file(module_);
  HANDLE other = CreateFileW(module_.c_str(), GENERIC_WRITE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  EXPECT_EQ(other, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(DeleteFileW(module_.c_str()), FALSE);
}

TEST_F(ModuleFileTest, RefusesAFileThatIsOpenForWriting) {
  HANDLE other = CreateFileW(module_.c_str(), GENERIC_WRITE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_NE(Refusal(module_).find("is open for writing in another program"), std::string::npos);
  CloseHandle(other);
}

TEST_F(ModuleFileTest, SaysWhatIsNotThere) {
  EXPECT_NE(Refusal(folder_ / "nobody.dll").find("cannot be opened"), std::string::npos);
}

// ---- The search for libraries -------------------------------------------------------------------

TEST(LimitLibrarySearch, LeavesOutTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(TestModules());
  HMODULE found = LoadLibraryW(L"plain.dll");
  EXPECT_NE(found, nullptr);
  FreeLibrary(found);
  LimitLibrarySearch();
  EXPECT_EQ(LoadLibraryW(L"plain.dll"), nullptr);
  EXPECT_NE(LoadLibraryW(L"version.dll"), nullptr);  // the system's are found as ever
  fs::current_path(before);
}

}  // namespace
}  // namespace ktsvc
