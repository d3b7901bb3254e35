// MemoryWatch: how much memory a process has, sampled while it works.
//
// Threads: Mark() from any thread; a thread of its own samples.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace stress {

class MemoryWatch {
 public:
  explicit MemoryWatch(std::intptr_t process);
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

  // Remembers how much it is now, under that name, and returns it in KiB.
  std::uint64_t Mark(const std::string& name);

  // "after the start 41 MiB, ..., at most 60 MiB".
  [[nodiscard]] std::string Text() const;

 private:
  void Run();
  [[nodiscard]] std::uint64_t Now() const;  // KiB, 0 when it is not known

  const std::intptr_t process_;
  mutable std::mutex mutex_;
  std::condition_variable over_;
  bool ended_ = false;
  std::uint64_t most_ = 0;
  std::vector<std::pair<std::string, std::uint64_t>> marks_;
  std::thread thread_;
};

}  // namespace stress
