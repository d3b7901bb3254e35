// Eight threads that send all controls and events to a provider that uses all of the toolkit, while
// it is shut down at any moment.
#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "campaign/workshop.h"
#include "fake/fake_test.h"
#include "provider/api_table.h"
#include "provider/entry_points.h"
#include "provider/module_state.h"

namespace {

constexpr int kThreads = 8;
constexpr int kLives = 24;

class UnderEightThreads : public fake::FrameworkTest {
 protected:
  void BindHandles(KtDatabase /*database*/, KtProvider /*provider*/) override {
    kt::SetHandles(nullptr, nullptr);
  }
  void ReleaseModuleState() override {
    framework_.OnSleep({});
    Unload();
  }

  static void Unload() noexcept {
    kt::ReleaseModule();
    kt::ResetApiState();
  }

  // The shutdown waits for calls that are under way by sleeping, so many times at most. No sleep
  // lasts here: it ends when they have come back, however slow the machine is.
  void LetSleepLastUntilTheCallsAreBack() {
    framework_.OnSleep([this, ending = std::this_thread::get_id()](std::uint32_t) {
      if (std::this_thread::get_id() != ending) return;
      pause_ = true;
      while (inside_ != 0) std::this_thread::yield();
    });
  }

  void Start() {
    framework_.Reset();
    framework_.RecordCalls(false);
    LetSleepLastUntilTheCallsAreBack();
    framework_.AddType("qelm_ktvm");
    ASSERT_EQ(ProviderEntry(KT_W("workshop"), nullptr, &table_), 0u);
    ASSERT_EQ(table_.Initialize(framework_.database(), framework_.provider()), 0u);
    bench_ = framework_.ObjectsOf("workshop_bench").at(0);
  }

  // One round of what a client and the framework do.
  void Do(KtPropset input, KtPropset output, std::uint32_t code) {
    ++inside_;
    std::uint64_t provider = 0;
    static_cast<void>(table_.Control(&bench_, 0, code, input, output, 0, 0, 0, 0,
                                     reinterpret_cast<std::uintptr_t>(&workshop::kInterface), 0,
                                     &provider));
    const KtEventRecord event{0, workshop::kEvent, input, framework_.database()};
    static_cast<void>(table_.ChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event)));
    --inside_;
    ++rounds_;
  }

  void WaitForRounds(std::uint64_t more) {
    const std::uint64_t enough = rounds_ + more;
    while (rounds_ < enough) std::this_thread::yield();
  }

  KtProviderTable table_{};
  KtObjId bench_{};
  std::atomic<std::uint64_t> rounds_{0};
  std::atomic<int> inside_{0};      // threads in an entry function
  std::atomic<bool> pause_{false};  // nobody else is to enter
};

TEST_F(UnderEightThreads, AShutdownAtAnyMomentLeavesNothingBehind) {
  std::minstd_rand random(7);
  for (int life = 0; life < kLives; ++life) {
    const std::string trail = "life " + std::to_string(life);
    const ::testing::ScopedTrace scope(__FILE__, __LINE__, trail);
    Start();
    if (HasFatalFailure()) return;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < kThreads; ++i) {
      const KtPropset input = framework_.MakePropset();
      const KtPropset output = framework_.MakePropset();
      framework_.PutText(input, "text", "seven");
      threads.emplace_back([this, i, input, output, &stop] {
        for (std::uint32_t round = i; !stop; ++round) {
          while (pause_) std::this_thread::yield();
          Do(input, output, 1 + round % (workshop::kAfterTheLast - 1));
        }
      });
    }
    WaitForRounds(random() % 200);
    EXPECT_EQ(table_.Shutdown(0), 0u);
    pause_ = false;
    WaitForRounds(50);  // they are refused
    stop = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(fake::Traced(6, "workshop::__KtApiShutdown(), completed."));
    Unload();
    EXPECT_TRUE(fake::NothingKept());
    if (HasFailure()) return;
  }
}

}  // namespace
