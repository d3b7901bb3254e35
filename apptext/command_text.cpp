#include "apptext/command_text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>

namespace apptext {
namespace {

// The words of the help itself: the program's own formatter where it has one of the usual kind.
class HelpWords {
 public:
  explicit HelpWords(const CLI::App& app)
      : own_(std::dynamic_pointer_cast<CLI::Formatter>(app.get_formatter())) {}

  [[nodiscard]] std::string Usage(const CLI::App& app) const {
    const std::string line = Formatter().make_usage(&app, "");
    const std::size_t colon = line.find(':');
    return Trimmed(colon == std::string::npos ? line : line.substr(colon + 1));
  }

  [[nodiscard]] std::string Usage(const CLI::Option& argument) const {
    return Formatter().make_option_usage(&argument);
  }

  [[nodiscard]] std::string Value(const CLI::Option& option) const {
    return Trimmed(Formatter().make_option_opts(&option));
  }

  [[nodiscard]] std::string Description(const CLI::Option& option) const {
    return Formatter().make_option_desc(&option);
  }

  [[nodiscard]] std::string Description(const CLI::App& app) const {
    return Trimmed(Formatter().make_description(&app));
  }

 private:
  [[nodiscard]] const CLI::Formatter& Formatter() const { return own_ ? *own_ : usual_; }

  static std::string Trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \n\t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos
               ? std::string()
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
  }

  const std::shared_ptr<CLI::Formatter> own_;
  const CLI::Formatter usual_;
};

// "{a,b}" somewhere in the type's name: what the check of a list of choices calls itself. A choice
// that stands for another value is written "a->1".
std::vector<std::string> ChoicesOf(const std::string& type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{');
  const std::size_t close = type.find('}', open);
  if (open == std::string::npos || close == std::string::npos) {
    return choices;
  }
  for (const std::string& word : CLI::detail::split(type.substr(open + 1, close - open - 1), ',')) {
    choices.push_back(word.substr(0, word.find("->")));
  }
  return choices;
}

ValueKind KindOf(const std::string& type, const std::vector<std::string>& choices) {
  if (!choices.empty()) {
    return ValueKind::kChoice;
  }
  const std::string word = type.substr(0, type.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
  if (word == "FILE" || word == "PATH") {
    return ValueKind::kFile;
  }
  return word == "DIR" || word == "FOLDER" ? ValueKind::kFolder : ValueKind::kText;
}

OptionText OptionOf(const CLI::Option& option, const HelpWords& words) {
  OptionText text;
  for (const std::string& name : option.get_snames()) {
    text.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    text.names.push_back("--" + name);
  }
  text.value = words.Value(option);
  text.description = words.Description(option);
  if (option.get_items_expected_max() > 0) {
    text.choices = ChoicesOf(option.get_type_name());
    text.kind = KindOf(option.get_type_name(), text.choices);
    text.optionalValue = option.get_items_expected_min() == 0;
  }
  text.repeated = option.get_items_expected_max() > 1 ||
                  option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  return text;
}

ArgumentText ArgumentOf(const CLI::Option& option, const HelpWords& words) {
  ArgumentText text;
  text.name = option.get_name(true);
  text.usage = words.Usage(option);
  text.description = words.Description(option);
  text.choices = ChoicesOf(option.get_type_name());
  text.kind = KindOf(option.get_type_name(), text.choices);
  text.required = option.get_required();
  text.repeated = option.get_items_expected_max() > 1;
  return text;
}

void AddOption(CommandText& command, const CLI::Option& option, const std::string& group,
               const HelpWords& words) {
  const auto same = std::find_if(command.groups.begin(), command.groups.end(),
                                 [&group](const OptionGroup& one) { return one.title == group; });
  OptionGroup& home =
      same == command.groups.end() ? command.groups.emplace_back(OptionGroup{group, {}}) : *same;
  home.options.push_back(OptionOf(option, words));
}

// `group` is the title of a part of a command that has no name of its own; empty for the command.
void AddOptions(CommandText& command, const CLI::App& app, const std::string& group,
                const HelpWords& words) {
  const auto own = app.get_options({});
  for (const CLI::Option* option : own) {
    if (option->get_group().empty()) {
      continue;
    }
    if (option->get_positional()) {
      command.arguments.push_back(ArgumentOf(*option, words));
    }
    if (option->nonpositional()) {
      AddOption(command, *option, group.empty() ? option->get_group() : group, words);
    }
  }
}

CommandText Read(const CLI::App& app, const std::string& above,
                 const std::vector<OptionText>& inherited) {
  const HelpWords words(app);
  CommandText command;
  command.name = app.get_name();
  command.path = above.empty() ? command.name : above + " " + command.name;
  command.usage = words.Usage(app);
  command.description = words.Description(app);
  command.footer = app.get_footer();
  command.aliases = app.get_aliases();
  if (app.get_fallthrough()) {
    command.inherited = inherited;
  }
  AddOptions(command, app, "", words);
  const auto parts = app.get_subcommands([](const CLI::App*) { return true; });
  for (const CLI::App* part : parts) {
    const bool hidden = part->get_group().empty() || part->get_disabled();
    if (part->get_name().empty() && !hidden && part->get_group().front() != '+') {
      AddOptions(command, *part, part->get_group(), words);
    }
  }
  const std::vector<OptionText> below = AllOptions(command);
  for (const CLI::App* part : parts) {
    if (!part->get_name().empty() && !part->get_group().empty() && !part->get_disabled()) {
      command.commands.push_back(Read(*part, command.path, below));
    }
  }
  return command;
}

}  // namespace

CommandText Describe(const CLI::App& app) {
  return Read(app, "", {});
}

std::vector<OptionText> AllOptions(const CommandText& command) {
  std::vector<OptionText> all;
  for (const OptionGroup& group : command.groups) {
    all.insert(all.end(), group.options.begin(), group.options.end());
  }
  for (const OptionText& option : command.inherited) {
    const bool hidden = std::any_of(all.begin(), all.end(), [&option](const OptionText& own) {
      return own.names.back() == option.names.back();
    });
    if (!hidden) {
      all.push_back(option);
    }
  }
  return all;
}

std::string Brief(const std::string& description) {
  std::string line;
  for (const std::string& part : Lines(description)) {
    const std::size_t first = part.find_first_not_of(' ');
    if (first == std::string::npos) {
      if (!line.empty()) {
        break;
      }
      continue;
    }
    line += (line.empty() ? "" : " ") + part.substr(first);
  }
  std::size_t end = line.size();
  for (const std::string_view mark : std::array<std::string_view, 4>{": ", "; ", " (", ". "}) {
    const std::size_t at = line.find(mark);
    if (at != std::string::npos && at > 0) {
      end = std::min(end, at);
    }
  }
  line.resize(end);
  while (!line.empty() && (line.back() == '.' || line.back() == ':')) {
    line.pop_back();
  }
  return line;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

}  // namespace apptext
