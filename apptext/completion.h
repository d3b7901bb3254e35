// Completion: the script with which a shell completes a program's words, made from the parser that
// reads them.
//
// Commands, options and choices are completed; so are files where a value is called FILE or PATH,
// and folders where it is called DIR or FOLDER. What only the program knows, it is asked for when
// the person presses Tab.
//
// Threads: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace apptext {

enum class Shell { kBash, kZsh, kFish };

// "bash", "zsh", "fish".
std::optional<Shell> ShellNamed(std::string_view name) noexcept;

// Where the words for an argument come from that only the program knows.
struct LiveWords {
  std::string argument;  // its name: "PROVIDER"
  std::string
      command;         // a command for the shell that prints the words, one a line: "ktsvc modules"
  bool files = false;  // a file is as good
};

// The script. It defines functions whose names begin with the program's, runs nothing when it is
// read, and can be both sourced and put where the shell looks for completions: as NAME for bash and
// as _NAME for zsh and NAME.fish for fish. bash 4, zsh 5 and fish 3 understand it. `app` needs a
// name of letters, digits, "-" and "_", and is not run.
std::string Completion(const CLI::App& app, Shell shell, const std::vector<LiveWords>& live = {});

}  // namespace apptext
