#include "lifetime/entering_call.h"

#include <array>
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

constexpr std::size_t kPlaces = 64;
constexpr unsigned kPlaceShift = 64 - 6;  // the six highest bits of a product

}  // namespace

// The calls of the one thread that has it just now. That thread alone writes here; whoever waits
// reads the two atomics. A place is taken with nothing handed over, so that a thread counts from
// the step in which it takes the place.
struct alignas(64) CallPlace {
  std::atomic<std::uintptr_t> thread{0};
  std::atomic<bool> handed_over{false};  // all its calls are
  std::uint32_t counted = 0;             // the calls that are not
  EnteringCall* innermost = nullptr;
};

namespace {

constinit std::array<CallPlace, kPlaces> g_places;

CallPlace& PlaceOf(std::uintptr_t thread) noexcept {
  return g_places[static_cast<std::size_t>((thread * 0x9E3779B97F4A7C15U) >> kPlaceShift)];
}

}  // namespace

EnteringCall::EnteringCall(Until until) noexcept : thread_(ThisThread()), until_(until) {
  if (TakePlace()) return;
  const ChainGuard guard;
  next_ = g_innermost;
  g_innermost = this;
}

EnteringCall::~EnteringCall() {
  if (place_ != nullptr) {
    LeavePlace();
    return;
  }
  const ChainGuard guard;
  EnteringCall** link = &g_innermost;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

// The shutting-down flag is looked at after this: the step that takes the place comes before that
// in the one order that all threads see.
bool EnteringCall::TakePlace() noexcept {
  CallPlace& place = PlaceOf(thread_);
  std::uintptr_t holder = place.thread.load(std::memory_order_relaxed);
  if (holder == thread_) {
    place.handed_over.store(false);
  } else if (holder != 0 || !place.thread.compare_exchange_strong(holder, thread_)) {
    return false;
  }
  place_ = &place;
  next_ = place.innermost;
  place.innermost = this;
  ++place.counted;
  return true;
}

void EnteringCall::LeavePlace() noexcept {
  place_->innermost = next_;
  if (counted_) --place_->counted;
  if (next_ == nullptr) {
    place_->handed_over.store(false, std::memory_order_relaxed);
    place_->thread.store(0, std::memory_order_release);
  } else if (place_->counted == 0) {
    place_->handed_over.store(true, std::memory_order_release);
  }
}

// A thread that has its place began the calls in it after those that it has in the chain.
void EnteringCall::HandOver() noexcept {
  const std::uintptr_t self = ThisThread();
  CallPlace& place = PlaceOf(self);
  if (place.thread.load(std::memory_order_relaxed) == self) {
    EnteringCall& call = *place.innermost;
    if (call.until_ != Until::kHandedOver || !call.counted_) return;
    call.counted_ = false;
    if (--place.counted == 0) place.handed_over.store(true, std::memory_order_release);
    return;
  }
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
  for (const CallPlace& place : g_places) {
    const std::uintptr_t thread = place.thread.load();
    if (thread != 0 && thread != self && !place.handed_over.load()) return true;
  }
  const ChainGuard guard;
  const EnteringCall* call = g_innermost;
  while (call != nullptr && (call->thread_ == self || !call->counted_)) call = call->next_;
  return call != nullptr;
}

}  // namespace kt
