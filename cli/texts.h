// The texts that ktctl has of itself: its manual page and its completions, made of its parser.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ktctl {

// The manual page, in man(7) macros.
std::string ManualPage();

// The completions for "bash", "zsh" or "fish"; nothing for another word. While a person types, they
// ask the service for the names of objects and types.
std::optional<std::string> CompletionScript(std::string_view shell);

}  // namespace ktctl
