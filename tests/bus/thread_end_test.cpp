// What is called when a thread ends.
#include "bus/thread_end.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<int> g_first{0};
std::atomic<int> g_second{0};

void First() noexcept {
  ++g_first;
}

void Second() noexcept {
  ++g_second;
}

class ThreadEnd : public testing::Test {
 protected:
  void SetUp() override {
    g_first = 0;
    g_second = 0;
  }
};

TEST_F(ThreadEnd, CallsEachFunctionOnceAndNotBefore) {
  std::thread([] {
    EXPECT_TRUE(kt::bus::CallAtThreadEnd(&First));
    EXPECT_TRUE(kt::bus::CallAtThreadEnd(&Second));
    EXPECT_EQ(g_first, 0);
    EXPECT_EQ(g_second, 0);
  }).join();
  EXPECT_EQ(g_first, 1);
  EXPECT_EQ(g_second, 1);
}

TEST_F(ThreadEnd, CallsOnlyWhatItsOwnThreadAskedFor) {
  std::thread([] {
    std::thread([] { EXPECT_TRUE(kt::bus::CallAtThreadEnd(&First)); }).join();
    EXPECT_EQ(g_first, 1);
  }).join();
  EXPECT_EQ(g_first, 1);
  EXPECT_EQ(g_second, 0);
}

}  // namespace
