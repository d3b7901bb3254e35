// Tells the thread sanitizer that something is a lock. It knows the system's own; what is made of
// atomic steps has no order for it, and no deadlock is foreseen. In other builds nothing is left of
// this.
//
// Threads: around the steps that they are about, by the thread that takes them.
#pragma once

#include "bus/sanitizers.h"

#ifdef KT_THREADS_ARE_SANITIZED
#include <sanitizer/tsan_interface.h>
#endif

namespace kt::bus::lock_watch {

#ifdef KT_THREADS_ARE_SANITIZED
inline void BeforeLock(void* lock) noexcept {
  __tsan_mutex_pre_lock(lock, 0);
}
inline void AfterLock(void* lock) noexcept {
  __tsan_mutex_post_lock(lock, 0, 0);
}
// In the place of the two for a lock that was free.
inline void TookAtOnce(void* lock) noexcept {
  BeforeLock(lock);
  AfterLock(lock);
}
inline void BeforeUnlock(void* lock) noexcept {
  __tsan_mutex_pre_unlock(lock, 0);
}
inline void AfterUnlock(void* lock) noexcept {
  __tsan_mutex_post_unlock(lock, 0);
}
#else
inline void BeforeLock(void* /*lock*/) noexcept {}
inline void AfterLock(void* /*lock*/) noexcept {}
inline void TookAtOnce(void* /*lock*/) noexcept {}
inline void BeforeUnlock(void* /*lock*/) noexcept {}
inline void AfterUnlock(void* /*lock*/) noexcept {}
#endif

}  // namespace kt::bus::lock_watch
