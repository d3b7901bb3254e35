#include "apptext/shell_scripts.h"

namespace apptext {
namespace {

// The functions that do not depend on the program's words. PROGRAM stands for the name's function.
// `current`, `prefix` and COMPREPLY are the caller's. A prefix is what the line has before the word
// that is completed, where bash sees them as one.
constexpr const char* kHelpers = R"(
# Adds those of the words that begin as the current one does.
PROGRAM_words() {
  local word
  for word in "$@"; do
    if [[ -n $word && $word == "$current"* ]]; then
      COMPREPLY+=("$prefix$word")
    fi
  done
}

# Adds files ("-f") or folders ("-d").
PROGRAM_paths() {
  local path
  compopt -o filenames 2>/dev/null
  while IFS= read -r path; do
    COMPREPLY+=("$prefix$path")
  done < <(compgen "$1" -- "$current")
}

# Adds the lines of a text, each quoted as a word: whatever stands in it, the shell takes it as it is.
PROGRAM_lines() {
  local line word
  while IFS= read -r line; do
    printf -v word '%q' "$line"
    if [[ -n $line && ($word == "$current"* || $line == "$current"*) ]]; then
      COMPREPLY+=("$prefix$word")
    fi
  done <<<"$1"
}
)";

// Which command the line has come to, and what the current word is for.
constexpr const char* kWalkBegin = R"(
PROGRAM_complete() {
  local current=${COMP_WORDS[COMP_CWORD]} prefix='' command=NAME takes='' word
  local -i i arguments=0 options=1
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ -n $takes ]]; then
      # "--option=value" comes as three words.
      if [[ $word != '=' ]]; then
        takes=''
      fi
      continue
    fi
    if ((options)) && [[ $word == -- ]]; then
      options=0
      continue
    fi
    if ((options)) && [[ $word == -?* ]]; then
      case $command:$word in
)";

constexpr const char* kWalkCommands = R"(      esac
      continue
    fi
    case $command:$word in
)";

constexpr const char* kWalkEnd = R"(      *) arguments+=1 ;;
    esac
  done
  if [[ -n $takes && $current == '=' ]]; then
    current=''
  elif ((options)) && [[ -z $takes && $current == --*=* ]]; then
    takes=$command:${current%%=*}
    prefix=${current%%=*}=
    current=${current#*=}
  fi
  if [[ -n $takes ]]; then
    case $takes in
)";

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

class Script {
 public:
  Script(const CommandText& program, const std::vector<LiveWords>& live)
      : program_(program), live_(live), function_(FunctionName(program.name)) {}

  std::string Make() {
    text_ = "# bash completion for " + program_.name +
            ". To have it in this shell:\n#   source <(" + program_.name + " completion bash)\n" +
            Filled(kHelpers);
    text_ += Filled(kWalkBegin);
    EachOption([this](const CommandText& command, const OptionText& option) {
      if (TakesWord(option)) {
        text_ += "        " + Keys(command, option) + ") takes=$command:$word ;;\n";
      }
    });
    text_ += Filled(kWalkCommands);
    for (const CommandText* command : AllCommands(program_)) {
      for (const CommandText& below : command->commands) {
        std::string keys;
        for (const std::string& name : NamesOf(below)) {
          keys += (keys.empty() ? "" : " | ") + Quoted(command->path + ":" + name);
        }
        text_ += "      " + keys + ") command=" + Quoted(below.path) + " ;;\n";
      }
    }
    text_ += Filled(kWalkEnd);
    EachOption([this](const CommandText& command, const OptionText& option) {
      const std::string action = Action(option.kind, option.choices);
      if (!action.empty()) {
        text_ += "      " + Keys(command, option) + ") " + action + " ;;\n";
      }
    });
    text_ += "    esac\n    return\n  fi\n";
    Words();
    text_ += "}\n\ncomplete -F " + function_ + "_complete " + program_.name + "\n";
    return text_;
  }

 private:
  [[nodiscard]] std::string Filled(const char* text) const {
    return Replaced(Replaced(text, "PROGRAM", function_), "NAME", Quoted(program_.name));
  }

  template <typename Function>
  void EachOption(const Function& function) {
    for (const CommandText* command : AllCommands(program_)) {
      for (const OptionText& option : AllOptions(*command)) {
        function(*command, option);
      }
    }
  }

  static std::string Keys(const CommandText& command, const OptionText& option) {
    std::string keys;
    for (const std::string& name : option.names) {
      keys += (keys.empty() ? "" : " | ") + Quoted(command.path + ":" + name);
    }
    return keys;
  }

  // What adds the candidates for a value; empty when nothing is known of it.
  [[nodiscard]] std::string Action(ValueKind kind, const std::vector<std::string>& choices) const {
    switch (kind) {
      case ValueKind::kFile:
        return function_ + "_paths -f";
      case ValueKind::kFolder:
        return function_ + "_paths -d";
      case ValueKind::kChoice:
        return WordsCall(choices);
      default:
        return "";
    }
  }

  [[nodiscard]] std::string WordsCall(const std::vector<std::string>& words) const {
    std::string call = function_ + "_words";
    for (const std::string& word : words) {
      call += " " + Quoted(word);
    }
    return call;
  }

  [[nodiscard]] std::vector<std::string> ActionsOf(const ArgumentText& argument) const {
    std::vector<std::string> actions;
    if (const LiveWords* live = LiveOf(live_, argument.name); live != nullptr) {
      actions.push_back(function_ + "_lines \"$(" + live->command + " 2>/dev/null)\"");
      if (live->files) {
        actions.push_back("((${#COMPREPLY[@]})) || " + function_ + "_paths -f");
      }
    } else if (std::string action = Action(argument.kind, argument.choices); !action.empty()) {
      actions.push_back(std::move(action));
    }
    return actions;
  }

  // Options after a dash, else commands or the argument at this place.
  void Words() {
    text_ += "  if ((options)) && [[ $current == -* ]]; then\n    case $command in\n";
    for (const CommandText* command : AllCommands(program_)) {
      std::vector<std::string> names;
      for (const OptionText& option : AllOptions(*command)) {
        names.insert(names.end(), option.names.begin(), option.names.end());
      }
      if (!names.empty()) {
        text_ += "      " + Quoted(command->path) + ") " + WordsCall(names) + " ;;\n";
      }
    }
    text_ += "    esac\n    return\n  fi\n  case $command:$arguments in\n";
    for (const CommandText* command : AllCommands(program_)) {
      std::vector<std::string> names;
      for (const CommandText& below : command->commands) {
        names.push_back(below.name);
      }
      if (!names.empty()) {
        text_ += "    " + Quoted(command->path) + ":0) " + WordsCall(names) + " ;;\n";
      }
      for (std::size_t i = 0; i < command->arguments.size(); ++i) {
        const ArgumentText& argument = command->arguments[i];
        const std::vector<std::string> actions = ActionsOf(argument);
        if (actions.empty()) {
          continue;
        }
        text_ += "    " + Quoted(command->path) + ":" +
                 (argument.repeated ? "*" : std::to_string(i)) + ")\n";
        for (const std::string& action : actions) {
          text_ += "      " + action + "\n";
        }
        text_ += "      ;;\n";
      }
    }
    text_ += "  esac\n";
  }

  const CommandText& program_;
  const std::vector<LiveWords>& live_;
  const std::string function_;
  std::string text_;
};

}  // namespace

std::string BashCompletion(const CommandText& program, const std::vector<LiveWords>& live) {
  return Script(program, live).Make();
}

}  // namespace apptext
