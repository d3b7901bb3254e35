// Where the threads of this process stand, whoever started them.
//
// A thread that does not let itself be asked has an empty stack.
//
// Threads: one caller at a time. The others are stopped for a moment, each by itself.
#pragma once

#include <cstdint>
#include <vector>

#include "ktcheck/call_stack.h"

namespace ktcheck {

struct ThreadStack {
  std::uint64_t thread = 0;  // the system's number of it
  CallStack stack;
  bool blocks_asking = false;  // it blocks signals
};

// All threads but the calling one.
std::vector<ThreadStack> OtherThreads();

// The calling one.
std::uint64_t ThisThread() noexcept;

}  // namespace ktcheck
