// The restart, where a stand-in of the tests' own is the only service manager on PATH.
#include <algorithm>

#include "module/module_test.h"

namespace {

using testing::Contains;

using Restart = ModuleTest;

TEST_F(Restart, IsIssuedThroughEitherInterface) {
  ASSERT_EQ(Initialize(), 0u);
  std::size_t restarts = 0;
  for (const KtGuid& interface_id : {kSystemInterface, kRebootInterface}) {
    EXPECT_EQ(module_->Control({}, interface_id, kRebootControl, framework_.MakePropset(),
                               framework_.MakePropset()),
              0u);
    ++restarts;
    const auto commands = surroundings_.Commands(1 + restarts);
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "systemctl reboot --force"),
              static_cast<std::ptrdiff_t>(restarts));
  }
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Restart, FailsWithItsOwnStatusWhenTheCommandIsNotThere) {
  ASSERT_EQ(Initialize(), 0u);
  surroundings_.FindNoCommands();
  EXPECT_EQ(module_->Control({}, kRebootInterface, kRebootControl, framework_.MakePropset(),
                             framework_.MakePropset()),
            0xC100001Fu);
  EXPECT_EQ(Shutdown(), 0u);
}

TEST_F(Restart, TheServiceIsStartedAndStoppedByTheCommandInTheTrace) {
  ASSERT_EQ(Initialize(), 0u);
  EXPECT_THAT(surroundings_.Commands(1), Contains(Surroundings::StartCommand()));
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_THAT(surroundings_.Commands(2), Contains(Surroundings::StopCommand()));
}

TEST_F(Restart, AServiceManagerThatIsNotThereIsToldAndPassedOver) {
  surroundings_.FindNoCommands();
  EXPECT_EQ(Initialize(), 0u);
  EXPECT_TRUE(fake::Traced(4, "HostKit - exiting KtNet with bFlg=0"));
  EXPECT_TRUE(fake::Traced(4, "HostKit - Failed to start Tormeld VSS Provider service"));
  EXPECT_EQ(Shutdown(), 0u);
  EXPECT_TRUE(fake::Traced(4, "HostKit - Failed to stop Tormeld VSS Provider service"));
}

}  // namespace
