#include "base/lock.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "fake/fake_test.h"

namespace {

class LockTest : public fake::FrameworkTest {};

struct Counter {
  kt::Lock lock;
  int value KT_GUARDED_BY(lock) = 0;
};

TEST_F(LockTest, ExcludesOtherThreads) {
  Counter counter;
  const auto count = [&counter] {
    for (int i = 0; i < 1000; ++i) {
      const kt::LockGuard guard(counter.lock);
      ++counter.value;
    }
  };
  std::thread first(count);
  std::thread second(count);
  first.join();
  second.join();
  const kt::LockGuard guard(counter.lock);
  EXPECT_EQ(counter.value, 2000);
}

TEST_F(LockTest, DeletesTheFrameworksLockWithItself) {
  {
    const kt::Lock lock;
    EXPECT_EQ(fake::Framework::Get().Outstanding().sections, 1u);
  }
  EXPECT_EQ(fake::Framework::Get().Outstanding().sections, 0u);
}

TEST_F(LockTest, IsReleasedWhenAnExceptionLeavesItsScope) {
  kt::Lock lock;
  try {
    const kt::LockGuard guard(lock);
    throw KtStatus{1};
  } catch (KtStatus) {
    EXPECT_EQ(fake::Framework::Get().Outstanding().held_sections, 0u);
  }
}

}  // namespace
