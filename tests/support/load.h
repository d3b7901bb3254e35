// Eight threads that call a provider until they are told to end, and a shutdown among them.
//
// Threads: made and used by the test's own thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "fake/fake_framework.h"
#include "ktbus3/ktbus3.h"

namespace support {

class Load {
 public:
  static constexpr std::uint32_t kThreads = 8;

  // One round of a thread: what a client and the framework do.
  using Round = std::function<void(std::uint32_t thread, std::uint32_t round)>;

  explicit Load(Round round) : round_(std::move(round)) {
    for (std::uint32_t i = 0; i < kThreads; ++i) {
      threads_.emplace_back([this, i] { Run(i); });
    }
  }
  ~Load() {
    End();
    fake::Framework::Get().OnSleep({});
  }
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  // Returns once the threads have done so many rounds more.
  void WaitForRounds(std::uint64_t more) {
    const std::uint64_t enough = rounds_ + more;
    while (rounds_ < enough) std::this_thread::yield();
  }

  // Shuts down in the middle of it. The shutdown waits for calls that are under way by sleeping, so
  // many times at most: no sleep of this thread lasts here, it ends when they have come back,
  // however slow the machine is.
  KtStatus ShutDown(const std::function<KtStatus()>& shutdown) {
    fake::Framework::Get().OnSleep([this, ending = std::this_thread::get_id()](std::uint32_t) {
      if (std::this_thread::get_id() != ending) return;
      pause_ = true;
      while (inside_ != 0) std::this_thread::yield();
    });
    const KtStatus status = shutdown();
    pause_ = false;
    return status;
  }

  // Lets the threads end.
  void End() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
    threads_.clear();
  }

 private:
  void Run(std::uint32_t thread) {
    for (std::uint32_t round = thread; !stop_; ++round) {
      while (pause_ && !stop_) std::this_thread::yield();
      ++inside_;
      round_(thread, round);
      --inside_;
      ++rounds_;
    }
  }

  const Round round_;
  std::atomic<std::uint64_t> rounds_{0};
  std::atomic<int> inside_{0};      // threads in a round
  std::atomic<bool> pause_{false};  // no other is to begin one
  std::atomic<bool> stop_{false};
  std::vector<std::thread> threads_;  // the last: they use all the others
};

}  // namespace support
