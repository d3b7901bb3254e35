#include "api/worker_pool.h"

#include <system_error>
#include <utility>

namespace ktsvc::api {

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  posted_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void WorkerPool::Post(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(work));
    if (waiting_.size() > free_ && threads_.size() < maxThreads_) {
      try {
        threads_.reserve(threads_.size() + 1);
        threads_.emplace_back([this] { Run(); });
      } catch (...) {
        // With threads there the work only has to wait for one of them.
        if (threads_.empty()) {
          waiting_.pop_back();
          throw;
        }
      }
    }
  }
  posted_.notify_one();  // once the lock is free for the thread that it wakes
}

void WorkerPool::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++free_;
    posted_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
    --free_;
    if (waiting_.empty()) {
      return;
    }
    std::function<void()> work = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    work();
    work = nullptr;  // what it holds is let go of outside the lock
    lock.lock();
  }
}

}  // namespace ktsvc::api
