#include "command_line.h"

#include <CLI/CLI.hpp>

#include "apptext/text_verbs.h"
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

std::string Version() {
  return std::string("ktsvc ") + KTSVC_VERSION;
}

}  // namespace

CommandLine::CommandLine() : app_(std::make_unique<CLI::App>(kDescription, "ktsvc")) {
  app_->footer(kTopFooter);
  app_->set_help_flag("-h,--help", "Show this and end");
  app_->set_version_flag("--version", Version(), "Show the version and end");
  app_->require_subcommand(1);
  AddRun();
  AddManagement();
  run_->add_flag("-q,--quiet", options_.quiet,
                 "No progress and no trace on standard error, failures only");
  AddModules();
  apptext::AddTextVerbs(*app_);
}

CommandLine::~CommandLine() = default;

void CommandLine::AddRun() {
  run_ = app_->add_subcommand("run", "Load providers and serve them");
  run_->footer(kRunFooter);
  run_->add_option("PROVIDER", options_.providers,
                   "Modules in the order of loading: a name that is looked for in the module\n"
                   "folder, or a path (it holds a separator or ends in .so or .dll)")
      ->required()
      ->type_name("");
  run_->add_option("--module-folder", moduleFolder_, "Where modules are looked for by name")
      ->type_name("DIR");
  run_->add_flag("--once", options_.once,
                 "One whole life without waiting: load, announce that all is up, ask the system\n"
                 "object for its trace level, show types and objects, end");
  run_->add_flag("--json", options_.json, "Results as one JSON document, written at the end");
  run_->add_option("--trace-level", options_.traceLevel,
                   "Lowest level of the trace, 0 to 7 (default 4)")
      ->type_name("N")
      ->check(CLI::Range(0U, 7U).description(""));
  run_->add_option("--trace-file", traceFile_, "Append the trace to FILE, not to standard error")
      ->type_name("FILE");
  run_->add_option("--record", record_,
                   "Record every call between the framework and the providers in FILE, anew, for\n"
                   "ktcheck --replay")
      ->type_name("FILE");
  run_->add_option("--registry", registry_,
                   RegistryIsAFolder()
                       ? "Folder that holds the registry (default: KT_REGISTRY, else\n"
                         "/etc/ktsvc/registry)"
                       : "Not on this system: the registry is the system's own")
      ->type_name("DIR");
}

void CommandLine::AddManagement() {
  const std::string management = "Management API";
  run_->add_option("--socket", socket_,
                   HasSocketFiles()
                       ? "Socket file of the management API (default: /run/ktsvc/ktsvc.sock for\n"
                         "root, else ktsvc.sock in $XDG_RUNTIME_DIR)"
                       : "Not on this system: use --listen")
      ->type_name("FILE")
      ->group(management);
  run_->add_flag("--no-socket", options_.noSocket, "No socket file")->group(management);
  run_->add_option("--listen", options_.listen,
                   "Serve the management API on this machine's 127.0.0.1:PORT or [::1]:PORT as\n"
                   "well (port 0: any free one); needs --token-file")
      ->type_name("ADDRESS:PORT")
      ->group(management);
  run_->add_option(
          "--token-file", tokenFile_,
          "Tokens for --listen, a line \"NAME SECRET\" for each; only its owner may be able\n"
          "to read it")
      ->type_name("FILE")
      ->group(management);
  run_->add_option("--access-file", accessFile_,
                   "Who may do what (default: root and the service's own user may do everything,\n"
                   "others nothing)")
      ->type_name("FILE")
      ->group(management);
  run_->add_option("--audit-log", auditLog_,
                   "Append what is done, and what is refused, to FILE as JSON lines")
      ->type_name("FILE")
      ->group(management);
  run_->add_flag("--allow-restart", options_.allowRestart,
                 "Let an admin's control restart the machine")
      ->group(management);
}

void CommandLine::AddModules() {
  modules_ = app_->add_subcommand("modules", "List the modules that run finds by their names");
  modules_->add_option("--module-folder", modulesFolder_, "Another folder to look into")
      ->type_name("DIR");
}

const CLI::App* CommandLine::Given() const {
  const auto given = app_->get_subcommands();
  return given.empty() ? nullptr : given.front();
}

bool CommandLine::GivenModules() const {
  return modules_->parsed();
}

Options CommandLine::RunOptions() const {
  Options options = options_;
  options.moduleFolder = PathFromText(moduleFolder_);
  options.traceFile = PathFromText(traceFile_);
  options.record = PathFromText(record_);
  options.registry = PathFromText(registry_);
  options.socket = PathFromText(socket_);
  options.tokenFile = PathFromText(tokenFile_);
  options.accessFile = PathFromText(accessFile_);
  options.auditLog = PathFromText(auditLog_);
  return options;
}

std::filesystem::path CommandLine::ModulesFolder() const {
  return PathFromText(modulesFolder_);
}

}  // namespace ktsvc
