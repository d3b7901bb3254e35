#include "stop_signal_win32.h"

#include <windows.h>
// windows.h must stand first.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "stop_signal.h"

namespace ktsvc {
namespace {

TEST(ConsoleEvents, AreWishesThatAreNamed) {
  const std::pair<unsigned long, const char*> events[] = {{CTRL_C_EVENT, "Ctrl-C"},
                                                          {CTRL_BREAK_EVENT, "Ctrl-Break"}};
  for (const auto& [event, name] : events) {
    StopSignal stop([] {});
    EXPECT_NE(HandleConsoleEvent(event), 0);
    EXPECT_TRUE(stop.Requested());
    EXPECT_EQ(stop.Reason(), name);
  }
}

TEST(ConsoleEvents, CallBackForTheSecondWish) {
  std::atomic<int> again{0};
  StopSignal stop([&again] { ++again; });
  HandleConsoleEvent(CTRL_C_EVENT);
  HandleConsoleEvent(CTRL_C_EVENT);
  EXPECT_EQ(again, 1);
}

TEST(ConsoleEvents, AreTheSystemsBusinessWithoutAStopSignal) {
  {
    const StopSignal stop([] {});
  }
  EXPECT_EQ(HandleConsoleEvent(CTRL_C_EVENT), 0);
}

TEST(ConsoleEvents, HoldTheSystemBackUntilTheServiceIsDoneWhenTheConsoleCloses) {
  auto stop = std::make_unique<StopSignal>([] {});
  std::atomic<bool> gone{false};
  bool sawItGone = false;
  std::thread system([&] {
    HandleConsoleEvent(CTRL_CLOSE_EVENT);
    sawItGone = gone;
  });
  stop->Wait();
  gone = true;
  stop.reset();
  system.join();
  EXPECT_TRUE(sawItGone);
}

}  // namespace
}  // namespace ktsvc
