#include "bus/quick_mutex.h"

namespace kt::bus {
namespace {

// About as long as the framework's locks are held.
constexpr int kLooks = 100;

// Tells the processor that nothing happens here until another one has written.
void Pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("yield");
#endif
}

}  // namespace

void QuickMutex::LockWhenFree() noexcept {
  for (int i = 0; i < kLooks; ++i) {
    State expected = kFree;
    if (state_.load(std::memory_order_relaxed) == kFree &&
        state_.compare_exchange_weak(expected, kTaken, std::memory_order_acquire,
                                     std::memory_order_relaxed)) {
      return;
    }
    Pause();
  }
  // Others may sleep as well: it stays awaited, which costs at worst one call that wakes nobody.
  while (state_.exchange(kAwaited) != kFree) state_.wait(kAwaited, std::memory_order_relaxed);
}

void QuickMutex::Wake() noexcept {
  state_.notify_one();
}

}  // namespace kt::bus
