// Asks for memory before it is needed, where the compiler knows how; nothing else depends on it.
#pragma once

namespace kt::bus {

// Any address may be given, also one that is none.
inline void Prefetch(const void* address) noexcept {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#else
  static_cast<void>(address);
#endif
}

}  // namespace kt::bus
