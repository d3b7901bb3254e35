// Observers tells the service's observer of a database what happens in it: one after the other, in
// order, on a thread of its own.
//
// Threads:   everything from any thread. Tell() may be called under any of the framework's locks;
//            it waits for nobody and holds its own lock for a moment only.
// Failure:   telling never fails what is told of. What there is no memory for, or what is more than
//            a bound, of their number or of their bytes, while the observer does not come back, is
//            lost, and the observer is told how much.
// Ownership: what is told is copied in. The thread runs while there is an observer.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>

#include "bus/lock.h"
#include "bus/property_map.h"
#include "ktbus3/ktbus3_host.h"

namespace kt::bus {

struct Observation {
  std::uint32_t what = 0;  // KTBUS_OBSERVED_...
  std::string name;        // of the event or alert
  std::string provider;    // who did it, as far as it is known
  KtObjId object{};
  std::string type;         // of the object
  std::string description;  // of the alert, as the next
  std::uint32_t severity = 0;
  std::shared_ptr<const PropertyMap> properties;
};

class Observers {
 public:
  // What waits for an observer at most: so many, and so many bytes of texts and properties.
  static constexpr std::size_t kMaxWaiting = 65536;
  static constexpr std::size_t kMaxWaitingBytes = std::size_t{16} * 1024 * 1024;

  Observers() = default;
  Observers(const Observers&) = delete;
  Observers& operator=(const Observers&) = delete;
  ~Observers() { Close(); }

  // Puts the observer in the place of the former one, which is not called any more after the
  // return; null for none. 0x80070057 from inside the observer, 0xC1000010 after Close().
  KtStatus Set(KtBusObserver observer, void* context) KT_EXCLUDES(set_lock_, lock_);

  // Set(null), for good.
  void Close() KT_EXCLUDES(set_lock_, lock_);

  // Whether there is an observer; when there is none, nothing needs to be put together for it.
  [[nodiscard]] bool Active() const noexcept { return active_.load(); }

  // A change of the object that was told of last, and has not reached the observer yet, is not told
  // of again.
  void Tell(Observation observation) noexcept KT_EXCLUDES(lock_);

  // Counts one as lost that could not be put together.
  void Lose() noexcept KT_EXCLUDES(lock_);

  // Whether the observer runs on this thread.
  [[nodiscard]] bool RunsHere() const noexcept;

  // How many were told of so far; a number to wait for.
  [[nodiscard]] std::uint64_t Told() const KT_EXCLUDES(lock_);
  // False when the first `count` have not reached the observer in time, or been dropped.
  bool WaitFor(std::uint64_t count, std::chrono::steady_clock::time_point deadline)
      KT_EXCLUDES(lock_);

 private:
  struct Entry {
    Observation observation;
    std::uint64_t time = 0;
    std::uint64_t lost_before = 0;
    std::size_t bytes = 0;
  };

  void End() KT_REQUIRES(set_lock_) KT_EXCLUDES(lock_);
  void Run(KtBusObserver observer, void* context) KT_EXCLUDES(lock_);

  Mutex set_lock_ KT_ACQUIRED_BEFORE(lock_);
  std::thread thread_ KT_GUARDED_BY(set_lock_);
  bool closed_ KT_GUARDED_BY(set_lock_) = false;

  std::atomic<bool> active_{false};
  mutable Mutex lock_;
  std::condition_variable_any told_signal_;
  std::condition_variable_any done_signal_;
  std::deque<Entry> waiting_ KT_GUARDED_BY(lock_);
  std::size_t waiting_bytes_ KT_GUARDED_BY(lock_) = 0;
  std::uint64_t lost_ KT_GUARDED_BY(lock_) = 0;  // after the last that waits
  std::uint64_t told_ KT_GUARDED_BY(lock_) = 0;
  std::uint64_t done_ KT_GUARDED_BY(lock_) = 0;
  bool ending_ KT_GUARDED_BY(lock_) = false;
};

}  // namespace kt::bus
