#include "ktcheck/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <random>

#include "apptext/text_verbs.h"
#include "host_system.h"
#include "ktcheck/checks.h"
#include "ktcheck/figures.h"
#include "ktcheck/finding_kinds.h"
#include "ktcheck/precautions.h"
#include "module_error.h"
#include "module_locator.h"
#include "text_table.h"

namespace ktcheck {
namespace {

constexpr const char* kDescription =
    "ktcheck tries a provider module: it loads it, lets it live and work, makes everything fail\n"
    "around it that can fail, and says what is wrong, where, and what to do about it.\n";

constexpr const char* kFooter =
    "Every check runs in a process of its own: a module that crashes or hangs ends none of the\n"
    "others. The module runs for real. On Linux it sees an empty registry, and commands that\n"
    "restart the machine or touch its services are stand-ins that do nothing; on Windows there\n"
    "is no such protection: try modules on a machine that is there for it.\n"
    "\n"
    "Examples:\n"
    "  ktcheck hostkit                      a module by its name, as ktsvc finds it\n"
    "  ktcheck ./build/mine.so              a module by its path\n"
    "  ktcheck --only life ./mine.so        one check\n"
    "  ktcheck --json mine.so > verdict.json\n"
    "  ktcheck --codes 5000-5020 mine.so    send the controls that it knows\n"
    "  ktcheck --replay life.ktrec mine.so  the first difference from a recorded life\n"
    "\n"
    "Exit status: 0 passed, 1 there are findings, 2 wrong words here, 3 no verdict: this program\n"
    "could not do its work, or the verdict could not be written.";

struct Words {
  Options options;
  std::string module;
  std::string registry;
  std::string replay;
  std::string report;
  std::string codes;
  std::vector<std::uint32_t> leave_out;
  std::vector<std::uint32_t> also;
  std::uint64_t patience = 30;
  bool list = false;
};

void AddCheckOptions(CLI::App& app, Words& words) {
  app.add_option("--only", words.options.only, "Run this check alone; may be given several times")
      ->type_name("CHECK")
      ->allow_extra_args(false);
  app.add_option("--lives", words.options.check.lives, "Lives of the check \"lives\" (default 100)")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000).description(""));
  app.add_option("--rounds", words.options.check.rounds,
                 "Lives of the check \"random\" (default 100)")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000).description(""));
  app.add_option("--failures", words.options.check.failures,
                 "About so many calls fail in the check \"failures\", and so many allocations in\n"
                 "\"memory\", evenly spread (default: each one of a life)")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000).description(""));
  app.add_option("--seed", words.options.check.walk.seed,
                 "What everything random comes from (default: another one each time; the verdict\n"
                 "names it)")
      ->type_name("N");
  app.add_option("--patience", words.patience,
                 "Seconds after which a call is given up (default 30); after a third of them or\n"
                 "less, as the function is, it counts as slow")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 3600).description(""));
  app.add_option("--codes", words.codes,
                 "Control codes to send (default: 0-63,11000-11063,12000-12063,20000-20063). One\n"
                 "that stands alone, as 7001 in 1-5,7001, counts as known to the module")
      ->type_name("RANGES");
  app.add_option("--leave-out", words.leave_out, "A control code that destroys: do not send it")
      ->type_name("CODE")
      ->allow_extra_args(false);
  app.add_option("--also", words.also,
                 "Send this code though it is left out: 11001, which restarts the machine. Only\n"
                 "where the command that does it is a stand-in (Linux)")
      ->type_name("CODE")
      ->allow_extra_args(false);
  app.add_option("--registry", words.registry,
                 ktsvc::RegistryIsAFolder()
                     ? "Folder that holds the registry for the module (default: an empty one)"
                     : "Not on this system: the registry is the system's own")
      ->type_name("DIR");
}

void AddOutputOptions(CLI::App& app, Words& words) {
  app.add_flag("--list", words.list,
               "Show all checks, all that they can find and what they count, and end");
  app.add_flag("--json", words.options.json, "The verdict as one JSON document");
  app.add_flag("-q,--quiet", words.options.quiet, "No progress on standard error");
  CLI::Option* const replay =
      app.add_option(
             "--replay", words.replay,
             "Run the module against a recording of \"ktsvc run --record FILE\" instead, and\n"
             "print the first difference")
          ->type_name("FILE");
  // No check runs then, so that what is said of checks would say nothing.
  for (const char* const name : {"--only", "--lives", "--rounds", "--failures", "--seed",
                                 "--patience", "--codes", "--leave-out", "--also", "--registry"}) {
    replay->excludes(app.get_option(name));
  }
  // For the processes that this program starts of itself.
  app.add_option("--one", words.options.one)->group("");
  app.add_option("--report", words.report)->group("");
  app.add_option("--from", words.options.check.from)->group("");
  app.add_option("--parent", words.options.parent)->group("");
}

std::string List() {
  ktsvc::TextTable checks;
  for (const Check& check : Checks()) {
    checks.Add({std::string(check.name), std::string(check.tries)});
  }
  ktsvc::TextTable kinds;
  for (const FindingKind& kind : FindingKinds()) {
    kinds.Add({std::string(kind.name), std::string(kind.means)});
  }
  ktsvc::TextTable figures;
  for (const Figure& figure : Figures()) {
    figures.Add({std::string(figure.key), std::string(figure.means)});
  }
  return "Checks:\n" + checks.Text("  ") + "\nFindings:\n" + kinds.Text("  ") +
         "\nFigures, as JSON names them:\n" + figures.Text("  ");
}

