// The provider as it is built: loaded from its file for every life.
#include "support/provider_under_test.h"

#include <gtest/gtest.h>

#include "module/loaded_module.h"
#include "module/module_test.h"
#include "module/surroundings.h"

namespace {

class BuiltProvider final : public support::ProviderUnderTest {
 public:
  BuiltProvider() { surroundings_.FindNoCommands(); }

  const KtProviderTable& Load() override {
    module_.reset();
    module_ = std::make_unique<LoadedModule>();
    EXPECT_EQ(module_->Enter(KT_W("hostkit")), 0u);
    return module_->table();
  }
  void Unload() override { module_.reset(); }
  void MakeMultipathOnly() override {
    surroundings_.SetValue(kMultipathKey, "Version", "1");
    surroundings_.SetValue(kConfigKey, "VersionName", "7.1 SP22");
    surroundings_.SetValue(kVolumeEngineKey, "Version", "7.1.0.1");
    surroundings_.SetValue(kVolumeEngineKey, "ProductVersion", "7.1");
  }
  void FindCommands() override { surroundings_.FindCommands(); }

 private:
  Surroundings surroundings_;
  std::unique_ptr<LoadedModule> module_;
};

}  // namespace

std::unique_ptr<support::ProviderUnderTest> support::MakeProviderUnderTest() {
  return std::make_unique<BuiltProvider>();
}
