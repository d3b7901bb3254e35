// The built module under load: controls and events from eight threads while registrations come and
// go, and then the end.
#include <atomic>
#include <thread>
#include <vector>

#include "module/module_test.h"

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

}  // namespace
