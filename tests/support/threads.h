// What tests with more than one thread wait for. Nothing here depends on how fast a thread is.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "fake/fake_framework.h"

namespace support {

// A one-shot event between threads.
class Gate {
 public:
  void Open() {
    const std::lock_guard guard(lock_);
    open_ = true;
    changed_.notify_all();
  }
  void Wait() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return open_; });
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool open_ = false;
};

// Whether the thread, as fake::ThisThread() numbers it, has asked for a lock since the calls were
// last forgotten; it may have it or wait for it.
inline bool HasAskedForALock(std::uint64_t thread) {
  for (const fake::Call& call : fake::Framework::Get().Calls()) {
    if (call.thread == thread && call.function == "KtEnterCriticalSection") return true;
  }
  return false;
}

template <typename Condition>
void YieldUntil(Condition condition) {
  while (!condition()) std::this_thread::yield();
}

}  // namespace support
