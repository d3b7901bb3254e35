// ktcheck --replay: runs a module against a recorded life, in a process of its own.
//
// Threads: one thread.
#pragma once

#include <filesystem>
#include <functional>

#include "ktcheck/options.h"

namespace ktcheck {

// Prints the first difference, or that there is none, for people or as JSON. The exit status: 0 no
// difference, 1 a difference, or the module crashed, 2 nothing could be tried, 3 nothing is known.
// `scratch` is a folder to write in; `stopped` says that the person does not want to wait any
// longer: nothing is printed then. Throws std::runtime_error when no process can be started.
int RunReplay(const Options& options, const std::filesystem::path& scratch,
              const std::function<bool()>& stopped);

// The replay itself, in the process that was started for it; it tells its report.
int RunReplayHere(const Options& options);

}  // namespace ktcheck
