// DeliveryQueue brings notices to one provider, one at a time and in the order of Push, on a thread
// of its own. The thread starts with the first subscription.
//
// Threads:   everything from any thread but Stop, which must not run on the delivery thread.
//            Reserve and Push from one thread at a time: whoever raises holds a lock.
// Ownership: notices are copied in. Stop() drops what waits and joins the thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <optional>
#include <thread>

#include "bus/lock.h"
#include "bus/notice.h"
#include "bus/notice_ring.h"

namespace kt::bus {

class DeliveryQueue {
 public:
  // Called on the delivery thread for each notice, with no lock held; true when it reached the
  // provider. It must not throw.
  using Deliver = std::function<bool(const Notice&)>;

  DeliveryQueue() = default;
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;
  ~DeliveryQueue() { Stop(); }

  // Starts the thread unless it runs. Throws when the system has no thread to give.
  void Start(Deliver deliver) KT_EXCLUDES(lock_);

  // Makes room for one notice, so that the next Push cannot fail. Throws std::bad_alloc.
  void Reserve() KT_EXCLUDES(lock_);

  // Appends the notice; after Stop() it is dropped. The thread is woken only when it sleeps. Throws
  // std::bad_alloc with nothing changed, and never after Reserve().
  void Push(const Notice& notice) KT_EXCLUDES(lock_);

  // Ends for good. Waits for the notice that is being delivered.
  void Stop() KT_EXCLUDES(lock_);

  // How many were pushed so far; a number to wait for.
  [[nodiscard]] std::uint64_t Pushed() const KT_EXCLUDES(lock_);
  // False when the first `count` notices were not delivered or dropped in time.
  bool WaitFor(std::uint64_t count, std::chrono::steady_clock::time_point deadline)
      KT_EXCLUDES(lock_);

  [[nodiscard]] std::uint64_t Waiting() const KT_EXCLUDES(lock_);
  [[nodiscard]] std::uint64_t Delivered() const KT_EXCLUDES(lock_);

 private:
  static constexpr std::uint64_t kNobody = ~std::uint64_t{0};

  void Run() KT_EXCLUDES(lock_);
  bool Next(Notice& notice, std::optional<bool> former) KT_EXCLUDES(lock_);
  void CountLocked(bool reached) KT_REQUIRES(lock_);

  mutable Mutex lock_;
  std::condition_variable_any pushed_signal_;
  std::condition_variable_any done_signal_;
  NoticeRing waiting_ KT_GUARDED_BY(lock_);
  bool promised_ KT_GUARDED_BY(lock_) = false;  // room that a Push will use
  bool asleep_ KT_GUARDED_BY(lock_) = false;
  std::uint64_t pushed_ KT_GUARDED_BY(lock_) = 0;
  std::uint64_t done_ KT_GUARDED_BY(lock_) = 0;  // delivered or dropped
  std::uint64_t delivered_ KT_GUARDED_BY(lock_) = 0;
  std::uint64_t wanted_ KT_GUARDED_BY(lock_) = kNobody;  // the least that somebody waits for
  bool stopped_ KT_GUARDED_BY(lock_) = false;
  std::thread thread_ KT_GUARDED_BY(lock_);
  Deliver deliver_;  // set before the thread starts, never changed
};

}  // namespace kt::bus
