// Controls and events on eight threads while registrations come and go. What is looked for is what
// the sanitizers find; the counts say that the work was really done.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/status.h"
#include "dispatch/activity_scope.h"
#include "dispatch/event_listener.h"
#include "support/control.h"
#include "support/event.h"
#include "support/managers_test.h"
#include "support/threads.h"
#include "support/wrapper.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 200;

std::atomic<int> g_served{0};
std::atomic<int> g_heard{0};
std::atomic<int> g_gone{0};

KtStatus Serve(void*, CKtControlRequest&) {
  ++g_served;
  return 0;
}

KtStatus Hear(void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
  ++g_heard;
  return 0;
}

class DispatchThreadsTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    framework_.AddType("disk");
    framework_.RecordCalls(false);
    g_served = 0;
    g_heard = 0;
    g_gone = 0;
  }

  template <typename Work>
  void OnEightThreads(Work work) {
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
      threads.emplace_back([&work, number] {
        for (int round = 0; round < kRounds; ++round) work(number, round);
      });
    }
    for (auto& thread : threads) thread.join();
  }

  static KtStatus Send(const KtObjId& target, std::uint32_t code) {
    support::Request request(target, 0, code);
    return CKtControlManager::Instance().Invoke(request);
  }
};

class Counting : public CKtControlFilter {
 public:
  KtStatus filter(CKtControlRequest&) override {
    ++calls;
    return KTSTATUS_CONTINUE;
  }
  std::atomic<int> calls{0};
};

TEST_F(DispatchThreadsTest, ControlsRunWhileFiltersComeAndGo) {
  CKtControlManager& manager = CKtControlManager::Instance();
  CKtControlMap map;
  ASSERT_EQ(map.Register(support::kInterface, 0, 1, &Serve), 0u);
  Counting lasting;
  Counting passing;
  manager.AddFilter(lasting);
  OnEightThreads([&](int number, int) {
    if (number % 4 == 0) {
      manager.AddFilter(passing);
      manager.RemoveFilter(passing);
    } else {
      EXPECT_EQ(Send(fake::ObjectNumber(1), 1), 0u);
    }
  });
  EXPECT_EQ(lasting.calls, 6 * kRounds);
  EXPECT_EQ(g_served, 6 * kRounds);
  const int calls = passing.calls;
  EXPECT_EQ(Send(fake::ObjectNumber(1), 1), 0u);
  EXPECT_EQ(passing.calls, calls);
  manager.RemoveFilter(lasting);
}

TEST_F(DispatchThreadsTest, ControlsRunWhileTheirHandlersComeAndGo) {
  CKtControlMap lasting;
  ASSERT_EQ(lasting.Register(support::kInterface, 0, 1, &Serve), 0u);
  OnEightThreads([&](int number, int round) {
    const KtObjId target = fake::ObjectNumber(static_cast<std::uint32_t>(number));
    if (number % 4 == 0) {
      CKtControlMap passing;
      static_cast<void>(passing.Register(support::kInterface, 0, 2, &Serve));
      if (round % 2 == 0) {
        static_cast<void>(passing.UnRegister(support::kInterface, 0, 2, kt::kNullObjId));
      }
    } else {
      EXPECT_EQ(Send(target, 1), 0u);
      static_cast<void>(Send(target, 2));
    }
  });
  EXPECT_GE(g_served.load(), 6 * kRounds);
  EXPECT_EQ(CKtControlManager::Instance().ActivityCount(), 0u);
}

TEST_F(DispatchThreadsTest, EventsAreDeliveredWhileListenersComeAndGo) {
  CKtEventListener lasting(framework_.database(), framework_.provider());
  lasting.Register("event.*", &Hear);
  OnEightThreads([&](int number, int) {
    if (number % 4 == 0) {
      CKtEventListener passing(framework_.database(), framework_.provider());
      passing.Register("event.one", &Hear);
      passing.Register("event.*", &Hear);
      passing.UnRegister("event.one");
    } else {
      const KtEventRecord notice = support::Notice("event.one");
      EXPECT_EQ(CKtEventManager::Instance().Notify(&notice), 0u);
    }
  });
  EXPECT_GE(g_heard.load(), 6 * kRounds);
}

