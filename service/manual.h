// The manual page and the completions of ktsvc, made from its command line.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ktsvc {

// ktsvc(1), in man(7) macros.
std::string ManualPage();

// The script that completes ktsvc's words in "bash", "zsh" or "fish"; nothing for another shell.
std::optional<std::string> CompletionScript(std::string_view shell);

}  // namespace ktsvc
