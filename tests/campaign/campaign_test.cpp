// Whole lives of a provider that uses all of the toolkit, in which something fails. Whatever it is,
// nothing leaves an entry function but its status, the provider answers on and shuts down, no lock
// stays held, and in the end nothing is kept.
#include <cstdint>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "campaign/workshop.h"
#include "fake/fake_test.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "support/failing_new.h"

namespace {

// What a life does, one step after the other.
enum class Step { kLoad, kInitialize, kControls, kEvent, kVersion, kSecondStart, kShutdown };
constexpr Step kLife[] = {Step::kInitialize, Step::kControls,    Step::kEvent,
                          Step::kVersion,    Step::kSecondStart, Step::kShutdown};

class Campaign : public fake::FrameworkTest {
 protected:
  void SetUp() override {
    FrameworkTest::SetUp();
    framework_.SetShield({&support::Suspend, &support::Resume});
  }
  void TearDown() override {
    FrameworkTest::TearDown();
    framework_.SetShield({});
  }
  void BindHandles(KtDatabase /*database*/, KtProvider /*provider*/) override {
    kt::SetHandles(nullptr, nullptr);
  }
  void ReleaseModuleState() override { Unload(); }

  void Load() {
    framework_.Reset();
    framework_.RecordCalls(false);
    framework_.AddType("qelm_ktvm");
    Unload();
    ASSERT_EQ(ProviderEntry(KT_W("workshop"), nullptr, &table_), 0u);
    input_ = framework_.MakePropset();
    framework_.PutText(input_, "text", "seven");
    framework_.PutUInt32(input_, "number", 7);
    event_ = {0, workshop::kEvent, input_, framework_.database()};
  }

  static void Unload() noexcept {
    kt::ReleaseModule();
    kt::ResetApiState();
  }

  // Nothing in here allocates on the test's own account.
  KtStatus Do(Step step) {
    switch (step) {
      case Step::kControls:
        return DoControls();
      case Step::kEvent:
        return table_.ChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event_));
      case Step::kVersion: {
        KtWchar* text = nullptr;
        const KtStatus status = table_.Version(&text);
        _KtFree(text);
        return status;
      }
      case Step::kShutdown:
        return table_.Shutdown(0);
      default:
        return table_.Initialize(framework_.database(), framework_.provider());
    }
  }

  // All of them; the first status that is not zero.
  KtStatus DoControls() {
    KtStatus first = 0;
    for (std::uint32_t code = 1; code <= workshop::kAfterTheLast; ++code) {
      std::uint64_t provider = 0;
      const KtStatus status =
          table_.Control(&bench_, 0, code, input_, outputs_[code - 1], 0, 0, 0, 0,
                         reinterpret_cast<std::uintptr_t>(&workshop::kInterface), 0, &provider);
      if (first == 0 && code != workshop::kAfterTheLast) first = status;
    }
    return first;
  }

  // The object that the last start has published, where it has; one that could not be deleted may
  // stand before it.
  void Look() {
    const support::SpareAllocations spare;
    const std::vector<KtObjId> benches = framework_.ObjectsOf("workshop_bench");
    bench_ = benches.empty() ? KtObjId{} : benches.back();
    outputs_.clear();
    for (std::uint32_t code = 1; code <= workshop::kAfterTheLast; ++code) {
      outputs_.push_back(framework_.MakePropset());
    }
  }

  // A whole life; says what left an entry function. Failures begin with `arm` before that step.
  // Before the shutdown, where `over` says that nothing fails any more, the provider must do
  // everything as if nothing had been.
  void Live(const std::function<bool()>& over, Step from = Step::kLoad,
            const std::function<void()>& arm = {}) {
    for (const Step step : kLife) {
      Look();
      if (step == from) arm();
      if (step == Step::kShutdown && over()) AskForEverything();
      try {
        static_cast<void>(Do(step));
      } catch (...) {
        const support::SpareAllocations spare;
        ADD_FAILURE() << "something left the entry function of step " << static_cast<int>(step);
      }
    }
  }

  void AskForEverything() {
    const support::SpareAllocations spare;
    for (const Step step : {Step::kSecondStart, Step::kControls, Step::kEvent, Step::kVersion}) {
      Look();
      EXPECT_EQ(Do(step), 0u) << "step " << static_cast<int>(step) << " after a failure\n"
                              << testing::PrintToString(framework_.TracesAt(6));
    }
    ++asked_;
  }

  // Afterwards, with nothing failing any more.
  void Settle() {
    EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
    EXPECT_EQ(framework_.Outstanding().held_db_locks, 0u);
    EXPECT_NO_THROW(table_.GetAttr(0, 0, 0, 0));
    EXPECT_TRUE(fake::Traced(6, "workshop::__KtApiShutdown(), completed."));
    Unload();
    EXPECT_TRUE(fake::NothingKept());
  }

  KtProviderTable table_{};
  KtPropset input_ = nullptr;
  KtEventRecord event_{};
  KtObjId bench_{};
  std::vector<KtPropset> outputs_;
  std::size_t asked_ = 0;  // lives that were asked for everything after a failure
};

