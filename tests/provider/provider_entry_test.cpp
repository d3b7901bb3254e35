#include "provider/entry_points.h"

#include <cstring>

#include "base/status.h"
#include "provider/test_provider.h"

namespace {

using ProviderEntryTest = ProviderTest;

// A table that shows whether anything was written, a null pointer too.
KtProviderTable Untouched() {
  KtProviderTable table;
  std::memset(&table, 0xA5, sizeof table);
  return table;
}

void ExpectRefused(const KtWchar* name) {
  KtProviderTable table = Untouched();
  EXPECT_EQ(ProviderEntry(name, nullptr, &table), KTERROR_WRONG_PROVIDER);
  const KtProviderTable before = Untouched();
  EXPECT_EQ(std::memcmp(&table, &before, sizeof table), 0);
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
