// Asks the system for large pages behind memory that is large and touched all over, by chance: with
// pages of 4 KiB the processor has to look up nearly each place that is touched, in tables that are
// in no cache either.
//
// It is a wish. Where the system does not know it, or has no such page left, the memory stays as it
// is. Only whole large pages inside the memory are asked for; what is smaller has none.
//
// Threads: from any thread.
// Failure: nothing throws; nobody is told.
#pragma once

#include <cstddef>

namespace kt::bus {

// What a large page usually has, in bytes.
inline constexpr std::size_t kHugePage = std::size_t{2} * 1024 * 1024;

// For memory of that many bytes, before it is first written to. It may be given back as ever.
void WantHugePages(void* memory, std::size_t size) noexcept;

}  // namespace kt::bus
