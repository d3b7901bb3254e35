// A module of another name, longer and with letters beyond ASCII: nothing of the toolkit is bound
// to one name.
#include "base/module.h"
#include "base/status.h"
#include "fake/fake_test.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "provider/provider.h"

namespace kt {

const KtWchar* const kModuleName = KT_W("spare-parts-\u00E9");

CKtProvider* MakeProvider() {
  return new CKtProvider;
}

}  // namespace kt

namespace {

class OtherName : public fake::FrameworkTest {
 protected:
  void ReleaseModuleState() override {
    kt::ReleaseModule();
    kt::ResetApiState();
  }
};

TEST_F(OtherName, IsWhatProviderEntryAnswersTo) {
  KtProviderTable table{};
  EXPECT_EQ(ProviderEntry(KT_W("spare-parts-\u00E9"), nullptr, &table), 0u);
  EXPECT_NE(table.Version, nullptr);
  EXPECT_EQ(ProviderEntry(KT_W("hostkit"), nullptr, &table), KTERROR_WRONG_PROVIDER);
  EXPECT_EQ(ProviderEntry(KT_W("spare-parts-"), nullptr, &table), KTERROR_WRONG_PROVIDER);
  EXPECT_EQ(ProviderEntry(KT_W("spare-parts-\u00E9\u00E9"), nullptr, &table),
            KTERROR_WRONG_PROVIDER);
}

TEST_F(OtherName, StandsInEveryLineOfTheToolkit) {
  __KtApiShutdown(0);
  EXPECT_TRUE(fake::Traced(6, "spare-parts-\u00E9::__KtApiShutdown(), started."));
}

TEST_F(OtherName, IsTheNameOfTheProviderObject) {
  KtWString name = KT_W("before");
  EXPECT_EQ(&CKtProvider::Instance()->GetName(name), &name);
  EXPECT_EQ(name, KT_W("spare-parts-\u00E9"));
}

TEST_F(OtherName, OffersTheBaseOperationsOfAProviderThatOverridesNothing) {
  ASSERT_EQ(__KtApiInitialize(framework_.database(), framework_.provider()), 0u);
  KtWchar* text = nullptr;
  EXPECT_EQ(__KtApiVersion(&text), E_NOTIMPL);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), 0u);
  EXPECT_EQ(CKtProvider::Instance()->Unused(), 0u);
  EXPECT_EQ(__KtApiShutdown(0), 0u);
}

}  // namespace
