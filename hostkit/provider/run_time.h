// The run-time library of a Windows module whose entry point is its own.
#pragma once

#include <cstdint>

namespace kt {

// The run-time library's start-up (reason 1) or termination (reason 0) for this module, with the
// three arguments as the system passed them. On reason 1 constructors of globals run, on reason 0
// their destructors.
void NotifyRunTime(void* instance, std::uint32_t reason, void* reserved) noexcept;

}  // namespace kt
