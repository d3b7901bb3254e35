// What shutdown does without memory of our own.
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "dispatch/control_manager.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/thread_container.h"
#include "support/failing_new.h"
#include "support/managers_test.h"
#include "support/wrapper.h"

namespace {

class LifetimeExhaustionTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
    framework_.RecordCalls(false);  // the framework of the tests shares our operator new
  }

  void Arm() { failing_.emplace(0); }
  void Disarm() { failing_.reset(); }

  void Register(std::vector<int>& gone, int number) {
    auto wrapper =
        std::make_unique<support::Wrapper>(framework_.AddObject("disk"), [this, &gone, number] {
          Disarm();
          gone.push_back(number);
        });
    ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(std::move(wrapper)), 0u);
  }

  std::optional<support::FailAllocation> failing_;
};

// Says when it is asked to stop, and when it is asked whether it has.
class Worker : public CKtWorker {
 public:
  Worker(std::function<void()> on_request, std::function<bool()> on_question)
      : on_request_(std::move(on_request)), on_question_(std::move(on_question)) {}
  void RequestStop() noexcept override { on_request_(); }
  [[nodiscard]] bool IsStopped() const noexcept override { return on_question_(); }

 private:
  std::function<void()> on_request_;
  std::function<bool()> on_question_;
};

TEST_F(LifetimeExhaustionTest, StopAllAsksTheWorkersWithoutMemory) {
  int requests = 0;
  int questions = 0;
  Worker worker(
      [&] {
        Disarm();
        ++requests;
      },
      [&] {
        Disarm();
        return ++questions == 3;
      });
  CKtThreadContainer::Instance().Add(worker);
  framework_.OnSleep([&](std::uint32_t) { Arm(); });
  Arm();
  CKtThreadContainer::Instance().StopAll();
  Disarm();
  EXPECT_EQ(requests, 1);
  EXPECT_EQ(questions, 3);
}

TEST_F(LifetimeExhaustionTest, ShutdownDeletesTheWrappersWithoutMemory) {
  std::vector<int> gone;
  static_cast<void>(CKtControlManager::Instance());
  Register(gone, 1);
  Register(gone, 2);
  CKtCustomObjectContainer& container = CKtCustomObjectContainer::Instance();
  Arm();
  container.Shutdown();
  Disarm();
  EXPECT_EQ(gone, (std::vector{1, 2}));
}

TEST_F(LifetimeExhaustionTest, ShutdownGoesOnWithoutAControlManagerAndMemoryForOne) {
  std::vector<int> gone;
  Register(gone, 1);
  CKtCustomObjectContainer& container = CKtCustomObjectContainer::Instance();
  Arm();
  container.Shutdown();
  Disarm();
  EXPECT_EQ(gone, std::vector{1});
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

}  // namespace
