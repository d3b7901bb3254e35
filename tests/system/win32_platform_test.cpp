// The Win32 side of the platform, as far as it can be tried without touching the machine: the
// registry is read, a command that does nothing is started, the privilege is looked up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "platform/platform.h"

namespace {

constexpr KtWchar kKey[] = L"Software\\KtPlatformTest\\Values";

// A key of the test's own, gone with the test.
class Win32Registry : public ::testing::Test {
 protected:
  Win32Registry() {
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &writable_, nullptr),
              ERROR_SUCCESS);
  }
  ~Win32Registry() override {
    RegCloseKey(writable_);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\KtPlatformTest");
  }
  void Put(const KtWchar* name, const void* bytes, DWORD size) {
    ASSERT_EQ(RegSetValueExW(writable_, name, 0, REG_SZ, static_cast<const BYTE*>(bytes), size),
              ERROR_SUCCESS);
  }

  HKEY writable_ = nullptr;
};

TEST_F(Win32Registry, ReadsATextWithoutRegardToCase) {
  Put(L"Version", L"7.1", 8);
  kt::RegistryKey key = nullptr;
  ASSERT_EQ(kt::NativePlatform().OpenKey(L"SOFTWARE\\ktplatformtest\\VALUES",
                                         kt::KeyAccess::kQueryValue, key),
            0u);
  std::uint32_t size = 0;
  EXPECT_EQ(kt::NativePlatform().QueryValueSize(key, L"VERSION", size), 0u);
  EXPECT_EQ(size, 8u);
  KtWchar text[4] = {};
  EXPECT_EQ(kt::NativePlatform().ReadValue(key, L"version", text, size), 0u);
  EXPECT_EQ(std::wstring(text), L"7.1");
  kt::NativePlatform().CloseKey(key);
}

TEST_F(Win32Registry, RefusesABufferThatIsTooSmall) {
  Put(L"Version", L"7.1", 8);
  kt::RegistryKey key = nullptr;
  ASSERT_EQ(kt::NativePlatform().OpenKey(kKey, kt::KeyAccess::kRead, key), 0u);
  KtWchar text[4] = {};
  std::uint32_t size = 7;
  EXPECT_EQ(kt::NativePlatform().ReadValue(key, L"Version", text, size), 234u);
  kt::NativePlatform().CloseKey(key);
}

TEST_F(Win32Registry, HasNoKeyAndNoValueWhereThereIsNone) {
  kt::RegistryKey key = nullptr;
  EXPECT_EQ(
      kt::NativePlatform().OpenKey(L"Software\\KtPlatformTest\\Missing", kt::KeyAccess::kRead, key),
      2u);
  EXPECT_EQ(key, nullptr);
  ASSERT_EQ(kt::NativePlatform().OpenKey(kKey, kt::KeyAccess::kRead, key), 0u);
  std::uint32_t size = 0;
  EXPECT_EQ(kt::NativePlatform().QueryValueSize(key, L"Missing", size), 2u);
  kt::NativePlatform().CloseKey(key);
}

TEST(Win32Command, IsTheServiceCommandOfTheCommandInterpreter) {
  EXPECT_EQ(KtWString(kt::NativePlatform().ShadowCopyCommand(kt::ServiceAction::kStart)),
            L"Cmd.exe /C net start \"Tormeld VSS PROVIDER\"");
  EXPECT_EQ(KtWString(kt::NativePlatform().ShadowCopyCommand(kt::ServiceAction::kStop)),
            L"Cmd.exe /C net stop \"Tormeld VSS PROVIDER\"");
}

TEST(Win32Command, IsStartedAndNotWaitedFor) {
  std::uint32_t code = 0;
  EXPECT_TRUE(kt::NativePlatform().StartCommand(L"Cmd.exe /C exit 3", code));
  EXPECT_THAT(code, ::testing::AnyOf(kt::kStillActive, 3u));
}

TEST(Win32Command, CouldNotBeStartedWhenThereIsNoSuchProgram) {
  std::uint32_t code = 77;
  EXPECT_FALSE(kt::NativePlatform().StartCommand(L"kt-no-such-program.exe", code));
  EXPECT_EQ(kt::NativePlatform().LastError(), 2u);
  EXPECT_EQ(code, 77u);
}

TEST(Win32Machine, TellsTheNativeArchitectureAndVersion) {
  const kt::MachineFacts machine = kt::NativePlatform().Machine();
  EXPECT_EQ(machine.architecture, 9u);
  EXPECT_GE(machine.major_version, 5u);
  EXPECT_FALSE(machine.emulated) << "this is a 64-bit process";
}

TEST(Win32Restart, FindsThePrivilegeAndTheTokenWithoutUsingThem) {
  kt::Credentials credentials = nullptr;
  ASSERT_TRUE(kt::NativePlatform().OpenCredentials(credentials));
  std::uint64_t privilege = 0;
  EXPECT_TRUE(kt::NativePlatform().FindRestartPrivilege(privilege));
  EXPECT_EQ(privilege, 19u);
  kt::NativePlatform().CloseCredentials(credentials);
}

}  // namespace
