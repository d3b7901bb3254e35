// The built module under load: controls and events from eight threads while registrations come and
// go, and then the end.
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "module/module_test.h"
#include "support/load.h"

namespace {

class ModuleUnderLoad : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    surroundings_.FindNoCommands();
    AddGroup("qelm_ktvm_disk");
    ASSERT_EQ(Initialize(), 0u);
    framework_.RecordCalls(false);
  }
};

TEST_F(ModuleUnderLoad, ServesEightThreadsWhileRegistrationsComeAndGo) {
  std::atomic<bool> stop{false};
  std::atomic<std::uint64_t> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, i] {
      const KtPropset input = framework_.MakePropset();
      const KtPropset output = framework_.MakePropset();
      framework_.PutUInt32(input, "tracelevel", 3);
      for (int round = 0; round < 200 || !stop; ++round) {
        // A path that is just being registered anew may be missing for the moment, and so may the
        // listener.
        const KtStatus status =
            i % 2 == 0 ? module_->Control({}, kSystemInterface, kTraceLevelControl, input, output)
                       : module_->Notify(kReadyEvent, framework_.database());
        if (status != 0 && status != kUnexpected && status != 0xC100000D) ++wrong;
      }
    });
  }
  // A second start drops the listener and the control map and registers them again.
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Initialize(), 0u);
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0u);
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(ModuleUnderLoad, IsShutDownAtAnyMoment) {
  std::minstd_rand random(7);
  for (int life = 0; life < 12; ++life) {
    const std::string trail = "life " + std::to_string(life);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    module_.reset();
    framework_.Reset();
    framework_.RecordCalls(false);
    Load();
    AddGroup("qelm_ktvm_disk");
    ASSERT_EQ(Initialize(), 0u);
    std::vector<KtPropset> inputs;
    std::vector<KtPropset> outputs;
    for (std::uint32_t i = 0; i < support::Load::kThreads; ++i) {
      inputs.push_back(framework_.MakePropset());
      outputs.push_back(framework_.MakePropset());
      framework_.PutUInt32(inputs.back(), "tracelevel", 3);
    }
    {
      support::Load load([&](std::uint32_t thread, std::uint32_t round) {
        if (round % 2 == 0) {
          module_->Control({}, kSystemInterface, kTraceLevelControl, inputs[thread],
                           outputs[thread]);
        } else {
          module_->Notify(kReadyEvent, framework_.database());
        }
      });
      load.WaitForRounds(random() % 200);
      EXPECT_EQ(load.ShutDown([this] { return Shutdown(); }), 0u);
      EXPECT_EQ(module_->Notify(kReadyEvent, framework_.database()), kShuttingDown);
      load.WaitForRounds(50);
    }
    module_.reset();
    EXPECT_TRUE(fake::NothingKept());
    if (HasFailure()) return;
  }
}

}  // namespace
