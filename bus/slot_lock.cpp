#include "bus/slot_lock.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace kt::bus {

void SlotLock::LockWhenFree() noexcept {
  constexpr int kLooks = 100;
  constexpr int kTurns = 20;
  std::chrono::microseconds pause{20};
  for (int round = 0;; ++round) {
    if (taken_.load(std::memory_order_relaxed) == 0 &&
        taken_.exchange(1, std::memory_order_acquire) == 0) {
      return;
    }
    if (round < kLooks) continue;
    if (round < kLooks + kTurns) {
      std::this_thread::yield();
      continue;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, std::chrono::microseconds{1000});
  }
}

}  // namespace kt::bus
