// DllInit where the loader of the service calls it.
#include "provider/entry_points.h"
#include "provider/test_provider.h"

namespace {

using DllInitOnPosix = ProviderTest;

constexpr std::uint32_t kDetach = 0;
constexpr std::uint32_t kAttach = 1;

TEST_F(DllInitOnPosix, RemembersTheInstanceAtAttachAndForgetsItAtDetach) {
  int instance = 0;
  EXPECT_EQ(DllInit(&instance, kAttach, nullptr), 1);
  EXPECT_EQ(kt::GetApiState().instance, &instance);
  EXPECT_EQ(DllInit(&instance, kDetach, nullptr), 1);
  EXPECT_EQ(kt::GetApiState().instance, nullptr);
}

TEST_F(DllInitOnPosix, DoesNothingForAnyOtherReason) {
  int instance = 0;
  DllInit(&instance, kAttach, nullptr);
  Start();
  for (const std::uint32_t reason : {2u, 3u, 4u, 0xFFFFFFFFu}) {
    EXPECT_EQ(DllInit(nullptr, reason, nullptr), 1);
  }
  EXPECT_EQ(kt::GetApiState().instance, &instance);
  EXPECT_NE(CKtProvider::Existing(), nullptr);
}

TEST_F(DllInitOnPosix, ReleasesEverythingAtDetachAlsoWithoutAShutdown) {
  Start();
  DllInit(nullptr, kDetach, nullptr);
  EXPECT_EQ(TheScript().destroyed, 1u);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(DllInitOnPosix, LeavesEverythingWhereItIsWhenTheProcessEnds) {
  int ending = 0;
  Start();
  framework_.ForgetCalls();
  EXPECT_EQ(DllInit(nullptr, kDetach, &ending), 1);
  EXPECT_TRUE(framework_.Calls().empty());
  EXPECT_NE(CKtProvider::Existing(), nullptr);
}

}  // namespace
