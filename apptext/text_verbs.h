// The two commands with which a program prints its own manual page and its completions:
// `NAME man` and `NAME completion SHELL`.
//
//   apptext::AddTextVerbs(app);                            // where the parser is made
//   if (auto text = apptext::AskedText(app, info, live)) { // after it ran
//
// Threads: one thread for each parser.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apptext/completion.h"
#include "apptext/man_page.h"

namespace apptext {

// Adds both commands to the program. `app` needs its name.
void AddTextVerbs(CLI::App& app);

// The text that the words ask for which the parser has read; nothing when they gave it neither of
// the two commands.
std::optional<std::string> AskedText(const CLI::App& app, const ManualInfo& info,
                                     const std::vector<LiveWords>& live = {});

}  // namespace apptext
