#include <gtest/gtest.h>

#include <csignal>
#include <future>

#include "stop_signal.h"

namespace ktsvc {
namespace {

void Former(int /*signal*/) {}

TEST(StopSignalHandling, TakesEachSignalAsAWishAndNamesIt) {
  const std::pair<int, const char*> signals[] = {
      {SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};
  for (const auto& [number, name] : signals) {
    StopSignal stop([] {});
    raise(number);
    stop.Wait();
    EXPECT_EQ(stop.Reason(), name);
  }
}

TEST(StopSignalHandling, CallsBackForTheSecondSignal) {
  std::promise<void> called;
  StopSignal stop([&called] { called.set_value(); });
  raise(SIGTERM);
  stop.Wait();
  raise(SIGTERM);
  called.get_future().wait();
  EXPECT_EQ(stop.Reason(), "SIGTERM");
}

TEST(StopSignalHandling, GivesTheSignalsTheirFormerMeaningBack) {
  signal(SIGTERM, &Former);
  {
    const StopSignal stop([] {});
  }
  EXPECT_EQ(signal(SIGTERM, SIG_DFL), &Former);
}

TEST(StopSignalHandling, LeavesAHangUpIgnoredWhereItWas) {
  signal(SIGHUP, SIG_IGN);
  {
    StopSignal stop([] {});
    raise(SIGHUP);
    raise(SIGINT);
    stop.Wait();
    EXPECT_EQ(stop.Reason(), "SIGINT");
  }
  EXPECT_EQ(signal(SIGHUP, SIG_DFL), SIG_IGN);
}

}  // namespace
}  // namespace ktsvc
