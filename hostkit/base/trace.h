// Trace lines, and the one gate through which every framework status passes.
//
// A failure is traced once and then thrown as a bare 32-bit status: tracing and throwing are one
// act, so that a log shows an error once. The message formats are the framework's (KtTrace): "%S"
// takes wide text, "%s" narrow text, "%x" and "%d" 32 bits.
#pragma once

#include <cstdint>

#include "base/module.h"
#include "base/status.h"
#include "ktbus3/ktbus3.h"

namespace kt {

inline constexpr std::uint32_t kInfo = 1;
inline constexpr std::uint32_t kProgress = 2;
inline constexpr std::uint32_t kWarning = 4;
inline constexpr std::uint32_t kDetail = 5;
inline constexpr std::uint32_t kError = 6;

// One line whose first insertion, "%S", is the module's name.
template <typename... Insertions>
void Trace(std::uint32_t level, const char* message, Insertions... insertions) noexcept {
  KtTrace(level, message, ModuleName(), insertions...);
}

// Traces the line (module's name first) and throws the status.
template <typename... Insertions>
[[noreturn]] void TraceAndThrow(KtStatus status, std::uint32_t level, const char* message,
                                Insertions... insertions) {
  KtTrace(level, message, ModuleName(), insertions...);
  throw status;
}

// The gate: nothing when the status succeeds, else trace (module's name first) and throw.
template <typename... Insertions>
void ThrowIfFailed(KtStatus status, std::uint32_t level, const char* message,
                   Insertions... insertions) {
  if (!StatusFails(status)) return;
  KtTrace(level, message, ModuleName(), insertions...);
  throw status;
}

// The same gate for the messages that do not begin with the module's name.
template <typename... Insertions>
void ThrowIfFailedPlain(KtStatus status, std::uint32_t level, const char* message,
                        Insertions... insertions) {
  if (!StatusFails(status)) return;
  KtTrace(level, message, insertions...);
  throw status;
}

}  // namespace kt
