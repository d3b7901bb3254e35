#include <gtest/gtest.h>

#include <csignal>
#include <future>

#include "stop_signal.h"

namespace ktsvc {
namespace {

void Former(int /*signal*/) {}

TEST(StopSignalHandling, TakesEachSignalAsAWishAndNamesIt) {
  // SIGHUP too, wherever it comes from, as long as nobody has said what else to do.
  const std::pair<int, const char*> signals[] = {
      {SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};
  for (const auto& [number, name] : signals) {
    StopSignal stop([] {});
    ASSERT_EQ(raise(number), 0);
    stop.Wait();
    EXPECT_EQ(stop.Reason(), name);
  }
}

TEST(StopSignalHandling, CallsBackForTheSecondSignal) {
  std::promise<void> called;
  StopSignal stop([&called] { called.set_value(); });
  ASSERT_EQ(raise(SIGTERM), 0);
  stop.Wait();
  ASSERT_EQ(raise(SIGTERM), 0);
  called.get_future().wait();
  EXPECT_EQ(stop.Reason(), "SIGTERM");
}

TEST(StopSignalHandling, GivesTheSignalsTheirFormerMeaningBack) {
  ASSERT_NE(signal(SIGTERM, &Former), SIG_ERR);
  {
    const StopSignal stop([] {});
  }
  EXPECT_EQ(signal(SIGTERM, SIG_DFL), &Former);
}

TEST(StopSignalHandling, LeavesAHangUpIgnoredWhereItWas) {
  ASSERT_NE(signal(SIGHUP, SIG_IGN), SIG_ERR);
  {
    StopSignal stop([] {});
    ASSERT_EQ(raise(SIGHUP), 0);
    ASSERT_EQ(raise(SIGINT), 0);
    stop.Wait();
    EXPECT_EQ(stop.Reason(), "SIGINT");
  }
  EXPECT_EQ(signal(SIGHUP, SIG_DFL), SIG_IGN);
}

}  // namespace
}  // namespace ktsvc
