#include "stress/memory_watch.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>

namespace stress {
namespace {

constexpr std::chrono::milliseconds kPause{500};
constexpr std::uint64_t kKiBInMiB = 1024;

}  // namespace

MemoryWatch::MemoryWatch(std::intptr_t process) : process_(process), thread_([this] { Run(); }) {}

MemoryWatch::~MemoryWatch() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  over_.notify_all();
  thread_.join();
}

std::uint64_t MemoryWatch::Mark(const std::string& name) {
  const std::uint64_t now = Now();
  const std::lock_guard lock(mutex_);
  marks_.emplace_back(name, now);
  return now;
}

std::string MemoryWatch::Text() const {
  const std::lock_guard lock(mutex_);
  std::string text;
  for (const auto& [name, amount] : marks_) {
    text += name + " " + std::to_string(amount / kKiBInMiB) + " MiB, ";
  }
  return text + "at most " + std::to_string(most_ / kKiBInMiB) + " MiB";
}

void MemoryWatch::Run() {
  std::unique_lock lock(mutex_);
  while (!over_.wait_for(lock, kPause, [this] { return ended_; })) {
    most_ = std::max(most_, Now());
  }
}

std::uint64_t MemoryWatch::Now() const {
  std::ifstream stream("/proc/" + std::to_string(process_) + "/status");
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("VmRSS:")) {
      std::uint64_t amount = 0;
      std::istringstream(line.substr(6)) >> amount;
      return amount;
    }
  }
  return 0;
}

}  // namespace stress
