// How much memory of the C run-time library's is in use in this process.
//
// Threads: any thread.
#pragma once

#include <cstdint>
#include <optional>

namespace ktcheck {

// In bytes; nothing where it cannot be told (a sanitizer has an allocator of its own).
std::optional<std::uint64_t> MemoryInUse();

}  // namespace ktcheck
