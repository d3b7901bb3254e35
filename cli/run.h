// ktctl from its words to its exit status.
//
// Threads: one.
#pragma once

#include <string>
#include <vector>

#include "console.h"
#include "options.h"
#include "verbs.h"

namespace ktctl {

// Does what the words behind the program's name ask for. Results go to the console's output, what
// is wrong to its messages. Nothing is thrown. Returns the exit status (exit_status.h).
int Run(const std::vector<std::string>& words, const Variables& variables, Console& console);

// The function behind a verb; null for one that has none.
Verb FindVerb(const std::string& name) noexcept;

}  // namespace ktctl
