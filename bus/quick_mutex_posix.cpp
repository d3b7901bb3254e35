#include "bus/quick_mutex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

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

// How long a thread sleeps that nobody wakes: at first, and at most. It sleeps twice as long each
// time, so that a long wait costs little, and a wake that was missed a part of what was waited.
constexpr long kFirstSleep = 1'000'000;  // nanoseconds
constexpr long kLongestSleep = 64 * kFirstSleep;

// The system's own way to sleep until a number changes. It takes an address and never looks at
// what stands there unless somebody sleeps.
long Futex(const std::atomic<std::uint32_t>& number, int operation, std::uint32_t value,
           const timespec* timeout) noexcept {
  static_assert(sizeof(number) == sizeof(value));
  return syscall(SYS_futex, &number, operation, value, timeout, nullptr, 0);
}

}  // namespace

void QuickMutex::LockWhenFree() noexcept {
  for (int i = 0; i < kLooks; ++i) {
    if (taken_.load(std::memory_order_relaxed) == 0 &&
        taken_.exchange(1, std::memory_order_acquire) == 0) {
      return;
    }
    Pause();
  }
  sleepers_.fetch_add(1);
  timespec sleep{0, kFirstSleep};
  while (taken_.exchange(1, std::memory_order_acquire) != 0) {
    // Whether it was woken, slept enough or came too late: it looks again.
    static_cast<void>(Futex(taken_, FUTEX_WAIT_PRIVATE, 1, &sleep));
    sleep.tv_nsec = std::min(2 * sleep.tv_nsec, kLongestSleep);
  }
  sleepers_.fetch_sub(1);
}

void QuickMutex::Wake() noexcept {
  static_cast<void>(Futex(taken_, FUTEX_WAKE_PRIVATE, 1, nullptr));
}

}  // namespace kt::bus
