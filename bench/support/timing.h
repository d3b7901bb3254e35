// A stretch of an operation that tells its own time (operation.h, RunTimed()): its seconds, and
// where instructions are counted, those of nothing else.
//
//   const Timing timing;
//   the work
//   return timing.Seconds();
#pragma once

#include <chrono>

#include "bench/support/collection.h"

namespace kt::bench {

class Timing {
 public:
  [[nodiscard]] double Seconds() const {
    return std::chrono::duration<double>(Watch::now() - start_).count();
  }

 private:
  using Watch = std::chrono::steady_clock;
  Collection collecting_;
  Watch::time_point start_ = Watch::now();
};

}  // namespace kt::bench
