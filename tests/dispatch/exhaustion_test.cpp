// What happens without memory of our own. This suite's operator new fails when a test asks it to.
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "base/status.h"
#include "dispatch/event_listener.h"
#include "support/control.h"
#include "support/event.h"
#include "support/managers_test.h"

namespace {

// Allocations of this thread that succeed before one fails; negative: none does.
thread_local int g_allowed = -1;

class FailAllocation {
 public:
  explicit FailAllocation(int after) { g_allowed = after; }
  ~FailAllocation() { g_allowed = -1; }
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;
};

void* Allocate(std::size_t size) {
  if (g_allowed >= 0 && g_allowed-- == 0) throw std::bad_alloc();
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
// The memory resources of the standard library ask for an alignment, always one that malloc gives.
void* operator new(std::size_t size, std::align_val_t alignment) {
  if (static_cast<std::size_t>(alignment) > alignof(std::max_align_t)) throw std::bad_alloc();
  return Allocate(size);
}
void operator delete(void* block, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

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
      const FailAllocation failing(after);
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
    const FailAllocation failing(0);
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
      const FailAllocation failing(0);
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
      const FailAllocation failing(after);
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
