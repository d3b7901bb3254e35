#include "dispatch/event_listener.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/status.h"
#include "dispatch/event_manager.h"
#include "support/event.h"
#include "support/managers_test.h"
#include "support/threads.h"

namespace {

using support::Notice;

// Counts what it hears.
class Counting : public CKtEventListener {
 public:
  using CKtEventListener::CKtEventListener;
  static KtStatus Hear(void* owner, const CKtEventView*, std::uint64_t, std::uint64_t) {
    ++static_cast<Counting*>(static_cast<CKtEventListener*>(owner))->heard;
    return 0;
  }
  static KtStatus HearOnce(void* owner, const CKtEventView* view, std::uint64_t, std::uint64_t) {
    auto* const self = static_cast<Counting*>(static_cast<CKtEventListener*>(owner));
    ++self->heard;
    self->UnRegister(view->record->name);
    return 0;
  }
  int heard = 0;
};

class EventListenerTest : public support::ManagersTest {
 protected:
  KtStatus Notify(const char* name) {
    const KtEventRecord notice = Notice(name);
    return CKtEventManager::Instance().Notify(&notice);
  }
};

TEST_F(EventListenerTest, TwoForOneNameShareADispatcherRegisterTwiceAndBothHear) {
  Counting first(framework_.database(), framework_.provider());
  Counting second(framework_.database(), framework_.provider());
  first.Register("event.one", &Counting::Hear);
  second.Register("event.one", &Counting::Hear);
  EXPECT_EQ(CKtEventManager::Instance().DispatcherCount(), 1u);
  EXPECT_EQ(framework_.Subscriptions().size(), 2u);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(first.heard, 1);
  EXPECT_EQ(second.heard, 1);
}

TEST_F(EventListenerTest, RegistersWithItsHandles) {
  framework_.ForgetCalls();
  Counting listener(framework_.database(), framework_.provider());
  listener.Register("event.one", &Counting::Hear);
  EXPECT_EQ(framework_.CallTexts(),
            std::vector<std::string>{"EvRegisterEvent(db#1, provider#1, \"event.one\")"});
}

TEST_F(EventListenerTest, UnRegisterEndsTheFirstSubscriptionOfTheName) {
  Counting listener(framework_.database(), framework_.provider());
  listener.Register("event.one", &Counting::Hear);
  listener.Register("event.two", &Counting::Hear);
  listener.Register("event.one", &Counting::Hear);
  listener.UnRegister("event.one");
  EXPECT_EQ(listener.Count(), 2u);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(listener.heard, 1);
  listener.UnRegister("event.one");
  EXPECT_EQ(Notify("event.one"), KTERROR_NO_EVENT);
  EXPECT_EQ(framework_.Subscriptions(), std::vector<std::string>{"event.two"});
}

TEST_F(EventListenerTest, UnRegisterOfAnUnknownNameLeavesALine) {
  Counting listener(framework_.database(), framework_.provider());
  listener.UnRegister("event.one");
  EXPECT_EQ(framework_.Traces(),
            std::vector{fake::Error("ERROR: CKtEventListener::UnRegister() failed : "
                                    "KTERROR_INVALIDARG")});
}

TEST_F(EventListenerTest, MayUnregisterFromItsOwnCallBack) {
  Counting listener(framework_.database(), framework_.provider());
  listener.Register("event.one", &Counting::HearOnce);
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(Notify("event.one"), KTERROR_NO_EVENT);
  EXPECT_EQ(listener.heard, 1);
  EXPECT_EQ(listener.Count(), 0u);
}

TEST_F(EventListenerTest, UnregistersEverythingAtItsEnd) {
  std::optional<Counting> listener(std::in_place, framework_.database(), framework_.provider());
  listener->Register("event.one", &Counting::Hear);
  listener->Register("event.alert", &Counting::Hear);
  framework_.ForgetCalls();
  listener.reset();
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"EvUnregisterEvent", "ObUnregisterAlert"}));
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(EventListenerTest, UnRegisterAllEndsEverySubscriptionInOrderAndMayComeTwice) {
  Counting listener(framework_.database(), framework_.provider());
  listener.Register("event.one", &Counting::Hear);
  listener.Register("event.alert", &Counting::Hear);
  framework_.ForgetCalls();
  listener.UnRegisterAll();
  listener.UnRegisterAll();
  EXPECT_EQ(framework_.CallNames(),
            (std::vector<std::string>{"EvUnregisterEvent", "ObUnregisterAlert"}));
  EXPECT_EQ(listener.Count(), 0u);
  EXPECT_TRUE(fake::NothingTraced());
}

