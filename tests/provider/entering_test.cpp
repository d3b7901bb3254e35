// Calls that have passed the shutting-down flag while a shutdown begins: the provider object stays
// as long as they need it.
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "base/status.h"
#include "dispatch/activity_scope.h"
#include "dispatch/control_manager.h"
#include "dispatch/control_map.h"
#include "dispatch/event_manager.h"
#include "lifetime/entering_call.h"
#include "provider/test_provider.h"
#include "support/event.h"
#include "support/threads.h"

namespace {

class Entering : public ProviderTest {
 protected:
  // Shuts down while `call` is on its way on another thread. The provider's operation that `call`
  // leads to runs Linger().
  void ShutDownDuring(const std::function<void()>& call) {
    std::thread host(call);
    entered_.Wait();
    EXPECT_EQ(__KtApiShutdown(0), 0u);
    host.join();
    EXPECT_EQ(destroyed_meanwhile_, 0u);
    EXPECT_EQ(TheScript().made, 1u);
    EXPECT_EQ(TheScript().destroyed, 1u);
  }

  // Stays until the shutdown waits, or has destroyed the object without waiting.
  void Linger() {
    entered_.Open();
    support::YieldUntil([] { return kt::EnteringCall::IsAwaited() || TheScript().destroyed != 0; });
    destroyed_meanwhile_ = TheScript().destroyed;
  }

  support::Gate entered_;
  std::size_t destroyed_meanwhile_ = 1;
};

TEST_F(Entering, AControlThatHasNotReachedItsHandlerKeepsTheProvider) {
  Start();
  CKtControlMap map;
  map.Register(interface_, 1, 2, [](void*, CKtControlRequest&) { return KtStatus{5}; });
  TheScript().control = [&](CKtControlRequest& request) {
    Linger();
    return CKtControlManager::Instance().Invoke(request);
  };
  KtStatus answer = 0;
  ShutDownDuring([&] { answer = Control(); });
  EXPECT_EQ(answer, 5u);
}

TEST_F(Entering, ANoticeThatHasNotReachedTheEventManagerKeepsTheProvider) {
  Start();
  TheScript().notify = [&](std::uint64_t, std::uint64_t, std::uint64_t) {
    Linger();
    return KtStatus{6};
  };
  KtStatus answer = 0;
  ShutDownDuring([&] { answer = __KtApiChangeNotify(1, 2, 3, 4); });
  EXPECT_EQ(answer, 6u);
}

TEST_F(Entering, AnAttributeCallKeepsTheProviderToItsEndWhateverItDoes) {
  Start();
  TheScript().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t) {
    const KtEventRecord event = support::Notice("event.of.nobody");
    static_cast<void>(CKtEventManager::Instance().Notify(&event));
    { const CKtActivityScope scope; }
    Linger();
    return KtStatus{7};
  };
  KtStatus answer = 0;
  ShutDownDuring([&] { answer = __KtApiGetAttr(1, 2, 3, 4); });
  EXPECT_EQ(answer, 7u);
}

TEST_F(Entering, AVersionCallKeepsTheProviderToItsEnd) {
  Start();
  TheScript().version = [&](KtWchar**) {
    Linger();
    return KtStatus{8};
  };
  KtWchar* text = nullptr;
  KtStatus answer = 0;
  ShutDownDuring([&] { answer = __KtApiVersion(&text); });
  EXPECT_EQ(answer, 8u);
}

TEST_F(Entering, ASecondInitializeKeepsTheProviderToItsEnd) {
  Start();
  TheScript().initialize = [&] {
    Linger();
    return KtStatus{9};
  };
  KtStatus answer = 0;
  ShutDownDuring([&] { answer = __KtApiInitialize(framework_.database(), framework_.provider()); });
  EXPECT_EQ(answer, 9u);
}

TEST_F(Entering, ACallKeepsAProviderWhoseShutdownThrows) {
  Start();
  TheScript().shutdown = [](std::uint64_t) -> KtStatus { throw KTERROR_NO_OBJECT; };
  TheScript().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t) {
    entered_.Open();
    support::YieldUntil(
        [] { return kt::EnteringCall::IsAwaited() || CKtProvider::Existing() == nullptr; });
    return CKtProvider::Existing() == nullptr ? KtStatus{1} : KtStatus{0};
  };
  KtStatus answer = 1;
  std::thread host([&] { answer = __KtApiGetAttr(1, 2, 3, 4); });
  entered_.Wait();
  EXPECT_EQ(__KtApiShutdown(0), KTERROR_UNEXPECTED);
  host.join();
  EXPECT_EQ(answer, 0u) << "the pointer stood as long as the call needed it";
}

