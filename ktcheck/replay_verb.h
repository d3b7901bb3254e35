// ktcheck --replay: runs a module against a recorded life.
#pragma once

#include "ktcheck/options.h"

namespace ktcheck {

// Prints the first difference, or that there is none. The exit status: 0 no difference, 1 a
// difference, 2 nothing could be tried.
int RunReplay(const Options& options);

}  // namespace ktcheck