TEST_F(EventListenerTest, UnRegisterAllMayBeCalledFromACallBack) {
  Counting listener(framework_.database(), framework_.provider());
  listener.Register("event.one",
                    [](void* owner, const CKtEventView*, std::uint64_t, std::uint64_t) {
                      static_cast<CKtEventListener*>(owner)->UnRegisterAll();
                      return KtStatus{0};
                    });
  EXPECT_EQ(Notify("event.one"), 0u);
  EXPECT_EQ(listener.Count(), 0u);
}

// A listener whose call-back is held up while it is destroyed on another thread.
struct Meeting {
  support::Gate called;
  std::uint64_t destroyer = 0;
  std::atomic<bool> part_is_gone{false};
  bool part_was_gone_in_call_back = true;
};

class Derived : public CKtEventListener {
 public:
  Derived(KtDatabase database, KtProvider context, Meeting& meeting)
      : CKtEventListener(database, context), meeting_(meeting) {}
  Derived(const Derived&) = delete;
  Derived& operator=(const Derived&) = delete;
  ~Derived() override {
    UnRegisterAll();
    meeting_.part_is_gone = true;
  }

  static KtStatus Hear(void* owner, const CKtEventView*, std::uint64_t, std::uint64_t) {
    auto& meeting = static_cast<Derived*>(static_cast<CKtEventListener*>(owner))->meeting_;
    fake::Framework::Get().ForgetCalls();
    meeting.called.Open();
    support::YieldUntil(
        [&] { return support::HasAskedForALock(meeting.destroyer) || meeting.part_is_gone; });
    meeting.part_was_gone_in_call_back = meeting.part_is_gone;
    return 0;
  }

 private:
  Meeting& meeting_;
};

TEST_F(EventListenerTest, UnRegisterAllInADerivedDestructorWaitsForACallBackOfAnotherThread) {
  Meeting meeting;
  meeting.destroyer = fake::ThisThread();
  std::optional<Derived> listener(std::in_place, framework_.database(), framework_.provider(),
                                  meeting);
  listener->Register("event.one", &Derived::Hear);
  std::thread host([&] { EXPECT_EQ(Notify("event.one"), 0u); });
  meeting.called.Wait();
  listener.reset();
  host.join();
  EXPECT_FALSE(meeting.part_was_gone_in_call_back);
}

TEST_F(EventListenerTest, EndsWithALineForEachNameWhenTheManagerIsShutDownBefore) {
  std::optional<Counting> listener(std::in_place, framework_.database(), framework_.provider());
  listener->Register("event.one", &Counting::Hear);
  listener->Register("event.two", &Counting::Hear);
  CKtEventManager::Instance().Shutdown();
  listener.reset();
  EXPECT_EQ(framework_.TracesAt(6),
            std::vector<std::string>(2, "ERROR: CKtEventManager::UnRegisterEventPath() failed"));
}

TEST_F(EventListenerTest, LeavesNothingBehindForALongName) {
  std::optional<Counting> listener(std::in_place, framework_.database(), framework_.provider());
  listener->Register(std::string(1500, 'x'), &Counting::Hear);
  listener.reset();
  EXPECT_EQ(CKtEventManager::Instance().DispatcherCount(), 0u);
  EXPECT_TRUE(framework_.Subscriptions().empty());
}

}  // namespace
