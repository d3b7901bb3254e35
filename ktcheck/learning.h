// Learning: what there is to do in a life of the module, found out by a walk.
//
// Threads: one thread.
#pragma once

#include <optional>
#include <vector>

#include "ktcheck/bench.h"
#include "ktcheck/walker.h"

namespace ktcheck {

// The controls that the module knows, but for those of a long list; learned in a life of its own.
// Nothing when it does not live, which is told; what else is wrong in such a life is the check
// "walk"'s to tell.
std::optional<std::vector<KnownControl>> LearnControls(Bench& bench);

// Whether the finding means that there will be no life in this process, so that nothing can be
// tried.
bool EndsTheCheck(const Finding& finding);

}  // namespace ktcheck
