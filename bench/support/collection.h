// A stretch of the program whose instructions are counted when it runs under callgrind with
// --collect-atstart=no; elsewhere it is nothing.
#pragma once

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_ZERO_STATS
#endif

namespace kt::bench {

class Collection {
 public:
  Collection() noexcept { Toggle(); }
  ~Collection() { Toggle(); }
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  // Forgets what was counted so far.
  static void Restart() noexcept { CALLGRIND_ZERO_STATS; }

 private:
  static void Toggle() noexcept { CALLGRIND_TOGGLE_COLLECT; }
};

}  // namespace kt::bench
