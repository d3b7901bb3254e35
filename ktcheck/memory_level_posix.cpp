#include <malloc.h>

#include "ktcheck/memory_level.h"

namespace ktcheck {

std::optional<std::uint64_t> MemoryInUse() {
#if defined(__GLIBC__)
  const struct mallinfo2 info = mallinfo2();
  const std::uint64_t bytes = info.uordblks + info.hblkhd;
  if (bytes != 0) return bytes;
#endif
  return std::nullopt;
}

}  // namespace ktcheck