TEST_F(Campaign, ALifeInWhichNothingFailsDoesEverything) {
  Load();
  for (const Step step : kLife) {
    Look();
    EXPECT_EQ(Do(step), 0u) << "step " << static_cast<int>(step) << "\n"
                            << testing::PrintToString(framework_.TracesAt(6));
  }
  Settle();
}

TEST_F(Campaign, EveryFrameworkCallFailsInTurn) {
  const std::vector<KtStatus> statuses{0xC1000001u, 0x8007000Eu, 0x80070057u, 0xC1000010u, 5u};
  const std::size_t tried =
      fake::FailEveryCallInTurn(statuses, [&](const std::function<void()>& arm, KtStatus status) {
        Load();
        arm();
        // Which status it was makes no difference afterwards.
        Live([&] { return status == statuses[0] && framework_.PendingFailures() == 0; });
        const std::size_t failures = framework_.FailuresHappened();
        Settle();
        ASSERT_LE(failures, 1u);
      });
  std::cout << "[ tried    ] " << tried << " framework calls that fail; " << asked_
            << " providers asked for everything afterwards\n";
  EXPECT_GE(tried, 5u * 200u);
  EXPECT_GE(asked_, 200u);
}

TEST_F(Campaign, EverySecondFrameworkCallFailsAtRandom) {
  constexpr std::uint32_t kSeeds = 300;
  std::size_t tried = 0;
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    const std::string trail = "seed " + std::to_string(seed);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    Load();
    const auto end_failures = [&] {
      tried += framework_.FailuresHappened();
      framework_.ClearFailures();
    };
    // A start seldom gets over it: every other life begins well. Every third one ends well.
    Live(
        [&] {
          if (seed % 3 != 0) return false;
          end_failures();
          return true;
        },
        seed % 2 == 0 ? Step::kInitialize : Step::kControls,
        [this, seed] { framework_.FailAtRandom(seed); });
    end_failures();
    Settle();
    if (HasFailure()) break;
  }
  std::cout << "[ tried    ] " << tried << " framework calls that fail, in " << kSeeds
            << " lives with the seeds 1 to " << kSeeds << "; " << asked_
            << " providers asked for everything afterwards\n";
  EXPECT_GE(tried, kSeeds * std::size_t{10});
  EXPECT_EQ(asked_, kSeeds / 3);
}

TEST_F(Campaign, EveryAllocationOfTheProviderFailsInTurn) {
  std::size_t tried = 0;
  for (int after = 0;; ++after) {
    const std::string trail = "allocation " + std::to_string(after + 1);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    Load();
    bool happened = false;
    {
      const support::FailAllocation failing(after);
      Live([&failing] { return failing.Happened(); });
      happened = failing.Happened();
    }
    Settle();
    if (!happened || HasFailure()) break;
    ++tried;
  }
  std::cout << "[ tried    ] " << tried << " allocations that fail; " << asked_
            << " providers asked for everything afterwards\n";
  EXPECT_GE(tried, 100u);
  EXPECT_GE(asked_, 100u);
}

}  // namespace
