#include "lifetime/thread_container.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/managers_test.h"
#include "support/threads.h"

namespace {

using ThreadContainerTest = support::ManagersTest;

// A worker without a thread: stopped after so many questions, with a note of everything it is
// asked.
class ScriptedWorker : public CKtWorker {
 public:
  explicit ScriptedWorker(int stopped_after_questions, std::vector<std::string>* log = nullptr,
                          std::string name = "")
      : patience_(stopped_after_questions), log_(log), name_(std::move(name)) {}

  [[nodiscard]] bool IsStopped() const noexcept override {
    ++questions_;
    if (log_ != nullptr) log_->push_back("asked " + name_);
    if (on_question_) on_question_();
    return patience_ >= 0 && questions_ > patience_;
  }
  void RequestStop() noexcept override {
    ++requests_;
    if (log_ != nullptr) log_->push_back("stop " + name_);
    if (on_request_) on_request_();
  }

  static constexpr int kNever = -1;
  mutable int questions_ = 0;
  int requests_ = 0;
  std::function<void()> on_question_;
  std::function<void()> on_request_;

 private:
  int patience_;  // questions answered with "still running"
  std::vector<std::string>* log_;
  std::string name_;
};

TEST_F(ThreadContainerTest, LogsZeroThreadsAndDoesNotSleepWithoutWorkers) {
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Warning(
                "hostkit: INFO: CKtThreadContainer: Requested the stop of 0 threads.")});
  EXPECT_EQ(framework_.Sleeps(), 0u);
}

TEST_F(ThreadContainerTest, GivesUpAfterSixtySecondsWithAWorkerThatNeverStops) {
  ScriptedWorker worker(ScriptedWorker::kNever);
  CKtThreadContainer::Instance().Add(worker);
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(framework_.Sleeps(), 1201u);
  EXPECT_EQ(framework_.SleptMs(), 60'050u);
  EXPECT_EQ(worker.questions_, 1201) << "the last question comes after 60 000 ms";
  EXPECT_EQ(
      framework_.Traces(),
      (std::vector{
          fake::Warning("hostkit: INFO: CKtThreadContainer: Requested the stop of 1 threads."),
          fake::Error("hostkit: TIMEOUT_ERROR: All threads did not complete before the "
                      "specified timeout.")}));
}

TEST_F(ThreadContainerTest, RequestsTheStopOnceOnlyWhileItWaits) {
  ScriptedWorker worker(ScriptedWorker::kNever);
  CKtThreadContainer::Instance().Add(worker);
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(worker.requests_, 1);
}

TEST_F(ThreadContainerTest, ReturnsAfterOneSleepWithAWorkerThatStopsAfterItsFirstFiftyMs) {
  ScriptedWorker worker(1);
  CKtThreadContainer::Instance().Add(worker);
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(framework_.Sleeps(), 1u);
  EXPECT_EQ(framework_.SleptMs(), 50u);
  EXPECT_TRUE(framework_.TracesAt(6).empty());
}

TEST_F(ThreadContainerTest, AsksEveryWorkerInOrderAlsoAfterOneThatStillRuns) {
  std::vector<std::string> log;
  ScriptedWorker first(1, &log, "1");
  ScriptedWorker second(0, &log, "2");
  CKtThreadContainer::Instance().Add(first);
  CKtThreadContainer::Instance().Add(second);
  framework_.OnSleep([&](std::uint32_t) { log.push_back("sleep"); });
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(log, (std::vector<std::string>{"stop 1", "stop 2", "asked 1", "asked 2", "sleep",
                                           "asked 1", "asked 2"}));
}

TEST_F(ThreadContainerTest, LeavesTheWorkersWhereTheyAre) {
  ScriptedWorker worker(0);
  CKtThreadContainer::Instance().Add(worker);
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(CKtThreadContainer::Instance().Count(), 1u);
}

TEST_F(ThreadContainerTest, HoldsNoLockWhileItSleeps) {
  ScriptedWorker worker(2);
  CKtThreadContainer::Instance().Add(worker);
  std::vector<std::size_t> held;
  framework_.OnSleep(
      [&](std::uint32_t) { held.push_back(framework_.Outstanding().held_sections); });
  CKtThreadContainer::Instance().StopAll();
  EXPECT_EQ(held, (std::vector<std::size_t>{0, 0}));
}

TEST_F(ThreadContainerTest, LetsAWorkerTakeItselfOutWhileItIsAsked) {
  ScriptedWorker leaver(ScriptedWorker::kNever);
  ScriptedWorker other(0);
  CKtThreadContainer& container = CKtThreadContainer::Instance();
  container.Add(leaver);
  container.Add(other);
  leaver.on_request_ = [&] { container.Remove(leaver); };
  container.StopAll();
  EXPECT_EQ(other.requests_, 1);
  EXPECT_EQ(leaver.questions_, 0);
  EXPECT_EQ(framework_.Sleeps(), 0u);
}

TEST_F(ThreadContainerTest, DoesNotTouchAWorkerThatAnotherOneTookOut) {
  ScriptedWorker taker(0);
  ScriptedWorker taken(0);
  CKtThreadContainer& container = CKtThreadContainer::Instance();
  container.Add(taker);
  container.Add(taken);
  taker.on_request_ = [&] { container.Remove(taken); };
  container.StopAll();
  EXPECT_EQ(taken.requests_, 0);
}

TEST_F(ThreadContainerTest, LetsAWorkerPutAnotherInItsPlaceWhichIsAskedTheNextTime) {
  ScriptedWorker leaver(0);
  ScriptedWorker successor(0);
  CKtThreadContainer& container = CKtThreadContainer::Instance();
  container.Add(leaver);
  leaver.on_request_ = [&] {
    container.Remove(leaver);
    container.Add(successor);
    EXPECT_EQ(container.Count(), 1u);
  };
  container.StopAll();
  EXPECT_EQ(leaver.questions_, 0);
  EXPECT_EQ(successor.requests_, 0);
  EXPECT_EQ(successor.questions_, 1);
  EXPECT_EQ(container.Count(), 1u);
}

TEST_F(ThreadContainerTest, TakesAWorkerOnce) {
  ScriptedWorker worker(0);
  CKtThreadContainer::Instance().Add(worker);
  CKtThreadContainer::Instance().Add(worker);
  EXPECT_EQ(CKtThreadContainer::Instance().Count(), 1u);
  CKtThreadContainer::Instance().Remove(worker);
  CKtThreadContainer::Instance().Remove(worker);
  EXPECT_EQ(CKtThreadContainer::Instance().Count(), 0u);
}

TEST_F(ThreadContainerTest, IsOneHoweverManyThreadsAreFirst) {
  std::vector<CKtThreadContainer*> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) {
    threads.emplace_back([&slot] { slot = &CKtThreadContainer::Instance(); });
  }
  for (auto& thread : threads) thread.join();
  for (const CKtThreadContainer* container : seen) {
    EXPECT_EQ(container, &CKtThreadContainer::Instance());
  }
  EXPECT_EQ(framework_.Outstanding().sections, 1u);
}

