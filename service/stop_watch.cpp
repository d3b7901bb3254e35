#include "stop_watch.h"

#include <system_error>
#include <utility>

namespace ktsvc {

StopWatch::StopWatch(std::chrono::milliseconds pause, std::function<void()> say)
    : pause_(pause), say_(std::move(say)) {
  say_();
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error&) {
    ended_ = true;  // it stays at what has been said
  }
}

StopWatch::~StopWatch() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  over_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void StopWatch::Run() {
  std::unique_lock lock(mutex_);
  while (!over_.wait_for(lock, pause_, [this] { return ended_; })) {
    lock.unlock();
    say_();
    lock.lock();
  }
}

}  // namespace ktsvc
