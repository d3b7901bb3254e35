// WorkerPool: threads for work that may wait.
//
// A thread is started when there is work and none is free, up to a bound; from there on work waits
// for its turn. Threads stay until the end.
//
// Threads:   any member from any thread, the destructor excepted.
// Failure:   Post() throws std::bad_alloc, or std::system_error when there is no thread at all and
//            the system has none to give. What is posted must not throw.
// Ownership: the destructor does what has been posted and waits for it.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ktsvc::api {

class WorkerPool {
 public:
  explicit WorkerPool(std::size_t maxThreads) : maxThreads_(maxThreads) {}
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  void Post(std::function<void()> work);

 private:
  void Run();

  const std::size_t maxThreads_;
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<std::function<void()>> waiting_;
  std::vector<std::thread> threads_;
  std::size_t free_ = 0;
  bool ending_ = false;
};

}  // namespace ktsvc::api
