// Eight threads that send all controls and events to a provider that uses all of the toolkit, while
// it is shut down at any moment.
#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "campaign/workshop.h"
#include "fake/fake_test.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"
#include "support/load.h"

namespace {

constexpr int kLives = 24;

class UnderEightThreads : public fake::FrameworkTest {
 protected:
  void BindHandles(KtDatabase /*database*/, KtProvider /*provider*/) override {
    kt::SetHandles(nullptr, nullptr);
  }
  void ReleaseModuleState() override { Unload(); }

  static void Unload() noexcept {
    kt::ReleaseModule();
    kt::ResetApiState();
  }

  void Start() {
    framework_.Reset();
    framework_.RecordCalls(false);
    framework_.AddType("qelm_ktvm");
    ASSERT_EQ(ProviderEntry(KT_W("workshop"), nullptr, &table_), 0u);
    ASSERT_EQ(table_.Initialize(framework_.database(), framework_.provider()), 0u);
    bench_ = framework_.ObjectsOf("workshop_bench").at(0);
    for (std::uint32_t i = 0; i < support::Load::kThreads; ++i) {
      inputs_[i] = framework_.MakePropset();
      outputs_[i] = framework_.MakePropset();
      framework_.PutText(inputs_[i], "text", "seven");
    }
  }

  void Do(std::uint32_t thread, std::uint32_t round) {
    const std::uint32_t code = 1 + round % (workshop::kAfterTheLast - 1);
    std::uint64_t provider = 0;
    static_cast<void>(table_.Control(&bench_, 0, code, inputs_[thread], outputs_[thread], 0, 0, 0,
                                     0, reinterpret_cast<std::uintptr_t>(&workshop::kInterface), 0,
                                     &provider));
    const KtEventRecord event{0, workshop::kEvent, inputs_[thread], framework_.database()};
    static_cast<void>(table_.ChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event)));
  }

  KtProviderTable table_{};
  KtObjId bench_{};
  std::array<KtPropset, support::Load::kThreads> inputs_{};
  std::array<KtPropset, support::Load::kThreads> outputs_{};
};

TEST_F(UnderEightThreads, AShutdownAtAnyMomentLeavesNothingBehind) {
  std::minstd_rand random(7);
  for (int life = 0; life < kLives; ++life) {
    const std::string trail = "life " + std::to_string(life);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    Start();
    if (HasFatalFailure()) return;
    {
      support::Load load([this](std::uint32_t thread, std::uint32_t round) { Do(thread, round); });
      load.WaitForRounds(random() % 200);
      EXPECT_EQ(load.ShutDown([this] { return table_.Shutdown(0); }), 0u);
      load.WaitForRounds(50);  // they are refused
    }
    EXPECT_TRUE(fake::Traced(6, "workshop::__KtApiShutdown(), completed."));
    Unload();
    EXPECT_TRUE(fake::NothingKept());
    if (HasFailure()) return;
  }
}

}  // namespace
