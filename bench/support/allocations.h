// Counts what the program takes from the heap: by malloc and its kin, whoever calls them, the C++
// library and the loaded modules among them. Linked into the programs that ask for it, nowhere
// else.
#pragma once

#include <cstdint>

namespace kt::bench {

// Allocations of the calling thread so far.
std::uint64_t AllocationsOfThread() noexcept;

}  // namespace kt::bench
