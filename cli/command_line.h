// The command line of ktctl: its verbs and options, and all that --help says.
//
// The parser is made apart from parsing, so that whoever writes a manual page or completions can
// walk it without running anything.
//
// Threads: one.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "options.h"

namespace CLI {
class App;  // <CLI/CLI.hpp>, for whoever owns or walks one
}

namespace ktctl {

// The parser. What it reads it writes to the options, which are lent and must outlive it. Each verb
// is a subcommand; the options of the connection and of the output belong to the App itself and are
// taken behind a verb too.
std::unique_ptr<CLI::App> MakeApp(Options& options);

// The command line asks for a text alone, which is to be printed: --help, --version, "completion",
// "man".
class PrintAndEnd : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the words that follow the program's name; "help VERB" is "VERB --help". Throws PrintAndEnd,
// or a Refusal (kExitWrongWords) for words that make no sense.
Options ParseCommandLine(std::vector<std::string> words);

}  // namespace ktctl
