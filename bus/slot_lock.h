// The lock of a slot: four bytes, taken in one atomic step and given back by one plain store. A
// slot is locked by every call on a property set, while two threads hardly ever want the same set
// at once; QuickMutex (bus/quick_mutex.h), which looks for sleepers when it is given back, would
// make those calls 1 to 1.5 percent longer and take four bytes more.
//
// The price is paid by who waits: nobody wakes it. It looks again for a while, then lets other
// threads run, then sleeps a little longer each time, a millisecond at most.
//
// Threads: everything from any thread. Not re-entrant, not fair.
// Failure: nothing throws, nothing allocates.
#pragma once

#include <atomic>
#include <cstdint>

#include "bus/lock.h"

namespace kt::bus {

class KT_CAPABILITY("mutex") SlotLock {
 public:
  constexpr SlotLock() noexcept = default;
  SlotLock(const SlotLock&) = delete;
  SlotLock& operator=(const SlotLock&) = delete;

  void lock() noexcept KT_ACQUIRE() {
    if (taken_.exchange(1, std::memory_order_acquire) != 0) LockWhenFree();
  }
  void unlock() noexcept KT_RELEASE() { taken_.store(0, std::memory_order_release); }

 private:
  void LockWhenFree() noexcept;

  std::atomic<std::uint32_t> taken_{0};
};

class KT_SCOPED_CAPABILITY SlotGuard {
 public:
  explicit SlotGuard(SlotLock& lock) noexcept KT_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
  ~SlotGuard() KT_RELEASE() { lock_.unlock(); }
  SlotGuard(const SlotGuard&) = delete;
  SlotGuard& operator=(const SlotGuard&) = delete;

 private:
  SlotLock& lock_;
};

}  // namespace kt::bus
