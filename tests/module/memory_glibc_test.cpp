// The memory of the process over hundreds of lives of the built module, as the C library counts it.
#include <malloc.h>

#include "module/module_test.h"

namespace {

class Memory : public ModuleTest {
 protected:
  static std::size_t InUse() {
    const struct mallinfo2 counted = mallinfo2();
    return counted.uordblks + counted.hblkhd;
  }

  void LiveOnce() {
    framework_.Reset();
    Load();
    AddGroup("qelm_ktvm_disk");
    ASSERT_EQ(Initialize(), 0u);
    ASSERT_EQ(module_->Notify(kReadyEvent, framework_.database()), 0u);
    const KtPropset input = framework_.MakePropset();
    framework_.PutUInt32(input, "tracelevel", 3);
    ASSERT_EQ(
        module_->Control({}, kSystemInterface, kTraceLevelControl, input, framework_.MakePropset()),
        0u);
    ASSERT_EQ(module_->Control({}, kSystemInterface, 1, input, input), kUnexpected);
    ASSERT_EQ(Shutdown(), 0u);
    module_.reset();
    framework_.Reset();
  }
};

TEST_F(Memory, StaysLevelHoweverOftenTheModuleIsLoadedAndUnloaded) {
  constexpr int kLives = 400;
  module_.reset();
  surroundings_.FindNoCommands();
  MakeMultipathOnly();
  for (int life = 0; life < 20; ++life) LiveOnce();
  const std::size_t before = InUse();
  for (int life = 0; life < kLives; ++life) LiveOnce();
  // The smallest block that is lost in each life would be 32 bytes.
  EXPECT_LT(InUse(), before + std::size_t{16} * kLives);
}

}  // namespace
