#include "apptext/text_verbs.h"

#include <CLI/CLI.hpp>

namespace apptext {
namespace {

constexpr const char* kCompletion = "completion";
constexpr const char* kManual = "man";
constexpr const char* kShell = "SHELL";

}  // namespace

void AddTextVerbs(CLI::App& app) {
  const std::string name = app.get_name();
  CLI::App* const completion = app.add_subcommand(kCompletion, "Print the completions for a shell");
  completion->add_option(kShell, "The shell")
      ->required()
      ->type_name("{bash,zsh,fish}")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""));
  completion->footer("Examples:\n  source <(" + name +
                     " completion bash)      in this shell, until it ends\n  " + name +
                     " completion fish > ~/.config/fish/completions/" + name +
                     ".fish\n\n"
                     "An installation from the package has them where the shells look already.");
  app.add_subcommand(kManual, "Print the manual page")
      ->footer("Examples:\n  " + name + " man | man -l -      read it without having it installed");
}

std::optional<std::string> AskedText(const CLI::App& app, const ManualInfo& info,
                                     const std::vector<LiveWords>& live) {
  if (app.got_subcommand(kManual)) {
    return ManPage(app, info);
  }
  if (!app.got_subcommand(kCompletion)) {
    return std::nullopt;
  }
  const auto words = app.get_subcommand(kCompletion)->get_option(kShell)->results();
  const auto shell = words.empty() ? std::nullopt : ShellNamed(words.front());
  return shell ? std::optional(Completion(app, *shell, live)) : std::nullopt;
}

}  // namespace apptext
