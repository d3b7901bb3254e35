// The framework's own locks, known to clang's thread-safety analysis.
//
// Order, outer before inner; a lock is never taken while one to the right of it is held:
//   database's providers -> events -> family -> types -> a type's objects -> shelf ->
//   objects -> property set -> handle table -> memory registry -> observers
// The slot of a property set's handle stands where the set does, that of an iterator right behind.
// Provider functions, visitors, observers and trace call-backs run under none of them.
#pragma once

#include "bus/native_lock.h"

#if defined(__clang__)
#define KT_ANNOTATE(x) __attribute__((x))
#else
#define KT_ANNOTATE(x)
#endif
#define KT_CAPABILITY(name) KT_ANNOTATE(capability(name))
#define KT_SCOPED_CAPABILITY KT_ANNOTATE(scoped_lockable)
#define KT_GUARDED_BY(lock) KT_ANNOTATE(guarded_by(lock))
#define KT_ACQUIRED_BEFORE(...) KT_ANNOTATE(acquired_before(__VA_ARGS__))
#define KT_REQUIRES(...) KT_ANNOTATE(requires_capability(__VA_ARGS__))
#define KT_REQUIRES_SHARED(...) KT_ANNOTATE(requires_shared_capability(__VA_ARGS__))
#define KT_EXCLUDES(...) KT_ANNOTATE(locks_excluded(__VA_ARGS__))
#define KT_ACQUIRE(...) KT_ANNOTATE(acquire_capability(__VA_ARGS__))
#define KT_ACQUIRE_SHARED(...) KT_ANNOTATE(acquire_shared_capability(__VA_ARGS__))
#define KT_RELEASE(...) KT_ANNOTATE(release_capability(__VA_ARGS__))
#define KT_RELEASE_SHARED(...) KT_ANNOTATE(release_shared_capability(__VA_ARGS__))
#define KT_RELEASE_GENERIC(...) KT_ANNOTATE(release_generic_capability(__VA_ARGS__))

namespace kt::bus {

// One holder at a time. lock() and unlock() have the names that std::condition_variable_any wants.
class KT_CAPABILITY("mutex") Mutex {
 public:
  void lock() KT_ACQUIRE() { mutex_.lock(); }
  void unlock() KT_RELEASE() { mutex_.unlock(); }

 private:
  NativeMutex mutex_;
};

// Many readers or one writer. Not re-entrant, not even for readers.
class KT_CAPABILITY("mutex") SharedMutex {
 public:
  void lock() KT_ACQUIRE() { mutex_.lock(); }
  void unlock() KT_RELEASE() { mutex_.unlock(); }
  void lock_shared() KT_ACQUIRE_SHARED() { mutex_.lock_shared(); }
  void unlock_shared() KT_RELEASE_SHARED() { mutex_.unlock_shared(); }

 private:
  NativeSharedMutex mutex_;
};

class KT_SCOPED_CAPABILITY MutexGuard {
 public:
  explicit MutexGuard(Mutex& mutex) KT_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexGuard() KT_RELEASE() { mutex_.unlock(); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  Mutex& mutex_;
};

class KT_SCOPED_CAPABILITY WriteGuard {
 public:
  explicit WriteGuard(SharedMutex& mutex) KT_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~WriteGuard() KT_RELEASE() { mutex_.unlock(); }
  WriteGuard(const WriteGuard&) = delete;
  WriteGuard& operator=(const WriteGuard&) = delete;

 private:
  SharedMutex& mutex_;
};

class KT_SCOPED_CAPABILITY ReadGuard {
 public:
  explicit ReadGuard(SharedMutex& mutex) KT_ACQUIRE_SHARED(mutex) : mutex_(mutex) {
    mutex_.lock_shared();
  }
  ~ReadGuard() KT_RELEASE_GENERIC() { mutex_.unlock_shared(); }
  ReadGuard(const ReadGuard&) = delete;
  ReadGuard& operator=(const ReadGuard&) = delete;

 private:
  SharedMutex& mutex_;
};

}  // namespace kt::bus
