// A mutex of eight bytes that costs one atomic step to take and a plain store to give back, in the
// place where it is used, as long as nobody else wants it.
//
// Every call of the framework takes one to three locks and holds each for a few steps. What the C
// library offers has more to look at (kinds of mutexes, owners that have died) and is called
// through two functions; and it puts a thread to sleep at once where the other one would be done by
// the time that the system has been asked.
//
// Who finds it taken looks again for about as long as such a lock is held, then sleeps until it is
// given back. Whoever gives it back looks for sleepers just before: one that lies down between that
// look and the store is not woken, which an atomic step would rule out, at twice the price for all
// the others. It wakes by itself after a millisecond, or after as long as it has waited already.
//
// Threads: everything from any thread. Not fair. A thread touches nothing of the mutex once it has
//          given it back: the next one may destroy it.
// Failure: nothing throws, nothing allocates. Giving back what is not taken is a caller's error.
#pragma once

#include <atomic>
#include <cstdint>

#include "bus/lock_watch.h"

namespace kt::bus {

class QuickMutex {
 public:
  QuickMutex() = default;
  QuickMutex(const QuickMutex&) = delete;
  QuickMutex& operator=(const QuickMutex&) = delete;
#ifdef KT_THREADS_ARE_SANITIZED
  ~QuickMutex() {
    __tsan_mutex_destroy(this, 0);
  }
#endif

  void lock() noexcept {
    lock_watch::BeforeLock(this);
    if (taken_.exchange(1, std::memory_order_acquire) != 0) LockWhenFree();
    lock_watch::AfterLock(this);
  }
  // False where it would have to wait.
  bool TryLock() noexcept {
    if (taken_.exchange(1, std::memory_order_acquire) != 0) return false;
    lock_watch::TookAtOnce(this);
    return true;
  }
  void unlock() noexcept {
    lock_watch::BeforeUnlock(this);
    const bool awaited = sleepers_.load(std::memory_order_relaxed) != 0;
    taken_.store(0, std::memory_order_release);
    lock_watch::AfterUnlock(this);
    if (awaited) Wake();
  }

 private:
  void LockWhenFree() noexcept;
  void Wake() noexcept;

  std::atomic<std::uint32_t> taken_{0};
  std::atomic<std::uint32_t> sleepers_{0};
};

}  // namespace kt::bus
