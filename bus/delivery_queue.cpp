#include "bus/delivery_queue.h"

#include <algorithm>
#include <utility>

namespace kt::bus {

void DeliveryQueue::Start(Deliver deliver) {
  const MutexGuard guard(lock_);
  if (stopped_ || thread_.joinable()) return;
  deliver_ = std::move(deliver);
  thread_ = std::thread([this] { Run(); });
}

void DeliveryQueue::Reserve() {
  const MutexGuard guard(lock_);
  waiting_.Reserve();
  promised_ = true;
}

void DeliveryQueue::Push(const Notice& notice) {
  bool wake = false;
  {
    const MutexGuard guard(lock_);
    promised_ = false;
    if (stopped_) return;
    waiting_.Reserve();
    waiting_.Put(notice);
    ++pushed_;
    wake = std::exchange(asleep_, false);
  }
  if (wake) pushed_signal_.notify_one();
}

void DeliveryQueue::Stop() {
  std::thread thread;
  {
    const MutexGuard guard(lock_);
    stopped_ = true;
    done_ += waiting_.size();
    waiting_.Clear();
    thread = std::move(thread_);
    pushed_signal_.notify_all();
    done_signal_.notify_all();
  }
  if (thread.joinable()) thread.join();
}

std::uint64_t DeliveryQueue::Pushed() const {
  const MutexGuard guard(lock_);
  return pushed_;
}

bool DeliveryQueue::WaitFor(std::uint64_t count, std::chrono::steady_clock::time_point deadline) {
  const MutexGuard guard(lock_);
  while (done_ < count) {
    wanted_ = std::min(wanted_, count);
    if (done_signal_.wait_until(lock_, deadline) == std::cv_status::timeout) {
      return done_ >= count;
    }
  }
  return true;
}

std::uint64_t DeliveryQueue::Waiting() const {
  const MutexGuard guard(lock_);
  return pushed_ - done_;
}

std::uint64_t DeliveryQueue::Delivered() const {
  const MutexGuard guard(lock_);
  return delivered_;
}

void DeliveryQueue::Run() {
  std::optional<bool> reached;
  for (Notice notice; Next(notice, reached);) {
    reached = deliver_(notice);
    notice = {};
  }
}

// Counts the former notice, if there was one, and takes the next. False when the queue has ended.
bool DeliveryQueue::Next(Notice& notice, std::optional<bool> former) {
  const MutexGuard guard(lock_);
  if (former) CountLocked(*former);
  if (!promised_) waiting_.Shrink();
  while (waiting_.empty() && !stopped_) {
    asleep_ = true;
    pushed_signal_.wait(lock_);
  }
  asleep_ = false;
  if (stopped_) return false;
  notice = waiting_.Take();
  return true;
}

// Those who wait are woken when what they wait for is there, not with each notice.
void DeliveryQueue::CountLocked(bool reached) {
  ++done_;
  if (reached) ++delivered_;
  if (done_ < wanted_) return;
  wanted_ = kNobody;
  done_signal_.notify_all();
}

}  // namespace kt::bus
