// A sanitizer has an allocator of its own, which counts.
#include <cstddef>

#include "ktcheck/memory_level.h"

// Not every compiler comes with the header that declares it.
extern "C" std::size_t BytesAllocated() __asm__("__sanitizer_get_current_allocated_bytes");

namespace ktcheck {

std::optional<std::uint64_t> MemoryInUse() {
  return BytesAllocated();
}

}  // namespace ktcheck
