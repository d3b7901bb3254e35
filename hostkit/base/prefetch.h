// kt::Prefetch says that memory will be read soon, so that it comes into the cache while something
// else is done.
#pragma once

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <xmmintrin.h>
#endif

namespace kt {

// The memory around the address; any address, also none. Nothing else happens.
inline void Prefetch(const void* address) noexcept {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#elif defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
#else
  static_cast<void>(address);
#endif
}

}  // namespace kt
