#include "apptext/shell_scripts.h"

namespace apptext {
namespace {

std::string Escaped(const std::string& text, std::string_view special) {
  std::string escaped;
  for (const char byte : text) {
    if (special.find(byte) != std::string_view::npos) {
      escaped += '\\';
    }
    escaped += byte;
  }
  return escaped;
}

// Between the brackets of an argument line.
std::string Explanation(const std::string& description) {
  return "[" + Escaped(Brief(description), "[]\\:") + "]";
}

// Between the colons of an argument line. An empty one would have another meaning.
std::string Message(const std::string& name) {
  return name.empty() ? " " : Escaped(name, "\\:");
}

// A list of words as the action of an argument line.
std::string Choices(const std::vector<std::string>& words) {
  std::string list = "(";
  for (const std::string& word : words) {
    list += (list.size() > 1 ? " " : "") + Escaped(word, " ()\\:'\"`$&;<>|*?[]#~=");
  }
  return list + ")";
}

std::string Action(ValueKind kind, const std::vector<std::string>& choices) {
  switch (kind) {
    case ValueKind::kFile:
      return "_files";
    case ValueKind::kFolder:
      return "_files -/";
    case ValueKind::kChoice:
      return Choices(choices);
    default:
      return " ";
  }
}

class Script {
 public:
  Script(const CommandText& program, const std::vector<LiveWords>& live)
      : program_(program), live_(live) {}

  std::string Make() {
    const std::string function = FunctionName(program_.name);
    text_ = "#compdef " + program_.name + "\n# zsh completion for " + program_.name +
            ". To have it in this shell:\n#   source <(" + program_.name + " completion zsh)\n";
    for (const LiveWords& live : live_) {
      text_ += "\n" + LiveFunction(live) +
               "() {\n  local -a words_found\n  words_found=(${(f)\"$(" + live.command +
               " 2>/dev/null)\"})\n  compadd -a words_found";
      text_ += live.files ? " || _files\n}\n" : "\n}\n";
    }
    for (const CommandText* command : AllCommands(program_)) {
      Function(*command);
    }
    // Found in a folder of completions it is the function's body; sourced it only announces itself.
    text_ += "\nif [[ ${funcstack[1]} == " + function + " ]]; then\n  " + function +
             " \"$@\"\nelse\n  compdef " + function + " " + program_.name + "\nfi\n";
    return text_;
  }

 private:
  [[nodiscard]] std::string LiveFunction(const LiveWords& live) const {
    return FunctionName(program_.name) + "_live_" + live.argument;
  }

  void Function(const CommandText& command) {
    const std::string function = FunctionName(command.path);
    text_ += "\n" + function + "() {\n  local curcontext=$curcontext state\n";
    if (!command.commands.empty()) {
      text_ += "  local -a commands\n";
    }
    text_ += "  _arguments -S -C";
    for (const OptionText& option : AllOptions(command)) {
      for (const std::string& name : option.names) {
        text_ += " \\\n    " + Quoted(ArgumentLine(option, name));
      }
    }
    if (command.commands.empty()) {
      Arguments(command);
      text_ += "\n}\n";
      return;
    }
    text_ += " \\\n    '1: :->command' \\\n    '*:: :->words'\n  case $state in\n    command)\n";
    text_ += "      commands=(\n";
    for (const CommandText& below : command.commands) {
      text_ +=
          "        " + Quoted(Escaped(below.name, "\\:") + ":" + Brief(below.description)) + "\n";
    }
    text_ += "      )\n      _describe -t commands " + Quoted(command.path + " command") +
             " commands\n      ;;\n    words)\n      case ${words[1]} in\n";
    for (const CommandText& below : command.commands) {
      std::string names;
      for (const std::string& name : NamesOf(below)) {
        names += (names.empty() ? "" : " | ") + Quoted(name);
      }
      text_ += "        " + names + ") " + FunctionName(below.path) + " ;;\n";
    }
    text_ += "      esac\n      ;;\n  esac\n}\n";
  }

  // "(-q --quiet)-q[No progress]": the names in brackets are not offered any more.
  static std::string ArgumentLine(const OptionText& option, const std::string& name) {
    std::string text;
    if (option.repeated) {
      text = "*";
    } else if (option.names.size() > 1) {
      text = "(";
      for (const std::string& other : option.names) {
        text += (text.size() > 1 ? " " : "") + other;
      }
      text += ")";
    }
    const bool isLong = name.rfind("--", 0) == 0;
    text += name;
    if (option.kind == ValueKind::kNone) {
      return text + Explanation(option.description);
    }
    text += isLong ? "=" : "+";
    return text + Explanation(option.description) + (option.optionalValue ? "::" : ":") +
           Message(option.value) + ":" + Action(option.kind, option.choices);
  }

  void Arguments(const CommandText& command) {
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
      const ArgumentText& argument = command.arguments[i];
      const LiveWords* const live = LiveOf(live_, argument.name);
      const std::string place = argument.repeated ? "*:" : std::to_string(i + 1) + ":";
      text_ += " \\\n    " + Quoted(place + (argument.required || argument.repeated ? "" : ":") +
                                    Message(argument.name) + ":" +
                                    (live == nullptr ? Action(argument.kind, argument.choices)
                                                     : LiveFunction(*live)));
    }
  }

  const CommandText& program_;
  const std::vector<LiveWords>& live_;
  std::string text_;
};

}  // namespace

std::string ZshCompletion(const CommandText& program, const std::vector<LiveWords>& live) {
  return Script(program, live).Make();
}

}  // namespace apptext
