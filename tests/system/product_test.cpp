#include "system/product.h"

#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;

using MultipathOnly = SystemTest;

TEST_F(MultipathOnly, IsFalseWithBothProductKeysPresent) {
  platform_.AddKey(kMultipathKey);
  platform_.AddKey(kVolumeProductKey);
  EXPECT_FALSE(kt::IsMultipathOnly());
}

TEST_F(MultipathOnly, IsFalseWithNeitherProductKeyPresent) {
  EXPECT_FALSE(kt::IsMultipathOnly());
}

TEST_F(MultipathOnly, IsFalseWithTheVolumeEngineAlone) {
  platform_.AddKey(kVolumeProductKey);
  EXPECT_FALSE(kt::IsMultipathOnly());
}

TEST_F(MultipathOnly, IsTrueWithTheMultipathKeyAlone) {
  platform_.AddKey(kMultipathKey);
  EXPECT_TRUE(kt::IsMultipathOnly());
}

TEST_F(MultipathOnly, OpensBothKeysForReadingInOrderAndClosesWhatItOpened) {
  platform_.AddKey(kMultipathKey);
  platform_.AddKey(kVolumeProductKey);
  static_cast<void>(kt::IsMultipathOnly());
  EXPECT_THAT(
      platform_.calls,
      ElementsAre("OpenKey(SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Multiplex "
                  "Paths, read)",
                  "OpenKey(SOFTWARE\\Tormeld\\KtSvc\\CurrentVersion\\InstalledProducts\\Volume "
                  "Engine, read)",
                  "CloseKey", "CloseKey"));
  EXPECT_TRUE(fake::NothingTraced());
}

}  // namespace
