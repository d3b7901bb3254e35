#include "bus/huge_pages.h"

#include <sys/mman.h>

#include <bit>
#include <cstdint>

namespace kt::bus {

void WantHugePages(void* memory, std::size_t size) noexcept {
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kInside = kHugePage - 1;
  const auto begin = std::bit_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (begin + kInside) & ~kInside;
  const std::uintptr_t end = (begin + size) & ~kInside;
  if (first < end)
    static_cast<void>(::madvise(std::bit_cast<void*>(first), end - first, MADV_HUGEPAGE));
#else
  static_cast<void>(memory);
  static_cast<void>(size);
#endif
}

}  // namespace kt::bus
