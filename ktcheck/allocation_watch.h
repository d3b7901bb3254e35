// What the module allocates from the C run-time library: malloc and its like, and with them
// operator new.
//
// This program stands in front of the library's functions, where it can: on Linux, without a
// sanitizer, which stands there itself. Elsewhere nothing is seen, and nothing fails.
//
// An allocation counts as the module's when its code asks for it, by itself or through the run-time
// libraries of C and C++: a string that grows, a thread that starts. What the framework or another
// library allocates on its way is not made to fail; what another library allocates for the module
// is remembered like its own.
//
// Threads: everything from any thread; one user at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ktcheck/call_stack.h"

namespace ktcheck {

// Whether allocations are seen here.
bool AllocationsAreSeen() noexcept;

// ---- Failing them ------------------------------------------------------------------------------

struct AllocationCount {
  std::uint64_t made = 0;
  std::uint64_t failed = 0;
  CallStack failed_at;  // the last one that failed
};

// Counts from now on. Only the allocation of that number fails, from 1 on; 0: none.
void CountAllocations(std::uint64_t failing);
// Ends it.
AllocationCount AllocationsCounted();

// ---- Remembering them --------------------------------------------------------------------------

// Memory that was allocated at one place, and not freed.
struct KeptMemory {
  std::uint64_t bytes = 0;
  std::uint64_t blocks = 0;
  CallStack stack;
  bool by_module = true;  // false: by another library, for it
};

// From now on what the module allocates is remembered until it is freed.
void RememberAllocations();
// What was allocated before is remembered no more.
void ForgetAllocations();
// What is there now, the most bytes first.
std::vector<KeptMemory> MostKept();

}  // namespace ktcheck
