// How much memory of the C run-time library's is in use in this process.
//
// Threads: any thread.
#pragma once

#include <cstdint>
#include <optional>

namespace ktcheck {

// In bytes: what the module has and remembers to free, where allocations are seen
// (allocation_watch.h) and remembered; elsewhere all that is in use, whoever has it. Nothing where
// it cannot be told.
std::optional<std::uint64_t> MemoryInUse();

}  // namespace ktcheck
