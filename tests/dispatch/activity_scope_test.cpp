#include "dispatch/activity_scope.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/status.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_listener.h"
#include "support/control.h"
#include "support/managers_test.h"
#include "support/threads.h"
#include "support/wrapper.h"

namespace {

using support::Wrapper;

class Queue : public CKtLazyDeleteQueue {
 public:
  explicit Queue(std::function<void()> body) : body_(std::move(body)) {}
  void Flush() override { body_(); }

 private:
  std::function<void()> body_;
};

class ActivityScopeTest : public support::ManagersTest {
 protected:
  CKtControlManager& manager() { return CKtControlManager::Instance(); }
  CKtCustomObjectContainer& container() { return CKtCustomObjectContainer::Instance(); }

  Wrapper* Registered(std::function<void()> farewell) {
    framework_.AddType("disk");
    const KtObjId id = framework_.AddObject("disk");
    framework_.PutWideText(id, "Name", KT_W("disk"));
    auto wrapper = std::make_unique<Wrapper>(id, std::move(farewell));
    Wrapper* const lent = wrapper.get();
    EXPECT_EQ(container().Add(std::move(wrapper)), 0u);
    return lent;
  }

  std::size_t Flushes() {
    std::size_t count = 0;
    for (const std::string& text : framework_.TracesAt(1)) {
      if (text == "hostkit: INFO: CKtControlManager::FlushLazyDeleteQueues() Entered...") ++count;
    }
    return count;
  }
};

TEST_F(ActivityScopeTest, CountsUpAndDownAndCreatesTheManager) {
  {
    const CKtActivityScope first;
    EXPECT_EQ(framework_.Outstanding().sections, 4u);
    EXPECT_EQ(manager().ActivityCount(), 1u);
    const CKtActivityScope second;
    EXPECT_EQ(manager().ActivityCount(), 2u);
  }
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ActivityScopeTest, ClosesOnce) {
  const CKtActivityScope other;
  CKtActivityScope scope;
  scope.Close();
  scope.Close();
  EXPECT_EQ(manager().ActivityCount(), 1u);
}

TEST_F(ActivityScopeTest, FlushesQueuesThenContainerWithTheLinesOfBoth) {
  { const CKtActivityScope scope; }
  const std::string manager = "hostkit: INFO: CKtControlManager::FlushLazyDeleteQueues() ";
  const std::string container = "hostkit: INFO: CKtCustomObjectContainer::FlushLazyDeleteQueue() ";
  EXPECT_EQ(framework_.Traces(),
            (std::vector{fake::Info(manager + "Entered..."), fake::Info(manager + "Exiting..."),
                         fake::Info(container + "Entering ....."),
                         fake::Info(container + "Exiting .....")}));
}

TEST_F(ActivityScopeTest, FlushesOncePerReturnOfTheCountToZeroAndNotOncePerRequest) {
  {
    const CKtActivityScope outer;
    for (int i = 0; i < 3; ++i) const CKtActivityScope inner;
    EXPECT_EQ(Flushes(), 0u);
  }
  EXPECT_EQ(Flushes(), 1u);
  { const CKtActivityScope again; }
  EXPECT_EQ(Flushes(), 2u);
}

TEST_F(ActivityScopeTest, FlushesOnlyWhenTheOutermostOfNestedProviderCallsEnds) {
  // An event raised inside a control.
  bool gone = false;
  Wrapper* const wrapper = Registered([&] { gone = true; });
  struct Listener : CKtEventListener {
    using CKtEventListener::CKtEventListener;
    Wrapper* wrapper = nullptr;
  };
  Listener listener(framework_.database(), framework_.provider());
  listener.wrapper = wrapper;
  listener.Register(
      "event.one", [](void* owner, const CKtEventView*, std::uint64_t, std::uint64_t) {
        return static_cast<Listener*>(static_cast<CKtEventListener*>(owner))->wrapper->LazyDelete();
      });
  support::BodyMap map([&](CKtControlRequest&) {
    const KtEventRecord record{0, "event.one", nullptr, framework_.database()};
    EXPECT_EQ(CKtEventManager::Instance().Notify(&record), 0u);
    EXPECT_FALSE(gone) << "the control is still in flight";
    EXPECT_EQ(Flushes(), 0u);
    return KtStatus{0};
  });
  ASSERT_EQ(map.Register(support::kInterface, 0, 1, &support::BodyMap::Handle), 0u);
  support::Request request(fake::ObjectNumber(50), 0, 1);
  EXPECT_EQ(manager().Invoke(request), 0u);
  EXPECT_TRUE(gone);
  EXPECT_EQ(Flushes(), 1u);
}

TEST_F(ActivityScopeTest, FreesTheWrapperOfAHandlerWhenTheCallIsOver) {
  bool gone = false;
  Wrapper* const wrapper = Registered([&] { gone = true; });
  {
    const CKtActivityScope scope;
    wrapper->LazyDelete();
    EXPECT_FALSE(gone);
    EXPECT_TRUE(kt::IsNullId(wrapper->Id())) << "still there to be read";
  }
  EXPECT_TRUE(gone);
}

TEST_F(ActivityScopeTest, FlushesQueuesInOrderOfAdding) {
  std::vector<int> order;
  Queue first([&] { order.push_back(1); });
  Queue second([&] { order.push_back(2); });
  manager().AddQueue(first);
  manager().AddQueue(second);
  { const CKtActivityScope scope; }
  EXPECT_EQ(order, (std::vector{1, 2}));
  manager().RemoveQueue(first);
  { const CKtActivityScope scope; }
  EXPECT_EQ(order, (std::vector{1, 2, 2}));
}

TEST_F(ActivityScopeTest, SkipsTheQueuesAfterOneThatThrowsAStatusAndStillFlushesTheContainer) {
  bool second_flushed = false;
  bool gone = false;
  Wrapper* const wrapper = Registered([&] { gone = true; });
  Queue first([] { throw std::uint32_t{0xC1000010}; });
  Queue second([&] { second_flushed = true; });
  manager().AddQueue(first);
  manager().AddQueue(second);
  container().LazyDelete(wrapper);
  framework_.ForgetTraces();
  { const CKtActivityScope scope; }
  EXPECT_FALSE(second_flushed);
  EXPECT_TRUE(gone);
  ASSERT_GE(framework_.Traces().size(), 3u);
  EXPECT_EQ(framework_.Traces()[1],
            fake::Warning("hostkit: WARNING: CKtControlManager::FlushLazyDeleteQueues() A control "
                          "filter threw exception c1000010."));
  EXPECT_EQ(framework_.Traces()[2],
            fake::Info("hostkit: INFO: CKtControlManager::FlushLazyDeleteQueues() Exiting..."));
}

TEST_F(ActivityScopeTest, ContainsAnythingElseThatAQueueThrows) {
  Queue first([] { throw std::string("anything"); });
  manager().AddQueue(first);
  { const CKtActivityScope scope; }
  EXPECT_EQ(framework_.TracesAt(6).size(), 1u);
  EXPECT_EQ(manager().ActivityCount(), 0u);
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(ActivityScopeTest, LetsAQueueChangeTheListWhileItIsFlushed) {
  std::vector<int> order;
  Queue added([&] { order.push_back(3); });
  Queue removed([&] { order.push_back(2); });
  Queue changer([&] {
    order.push_back(1);
    manager().RemoveQueue(removed);
    manager().AddQueue(added);
  });
  manager().AddQueue(changer);
  manager().AddQueue(removed);
  { const CKtActivityScope scope; }
  EXPECT_EQ(order, std::vector{1}) << "what is added waits for the next flush";
  manager().RemoveQueue(changer);
  { const CKtActivityScope scope; }
  EXPECT_EQ(order, (std::vector{1, 3}));
}

TEST_F(ActivityScopeTest, LetsADestructorAndAQueueOpenScopesWithoutAFlushInTheFlush) {
  int queue_flushes = 0;
  Queue queue([&] {
    ++queue_flushes;
    const CKtActivityScope inner;
    manager().FlushLazyDeleteQueues();
  });
  manager().AddQueue(queue);
  int gone = 0;
  Wrapper* const second = Registered([&] { ++gone; });
  Wrapper* const first = Registered([&] {
    const CKtActivityScope inner;
    second->LazyDelete();
    ++gone;
  });
  container().LazyDelete(first);
  { const CKtActivityScope scope; }
  EXPECT_EQ(queue_flushes, 1);
  EXPECT_EQ(gone, 2);
  EXPECT_EQ(container().Count().queued, 0u);
  EXPECT_EQ(manager().ActivityCount(), 0u);
}

TEST_F(ActivityScopeTest, MakesACallThatStartsDuringTheFlushWaitUntilItIsOver) {
  std::atomic<bool> opened{false};
  std::atomic<bool> opened_during_flush{false};
  std::atomic<std::uint64_t> late_number{0};
  std::size_t held = 0;
  std::thread late;
  Queue queue([&] {
    if (late.joinable()) return;  // the late call's own end flushes as well
    held = framework_.Outstanding().held_sections;
    late = std::thread([&] {
      late_number = fake::ThisThread();
      const CKtActivityScope scope;
      opened = true;
    });
    support::YieldUntil([&] { return support::HasAskedForALock(late_number); });
    opened_during_flush = opened.load();
  });
  manager().AddQueue(queue);
  { const CKtActivityScope scope; }
  late.join();
  EXPECT_EQ(held, 2u) << "the activity lock and the queue list's";
  EXPECT_FALSE(opened_during_flush);
  EXPECT_TRUE(opened);
}

}  // namespace
