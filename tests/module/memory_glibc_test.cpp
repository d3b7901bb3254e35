// The memory of the process over hundreds of lives of the built module, as the C library counts it;
// over as many as KT_LIVES says where that is set.
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "module/module_test.h"

namespace {

constexpr std::size_t kMost = std::size_t{16} * 1024;

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
  const char* const wish = std::getenv("KT_LIVES");
  const int lives = wish == nullptr ? 400 : std::max(std::atoi(wish), 1);
  module_.reset();
  surroundings_.FindNoCommands();
  MakeMultipathOnly();
  for (int life = 0; life < 20; ++life) LiveOnce();
  const std::size_t before = InUse();
  for (int life = 0; life < lives; ++life) LiveOnce();
  const std::size_t after = InUse();
  std::cout << "[ lives    ] " << lives << ": " << before << " bytes in use before, " << after
            << " after\n";
  // The smallest block that is lost in each life would be 32 bytes; what the C library keeps for
  // itself does not grow with their number.
  const std::size_t most = std::min(std::size_t{16} * static_cast<std::size_t>(lives), kMost);
  EXPECT_LT(after, before + most);
}

}  // namespace
