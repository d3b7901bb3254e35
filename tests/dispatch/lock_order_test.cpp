// The order of locks, seen from outside: through what the framework is asked to enter and leave.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "dispatch/activity_scope.h"
#include "support/control.h"
#include "support/event.h"
#include "support/managers_test.h"

namespace {

class LockOrderTest : public support::ManagersTest {
 protected:
  void SetUp() override {
    ManagersTest::SetUp();
    NameNew({"container"}, [] { static_cast<void>(CKtCustomObjectContainer::Instance()); });
    NameNew({"spare", "path map", "queue list", "activity"},
            [] { static_cast<void>(CKtControlManager::Instance()); });
    NameNew({"events"}, [] { static_cast<void>(CKtEventManager::Instance()); });
  }

  template <typename Make>
  void NameNew(const std::vector<std::string>& names, Make make) {
    framework_.ForgetCalls();
    make();
    std::size_t next = 0;
    for (const fake::Call& call : framework_.Calls()) {
      if (call.function == "KtInitializeCriticalSection") names_[call.arguments] = names.at(next++);
    }
    ASSERT_EQ(next, names.size());
    framework_.ForgetCalls();
  }

  // "+lock" for each entering, "-lock" for each leaving.
  std::vector<std::string> Locking() {
    std::vector<std::string> steps;
    for (const fake::Call& call : framework_.Calls()) {
      if (call.function == "KtEnterCriticalSection") steps.push_back("+" + names_[call.arguments]);
      if (call.function == "KtLeaveCriticalSection") steps.push_back("-" + names_[call.arguments]);
    }
    return steps;
  }

  std::map<std::string, std::string> names_;
};

// The container's flush by itself takes the activity lock before its own; here it is held already.
const std::vector<std::string> kClosing{"+activity",  "+queue list", "-queue list",
                                        "+container", "-container",  "-activity"};

TEST_F(LockOrderTest, ClosingTheLastScopeFlushesQueuesAndContainerInsideTheActivityLock) {
  { const CKtActivityScope scope; }
  std::vector<std::string> expected{"+activity", "-activity"};
  expected.insert(expected.end(), kClosing.begin(), kClosing.end());
  EXPECT_EQ(Locking(), expected);
}

TEST_F(LockOrderTest, TheContainersFlushAndShutdownTakeTheActivityLockFirst) {
  const std::vector<std::string> expected{"+activity", "+container", "-container", "-activity"};
  CKtCustomObjectContainer& container = CKtCustomObjectContainer::Instance();
  container.FlushLazyDeleteQueue();
  EXPECT_EQ(Locking(), expected);
  framework_.ForgetCalls();
  container.Shutdown();
  EXPECT_EQ(Locking(), expected);
}

TEST_F(LockOrderTest, TheFlushOfTheQueuesTakesTheActivityLockFirst) {
  CKtControlManager::Instance().FlushLazyDeleteQueues();
  EXPECT_EQ(Locking(),
            (std::vector<std::string>{"+activity", "+queue list", "-queue list", "-activity"}));
}

TEST_F(LockOrderTest, AControlTakesThePathMapLockForItsLookUpOnly) {
  support::BodyMap map([&](CKtControlRequest&) {
    framework_.ForgetCalls();
    return KtStatus{0};
  });
  ASSERT_EQ(map.Register(support::kInterface, 0, 1, &support::BodyMap::Handle), 0u);
  framework_.ForgetCalls();
  support::Request request(fake::ObjectNumber(1), 0, 2);
  static_cast<void>(CKtControlManager::Instance().Invoke(request));
  std::vector<std::string> expected{"+activity", "-activity", "+path map", "-path map"};
  expected.insert(expected.end(), kClosing.begin(), kClosing.end());
  EXPECT_EQ(Locking(), expected);

  support::Request served(fake::ObjectNumber(1), 0, 1);
  static_cast<void>(CKtControlManager::Instance().Invoke(served));
  EXPECT_EQ(Locking(), kClosing) << "after the handler";
}

TEST_F(LockOrderTest, ANoticeHoldsTheEventLockAroundEverythingTheFlushIncluded) {
  support::BodyPath path("event.one", [](const KtEventRecord&) { return KtStatus{0}; });
  CKtEventManager::Instance().RegisterEventPath(*path);
  framework_.ForgetCalls();
  const KtEventRecord notice = support::Notice("event.one");
  EXPECT_EQ(CKtEventManager::Instance().Notify(&notice), 0u);
  std::vector<std::string> expected{"+events", "+activity", "-activity"};
  expected.insert(expected.end(), kClosing.begin(), kClosing.end());
  expected.emplace_back("-events");
  EXPECT_EQ(Locking(), expected);
}

TEST_F(LockOrderTest, NoOperationTakesTheFirstLockOfTheControlManager) {
  support::BodyMap map([](CKtControlRequest&) { return KtStatus{0}; });
  map.Register(support::kInterface, 0, 1, &support::BodyMap::Handle);
  support::Request request(fake::ObjectNumber(1), 0, 1);
  static_cast<void>(CKtControlManager::Instance().Invoke(request));
  map.UnRegisterAll();
  CKtControlManager::Instance().WaitForIdle();
  for (const std::string& step : Locking()) EXPECT_NE(step.substr(1), "spare");
}

}  // namespace
