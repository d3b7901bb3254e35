#include "apptext/completion.h"

#include <algorithm>

#include "apptext/shell_scripts.h"

namespace apptext {
namespace {

void Collect(const CommandText& command, std::vector<const CommandText*>& all) {
  all.push_back(&command);
  for (const CommandText& below : command.commands) {
    Collect(below, all);
  }
}

}  // namespace

std::optional<Shell> ShellNamed(std::string_view name) noexcept {
  if (name == "bash") {
    return Shell::kBash;
  }
  if (name == "zsh") {
    return Shell::kZsh;
  }
  if (name == "fish") {
    return Shell::kFish;
  }
  return std::nullopt;
}

std::string Completion(const CLI::App& app, Shell shell, const std::vector<LiveWords>& live) {
  const CommandText program = Describe(app);
  switch (shell) {
    case Shell::kBash:
      return BashCompletion(program, live);
    case Shell::kZsh:
      return ZshCompletion(program, live);
    case Shell::kFish:
      break;
  }
  return FishCompletion(program, live);
}

std::string Quoted(std::string_view text) {
  std::string quoted = "'";
  for (const char byte : text) {
    if (byte == '\'') {
      quoted += "'\\''";
    } else {
      quoted += byte == '\n' ? ' ' : byte;
    }
  }
  return quoted + "'";
}

std::string FunctionName(std::string_view path) {
  std::string name = "_";
  for (const char byte : path) {
    name += byte == ' ' ? '_' : byte;
  }
  return name;
}

const LiveWords* LiveOf(const std::vector<LiveWords>& live, const std::string& argument) {
  const auto found = std::find_if(live.begin(), live.end(), [&argument](const LiveWords& words) {
    return words.argument == argument;
  });
  return found == live.end() ? nullptr : &*found;
}

std::vector<const CommandText*> AllCommands(const CommandText& program) {
  std::vector<const CommandText*> all;
  Collect(program, all);
  return all;
}

bool TakesWord(const OptionText& option) noexcept {
  return option.kind != ValueKind::kNone && !option.optionalValue;
}

std::vector<std::string> NamesOf(const CommandText& command) {
  std::vector<std::string> names{command.name};
  names.insert(names.end(), command.aliases.begin(), command.aliases.end());
  return names;
}

}  // namespace apptext