TEST_F(ThreadContainerTest, StopsRealThreadsThatComeAndGo) {
  class Loop : public CKtWorker {
   public:
    void Run() {
      while (!IsStopRequested()) std::this_thread::yield();
      MarkStopped();
    }
  };
  std::vector<Loop> workers(4);
  framework_.OnSleep([&](std::uint32_t) {
    // As long as it takes: every stop has been requested by now.
    for (const Loop& worker : workers) {
      support::YieldUntil([&] { return worker.IsStopped(); });
    }
  });
  std::vector<std::thread> threads;
  for (Loop& worker : workers) {
    worker.MarkRunning();
    CKtThreadContainer::Instance().Add(worker);
    threads.emplace_back([&worker] { worker.Run(); });
  }
  std::atomic<bool> over{false};
  std::thread visitor([&over] {
    CKtWorker guest;
    while (!over) {
      CKtThreadContainer::Instance().Add(guest);
      CKtThreadContainer::Instance().Remove(guest);
    }
  });
  CKtThreadContainer::Instance().StopAll();
  for (const Loop& worker : workers) EXPECT_TRUE(worker.IsStopped()) << "before it is joined";
  EXPECT_TRUE(framework_.TracesAt(6).empty());
  for (auto& thread : threads) thread.join();
  over = true;
  visitor.join();
}

TEST(Worker, CountsAsStoppedUntilItIsStarted) {
  CKtWorker worker;
  EXPECT_TRUE(worker.IsStopped());
  worker.MarkRunning();
  EXPECT_FALSE(worker.IsStopped());
  worker.MarkStopped();
  EXPECT_TRUE(worker.IsStopped());
}

TEST(Worker, RemembersThatItsStopWasRequested) {
  CKtWorker worker;
  EXPECT_FALSE(worker.IsStopRequested());
  worker.RequestStop();
  EXPECT_TRUE(worker.IsStopRequested());
  worker.MarkRunning();
  EXPECT_TRUE(worker.IsStopRequested());
}

}  // namespace
