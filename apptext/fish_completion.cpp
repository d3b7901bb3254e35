#include "apptext/shell_scripts.h"

namespace apptext {
namespace {

// In single quotes fish knows two escapes.
std::string FishQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char byte : text) {
    if (byte == '\'' || byte == '\\') {
      quoted += '\\';
    }
    quoted += byte == '\n' ? ' ' : byte;
  }
  return quoted + "'";
}

// Words for "-a", which takes a text apart once more: blanks separate, quotes hold together.
std::string WordList(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) {
    list += (list.empty() ? "" : " ") + FishQuoted(word);
  }
  return FishQuoted(list);
}

class Script {
 public:
  Script(const CommandText& program, const std::vector<LiveWords>& live)
      : program_(program), live_(live), at_("_" + FunctionName(program.name) + "_at") {}

  std::string Make() {
    text_ = "# fish completion for " + program_.name + ". To have it in this shell:\n#   " +
            program_.name + " completion fish | source\n\n";
    Walk();
    text_ += "\ncomplete -c " + program_.name + " -f\n";
    for (const CommandText* command : AllCommands(program_)) {
      text_ += "\n# " + command->path + "\n";
      Words(*command);
    }
    return text_;
  }

 private:
  // The function that says whether the line has come to a command, and to which of its arguments.
  void Walk() {
    text_ +=
        "# True when the line has come to that command; and, when they are given, when the next\n"
        "# argument has that number (\"2\") or a higher one (\"2+\").\n"
        "function " +
        at_ +
        " --argument-names wanted place\n"
        "    set -l command " +
        FishQuoted(program_.name) +
        "\n"
        "    set -l takes 0\n"
        "    set -l options 1\n"
        "    set -l arguments 0\n"
        "    set -l words (commandline -opc)\n"
        "    set -e words[1]\n"
        "    for word in $words\n"
        "        if test $takes -eq 1\n"
        "            set takes 0\n"
        "            continue\n"
        "        end\n"
        "        if test $options -eq 1; and string match -q -- '-*' $word\n"
        "            switch $command:$word\n";
    for (const CommandText* command : AllCommands(program_)) {
      for (const OptionText& option : AllOptions(*command)) {
        if (!TakesWord(option)) {
          continue;
        }
        text_ += "                case";
        for (const std::string& name : option.names) {
          text_ += " " + FishQuoted(command->path + ":" + name);
        }
        text_ += "\n                    set takes 1\n";
      }
    }
    text_ +=
        "                case '*:--'\n"
        "                    set options 0\n"
        "            end\n"
        "            continue\n"
        "        end\n"
        "        switch $command:$word\n";
    for (const CommandText* command : AllCommands(program_)) {
      for (const CommandText& below : command->commands) {
        text_ += "            case";
        for (const std::string& name : NamesOf(below)) {
          text_ += " " + FishQuoted(command->path + ":" + name);
        }
        text_ += "\n                set command " + FishQuoted(below.path) + "\n";
      }
    }
    text_ +=
        "            case '*'\n"
        "                set arguments (math $arguments + 1)\n"
        "        end\n"
        "    end\n"
        "    test \"$command\" = \"$wanted\"\n"
        "    or return 1\n"
        "    switch \"$place\"\n"
        "        case ''\n"
        "            return 0\n"
        "        case '*+'\n"
        "            test $arguments -ge (string trim -c + -- $place)\n"
        "        case '*'\n"
        "            test $arguments -eq $place\n"
        "    end\n"
        "end\n";
  }

  void Line(const CommandText& command, const std::string& place, const std::string& rest) {
    const std::string condition =
        at_ + " " + FishQuoted(command.path) + (place.empty() ? "" : " " + place);
    text_ += "complete -c " + program_.name + " -n " + FishQuoted(condition) + rest + "\n";
  }

  static std::string Explanation(const std::string& description) {
    const std::string brief = Brief(description);
    return brief.empty() ? "" : " -d " + FishQuoted(brief);
  }

  // Files are offered for a value unless fish is told that there are none.
  static std::string Taking(const OptionText& option) {
    if (!TakesWord(option)) {
      return "";
    }
    return option.kind == ValueKind::kFile ? " -r" : " -x";
  }

  static std::string Value(ValueKind kind, const std::vector<std::string>& choices) {
    switch (kind) {
      case ValueKind::kFile:
        return " -F";
      case ValueKind::kFolder:
        return " -a '(__fish_complete_directories)'";
      case ValueKind::kChoice:
        return " -a " + WordList(choices);
      default:
        return "";
    }
  }

  void Words(const CommandText& command) {
    for (const OptionText& option : AllOptions(command)) {
      std::string names;
      for (const std::string& name : option.names) {
        const bool isLong = name.rfind("--", 0) == 0;
        names += isLong ? " -l " + FishQuoted(name.substr(2)) : " -s " + FishQuoted(name.substr(1));
      }
      Line(command, "",
           names + Taking(option) + Value(option.kind, option.choices) +
               Explanation(option.description));
    }
    for (const CommandText& below : command.commands) {
      Line(command, "0", " -a " + FishQuoted(below.name) + Explanation(below.description));
    }
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
      const ArgumentText& argument = command.arguments[i];
      const std::string place = std::to_string(i) + (argument.repeated ? "+" : "");
      const LiveWords* const live = LiveOf(live_, argument.name);
      if (live == nullptr) {
        const std::string value = Value(argument.kind, argument.choices);
        if (!value.empty()) {
          Line(command, place, value);
        }
        continue;
      }
      Line(command, place, " -a " + FishQuoted("(" + live->command + " 2>/dev/null)"));
      if (live->files) {
        // fish would show all files beside the words.
        Line(command, place + "; and string match -q -- \"*/*\" (commandline -ct)", " -F");
      }
    }
  }

  const CommandText& program_;
  const std::vector<LiveWords>& live_;
  const std::string at_;
  std::string text_;
};

}  // namespace

std::string FishCompletion(const CommandText& program, const std::vector<LiveWords>& live) {
  return Script(program, live).Make();
}

}  // namespace apptext