// A call that hangs: the managers are stopped, the object stays for the call.
TEST_F(Entering, ACallThatDoesNotComeBackHoldsTheShutdownUpNoLongerThanTheBound) {
  Start();
  kt::GetApiState().longest_wait = std::chrono::milliseconds(1);
  support::Gate leave;
  TheScript().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t) {
    entered_.Open();
    leave.Wait();
    destroyed_meanwhile_ = TheScript().destroyed;
    return KtStatus{7};
  };
  KtStatus answer = 0;
  std::thread host([&] { answer = __KtApiGetAttr(1, 2, 3, 4); });
  entered_.Wait();
  EXPECT_EQ(__KtApiShutdown(0), 0u);
  EXPECT_EQ(CKtProvider::Existing(), nullptr);
  leave.Open();
  host.join();
  EXPECT_EQ(answer, 7u);
  EXPECT_EQ(destroyed_meanwhile_, 0u);
  EXPECT_EQ(TheScript().destroyed, 0u) << "it is released at module detach";
  EXPECT_TRUE(
      fake::Traced(4, "hostkit::__KtApiShutdown(), TIMEOUT: calls did not come back within 1 ms."));
  EXPECT_TRUE(fake::Traced(4, "hostkit::__KtApiShutdown(), CKtEventManager shutdown completed."));
  EXPECT_TRUE(fake::Traced(6, "hostkit::__KtApiShutdown(), completed."));
  kt::ReleaseModule();
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Entering, AShutdownFromWithinACallDoesNotWaitForThatCall) {
  Start();
  KtStatus inner = 1;
  TheScript().get_attr = [&](std::uint64_t, std::uint64_t, std::uint64_t) {
    inner = __KtApiShutdown(0);
    return KtStatus{7};
  };
  EXPECT_EQ(__KtApiGetAttr(1, 2, 3, 4), 7u);
  EXPECT_EQ(inner, 0u);
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Entering, AShutdownFromWithinAHandlerDoesNotWaitForThatHandlersCall) {
  Start();
  CKtControlMap map;
  map.Register(interface_, 1, 2, [](void*, CKtControlRequest&) { return __KtApiShutdown(0); });
  EXPECT_EQ(Control(), 0u);
  EXPECT_EQ(framework_.Sleeps(), 120u) << "it is in flight itself";
  EXPECT_EQ(TheScript().destroyed, 1u);
}

// The call-back holds the event manager's lock, at which the other notice waits: were that one
// waited for, neither would ever go on.
TEST_F(Entering, AShutdownFromWithinACallBackDoesNotWaitForANoticeBehindIt) {
  Start();
  const KtEventRecord event = support::Notice("event.one");
  const auto notify = [&] {
    return __KtApiChangeNotify(0, 0, 0, reinterpret_cast<std::uintptr_t>(&event));
  };
  KtStatus behind = 0;
  std::thread other;
  std::atomic<std::uint64_t> other_number{0};
  support::BodyPath path("event.one", [&](const KtEventRecord&) {
    framework_.ForgetCalls();
    other = std::thread([&] {
      other_number = fake::ThisThread();
      behind = notify();
    });
    support::YieldUntil([&] { return support::HasAskedForALock(other_number); });
    EXPECT_EQ(__KtApiShutdown(0), 0u);
    return KtStatus{0};
  });
  CKtEventManager::Instance().RegisterEventPath(*path);
  EXPECT_EQ(notify(), 0u);
  other.join();
  EXPECT_EQ(behind, KTERROR_NO_EVENT);
  EXPECT_EQ(TheScript().destroyed, 1u);
}

TEST_F(Entering, EndsWithTheCallAlsoWhenItThrows) {
  Start();
  TheScript().control = [](CKtControlRequest&) -> KtStatus { throw KTERROR_NO_OBJECT; };
  std::thread([&] { EXPECT_THROW(Control(), KtStatus); }).join();
  EXPECT_EQ(__KtApiShutdown(0), 0u);
}

}  // namespace
