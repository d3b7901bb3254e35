// A re-entrant mutex made of a plain one: whoever holds it may take it again, and gives it back as
// often.
//
// Threads: everything from any thread. A thread touches nothing of the mutex once it has given it
//          back for the last time: the next one may destroy it.
// Failure: nothing throws, nothing allocates. A thread that gives back what it does not hold
//          changes nothing.
#pragma once

#include <atomic>
#include <cstdint>

#include "bus/inlining.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <bit>

#include "bus/thread_local.h"
#endif

namespace kt::bus {

template <typename Mutex>
class RecursiveMutex {
 public:
  RecursiveMutex() = default;
  RecursiveMutex(const RecursiveMutex&) = delete;
  RecursiveMutex& operator=(const RecursiveMutex&) = delete;

  void lock() noexcept {
    const std::uintptr_t self = ThisThread();
    if (owner_.load(std::memory_order_relaxed) != self) {
      if (!mutex_.TryLock()) return LockWhenFree();
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }
  void unlock() noexcept {
    if (owner_.load(std::memory_order_relaxed) != ThisThread() || --depth_ != 0) return;
    owner_.store(0, std::memory_order_relaxed);
    mutex_.unlock();
  }

 private:
  // For a thread that has to wait: apart, so that the others need nothing of what it needs.
  KT_SELDOM void LockWhenFree() noexcept {
    mutex_.lock();
    owner_.store(ThisThread(), std::memory_order_relaxed);
    ++depth_;
  }

  // What no other thread that runs has, and never 0.
  static std::uintptr_t ThisThread() noexcept {
#ifdef _WIN32
    return GetCurrentThreadId();
#else
    static constinit thread_local char place KT_FOUND_BY_LOADS = 0;
    return std::bit_cast<std::uintptr_t>(&place);
#endif
  }

  Mutex mutex_;
  std::uint32_t depth_ = 0;  // the owner's
  std::atomic<std::uintptr_t> owner_{0};
};

}  // namespace kt::bus
