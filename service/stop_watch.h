// StopWatch: says again and again that something is still waited for, as long as it lives.
//
// Threads:   the words are said on a thread of its own. The destructor waits for one that is being
//            said.
// Failure:   without a thread nothing is said; the waiting goes on.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace ktsvc {

class StopWatch {
 public:
  // `say` is called at once, and each time that the pause has passed. It must not throw.
  StopWatch(std::chrono::milliseconds pause, std::function<void()> say);
  ~StopWatch();
  StopWatch(const StopWatch&) = delete;
  StopWatch& operator=(const StopWatch&) = delete;

 private:
  void Run();

  const std::chrono::milliseconds pause_;
  const std::function<void()> say_;
  std::mutex mutex_;
  std::condition_variable over_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace ktsvc
