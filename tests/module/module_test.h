// What the tests of the built module share: a fresh module in each test on a fresh framework, the
// identifiers that a client knows, and what is true after every life.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fake/fake_test.h"
#include "module/loaded_module.h"
#include "module/surroundings.h"

inline constexpr KtGuid kSystemInterface{
    0x9452C1D7, 0x9A89, 0x4CDF, {0xB3, 0xDF, 0x1E, 0xE1, 0xD7, 0xD0, 0x02, 0xD9}};
inline constexpr KtGuid kRebootInterface{
    0x13DC257B, 0xCF59, 0x400F, {0x98, 0x17, 0x82, 0xDA, 0xB2, 0xC8, 0x85, 0x4C}};
inline constexpr KtGuid kTraceInterface{
    0xADF0779F, 0x76AD, 0x48EB, {0x83, 0x37, 0xDF, 0xB8, 0xBF, 0x32, 0x01, 0x6D}};
inline constexpr std::uint32_t kRebootControl = 11001;
inline constexpr std::uint32_t kTraceLevelControl = 11005;

inline constexpr KtStatus kShuttingDown = 0xC10000C9;
inline constexpr KtStatus kUnexpected = 0xC1000001;
inline constexpr KtStatus kOutOfMemory = 0x8007000E;
inline constexpr KtStatus kInvalidArgument = 0x80070057;
inline constexpr KtStatus kNotImplemented = 0x80004001;

inline constexpr char kMultipathKey[] =
    "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Multiplex Paths";
inline constexpr char kVolumeProductKey[] =
    "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Volume Engine";
inline constexpr char kVolumeEngineKey[] = "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\VolumeEngine";
inline constexpr char kConfigKey[] =
    "SOFTWARE\\Tormeld\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config";
inline constexpr char kReadyEvent[] = "event.qelm.dom.initialization.blockdev.complete";

class ModuleTest : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    Load();
  }
  void ReleaseModuleState() override { module_.reset(); }

  void Load() {
    module_ = std::make_unique<LoadedModule>();
    ASSERT_EQ(module_->Enter(KT_W("hostkit")), 0u);
  }
  KtStatus Initialize() {
    return module_->table().Initialize(framework_.database(), framework_.provider());
  }
  KtStatus Shutdown() { return module_->table().Shutdown(0); }

  void MakeMultipathOnly() {
    surroundings_.SetValue(kMultipathKey, "Version", "1");
    surroundings_.SetValue(kVolumeEngineKey, "Version", "7.1.0.1");
    surroundings_.SetValue(kVolumeEngineKey, "ProductVersion", "7.1");
    surroundings_.SetValue(kConfigKey, "VersionName", "7.1 SP2");
  }

  // A group with one child of the type.
  KtObjId AddGroup(const std::string& child_type) {
    framework_.AddType(child_type);
    const KtObjId group = framework_.AddObject("QELM_GenericGroup");
    framework_.AddChild(group, framework_.AddObject(child_type));
    return group;
  }

  Surroundings surroundings_;
  std::unique_ptr<LoadedModule> module_;
};
