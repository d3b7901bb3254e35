// Orders of locks, as calls of a module show them.

#include "ktcheck/lock_watch.h"

#include <gtest/gtest.h>

namespace ktcheck_test {
namespace {

using ktcheck::Finding;

class LockWatchTest : public testing::Test {
 protected:
  // A thread takes these locks one under the other, and leaves them.
  void TakeAndLeave(std::uint64_t thread, const std::vector<std::uint64_t>& locks) {
    for (const std::uint64_t lock : locks) Call("KtEnterCriticalSection", thread, lock);
    for (auto lock = locks.rbegin(); lock != locks.rend(); ++lock) {
      Call("KtLeaveCriticalSection", thread, *lock);
    }
  }

  [[nodiscard]] std::size_t Found() const { return found_.size(); }

 private:
  void Call(const char* function, std::uint64_t thread, std::uint64_t lock) {
    KtBusWord word{};
    word.value = lock;
    KtBusCall call{};
    call.function = function;
    call.provider = "module";
    call.thread = thread;
    call.arguments = &word;
    call.argumentCount = 1;
    call.resultKind = KTBUS_WORD_NONE;
    call.outcome = KTBUS_CALL_MADE;
    watch_.Before(call);
    watch_.After(call);
  }

  std::vector<Finding> found_;
  ktcheck::LockWatch watch_{"module", [this](const Finding& finding) { found_.push_back(finding); },
                            false};
};

TEST_F(LockWatchTest, TwoOrdersOfTwoLocksAreTold) {
  TakeAndLeave(1, {10, 20});
  EXPECT_EQ(Found(), 0U);
  TakeAndLeave(2, {20, 10});
  EXPECT_EQ(Found(), 1U);
}

TEST_F(LockWatchTest, TwoOrdersUnderALockThatIsAlwaysTakenFirstAreInOrder) {
  TakeAndLeave(1, {1, 10, 20});
  TakeAndLeave(2, {1, 20, 10});
  EXPECT_EQ(Found(), 0U);
}

TEST_F(LockWatchTest, TwoOrdersOfWhichOneIsOnceTakenWithoutTheFirstLockAreTold) {
  TakeAndLeave(1, {1, 10, 20});
  TakeAndLeave(2, {1, 20, 10});
  TakeAndLeave(1, {10, 20});
  EXPECT_EQ(Found(), 1U);
}

TEST_F(LockWatchTest, TwoOrdersUnderTwoDifferentLocksAreTold) {
  TakeAndLeave(1, {1, 10, 20});
  TakeAndLeave(2, {2, 20, 10});
  EXPECT_EQ(Found(), 1U);
}

TEST_F(LockWatchTest, ACircleOfThreeLocksIsTold) {
  TakeAndLeave(1, {10, 20});
  TakeAndLeave(2, {20, 30});
  TakeAndLeave(3, {30, 10});
  EXPECT_EQ(Found(), 1U);
}

TEST_F(LockWatchTest, ACircleUnderALockThatIsAlwaysTakenFirstIsInOrder) {
  TakeAndLeave(1, {1, 10, 20});
  TakeAndLeave(2, {1, 20, 30});
  TakeAndLeave(3, {1, 30, 10});
  EXPECT_EQ(Found(), 0U);
}

TEST_F(LockWatchTest, ALockThatIsEnteredAgainMakesNoOrder) {
  TakeAndLeave(1, {10, 20, 10});
  EXPECT_EQ(Found(), 0U);
}

}  // namespace
}  // namespace ktcheck_test
