// What the tests of the built module share: a fresh module in each test on a fresh framework, the
// identifiers that a client knows, and what is true after every life.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fake/fake_test.h"
#include "module/loaded_module.h"
#include "module/surroundings.h"
#include "support/client.h"

using client::kInvalidArgument;
using client::kNotImplemented;
using client::kReadyEvent;
using client::kRebootControl;
using client::kRebootInterface;
using client::kShuttingDown;
using client::kSystemInterface;
using client::kTraceInterface;
using client::kTraceLevelControl;
using client::kUnexpected;

inline constexpr char kMultipathKey[] =
    "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Multiplex Paths";
inline constexpr char kVolumeProductKey[] =
    "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Volume Engine";
inline constexpr char kVolumeEngineKey[] = "SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\VolumeEngine";
inline constexpr char kConfigKey[] =
    "SOFTWARE\\Tormeld\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config";

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
