// The verdict on a module, for people and for programs.
//
// Threads: pure functions.
#pragma once

#include <string>
#include <vector>

#include "ktcheck/options.h"
#include "ktcheck/runner.h"

namespace ktcheck {

// True when no check found anything.
bool Passed(const std::vector<CheckResult>& results);

std::string VerdictText(const Options& options, const std::vector<CheckResult>& results);

// One JSON document with its line end.
std::string VerdictJson(const Options& options, const std::vector<CheckResult>& results);

}  // namespace ktcheck
