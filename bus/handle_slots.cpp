#include "bus/handle_slots.h"

namespace kt::bus {

std::uint32_t SlotListOfThread() noexcept {
  static std::atomic<std::uint32_t> next{1};
  static constinit thread_local std::uint32_t list = 0;
  if (list == 0) list = next.fetch_add(1, std::memory_order_relaxed);
  return list;
}

}  // namespace kt::bus