TEST_F(DispatchThreadsTest, ControlsEventsAndDeferredDeletionsRunSideBySide) {
  CKtControlMap lasting;
  ASSERT_EQ(lasting.Register(support::kInterface, 0, 1, &Serve), 0u);
  CKtEventListener listener(framework_.database(), framework_.provider());
  listener.Register("event.one", &Hear);
  OnEightThreads([&](int number, int round) {
    if (number % 2 == 0) {
      EXPECT_EQ(Send(fake::ObjectNumber(1), 1), 0u);
    } else if (round % 4 != 0) {
      const KtEventRecord notice = support::Notice("event.one");
      EXPECT_EQ(CKtEventManager::Instance().Notify(&notice), 0u);
    } else {
      const CKtActivityScope scope;
      const KtObjId id = framework_.AddObject("disk");
      framework_.PutWideText(id, "Name", KT_W("disk"));
      auto wrapper = std::make_unique<support::Wrapper>(id, [] {
        const CKtActivityScope inner;
        ++g_gone;
      });
      CKtObject* const lent = wrapper.get();
      ASSERT_EQ(CKtCustomObjectContainer::Instance().Add(std::move(wrapper)), 0u);
      ASSERT_EQ(lent->LazyDelete(), 0u);
      EXPECT_TRUE(kt::IsNullId(lent->Id())) << "the scope keeps it readable";
    }
  });
  EXPECT_EQ(g_gone.load(), 4 * kRounds / 4);
}

TEST_F(DispatchThreadsTest, AManagerThatIsShutDownUnderItsUsersLosesNoRegistration) {
  OnEightThreads([&](int number, int) {
    if (number == 0) {
      CKtEventManager::Instance().Shutdown();
      return;
    }
    CKtEventListener passing(framework_.database(), framework_.provider());
    passing.Register("event.one", &Hear);
    const KtEventRecord notice = support::Notice("event.one");
    static_cast<void>(CKtEventManager::Instance().Notify(&notice));
  });
  EXPECT_EQ(framework_.Outstanding().registrations, 0u);
}

TEST_F(DispatchThreadsTest, EveryManagerIsOneHoweverManyThreadsAreFirst) {
  for (int round = 0; round < 50; ++round) {
    std::vector<CKtControlManager*> controls(kThreads);
    std::vector<CKtEventManager*> events(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
      threads.emplace_back([&controls, &events, i] {
        controls[i] = &CKtControlManager::Instance();
        events[i] = &CKtEventManager::Instance();
      });
    }
    for (auto& thread : threads) thread.join();
    for (std::size_t i = 1; i < kThreads; ++i) {
      EXPECT_EQ(controls[i], controls[0]);
      EXPECT_EQ(events[i], events[0]);
    }
    EXPECT_EQ(framework_.Outstanding().sections, 5u);
    ReleaseModuleState();
  }
}

// A destructor cannot know who runs it. One that opens a scope must get the activity lock, also
// when a call ends on another thread meanwhile: that one holds the lock and wants the container's.
TEST_F(DispatchThreadsTest, ADestructorOpensAScopeInFlushAndShutdownWhileACallEndsElsewhere) {
  framework_.RecordCalls(true);
  using Member = void (*)(CKtCustomObjectContainer&, CKtObject*);
  const Member flush = [](CKtCustomObjectContainer& container, CKtObject* wrapper) {
    container.LazyDelete(wrapper);
    container.FlushLazyDeleteQueue();
  };
  const Member shutdown = [](CKtCustomObjectContainer& container, CKtObject*) {
    container.Shutdown();
  };
  for (const Member run : {flush, shutdown}) {
    support::Gate opened;
    support::Gate closing;
    std::atomic<std::uint64_t> caller{0};
    std::thread call([&] {
      caller = fake::ThisThread();
      const CKtActivityScope scope;
      opened.Open();
      closing.Wait();
    });
    opened.Wait();
    std::size_t held = 0;
    const KtObjId id = framework_.AddObject("disk");
    framework_.PutWideText(id, "Name", KT_W("disk"));
    auto wrapper = std::make_unique<support::Wrapper>(id, [&] {
      held = framework_.Outstanding().held_sections;
      framework_.ForgetCalls();
      closing.Open();
      support::YieldUntil([&] { return support::HasAskedForALock(caller); });
      const CKtActivityScope inner;
      ++g_gone;
    });
    CKtObject* const lent = wrapper.get();
    CKtCustomObjectContainer& container = CKtCustomObjectContainer::Instance();
    ASSERT_EQ(container.Add(std::move(wrapper)), 0u);
    run(container, lent);
    call.join();
    EXPECT_EQ(held, 2u) << "the activity lock before the container's";
  }
  EXPECT_EQ(g_gone, 2);
}

TEST_F(DispatchThreadsTest, AHandlerOutlivesTheMapThatIsDestroyedUnderIt) {
  std::atomic<bool> running{false};
  std::atomic<bool> destroyed{false};
  const KtObjId own = framework_.AddObject("disk");
  support::Body body = [&](CKtControlRequest&) {
    running = true;
    while (!destroyed) std::this_thread::yield();
    return KtStatus{0x41000012};
  };
  auto map = std::make_unique<CKtControlMap>();
  ASSERT_EQ(map->Register(support::kInterface, 0, 1, &support::CallBody, own, &body), 0u);
  std::thread control([&] { EXPECT_EQ(Send(own, 1), 0x41000012u); });
  while (!running) std::this_thread::yield();
  map.reset();
  destroyed = true;
  control.join();
}

}  // namespace
