#include "system/registry_reader.h"

#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;

class QueryRegistry : public SystemTest {
 protected:
  std::uint32_t Query(const KtWchar* name) {
    kt::KeyGuard key;
    platform_.AddKey(kConfigKey);
    EXPECT_EQ(key.Open(kConfigKey, kt::KeyAccess::kQueryValue), 0u);
    return kt::QueryRegistry(key.get(), name, 0, out_);
  }

  KtWString out_ = KT_W("before");
};

TEST_F(QueryRegistry, ReadsATextAndTracesIt) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("7.1 SP2"));
  EXPECT_EQ(Query(KT_W("VersionName")), 0u);
  EXPECT_EQ(out_, KT_W("7.1 SP2"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Warning("hostkit - QueryRegistry(VersionName): databuffer = 7.1 "
                                        "SP2, dataBuffer = 7.1 SP2")));
}

TEST_F(QueryRegistry, AllocatesTwoBuffersOfTheValuesSize) {
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("abc"));
  framework_.ForgetCalls();
  Query(KT_W("VersionName"));
  EXPECT_EQ(framework_.CountOf("_KtAlloc"), 2u);
  for (const fake::Call& call : framework_.Calls()) {
    if (call.function != "_KtAlloc") continue;
    EXPECT_EQ(call.arguments, "8");
  }
}

TEST_F(QueryRegistry, LeavesTheOutputAndReturnsSuccessForAValueOfSizeZero) {
  platform_.SetBytes(kConfigKey, KT_W("VersionName"), {});
  EXPECT_EQ(Query(KT_W("VersionName")), 0u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit - QueryRegistry - RegQueryValueEx(VersionName) "
                                      "Failed. dataSize < 0")));
}

TEST_F(QueryRegistry, NamesTheWholeValueWhenItsSizeCannotBeAsked) {
  EXPECT_EQ(Query(KT_W("ProductVersion")), 2u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error(
                  "hostkit - QueryRegistry - RegQueryValueEx(ProductVersion) failed.")));
}

TEST_F(QueryRegistry, TellsTheSameWithoutMemoryForTheNarrowName) {
  framework_.FailCall("_KtAlloc", 1, E_OUTOFMEMORY);
  EXPECT_EQ(Query(KT_W("ProductVersion")), 2u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_EQ(framework_.Traces().back(),
            fake::Error("hostkit - QueryRegistry - RegQueryValueEx(ProductVersion) failed."));
}

TEST_F(QueryRegistry, ReturnsTheErrorOfAFailingRead) {
  platform_.SetText(kConfigKey, KT_W("Version"), KT_W("7.1"));
  platform_.ValueAt(kConfigKey, KT_W("Version")).read_error = 5;
  EXPECT_EQ(Query(KT_W("Version")), 5u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(fake::Error("hostkit - QueryRegistry - RegQueryValueEx(Version) failed.")));
}

TEST_F(QueryRegistry, CountsALackOfMemoryForTheFirstBufferAsSuccess) {
  platform_.SetText(kConfigKey, KT_W("Version"), KT_W("7.1"));
  framework_.FailCall("_KtAlloc", 1, E_OUTOFMEMORY);
  EXPECT_EQ(Query(KT_W("Version")), 0u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit - QueryRegistry - RegQueryValueEx(Version), KtAlloc "
                                      "buffer failed.")));
}

TEST_F(QueryRegistry, CountsALackOfMemoryForTheSecondBufferAsSuccess) {
  platform_.SetText(kConfigKey, KT_W("Version"), KT_W("7.1"));
  framework_.FailCall("_KtAlloc", 2, E_OUTOFMEMORY);
  EXPECT_EQ(Query(KT_W("Version")), 0u);
  EXPECT_EQ(out_, KT_W("before"));
  EXPECT_THAT(framework_.Traces(),
              ElementsAre(fake::Error("hostkit - QueryRegistry - RegQueryValueEx(Version), KtAlloc "
                                      "databuffer failed.")));
}

TEST_F(QueryRegistry, TakesAValueUpToItsFirstZero) {
  platform_.SetText(kConfigKey, KT_W("Version"), KtWString(KT_W("7.1\0rest"), 8));
  EXPECT_EQ(Query(KT_W("Version")), 0u);
  EXPECT_EQ(out_, KT_W("7.1"));
}

TEST_F(QueryRegistry, BoundsAValueWithoutATerminatingZeroByItsSize) {
  platform_.SetBytes(kConfigKey, KT_W("Version"), {'7', 0, '.', 0, '2', 0});
  EXPECT_EQ(Query(KT_W("Version")), 0u);
  EXPECT_EQ(out_, KT_W("7.2"));
  EXPECT_TRUE(
      fake::Traced(4, "hostkit - QueryRegistry(Version): databuffer = 7.2, dataBuffer = 7.2"));
}

TEST_F(QueryRegistry, IgnoresHalfAUnitAtTheEnd) {
  platform_.SetBytes(kConfigKey, KT_W("Version"), {'7', 0, '.'});
  EXPECT_EQ(Query(KT_W("Version")), 0u);
  EXPECT_EQ(out_, KT_W("7"));
}

}  // namespace
