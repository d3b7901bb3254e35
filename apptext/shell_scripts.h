// What the makers of the three scripts share.
//
// Threads: pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "apptext/command_text.h"
#include "apptext/completion.h"

namespace apptext {

std::string BashCompletion(const CommandText& program, const std::vector<LiveWords>& live);
std::string ZshCompletion(const CommandText& program, const std::vector<LiveWords>& live);
std::string FishCompletion(const CommandText& program, const std::vector<LiveWords>& live);

// The text in quotes that a POSIX shell (and so bash and zsh) takes apart again, on one line.
std::string Quoted(std::string_view text);

// The name of a shell function for a command: "_ktsvc_run" for "ktsvc run".
std::string FunctionName(std::string_view path);

// The live words of that argument; null when there are none.
const LiveWords* LiveOf(const std::vector<LiveWords>& live, const std::string& argument);

// Every command of the program, itself first.
std::vector<const CommandText*> AllCommands(const CommandText& program);

// True when the option takes the next word of the command line with it.
bool TakesWord(const OptionText& option) noexcept;

// The names of a command: its own and its aliases.
std::vector<std::string> NamesOf(const CommandText& command);

}  // namespace apptext
