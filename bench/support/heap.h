// What the program has taken from the heap and not given back, in bytes: all arenas of the C
// library, and the blocks that it maps for themselves.
#pragma once

#include <malloc.h>

namespace kt::bench {

inline double HeapInUse() noexcept {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

}  // namespace kt::bench
