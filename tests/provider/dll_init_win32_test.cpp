// DllInit as the entry point of a PE file, with a run-time library of the test's own: that of a
// program has started long ago.
#include "provider/entry_points.h"
#include "provider/run_time.h"
#include "provider/test_provider.h"

namespace {

struct Notice {
  void* instance;
  std::uint32_t reason;
  void* reserved;
  void* instance_known;  // when the run-time library was told
  bool provider_existed;
  bool operator==(const Notice&) const = default;
};

std::vector<Notice>& Notices() {
  static std::vector<Notice> notices;
  return notices;
}

}  // namespace

namespace kt {

void NotifyRunTime(void* instance, std::uint32_t reason, void* reserved) noexcept {
  Notices().push_back(
      {instance, reason, reserved, GetApiState().instance, CKtProvider::Existing() != nullptr});
}

}  // namespace kt

namespace {

constexpr std::uint32_t kDetach = 0;
constexpr std::uint32_t kAttach = 1;

class DllInitOnWindows : public ProviderTest {
 protected:
  void SetUp() override {
    ProviderTest::SetUp();
    Notices().clear();
  }
  // No module's handle: DisableThreadLibraryCalls refuses it, which nobody looks at.
  int instance_ = 0;
  int reserved_ = 0;
};

TEST_F(DllInitOnWindows, StartsTheRunTimeLibraryFirstAndThenRemembersTheInstance) {
  EXPECT_EQ(DllInit(&instance_, kAttach, &reserved_), 1);
  EXPECT_EQ(Notices(), (std::vector<Notice>{{&instance_, kAttach, &reserved_, nullptr, false}}));
  EXPECT_EQ(kt::GetApiState().instance, &instance_);
}

TEST_F(DllInitOnWindows, ReleasesThenEndsTheRunTimeLibraryThenForgetsTheInstance) {
  DllInit(&instance_, kAttach, nullptr);
  Start();
  Notices().clear();
  EXPECT_EQ(DllInit(&instance_, kDetach, nullptr), 1);
  EXPECT_EQ(Notices(), (std::vector<Notice>{{&instance_, kDetach, nullptr, &instance_, false}}));
  EXPECT_EQ(kt::GetApiState().instance, nullptr);
  EXPECT_TRUE(fake::NothingKept());
}

TEST_F(DllInitOnWindows, DoesNothingForAnyOtherReason) {
  DllInit(&instance_, kAttach, nullptr);
  Notices().clear();
  for (const std::uint32_t reason : {2u, 3u, 4u, 0xFFFFFFFFu}) {
    EXPECT_EQ(DllInit(nullptr, reason, nullptr), 1);
  }
  EXPECT_TRUE(Notices().empty());
  EXPECT_EQ(kt::GetApiState().instance, &instance_);
}

TEST_F(DllInitOnWindows, LeavesEverythingWhereItIsWhenTheProcessEnds) {
  DllInit(&instance_, kAttach, nullptr);
  Start();
  Notices().clear();
  EXPECT_EQ(DllInit(&instance_, kDetach, &reserved_), 1);
  EXPECT_EQ(Notices(), (std::vector<Notice>{{&instance_, kDetach, &reserved_, &instance_, true}}));
  EXPECT_NE(CKtProvider::Existing(), nullptr);
}

}  // namespace
