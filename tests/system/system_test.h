// What the system provider's tests share: a fresh framework, a platform of the tests' own, and the
// names of what is read from it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "fake/fake_test.h"
#include "platform/platform.h"
#include "system/fake_platform.h"

inline constexpr KtWchar kMultipathKey[] =
    KT_W("SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Multiplex Paths");
inline constexpr KtWchar kVolumeProductKey[] =
    KT_W("SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Volume Engine");
inline constexpr KtWchar kVolumeEngineKey[] =
    KT_W("Software\\TORMELD\\KtSvc\\CurrentVersion\\VolumeEngine");
inline constexpr KtWchar kConfigKey[] =
    KT_W("Software\\TORMELD\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config");

class SystemTest : public fake::FrameworkTest {
 protected:
  void SetUp() override;
  void TearDown() override;
  void ReleaseModuleState() override;

  // Starts the provider through its API.
  KtStatus Initialize();

  // Sends a control to the system object through one interface.
  KtStatus Control(const KtGuid& interface_id, std::uint32_t code);

  // Hands the provider a notice of that name from its own database.
  KtStatus Notify(const char* event_name);

  FakePlatform platform_;
  KtPropset input_ = nullptr;
  KtPropset output_ = nullptr;

 private:
  std::unique_ptr<kt::PlatformOverride> override_;
};

// The lines of KtNet where the command starts, and where it does not.
std::vector<fake::TraceLine> ServiceStarted();
std::vector<fake::TraceLine> ServiceStopped();

// The lists one after the other.
std::vector<fake::TraceLine> Joined(const std::vector<std::vector<fake::TraceLine>>& lists);
