#include "system/shadow_copy_service.h"

#include "system/system_test.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using KtNet = SystemTest;

TEST_F(KtNet, StartsTheServiceForZeroAndTracesEachStep) {
  EXPECT_NE(kt::KtNet(0), 0);
  EXPECT_THAT(framework_.Traces(), ElementsAreArray(ServiceStarted()));
  EXPECT_THAT(platform_.calls, ElementsAre("StartCommand(serve --start \"shadow copies\")"));
}

TEST_F(KtNet, StopsTheServiceForAnythingElse) {
  EXPECT_NE(kt::KtNet(1), 0);
  EXPECT_THAT(framework_.Traces(), ElementsAreArray(ServiceStopped()));
  framework_.ForgetTraces();
  EXPECT_NE(kt::KtNet(-7), 0);
  EXPECT_TRUE(fake::Traced(4, "HostKit - entering KtNet() with nServiceStartStop=-7"));
  EXPECT_THAT(platform_.calls, ElementsAre("StartCommand(serve --stop \"shadow copies\")",
                                           "StartCommand(serve --stop \"shadow copies\")"));
}

TEST_F(KtNet, ReturnsNonZeroAsSoonAsTheCommandExistsEvenIfItFails) {
  platform_.exit_code = 2;
  EXPECT_NE(kt::KtNet(0), 0);
  EXPECT_TRUE(fake::Traced(4, "hostkit - Termination status: 0x00000002"));
}

TEST_F(KtNet, ReturnsZeroWithTheReasonWhenTheCommandCouldNotBeStarted) {
  platform_.command_starts = false;
  platform_.last_error = 0x2A;
  EXPECT_EQ(kt::KtNet(0), 0);
  EXPECT_THAT(
      framework_.Traces(),
      ElementsAre(fake::Warning("HostKit - entering KtNet() with nServiceStartStop=0"),
                  fake::Warning("HostKit - before calling CreateProcess for serve --start \"shadow "
                                "copies\""),
                  fake::Warning("HostKit - after calling CreateProcess returns:0"),
                  fake::Warning("HostKit - CreateProcess() failed to create serve --start \"shadow "
                                "copies\" !!! Reason: 2a"),
                  fake::Warning("HostKit - exiting KtNet with bFlg=0")));
}

TEST_F(KtNet, KeepsTheCommandWithin260UnitsTerminatorIncluded) {
  platform_.start_command = KtWString(1000, KT_W('x'));
  EXPECT_NE(kt::KtNet(0), 0);
  EXPECT_THAT(platform_.calls, ElementsAre("StartCommand(" + std::string(259, 'x') + ")"));
}

}  // namespace
