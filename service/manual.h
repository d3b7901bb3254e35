// What ktsvc prints of its own words: the manual page and the completions.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string>

#include "command_line.h"

namespace ktsvc {

// The text that the words ask for which the command line has parsed; nothing when they ask for
// something else.
std::optional<std::string> AskedText(const CommandLine& line);

}  // namespace ktsvc
