// The provider as it is compiled into the suite, on a platform of the tests' own.
#include "support/provider_under_test.h"

#include <gtest/gtest.h>

#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "system/system_test.h"

namespace {

class CompiledProvider final : public support::ProviderUnderTest {
 public:
  ~CompiledProvider() override { Unload(); }

  const KtProviderTable& Load() override {
    Unload();
    EXPECT_EQ(ProviderEntry(KT_W("hostkit"), nullptr, &table_), 0u);
    return table_;
  }
  void Unload() override {
    kt::ReleaseModule();
    kt::ResetApiState();
    EXPECT_EQ(platform_.open_keys, 0u);
    EXPECT_EQ(platform_.open_credentials, 0u);
  }
  void MakeMultipathOnly() override {
    platform_.AddKey(kMultipathKey);
    platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("7.1 SP22"));
    platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1.0.1"));
    platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  }
  void FindCommands() override {}

 private:
  FakePlatform platform_;
  kt::PlatformOverride override_{platform_};
  KtProviderTable table_{};
};

}  // namespace

std::unique_ptr<support::ProviderUnderTest> support::MakeProviderUnderTest() {
  return std::make_unique<CompiledProvider>();
}
