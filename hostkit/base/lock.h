// kt::Lock is the framework's re-entrant lock as a member that knows its own life.
//
// Threads:   any; the owner may take it again. Deleting a lock that a thread holds or waits for is
//            the owner's error, which is why a manager that forgets itself under its own lock is
//            retired (base/retired.h) and not deleted.
// Order:     base/lock_order.h. A lock with a rank is watched in a debug build (base/lock_watch.h).
#pragma once

#include "base/annotations.h"
#include "base/lock_watch.h"
#include "ktbus3/ktbus3.h"

namespace kt {

class KT_CAPABILITY("lock") Lock {
 public:
  Lock() noexcept : Lock(LockRank::kNone) {}
  explicit Lock([[maybe_unused]] LockRank rank) noexcept
#ifdef KT_WATCH_LOCKS
      : rank_(rank)
#endif
  {
    KtInitializeCriticalSection(&section_);
  }
  ~Lock() {
    KtDeleteCriticalSection(&section_);
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Enter() noexcept KT_ACQUIRE() {
#ifdef KT_WATCH_LOCKS
    lock_watch::Taking(this, rank_);
    KtEnterCriticalSection(&section_);
    lock_watch::Took(this, rank_);
#else
    KtEnterCriticalSection(&section_);
#endif
  }
  void Leave() noexcept KT_RELEASE() {
#ifdef KT_WATCH_LOCKS
    lock_watch::Left(this);
#endif
    KtLeaveCriticalSection(&section_);
  }

 private:
#ifdef KT_WATCH_LOCKS
  const LockRank rank_;
#endif
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
