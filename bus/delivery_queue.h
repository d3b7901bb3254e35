// DeliveryQueue brings notices to one provider, one at a time and in the order of Push, on a thread
// of its own. The thread starts with the first subscription.
//
// Threads:   everything from any thread but Stop, which must not run on the delivery thread.
// Ownership: notices are copied in. Stop() drops what waits and joins the thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "bus/lock.h"
#include "bus/property_map.h"

namespace kt::bus {

// What was raised, shared by all queues that it waits in.
struct Notice {
  std::uintptr_t kind = 0;
  std::string name;        // as the provider sees it
  std::string alert_name;  // of an alert: its own name
  std::shared_ptr<const PropertyMap> properties;
  std::uint64_t sequence = 0;  // counts all that is raised in the database
};

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

  // A notice and the memory for its place in a queue.
  using Place = std::list<std::shared_ptr<const Notice>>;

  // Appends what is in the place, without allocating; after Stop() it is dropped.
  void Push(Place& place) noexcept KT_EXCLUDES(lock_);

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
  void Run() KT_EXCLUDES(lock_);

  mutable Mutex lock_;
  std::condition_variable_any pushed_signal_;
  std::condition_variable_any done_signal_;
  Place waiting_ KT_GUARDED_BY(lock_);
  std::uint64_t pushed_ KT_GUARDED_BY(lock_) = 0;
  std::uint64_t done_ KT_GUARDED_BY(lock_) = 0;  // delivered or dropped
  std::uint64_t delivered_ KT_GUARDED_BY(lock_) = 0;
  bool stopped_ KT_GUARDED_BY(lock_) = false;
  std::thread thread_ KT_GUARDED_BY(lock_);
  Deliver deliver_;  // set before the thread starts, never changed
};

}  // namespace kt::bus
