// CommandText: what the help of a program says about one of its commands, taken out of the parser.
//
// The manual page and the completions are made from it, so that they say what --help says. What the
// help hides (an option or a command without a group) is not in it.
//
// Threads: pure functions and values.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace apptext {

// What stands where a value is expected, as far as its name tells.
enum class ValueKind {
  kNone,    // a flag: no value
  kText,    // anything
  kFile,    // FILE or PATH
  kFolder,  // DIR or FOLDER
  kChoice,  // one of a list
};

struct OptionText {
  std::vector<std::string> names;  // as they are typed, short ones first: "-q", "--quiet"
  std::string value;               // what the help shows behind the names: "FILE"; empty for a flag
  std::string description;         // as the help has it, lines and all
  ValueKind kind = ValueKind::kNone;
  std::vector<std::string> choices;
  bool optionalValue = false;  // the value may be left out
  bool repeated = false;       // may be given several times
};

// A word of the command line by its place.
struct ArgumentText {
  std::string name;  // "PROVIDER"
  std::string
      usage;  // as the usage line has it: "PROVIDER...", or in brackets when it may be left out
  std::string description;
  ValueKind kind = ValueKind::kText;
  std::vector<std::string> choices;
  bool required = false;
  bool repeated = false;  // takes all words that are left
};

struct OptionGroup {
  std::string title;  // "Options"
  std::vector<OptionText> options;
};

struct CommandText {
  std::string name;   // "run"
  std::string path;   // "ktsvc run"
  std::string usage;  // what follows the path in its usage line: "[OPTIONS] PROVIDER..."
  std::string description;
  std::string footer;
  std::vector<std::string> aliases;
  std::vector<ArgumentText> arguments;
  std::vector<OptionGroup> groups;
  std::vector<OptionText> inherited;  // options of commands above that are understood here too
  std::vector<CommandText> commands;
};

// Reads a program, with all its commands. `app` needs a name; it is not run.
CommandText Describe(const CLI::App& app);

// The options of all groups, and the inherited ones.
std::vector<OptionText> AllOptions(const CommandText& command);

// A description on one line, for a list: its first sentence or what stands before a colon, a
// semicolon or a bracket, when that is something.
std::string Brief(const std::string& description);

// Lines of a text, without their line feeds.
std::vector<std::string> Lines(const std::string& text);

}  // namespace apptext
