// Tells where this process crashes, in the form of a report's line, before it ends as it would have
// ended without.
//
// Threads: install it once, before others are started.
#pragma once

#include <filesystem>

namespace ktcheck {

// From now on a crash appends a line to the file.
void ReportCrashesTo(const std::filesystem::path& file);

}  // namespace ktcheck
