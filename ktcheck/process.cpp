#include "ktcheck/process.h"

#include <thread>

namespace ktcheck {

std::optional<ProcessEnd> Process::WaitFor(std::chrono::milliseconds time) {
  const auto until = std::chrono::steady_clock::now() + time;
  std::chrono::milliseconds pause{1};
  for (;;) {
    if (auto end = Ask()) return end;
    if (std::chrono::steady_clock::now() >= until) return std::nullopt;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::milliseconds(20));
  }
}

}  // namespace ktcheck
