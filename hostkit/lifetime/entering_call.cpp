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
constinit std::atomic<std::uint32_t> g_waiting{0};

}  // namespace

EnteringCall::EnteringCall(Until until) noexcept : thread_(ThisThread()), until_(until) {
  const ChainGuard guard;
  next_ = g_innermost;
  g_innermost = this;
}

EnteringCall::~EnteringCall() {
  const ChainGuard guard;
  EnteringCall** link = &g_innermost;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

void EnteringCall::HandOver() noexcept {
  const std::uintptr_t self = ThisThread();
  const ChainGuard guard;
  EnteringCall* call = g_innermost;
  while (call != nullptr && call->thread_ != self) call = call->next_;
  if (call != nullptr && call->until_ == Until::kHandedOver) call->counted_ = false;
}

bool EnteringCall::WaitForOthers(std::chrono::milliseconds bound) noexcept {
  const auto end = std::chrono::steady_clock::now() + bound;
  ++g_waiting;
  // Looked at anew each millisecond: the wait is rare and short, and std::atomic's own wait misses
  // wake-ups with MinGW.
  bool counted = OthersAreCounted();
  while (counted && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    counted = OthersAreCounted();
  }
  --g_waiting;
  return !counted;
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

}  // namespace kt
