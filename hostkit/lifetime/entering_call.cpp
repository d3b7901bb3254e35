#include "lifetime/entering_call.h"

#include <atomic>
#include <bit>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace kt {
namespace {

// The system's number of the thread and no more: MinGW's thread-local variables and thread ids
// allocate a record for each thread, which a module that is unloaded cannot give back.
std::uintptr_t ThisThread() noexcept {
#if defined(_WIN32)
  return GetCurrentThreadId();
#else
  return std::bit_cast<std::uintptr_t>(pthread_self());
#endif
}

// Guards the chain. Held for a few steps through as many calls as are entering.
constinit std::atomic<bool> g_locked{false};

class ChainGuard {
 public:
  ChainGuard() noexcept {
    while (g_locked.exchange(true, std::memory_order_acquire)) std::this_thread::yield();
  }
  ~ChainGuard() { g_locked.store(false, std::memory_order_release); }
  ChainGuard(const ChainGuard&) = delete;
  ChainGuard& operator=(const ChainGuard&) = delete;
};

constinit EnteringCall* g_innermost = nullptr;
constinit std::atomic<std::uint32_t> g_ended{0};  // changes with every end, so that a wait can wake
constinit std::atomic<std::uint32_t> g_waiting{0};

}  // namespace

EnteringCall::EnteringCall(Until until) noexcept : thread_(ThisThread()), until_(until) {
  const ChainGuard guard;
  next_ = g_innermost;
  g_innermost = this;
}

EnteringCall::~EnteringCall() {
  {
    const ChainGuard guard;
    EnteringCall** link = &g_innermost;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
  }
  if (counted_) WakeWaiting();
}

void EnteringCall::HandOver() noexcept {
  const std::uintptr_t self = ThisThread();
  EnteringCall* call = nullptr;
  {
    const ChainGuard guard;
    call = g_innermost;
    while (call != nullptr && call->thread_ != self) call = call->next_;
    if (call == nullptr || call->until_ != Until::kHandedOver || !call->counted_) return;
    call->counted_ = false;
  }
  WakeWaiting();
}

void EnteringCall::WaitForOthers() noexcept {
  ++g_waiting;
  for (;;) {
    const std::uint32_t ended = g_ended.load();
    if (!OthersAreCounted()) break;
    g_ended.wait(ended);
  }
  --g_waiting;
}

bool EnteringCall::IsAwaited() noexcept {
  return g_waiting.load() != 0;
}

bool EnteringCall::OthersAreCounted() noexcept {
  const std::uintptr_t self = ThisThread();
  const ChainGuard guard;
  const EnteringCall* call = g_innermost;
  while (call != nullptr && (call->thread_ == self || !call->counted_)) call = call->next_;
  return call != nullptr;
}

// Out of the chain or of the count by now: nothing of the call is touched.
void EnteringCall::WakeWaiting() noexcept {
  ++g_ended;
  // A thread that is about to wait has counted itself before it looked at what has ended.
  if (g_waiting.load() != 0) g_ended.notify_all();
}

}  // namespace kt
