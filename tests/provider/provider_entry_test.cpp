#include "provider/entry_points.h"

#include "base/status.h"
#include "provider/test_provider.h"

namespace {

using ProviderEntryTest = ProviderTest;

// A table that shows whether anything was written.
KtProviderTable Untouched() {
  return KtProviderTable{};
}

void ExpectRefused(const KtWchar* name) {
  KtProviderTable table = Untouched();
  EXPECT_EQ(ProviderEntry(name, nullptr, &table), KTERROR_WRONG_PROVIDER);
  EXPECT_EQ(table.Control, nullptr);
  EXPECT_EQ(table.Initialize, nullptr);
  EXPECT_EQ(table.Shutdown, nullptr);
  EXPECT_EQ(table.GetAttr, nullptr);
  EXPECT_EQ(table.ChangeNotify, nullptr);
  EXPECT_EQ(table.Version, nullptr);
}

TEST_F(ProviderEntryTest, RefusesTheNameFollowedByOneMoreLetterAndLeavesTheTableUnwritten) {
  ExpectRefused(KT_W("hostkits"));
}

TEST_F(ProviderEntryTest, RefusesTheNameInCapitalsAndLeavesTheTableUnwritten) {
  ExpectRefused(KT_W("HOSTKIT"));
  ExpectRefused(KT_W("hostkiT"));
}

TEST_F(ProviderEntryTest, RefusesTheNameWithoutItsLastLetterAndLeavesTheTableUnwritten) {
  ExpectRefused(KT_W("hostki"));
}

TEST_F(ProviderEntryTest, RefusesTheEmptyName) {
  ExpectRefused(KT_W(""));
}

TEST_F(ProviderEntryTest, FillsAllSixSlotsInOrderForExactlyTheName) {
  KtProviderTable table = Untouched();
  EXPECT_EQ(ProviderEntry(KT_W("hostkit"), nullptr, &table), 0u);
  EXPECT_EQ(table.Control, &__KtApiControl);
  EXPECT_EQ(table.Initialize, &__KtApiInitialize);
  EXPECT_EQ(table.Shutdown, &__KtApiShutdown);
  EXPECT_EQ(table.GetAttr, &__KtApiGetAttr);
  EXPECT_EQ(table.ChangeNotify, &__KtApiChangeNotify);
  EXPECT_EQ(table.Version, &__KtApiVersion);
}

TEST_F(ProviderEntryTest, DoesNotReadItsSecondArgument) {
  KtProviderTable table = Untouched();
  EXPECT_EQ(ProviderEntry(KT_W("hostkit"), reinterpret_cast<void*>(1), &table), 0u);
}

TEST_F(ProviderEntryTest, NeedsAName) {
  KtProviderTable table = Untouched();
  EXPECT_EQ(ProviderEntry(nullptr, nullptr, &table), E_INVALIDARG);
}

TEST_F(ProviderEntryTest, NeedsATableForTheRightNameOnly) {
  EXPECT_EQ(ProviderEntry(KT_W("hostkit"), nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(ProviderEntry(KT_W("other"), nullptr, nullptr), KTERROR_WRONG_PROVIDER);
}

TEST_F(ProviderEntryTest, LeavesNoLineAndCreatesNothing) {
  KtProviderTable table = Untouched();
  ProviderEntry(KT_W("other"), nullptr, &table);
  ProviderEntry(KT_W("hostkit"), nullptr, &table);
  EXPECT_TRUE(fake::NothingTraced());
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
}

}  // namespace
