#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "command_line.h"
#include "default_socket.h"
#include "host_system.h"
#include "manual.h"
#include "module_locator.h"

namespace ktsvc {
namespace {

[[noreturn]] void Refuse(const std::string& why, const std::string& help) {
  throw CommandLineEnd("ktsvc: " + why + "\nTry: " + help + "\n", kExitUsage);
}

void CheckManagement(const Options& options, const std::string& help) {
  if (options.once && (!options.socket.empty() || !options.listen.empty())) {
    Refuse("--once ends before anybody could ask: --socket and --listen have no meaning with it",
           help);
  }
  if (!options.socket.empty() && options.noSocket) {
    Refuse("--socket and --no-socket contradict each other", help);
  }
  if (!options.socket.empty() && !HasSocketFiles()) {
    Refuse("--socket has no meaning on this system: use --listen", help);
  }
  if (!options.listen.empty() && options.tokenFile.empty()) {
    Refuse("--listen needs --token-file, which says who may connect", help);
  }
  if (options.listen.empty() && !options.tokenFile.empty()) {
    Refuse("--token-file has a meaning with --listen only", help);
  }
}

// What the parser cannot know about the values.
void Check(const Options& options) {
  const std::string help = "ktsvc run --help";
  if (!options.registry.empty() && !RegistryIsAFolder()) {
    Refuse("--registry has no meaning here: providers read the registry of the system itself",
           help);
  }
  std::error_code error;
  if (!options.registry.empty() && !std::filesystem::is_directory(options.registry, error)) {
    Refuse("--registry: there is no folder " + PathText(options.registry), help);
  }
  if (!options.moduleFolder.empty() &&
      !std::filesystem::is_directory(options.moduleFolder, error)) {
    Refuse("--module-folder: there is no folder " + PathText(options.moduleFolder), help);
  }
  CheckManagement(options, help);
  if (std::any_of(options.providers.begin(), options.providers.end(),
                  [](const std::string& word) { return word.empty(); })) {
    Refuse("PROVIDER: an empty word names no module", help);
  }
}

bool HasCommand(const CLI::App& app, const std::string& name) {
  return !app.get_subcommands(
                 [&name](const CLI::App* command) { return command->get_name() == name; })
              .empty();
}

// The names of the modules in a folder, one a line.
std::string ModuleList(const std::filesystem::path& named) {
  const std::filesystem::path folder = named.empty() ? DefaultModuleFolder() : named;
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    Refuse("there is no folder " + PathText(folder), "ktsvc modules --help");
  }
  std::string list;
  for (const std::string& name : ModulesIn(folder)) {
    list += name + "\n";
  }
  return list;
}

}  // namespace

Options ParseCommandLine(std::vector<std::string> words) {
  CommandLine line;
  CLI::App& app = line.app();
  if (words.empty()) {
    throw CommandLineEnd(app.help(), kExitUsage);
  }
  if (words.front() == "help") {
    throw CommandLineEnd(app.help(), kExitOk);
  }
  if (words.front().rfind('-', 0) != 0 && !HasCommand(app, words.front())) {
    Refuse("there is no command \"" + words.front() + "\"", "ktsvc --help");
  }
  const auto help = [&line] {
    return line.Given() == nullptr ? "ktsvc --help"
                                   : "ktsvc " + line.Given()->get_name() + " --help";
  };
  try {
    std::reverse(words.begin(), words.end());  // the parser takes them from the end
    app.parse(words);
  } catch (const CLI::CallForHelp&) {
    throw CommandLineEnd(line.Given() == nullptr ? app.help() : line.Given()->help("ktsvc"),
                         kExitOk);
  } catch (const CLI::CallForVersion&) {
    throw CommandLineEnd(app.version() + "\n", kExitOk);
  } catch (const CLI::ParseError& error) {
    Refuse(error.what(), help());
  }
  if (const auto text = AskedText(line)) {
    throw CommandLineEnd(*text, kExitOk);
  }
  if (line.GivenModules()) {
    throw CommandLineEnd(ModuleList(line.ModulesFolder()), kExitOk);
  }
  Options options = line.RunOptions();
  Check(options);
  return options;
}

}  // namespace ktsvc
