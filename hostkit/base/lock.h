// kt::Lock is the framework's re-entrant lock as a member that knows its own life.
//
// Threads:   any; the owner may take it again. Deleting a lock that a thread holds or waits for is
//            the owner's error, which is why a manager that forgets itself under its own lock is
//            retired (base/retired.h) and not deleted.
// Order:     base/lock_order.h.
#pragma once

#include "base/annotations.h"
#include "ktbus3/ktbus3.h"

namespace kt {

class KT_CAPABILITY("lock") Lock {
 public:
  Lock() noexcept { KtInitializeCriticalSection(&section_); }
  ~Lock() { KtDeleteCriticalSection(&section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Enter() noexcept KT_ACQUIRE() { KtEnterCriticalSection(&section_); }
  void Leave() noexcept KT_RELEASE() { KtLeaveCriticalSection(&section_); }

 private:
  KtCriticalSection section_{};
};

// Holds a lock for a scope.
class KT_SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Lock& lock) noexcept KT_ACQUIRE(lock) : lock_(lock) { lock_.Enter(); }
  ~LockGuard() KT_RELEASE() { lock_.Leave(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Lock& lock_;
};

}  // namespace kt
