// What a person's terminal is given must not be able to command it.
//
// Threads: pure functions.
#pragma once

#include <string>

namespace kt::fuzz {

// The text is well-formed UTF-8 without control characters, the upper ones included.
void RequirePrintable(const std::string& text, const std::string& rule);

}  // namespace kt::fuzz
