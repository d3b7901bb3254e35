// What is behind the framework's own locks.
//
// On Windows they are the system's directly: with MinGW-w64 a lock of the C++ library takes memory
// when it is first used and never frees it, and every property set has one. Elsewhere those that
// each call takes are a few bytes of ours (bus/quick_mutex.h).
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <shared_mutex>

#include "bus/quick_mutex.h"
#endif

#include "bus/recursive_mutex.h"

namespace kt::bus {

#ifdef _WIN32

class NativeSharedMutex {
 public:
  NativeSharedMutex() = default;
  NativeSharedMutex(const NativeSharedMutex&) = delete;
  NativeSharedMutex& operator=(const NativeSharedMutex&) = delete;

  void lock() noexcept { AcquireSRWLockExclusive(&lock_); }
  bool TryLock() noexcept { return TryAcquireSRWLockExclusive(&lock_) != 0; }
  void unlock() noexcept { ReleaseSRWLockExclusive(&lock_); }
  void lock_shared() noexcept { AcquireSRWLockShared(&lock_); }
  void unlock_shared() noexcept { ReleaseSRWLockShared(&lock_); }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
};

using NativeMutex = NativeSharedMutex;

#else

using NativeMutex = QuickMutex;
using NativeSharedMutex = std::shared_mutex;

#endif

using NativeRecursiveMutex = RecursiveMutex<NativeMutex>;

}  // namespace kt::bus
