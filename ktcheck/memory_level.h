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

// So many bytes a life stay with any module that is called, whatever it does, and are not told. On
// Windows, where the whole heap is looked at, 144 were seen with modules of quite different kinds
// that are linked with their run-time library.
#ifdef _WIN32
inline constexpr std::uint64_t kStaysAnyway = 192;
#else
inline constexpr std::uint64_t kStaysAnyway = 0;
#endif

}  // namespace ktcheck