LastWords Wrong(const std::string& what) {
  return {"ktcheck: " + what + "\nTry: ktcheck --help\n", kExitWrongWords};
}

std::string NamesOfChecks() {
  std::string names;
  for (const Check& check : Checks()) {
    names += (names.empty() ? "" : ", ") + std::string(check.name);
  }
  return names;
}

std::variant<Options, LastWords> Complete(Words& words) {
  Options& options = words.options;
  for (const std::string& name : options.only) {
    if (CheckNamed(name) == nullptr) {
      return Wrong("--only: there is no check \"" + name + "\"; there are " + NamesOfChecks());
    }
  }
  if (!words.codes.empty()) {
    const auto ranges = RangesOf(words.codes);
    if (!ranges) return Wrong("--codes: \"" + words.codes + "\" is no list such as 1,5-7");
    options.check.walk.codes = *ranges;
  }
  std::vector<std::uint32_t>& left_out = options.check.walk.left_out;
  left_out.insert(left_out.end(), words.leave_out.begin(), words.leave_out.end());
  for (const std::uint32_t code : words.also) {
    if (code == kRestart && !HasStandIns()) {
      return Wrong("--also 11001: on this system nothing could stand in for the restart");
    }
    std::erase(left_out, code);
  }
  options.check.patience = std::chrono::seconds(words.patience);
  options.registry = ktsvc::PathFromText(words.registry);
  if (!words.registry.empty() && !ktsvc::RegistryIsAFolder()) {
    return Wrong("--registry: on this system the registry is the system's own");
  }
  options.replay = ktsvc::PathFromText(words.replay);
  options.report = ktsvc::PathFromText(words.report);
  try {
    options.check.subject.file = ktsvc::LocateModule(words.module, ktsvc::DefaultModuleFolder());
  } catch (const ktsvc::ModuleError& error) {
    return LastWords{"ktcheck: " + std::string(error.what()) + "\n  " + error.advice() + "\n",
                     kExitWrongWords};
  }
  options.check.subject.name = ktsvc::PathText(options.check.subject.file.stem());
  return options;
}

}  // namespace

std::variant<Options, LastWords> ReadCommandLine(const std::vector<std::string>& words) {
  Words read;
  read.options.check.walk.seed = std::random_device()();
  CLI::App app(kDescription, "ktcheck");
  app.footer(kFooter);
  app.set_help_flag("-h,--help", "Show this and end");
  app.set_version_flag("--version", std::string("ktcheck ") + KTSVC_VERSION,
                       "Show the version and end");
  app.add_option("MODULE", read.module,
                 "The module: a name that is looked for where ktsvc looks, or a path (it holds a\n"
                 "separator or ends in .so or .dll)")
      ->type_name("");
  AddCheckOptions(app, read);
  AddOutputOptions(app, read);
  apptext::AddTextVerbs(app);
  try {
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    app.parse(reversed);
  } catch (const CLI::Success& asked) {
    const bool version = dynamic_cast<const CLI::CallForVersion*>(&asked) != nullptr;
    const auto given = app.get_subcommands();
    const CLI::App& helped = given.empty() ? app : *given.front();
    return LastWords{version ? std::string(asked.what()) + "\n" : helped.help(), kExitPassed};
  } catch (const CLI::Error& error) {
    return Wrong(error.what());
  }
  apptext::ManualInfo info;
  info.seeAlso = {"ktsvc(1)", "ktctl(1)", "addr2line(1)"};
  const std::vector<apptext::LiveWords> live{{"MODULE", "ktsvc modules", true}};
  if (const auto text = apptext::AskedText(app, info, live)) return LastWords{*text, kExitPassed};
  if (read.list) return LastWords{List(), kExitPassed};
  if (read.module.empty()) return Wrong("which MODULE?");
  return Complete(read);
}

std::vector<std::string> WordsForOne(const Options& options, const std::string& check,
                                     const std::filesystem::path& report, std::uint64_t from) {
  const CheckOptions& what = options.check;
  std::vector<std::string> words{"--one",      check,
                                 "--report",   ktsvc::PathText(report),
                                 "--from",     std::to_string(from),
                                 "--parent",   std::to_string(ktsvc::ProcessNumber()),
                                 "--lives",    std::to_string(what.lives),
                                 "--rounds",   std::to_string(what.rounds),
                                 "--seed",     std::to_string(what.walk.seed),
                                 "--patience", std::to_string(what.patience.count())};
  if (what.failures != 0) {
    words.insert(words.end(), {"--failures", std::to_string(what.failures)});
  }
  std::string codes;
  for (const CodeRange& range : what.walk.codes) {
    codes += (codes.empty() ? "" : ",") + std::to_string(range.first);
    if (!range.alone) codes += "-" + std::to_string(range.last);
  }
  words.insert(words.end(), {"--codes", codes});
  for (const std::uint32_t code : what.walk.left_out) {
    words.insert(words.end(), {"--leave-out", std::to_string(code)});
  }
  if (what.walk.MaySend(kRestart)) words.insert(words.end(), {"--also", std::to_string(kRestart)});
  words.push_back(ktsvc::PathText(what.subject.file));
  return words;
}

std::vector<std::string> WordsForReplay(const Options& options,
                                        const std::filesystem::path& report) {
  return {"--one",
          "replay",
          "--report",
          ktsvc::PathText(report),
          "--parent",
          std::to_string(ktsvc::ProcessNumber()),
          "--replay",
          ktsvc::PathText(options.replay),
          ktsvc::PathText(options.check.subject.file)};
}

}  // namespace ktcheck
