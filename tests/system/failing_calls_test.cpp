// Every framework call that a life of the provider makes fails in turn, with statuses of every
// kind: the stated status comes back, nothing escapes, the module still shuts down, and nothing is
// kept.
#include <iterator>

#include "provider/api_table.h"
#include "provider/module_state.h"
#include "system/identifiers.h"
#include "system/system_test.h"

namespace {

class EveryFailingCall : public SystemTest {
 protected:
  // One life in which `armed` runs with the failures on; what comes before and after it does not
  // fail.
  std::size_t FailDuring(const std::function<void()>& before, const std::function<void()>& armed) {
    return fake::FailEveryCallInTurn(
        {std::begin(fake::kFailures), std::end(fake::kFailures)},
        [&](const std::function<void()>& arm, KtStatus) {
          framework_.Reset();
          kt::SetHandles(framework_.database(), framework_.provider());
          kt::ResetApiState();
          input_ = framework_.MakePropset();
          output_ = framework_.MakePropset();
          framework_.PutUInt32(input_, "tracelevel", 3);
          before();
          arm();
          EXPECT_NO_THROW(armed());
          if (!kt::GetApiState().shutting_down) {
            EXPECT_EQ(__KtApiShutdown(0), 0u);
          }
          EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
          kt::ReleaseModule();
          EXPECT_TRUE(fake::NothingKept());
          EXPECT_EQ(platform_.open_keys, 0u);
        });
  }

  void AddGroups() {
    framework_.AddType("qelm_ktvm_disk");
    for (int i = 0; i < 2; ++i) {
      const KtObjId group = framework_.AddObject("QELM_GenericGroup");
      framework_.AddChild(group, framework_.AddObject("qelm_ktvm_disk"));
    }
  }
};

TEST_F(EveryFailingCall, OfTheStartGivesZeroOrUnexpected) {
  EXPECT_GT(FailDuring([] {},
                       [&] {
                         const KtStatus status = Initialize();
                         EXPECT_TRUE(status == 0 || status == KTERROR_UNEXPECTED) << status;
                       }),
            30u);
}

TEST_F(EveryFailingCall, OfTheStartWithTheConfigurationGivesZeroOrUnexpected) {
  platform_.AddKey(kMultipathKey);
  platform_.SetText(kVolumeEngineKey, KT_W("Version"), KT_W("7.1"));
  platform_.SetText(kVolumeEngineKey, KT_W("ProductVersion"), KT_W("7"));
  platform_.SetText(kConfigKey, KT_W("VersionName"), KT_W("Seven"));
  EXPECT_GT(FailDuring([] {},
                       [&] {
                         const KtStatus status = Initialize();
                         EXPECT_TRUE(status == 0 || status == KTERROR_UNEXPECTED) << status;
                       }),
            60u);
}

TEST_F(EveryFailingCall, OfASecondStartGivesZeroOrUnexpected) {
  EXPECT_GT(FailDuring([&] { ASSERT_EQ(Initialize(), 0u); },
                       [&] {
                         const KtStatus status = Initialize();
                         EXPECT_TRUE(status == 0 || status == KTERROR_UNEXPECTED) << status;
                       }),
            30u);
}

TEST_F(EveryFailingCall, OfTheTraceLevelControlGivesAStatusOfItsOwn) {
  EXPECT_GT(FailDuring([&] { ASSERT_EQ(Initialize(), 0u); },
                       [&] {
                         const KtStatus status =
                             Control(kt::kSystemInterface, kt::kTraceLevelControl);
                         EXPECT_TRUE(status == 0 || status == E_INVALIDARG ||
                                     status == E_OUTOFMEMORY || status == KTERROR_UNEXPECTED)
                             << status;
                       }),
            4u);
}

TEST_F(EveryFailingCall, OfTheRebootControlGivesAStatusOfItsOwn) {
  EXPECT_GT(
      FailDuring(
          [&] { ASSERT_EQ(Initialize(), 0u); },
          [&] {
            const KtStatus status = Control(kt::kRebootInterface, kt::kRebootControl);
            EXPECT_TRUE(status == 0 || status == E_OUTOFMEMORY || status == KTERROR_UNEXPECTED)
                << status;
          }),
      4u);
}

TEST_F(EveryFailingCall, OfTheEventIsPassedOver) {
  EXPECT_GT(FailDuring(
                [&] {
                  ASSERT_EQ(Initialize(), 0u);
                  AddGroups();
                },
                [&] { EXPECT_EQ(Notify("event.qelm.dom.initialization.blockdev.complete"), 0u); }),
            10u);
}

TEST_F(EveryFailingCall, OfTheVersionIsOutOfMemory) {
  EXPECT_GT(FailDuring([&] { ASSERT_EQ(Initialize(), 0u); },
                       [&] {
                         KtWchar* text = nullptr;
                         const KtStatus status = __KtApiVersion(&text);
                         EXPECT_TRUE(status == 0 || status == E_OUTOFMEMORY) << status;
                         _KtFree(text);
                       }),
            0u);
}

TEST_F(EveryFailingCall, OfTheShutdownStillGivesZero) {
  EXPECT_GT(
      FailDuring([&] { ASSERT_EQ(Initialize(), 0u); }, [&] { EXPECT_EQ(__KtApiShutdown(0), 0u); }),
      0u);
}

}  // namespace
