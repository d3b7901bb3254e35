#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "default_socket.h"
#include "host_system.h"

namespace ktsvc {
namespace {

constexpr const char* kDescription =
    "ktsvc hosts storage providers: it loads provider modules onto an object bus, serves them\n"
    "until it is told to stop, and says at the end what each of them kept.\n";

constexpr const char* kTopFooter =
    "Examples:\n"
    "  ktsvc run hostkit blockdev           serve two providers until Ctrl-C\n"
    "  ktsvc run --once hostkit blockdev    one whole life: load, show what is there, end\n"
    "  ktsvc run --help                     all options of run";

constexpr const char* kRunFooter =
    "Examples:\n"
    "  ktsvc run hostkit                    serve until Ctrl-C, SIGTERM or SIGINT\n"
    "  ktsvc run ./build/mine.so            a module by its path\n"
    "  ktsvc run --once hostkit blockdev    load, show types, objects and properties, end\n"
    "  ktsvc run --once --json hostkit | jq .objects\n"
    "  ktsvc run --trace-level 1 --trace-file trace.log hostkit\n"
    "\n"
    "Results go to standard output, progress and trace to standard error.\n"
    "Trace levels: 1 details, 2 and 5 progress of a provider, 4 milestones and warnings, 6 "
    "errors,\n"
    "7 nothing.\n"
    "Exit status: 0 all went well, 1 a provider failed or kept something, 2 wrong words here.";

constexpr const char* kRun = "run";

std::string Version() {
  return std::string("ktsvc ") + KTSVC_VERSION;
}

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

}  // namespace

Options ParseCommandLine(std::vector<std::string> words) {
  Options options;
  std::string moduleFolder;
  std::string traceFile;
  std::string registry;
  std::string socket;
  std::string tokenFile;
  std::string accessFile;
  std::string auditLog;

  CLI::App app(kDescription, "ktsvc");
  app.footer(kTopFooter);
  app.set_help_flag("-h,--help", "Show this and end");
  app.set_version_flag("--version", Version(), "Show the version and end");
  app.require_subcommand(1);

  CLI::App* run = app.add_subcommand(kRun, "Load providers and serve them");
  run->footer(kRunFooter);
  run->add_option("PROVIDER", options.providers,
                  "Modules in the order of loading: a name that is looked for in the module\n"
                  "folder, or a path (it holds a separator or ends in .so or .dll)")
      ->required()
      ->type_name("");
  run->add_option("--module-folder", moduleFolder, "Where modules are looked for by name")
      ->type_name("DIR");
  run->add_flag("--once", options.once,
                "One whole life without waiting: load, announce that all is up, ask the system\n"
                "object for its trace level, show types and objects, end");
  run->add_flag("--json", options.json, "Results as one JSON document, written at the end");
  run->add_option("--trace-level", options.traceLevel,
                  "Lowest level of the trace, 0 to 7 (default 4)")
      ->type_name("N")
      ->check(CLI::Range(0U, 7U).description(""));
  run->add_option("--trace-file", traceFile, "Append the trace to FILE, not to standard error")
      ->type_name("FILE");
  run->add_option("--registry", registry,
                  RegistryIsAFolder()
                      ? "Folder that holds the registry (default: KT_REGISTRY, else\n"
                        "/etc/ktsvc/registry)"
                      : "Not on this system: the registry is the system's own")
      ->type_name("DIR");
  const std::string management = "Management API";
  run->add_option("--socket", socket,
                  HasSocketFiles()
                      ? "Socket file of the management API (default: /run/ktsvc/ktsvc.sock for\n"
                        "root, else ktsvc.sock in $XDG_RUNTIME_DIR)"
                      : "Not on this system: use --listen")
      ->type_name("FILE")
      ->group(management);
  run->add_flag("--no-socket", options.noSocket, "No socket file")->group(management);
  run->add_option("--listen", options.listen,
                  "Serve the management API on this machine's 127.0.0.1:PORT or [::1]:PORT as\n"
                  "well (port 0: any free one); needs --token-file")
      ->type_name("ADDRESS:PORT")
      ->group(management);
  run->add_option(
         "--token-file", tokenFile,
         "Tokens for --listen, a line \"NAME SECRET\" for each; only its owner may be able\n"
         "to read it")
      ->type_name("FILE")
      ->group(management);
  run->add_option("--access-file", accessFile,
                  "Who may do what (default: root and the service's own user may do everything,\n"
                  "others nothing)")
      ->type_name("FILE")
      ->group(management);
  run->add_option("--audit-log", auditLog,
                  "Append what is done, and what is refused, to FILE as JSON lines")
      ->type_name("FILE")
      ->group(management);
  run->add_flag("--allow-restart", options.allowRestart,
                "Let an admin's control restart the machine")
      ->group(management);
  run->add_flag("-q,--quiet", options.quiet,
                "No progress and no trace on standard error, failures only");

  if (words.empty()) {
    throw CommandLineEnd(app.help(), kExitUsage);
  }
  if (words.front() == "help") {
    throw CommandLineEnd(app.help(), kExitOk);
  }
  if (words.front() != kRun && words.front().rfind('-', 0) != 0) {
    Refuse("there is no command \"" + words.front() + "\"", "ktsvc --help");
  }
  try {
    std::reverse(words.begin(), words.end());  // the parser takes them from the end
    app.parse(words);
  } catch (const CLI::CallForHelp&) {
    throw CommandLineEnd(run->parsed() ? run->help("ktsvc") : app.help(), kExitOk);
  } catch (const CLI::CallForVersion&) {
    throw CommandLineEnd(Version() + "\n", kExitOk);
  } catch (const CLI::ParseError& error) {
    Refuse(error.what(), run->parsed() ? "ktsvc run --help" : "ktsvc --help");
  }
  options.moduleFolder = PathFromText(moduleFolder);
  options.traceFile = PathFromText(traceFile);
  options.registry = PathFromText(registry);
  options.socket = PathFromText(socket);
  options.tokenFile = PathFromText(tokenFile);
  options.accessFile = PathFromText(accessFile);
  options.auditLog = PathFromText(auditLog);
  Check(options);
  return options;
}

}  // namespace ktsvc
