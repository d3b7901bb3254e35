// How files stand in the commands and sentences that a person is given.
//
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <string>

namespace ktsvc {

// The name as one word of a shell command.
std::string ShellWord(const std::string& text);

// Permission bits in the form that chmod takes, "0644"; four digits.
std::string ModeText(std::uint32_t mode);

}  // namespace ktsvc
