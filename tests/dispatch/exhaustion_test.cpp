// What happens without memory of our own.
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "base/status.h"
#include "dispatch/event_listener.h"
#include "support/control.h"
#include "support/event.h"
#include "support/failing_new.h"
#include "support/managers_test.h"

namespace {

using ExhaustionTest = support::ManagersTest;

KtStatus Hear(void*, const CKtEventView*, std::uint64_t, std::uint64_t) {
  return 0;
}

TEST_F(ExhaustionTest, RegisterEventPathAnswersOutOfMemoryAndLeavesNoDispatcherBehind) {
  CKtEventPath path(nullptr, &Hear, "event.one", framework_.database(), framework_.provider());
  framework_.RecordCalls(false);
  // The dispatcher, its place in the list, the place of its registration, the place of the path.
  for (int after = 0; after < 4; ++after) {
    CKtEventManager::ReleaseInstance();
    CKtEventManager& manager = CKtEventManager::Instance();
    KtStatus status = 0;
    {
      const support::FailAllocation failing(after);
      status = manager.RegisterEventPath(path);
    }
    EXPECT_EQ(status, 0x8007000Eu);
    EXPECT_EQ(manager.DispatcherCount(), 0u);
    EXPECT_TRUE(framework_.Subscriptions().empty());
  }
  EXPECT_EQ(framework_.TracesAt(6),
            std::vector<std::string>(
                4, "ERROR: CKtEventManager::RegisterEventPath() failed : KTERROR_OUTOFMEMORY"));
  EXPECT_EQ(CKtEventManager::Instance().RegisterEventPath(path), 0u);
}

TEST_F(ExhaustionTest, ListenerRegisterSwallowsIt) {
  CKtEventListener listener(framework_.database(), framework_.provider());
  static_cast<void>(CKtEventManager::Instance());
  {
    const support::FailAllocation failing(0);
    listener.Register("event.one", &Hear);
  }
  EXPECT_EQ(listener.Count(), 0u);
  EXPECT_EQ(CKtEventManager::Instance().DispatcherCount(), 0u);
}

TEST_F(ExhaustionTest, NotifyAnswersOutOfMemoryWhenTheWalkCannotBeMade) {
  CKtEventListener listener(framework_.database(), framework_.provider());
  for (int i = 0; i < 100; ++i) listener.Register("event.one", &Hear);
  framework_.RecordCalls(false);
  const KtEventRecord notice = support::Notice("event.one");
  // The control manager that counts the notice, the copy that is walked.
  for (std::size_t time = 1; time <= 2; ++time) {
    KtStatus status = 0;
    {
      const support::FailAllocation failing(0);
      status = CKtEventManager::Instance().Notify(&notice);
    }
    EXPECT_EQ(status, E_OUTOFMEMORY);
    EXPECT_EQ(framework_.TracesAt(6),
              std::vector<std::string>(
                  time, "ERROR: CKtEventManager::Notify(event.one) failed : KTERROR_OUTOFMEMORY"));
    static_cast<void>(CKtControlManager::Instance());
  }
  EXPECT_EQ(framework_.Outstanding().held_sections, 0u);
}

TEST_F(ExhaustionTest, ControlMapRegisterThrowsItAndRegistersNothing) {
  CKtControlMap map;
  static_cast<void>(CKtControlManager::Instance());
  // The entry, its place in the map.
  for (int after = 0; after < 2; ++after) {
    bool thrown = false;
    try {
      const support::FailAllocation failing(after);
      static_cast<void>(map.Register(support::kInterface, 0, 1,
                                     [](void*, CKtControlRequest&) { return KtStatus{0}; }));
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(map.Count(), 0u);
  }
  support::Request request(fake::ObjectNumber(1), 0, 1);
  EXPECT_EQ(CKtControlManager::Instance().Invoke(request), KTERROR_UNEXPECTED);
}

}  // namespace
