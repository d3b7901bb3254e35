#include "system/version_texts.h"

#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;

using VolumeEngineVersion = SystemTest;
using ProductVersion = SystemTest;

// ---- "vm_product_version"

TEST_F(VolumeEngineVersion, IsTheBuildVersionWithoutTheVolumeEngineKey) {
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.6.1.0.445"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit - Version() - cannot find registry, use build "
                                      "version - WINNT.6.1.0.445")));
}

TEST_F(VolumeEngineVersion, IsTheBuildVersionWithoutAVersionValueAndClosesTheKey) {
  platform_.AddKey(kVolumeEngineKey);
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.6.1.0.445"));
  EXPECT_THAT(platform_.calls,
              ElementsAre("OpenKey(Software\\TORMELD\\KtSvc\\CurrentVersion\\VolumeEngine, read)",
                          "ReadValue(Version, 399)", "CloseKey"));
}

TEST_F(VolumeEngineVersion, IsTheFamilyAndTheVersionOfTheRegistry) {
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1"));
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.7.1"));
  EXPECT_THAT(framework_.Traces(), ElementsAre(fake::Warning("hostkit - Version() - WINNT.7.1")));
}

TEST_F(VolumeEngineVersion, TakesAValueOfUpTo399Bytes) {
  const KtWString longest(198, KT_W('9'));  // 398 bytes with its terminator
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), longest);
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.") + longest);
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), longest + KT_W('9'));
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.6.1.0.445"));
}

TEST_F(VolumeEngineVersion, BoundsAValueWithoutATerminatingZeroByItsSize) {
  platform_.SetBytes(kVolumeEngineKey, KT_W("Version"), {'8', 0, '.', 0, '0', 0});
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT.8.0"));
  platform_.SetBytes(kVolumeEngineKey, KT_W("Version"), std::vector<std::uint8_t>(399, 'x'));
  EXPECT_EQ(kt::VolumeEngineVersionText().size(), 6u + 199u);
}

TEST_F(VolumeEngineVersion, IsTheFamilyAloneForAValueOfSizeZero) {
  platform_.SetBytes(kVolumeEngineKey, KT_W("Version"), {});
  EXPECT_EQ(kt::VolumeEngineVersionText(), KT_W("WINNT."));
}

// ---- "zrn_product_version"

TEST_F(ProductVersion, IsProductVersionAndBuildForAnEmptyVersionName) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W(""));
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1.0.1"));
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  EXPECT_EQ(kt::get_zrn_version(), KT_W("7.1 (Build 7.1.0.1)"));
}

TEST_F(ProductVersion, IsVersionNameAndBuildWhenThereIsAVersionName) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("7.1 SP2"));
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1.0.1"));
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  EXPECT_EQ(kt::get_zrn_version(), KT_W("7.1 SP2 (Build 7.1.0.1)"));
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Warning("hostkit - entering get_zrn_version()"),
          fake::Warning("hostkit - QueryRegistry(VersionName): databuffer = 7.1 SP2, dataBuffer = "
                        "7.1 SP2"),
          fake::Warning("hostkit - QueryRegistry(Version): databuffer = 7.1.0.1, dataBuffer = "
                        "7.1.0.1"),
          fake::Warning("hostkit - QueryRegistry(ProductVersion): databuffer = 7.1, dataBuffer = "
                        "7.1"),
          fake::Warning("hostkit - exiting get_zrn_version. ret=%l")));
  EXPECT_THAT(
      platform_.calls,
      ElementsAre("OpenKey(Software\\TORMELD\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config, "
                  "query value)",
                  "QueryValueSize(VersionName)", "ReadValue(VersionName, 16)", "CloseKey",
                  "OpenKey(Software\\TORMELD\\KtSvc\\CurrentVersion\\VolumeEngine, query value)",
                  "QueryValueSize(Version)", "ReadValue(Version, 16)",
                  "QueryValueSize(ProductVersion)", "ReadValue(ProductVersion, 8)", "CloseKey"));
}

TEST_F(ProductVersion, IsTheBuildPartAloneWithItsBlankWithoutAReadableProductVersion) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("7.1 SP2"));
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1.0.1"));
  EXPECT_EQ(kt::get_zrn_version(), KT_W(" (Build 7.1.0.1)"));
  EXPECT_TRUE(fake::Traced(
      6, "hostkit - get_zrn_version - RegQueryValueEx(ProductVersion) Failed. err=%l"));
}

TEST_F(ProductVersion, IsEmptyWithoutEitherKeyAndNamesBothPaths) {
  EXPECT_EQ(kt::get_zrn_version(), KT_W(""));
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Warning("hostkit - entering get_zrn_version()"),
          fake::Error(
              "hostkit - get_zrn_version - "
              "RegOpenKeyEx(Software\\TORMELD\\MBN\\{4A7C2E10-93B5-4d61-A8F2-6C0E1B7D9F34}\\Config)"
              " Failed. ret=%l"),
          fake::Error("hostkit - get_zrn_version - "
                      "RegOpenKeyEx(Software\\TORMELD\\KtSvc\\CurrentVersion\\VolumeEngine) "
                      "Failed. ret=%l"),
          fake::Warning("hostkit - exiting get_zrn_version. ret=%l")));
}

TEST_F(ProductVersion, IsEmptyWithoutAVersionAndDoesNotAskForTheProductVersion) {
  platform_.AddKey(kConfigKey);
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  EXPECT_EQ(kt::get_zrn_version(), KT_W(""));
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(
          fake::Warning("hostkit - entering get_zrn_version()"),
          fake::Error("hostkit - QueryRegistry - RegQueryValueEx(VersionName) failed."),
          fake::Error("hostkit - get_zrn_version - RegQueryValueEx(VersionName) Failed. err=%l"),
          fake::Error("hostkit - QueryRegistry - RegQueryValueEx(Version) failed."),
          fake::Error("hostkit - get_zrn_version - RegQueryValueEx(Version) Failed. err=%l"),
          fake::Warning("hostkit - exiting get_zrn_version. ret=%l")));
}

TEST_F(ProductVersion, HasAnEmptyBuildForAVersionOfSizeZero) {
  platform_.SetBytes(kVolumeEngineKey, KT_W("Version"), {});
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7.1"));
  EXPECT_EQ(kt::get_zrn_version(), KT_W("7.1 (Build )"));
}

}  // namespace
