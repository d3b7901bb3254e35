// Every framework call that a life of the built module makes fails in turn, with statuses of every
// kind: a stated status comes back, nothing escapes, the module still answers and still shuts down,
// and nothing is kept.
#include <functional>
#include <iostream>
#include <iterator>

#include "module/module_test.h"

namespace {

class EveryFailingCallOfTheModule : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    module_.reset();
    surroundings_.FindNoCommands();
  }

  // One life for each failure: `before`, then `armed` with the failure on, then an answer, the
  // shutdown, and the accounts.
  void FailDuring(const char* what, std::size_t at_least, const std::function<void()>& before,
                  const std::function<void()>& armed) {
    const std::size_t tried = fake::FailEveryCallInTurn(
        {std::begin(fake::kFailures), std::end(fake::kFailures)},
        [&](const std::function<void()>& arm, KtStatus) {
          framework_.Reset();
          Load();
          input_ = framework_.MakePropset();
          output_ = framework_.MakePropset();
          framework_.PutUInt32(input_, "tracelevel", 3);
          down_ = false;
          before();
          arm();
          EXPECT_NO_THROW(armed());
          if (!down_) {
            EXPECT_NO_THROW(module_->table().GetAttr(0, 0, 0, 0));
            EXPECT_EQ(Shutdown(), 0u);
          }
          EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
          module_.reset();
          EXPECT_TRUE(fake::NothingKept());
        });
    std::cout << "[ tried    ] " << tried << " failures of " << what << "\n";
    EXPECT_GE(tried, at_least);
  }

  void Start() { ASSERT_EQ(Initialize(), 0u); }

  KtPropset input_ = nullptr;
  KtPropset output_ = nullptr;
  bool down_ = false;
};

TEST_F(EveryFailingCallOfTheModule, AtTheStartGivesZeroOrUnexpected) {
  FailDuring(
      "the start", 4 * 12, [] {},
      [this] {
        const KtStatus status = Initialize();
        EXPECT_TRUE(status == 0 || status == kUnexpected) << std::hex << status;
      });
}

TEST_F(EveryFailingCallOfTheModule, AtTheStartOnAMultipathOnlyHostGivesZeroOrUnexpected) {
  MakeMultipathOnly();
  FailDuring(
      "the start on a multipath-only host", 4 * 30, [] {},
      [this] {
        const KtStatus status = Initialize();
        EXPECT_TRUE(status == 0 || status == kUnexpected) << std::hex << status;
      });
}

TEST_F(EveryFailingCallOfTheModule, AtASecondStartGivesZeroOrUnexpected) {
  FailDuring(
      "a second start", 4 * 12, [this] { Start(); },
      [this] {
        const KtStatus status = Initialize();
        EXPECT_TRUE(status == 0 || status == kUnexpected) << std::hex << status;
      });
}

TEST_F(EveryFailingCallOfTheModule, OfATraceLevelControlGivesAStatedStatus) {
  for (const KtGuid& interface_id : {kSystemInterface, kTraceInterface}) {
    FailDuring(
        "a trace-level control", 4 * 4, [this] { Start(); },
        [&] {
          const KtStatus status =
              module_->Control({}, interface_id, kTraceLevelControl, input_, output_);
          EXPECT_TRUE(status == 0 || status == kInvalidArgument || status == kOutOfMemory)
              << std::hex << status;
        });
  }
}

TEST_F(EveryFailingCallOfTheModule, OfAnUnknownControlGivesAStatedStatus) {
  FailDuring(
      "an unknown control", 4 * 2, [this] { Start(); },
      [&] {
        const KtStatus status = module_->Control({}, kSystemInterface, 1, input_, output_);
        EXPECT_TRUE(status == kUnexpected || status == kOutOfMemory) << std::hex << status;
      });
}

TEST_F(EveryFailingCallOfTheModule, OfAnEventIsPassedOver) {
  FailDuring(
      "an event", 4 * 6,
      [this] {
        Start();
        AddGroup("qelm_ktvm_disk");
        AddGroup("qelm_ktvm_volume");
      },
      [this] { EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), 0u); });
}

TEST_F(EveryFailingCallOfTheModule, OfTheVersionIsOutOfMemory) {
  FailDuring(
      "the version", 4, [this] { Start(); },
      [this] {
        KtWchar* text = nullptr;
        const KtStatus status = module_->table().Version(&text);
        EXPECT_TRUE(status == 0 || status == kOutOfMemory) << std::hex << status;
        _KtFree(text);
      });
}

TEST_F(EveryFailingCallOfTheModule, OfTheShutdownStillGivesZero) {
  FailDuring(
      "the shutdown", 4, [this] { Start(); },
      [this] {
        down_ = true;
        EXPECT_EQ(Shutdown(), 0u);
      });
}

}  // namespace
