#include "bus/delivery_queue.h"

#include <utility>

namespace kt::bus {

void DeliveryQueue::Start(Deliver deliver) {
  const MutexGuard guard(lock_);
  if (stopped_ || thread_.joinable()) return;
  deliver_ = std::move(deliver);
  thread_ = std::thread([this] { Run(); });
}

void DeliveryQueue::Push(Place& place) noexcept {
  const MutexGuard guard(lock_);
  if (stopped_) return;
  pushed_ += place.size();
  waiting_.splice(waiting_.end(), place);
  pushed_signal_.notify_one();
}

void DeliveryQueue::Stop() {
  std::thread thread;
  {
    const MutexGuard guard(lock_);
    stopped_ = true;
    done_ += waiting_.size();
    waiting_.clear();
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
  for (;;) {
    std::shared_ptr<const Notice> notice;
    {
      const MutexGuard guard(lock_);
      while (waiting_.empty() && !stopped_) pushed_signal_.wait(lock_);
      if (stopped_) return;
      notice = std::move(waiting_.front());
      waiting_.pop_front();
    }
    const bool reached = deliver_(*notice);
    const MutexGuard guard(lock_);
    ++done_;
    if (reached) ++delivered_;
    done_signal_.notify_all();
  }
}

}  // namespace kt::bus
