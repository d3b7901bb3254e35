#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "apptext/text_verbs.h"
#include "default_socket.h"
#include "exit_status.h"

namespace ktctl {
namespace {

constexpr const char* kDescription =
    "ktctl asks a running ktsvc what is on its bus, sends controls, and follows what happens.\n";

constexpr const char* kFooter =
    "An OBJECT is an id (any case, braces or not), the beginning of one (4 digits or more), a "
    "TYPE\n"
    "of which there is one object, or TYPE/NAME with the property \"Name\". An INTERFACE is "
    "system,\n"
    "reboot, trace, disk, volume, diskgroup, rescan, or a GUID.\n"
    "\n"
    "Examples:\n"
    "  ktctl status\n"
    "  ktctl ls qelm_ktvm_disk\n"
    "  ktctl show qelm_ktvm_disk/vda\n"
    "  ktctl control system trace-level level=3\n"
    "  ktctl events -f 'event.qelm.*.*'\n"
    "\n"
    "Environment: KTCTL_SOCKET, KTCTL_URL and KTCTL_TOKEN_FILE stand for the options that are not\n"
    "given; NO_COLOR turns colours off; COLUMNS is the width of tables on a terminal.\n"
    "\n"
    "Exit status: 0 done, 1 the provider's status fails or the service failed, 2 wrong words (an\n"
    "unknown or ambiguous object too), 3 no service, 4 not permitted.\n"
    "\n"
    "Ctrl-C ends ktctl as it ends any program: the shell sees 130.";

constexpr const char* kArguments =
    "An argument is NAME:TYPE=VALUE, the type one of BOOLEAN, INT32, UINT32, INT64, UINT64, TIME,\n"
    "STR, WSTR, BINARY (base64), GUID, KTOBJID, PROPSET, I18N, I18NFORMATSTRING, or one of these\n"
    "with Z at the end for a list. Lists, sets and messages are written as JSON:\n"
    "  who:STR=alice  count:UINT32=3  names:STRZ='[\"a\",\"b\"]'\n"
    "  set:PROPSET='[{\"name\":\"size\",\"type\":\"UINT64\",\"value\":\"5\"}]'";

constexpr const char* kControlFooter =
    "Known controls, whose object is found by itself:\n"
    "  ktctl control system trace-level level=3    trace lines of this level and above\n"
    "  ktctl control rescan                        read the machine's disks again\n"
    "  ktctl control system reboot --yes           restart the machine\n"
    "Any control:\n"
    "  ktctl control OBJECT INTERFACE CODE --selector 2 NAME:TYPE=VALUE\n"
    "\n";

constexpr const char* kExplainFooter =
    "Examples:\n"
    "  ktctl explain read\n"
    "  ktctl explain control system reboot\n"
    "  ktctl explain control disk 9000 --selector 1\n"
    "\n"
    "Exit status: 0 allowed, 4 not.";

constexpr const char* kFollowFooter =
    "One line for each, until Ctrl-C. What the service could not keep for a slow reader is told "
    "on\n"
    "standard error. When the service ends, so does ktctl, with status 3.";

constexpr const char* kConnection = "Connection";
constexpr const char* kLook = "Output";

std::string Version() {
  return std::string("ktctl ") + KTCTL_VERSION;
}

std::string CheckSeconds(std::string& text) {
  constexpr double kDay = 86400;
  double seconds = 0;
  const bool number = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= kDay;
  return number ? "" : "\"" + text + "\" is no number of seconds from 0 to 86400";
}

void AddConnection(CLI::App& app, Options& options) {
  app.add_option("--socket", options.socket,
                 ktsvc::HasSocketFiles() ? "The service's socket file (default: ktsvc.sock in\n"
                                           "$XDG_RUNTIME_DIR, else /run/ktsvc/ktsvc.sock)"
                                         : "Not on this system: use --url")
      ->type_name("FILE")
      ->group(kConnection);
  app.add_option("--url,--connect", options.url,
                 "The service on this machine's loopback, http://127.0.0.1:PORT")
      ->type_name("URL")
      ->group(kConnection);
  app.add_option("--token-file", options.tokenFile,
                 "The token to show with --url: a line \"NAME SECRET\", or the\n"
                 "secret alone. Nobody else may be able to read the file")
      ->type_name("FILE")
      ->group(kConnection);
  app.add_option("--timeout", options.timeout,
                 "Wait so many seconds for an answer, 0 for ever (default: 30;\n"
                 "a control takes as long as its provider takes)")
      ->type_name("SECONDS")
      ->check(CLI::Validator(&CheckSeconds, ""))
      ->group(kConnection);
}

void AddLook(CLI::App& app, Options& options) {
  app.add_flag("--json", options.json,
               "The service's answer as JSON; of what is followed, one document a line")
      ->group(kLook);
  app.add_option("--color,--colour", options.colour,
                 "Whether there are colours; auto: on a terminal")
      ->type_name("{auto,always,never}")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
      ->group(kLook);
}

CLI::App* AddVerb(CLI::App& app, Options& options, const std::string& name,
                  const std::string& description) {
  CLI::App* verb = app.add_subcommand(name, description);
  verb->callback([&options, name] { options.verb = name; });
  return verb;
}

// A word without a dash in front.
template <typename Value>
CLI::Option* AddWord(CLI::App& verb, Value& value, const std::string& name,
                     const std::string& description) {
  return verb.add_option(name, value, description)->type_name("");
}

// As many words as there are.
CLI::Option* AddWords(CLI::App& verb, Options& options, const std::string& name,
                      const std::string& description) {
  return AddWord(verb, options.words, name, description)
      ->expected(0, CLI::detail::expected_max_vector_size);
}

void AddSelector(CLI::App& verb, Options& options) {
  verb.add_option("--selector", options.selector, "The control's selector (default 0)")
      ->type_name("N");
}

void AddReading(CLI::App& app, Options& options) {
  AddVerb(app, options, "status", "How the service is, and who you are to it");
  AddVerb(app, options, "providers", "The providers and what they do now");
  CLI::App* types = AddVerb(app, options, "types", "The types on the bus");
  types->add_flag("--names", options.names, "Their names alone, one a line");
  CLI::App* ls = AddVerb(app, options, "ls", "The objects on the bus");
  AddWord(*ls, options.type, "TYPE", "Only objects of this type and of types derived from it");
  ls->add_option("--interface", options.interface, "Only objects that offer this interface")
      ->type_name("INTERFACE");
  ls->add_flag("--names", options.names,
               "Only words by which the other verbs know them, one a line");
  CLI::App* tree = AddVerb(app, options, "tree", "Objects and their children");
  AddWord(*tree, options.object, "OBJECT", "Begin at this object");
  CLI::App* show = AddVerb(app, options, "show", "All about one object");
  AddWord(*show, options.object, "OBJECT", "Which one")->required();
  CLI::App* get = AddVerb(app, options, "get", "The value of one property");
  AddWord(*get, options.object, "OBJECT", "Whose")->required();
  AddWord(*get, options.name, "NAME", "Which one")->required();
  get->footer("A text is printed as it is, a list with one element a line.");
  AddVerb(app, options, "ledger", "What the bus handed out and did not get back");
}

void AddDoing(CLI::App& app, Options& options) {
  CLI::App* control = AddVerb(app, options, "control", "Send a control to an object");
  AddWords(*control, options, "WORD",
           "[OBJECT] INTERFACE CODE [ARGUMENT...]; OBJECT may be left out\n"
           "where one object alone offers the interface, and CODE may be\n"
           "the name of a known control");
  AddSelector(*control, options);
  control->add_flag("--yes", options.yes, "Yes, restart the machine");
  control->footer(std::string(kControlFooter) + kArguments);
  CLI::App* level = AddVerb(app, options, "trace-level", "Show or set the level of the trace");
  AddWord(*level, options.level, "N", "The new level, 0 to 7: the lower, the more is traced")
      ->check(CLI::Range(0U, 7U).description(""));
  CLI::App* raise = AddVerb(app, options, "raise", "Raise an event");
  AddWord(*raise, options.name, "NAME", "Its name")->required();
  AddWords(*raise, options, "ARGUMENT", "Its properties");
  raise->footer(kArguments);
  CLI::App* explain = AddVerb(app, options, "explain", "May I do this, and which line says so?");
  AddWord(*explain, options.action, "ACTION", "What is asked about")
      ->check(
          CLI::IsMember({"read", "control", "raise-event", "trace-level", "admin"}).description(""))
      ->type_name("{read,control,raise-event,trace-level,admin}")
      ->required();
  AddWords(*explain, options, "WORD", "Of control: INTERFACE CODE");
  AddSelector(*explain, options);
  explain->footer(kExplainFooter);
}

void AddFollowing(CLI::App& app, Options& options) {
  const auto add = [&](const std::string& name, const std::string& description,
                       const std::string& follow) {
    CLI::App* verb = AddVerb(app, options, name, description);
    verb->add_flag("-f,--follow", options.follow, follow);
    verb->add_flag("--kept", options.kept, "Begin with what the service still keeps");
    verb->footer(kFollowFooter);
    return verb;
  };
  add("trace", "Follow the trace", "Follow it");
  CLI::App* events = add("events", "Follow events", "Follow them");
  AddWord(*events, options.pattern, "PATTERN",
          "Only events whose name matches; * stands for one part of a name");
  add("alerts", "The alerts raised lately; with -f those that come", "Follow those that come");
}

// What the manual page says besides what the parser knows.
apptext::ManualInfo Manual() {
  apptext::ManualInfo info;
  info.files = {{"/run/ktsvc/ktsvc.sock", "The socket file of the service of the system."},
                {"$XDG_RUNTIME_DIR/ktsvc.sock", "That of a person's own service."}};
  info.seeAlso = {"ktsvc(1)"};
  return info;
}

// While a person types, the completions ask the service for the names of objects and types.
std::vector<apptext::LiveWords> LiveWords() {
  return {{"OBJECT", "ktctl ls --names"}, {"TYPE", "ktctl types --names"}};
}

[[noreturn]] void Refuse(const std::string& why, const std::string& help) {
  throw Refusal(kExitWrongWords, why, "Try: " + help);
}

}  // namespace

std::unique_ptr<CLI::App> MakeApp(Options& options) {
  auto app = std::make_unique<CLI::App>(kDescription, "ktctl");
  app->set_help_flag("-h,--help", "Show this and end");
  app->set_version_flag("--version", Version(), "Show the version and end");
  app->require_subcommand(1);
  app->fallthrough();
  AddConnection(*app, options);
  AddLook(*app, options);
  AddReading(*app, options);
  AddDoing(*app, options);
  AddFollowing(*app, options);
  apptext::AddTextVerbs(*app);
  app->footer(kFooter);  // last, for verbs would take it over
  return app;
}

Options ParseCommandLine(std::vector<std::string> words) {
  Options options;
  const std::unique_ptr<CLI::App> app = MakeApp(options);
  if (words.empty()) {
    Refuse("what is to be done?", "ktctl --help");
  }
  if (words.front() == "help") {
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  const std::vector<CLI::App*> named =
      app->get_subcommands([&words](const CLI::App* verb) { return verb->check_name(words[0]); });
  if (words.front().rfind('-', 0) != 0 && named.empty()) {
    Refuse("there is no verb \"" + words.front() + "\"", "ktctl --help");
  }
  const auto parsed = [&app]() -> CLI::App* {
    const std::vector<CLI::App*> verbs = app->get_subcommands();
    return verbs.empty() ? nullptr : verbs.front();
  };
  try {
    std::reverse(words.begin(), words.end());  // the parser takes them from the end
    app->parse(words);
  } catch (const CLI::CallForHelp&) {
    throw PrintAndEnd(
        parsed() == nullptr
            ? app->help()
            : parsed()->help("ktctl") +
                  "\nOptions of every verb, and how objects are named: ktctl --help\n");
  } catch (const CLI::CallForVersion&) {
    throw PrintAndEnd(Version() + "\n");
  } catch (const CLI::ParseError& error) {
    Refuse(error.what(), parsed() == nullptr ? std::string("ktctl --help")
                                             : "ktctl " + parsed()->get_name() + " --help");
  }
  if (options.kept && !options.follow) {
    Refuse("--kept has a meaning with --follow only", "ktctl " + options.verb + " --help");
  }
  if (const auto text = apptext::AskedText(*app, Manual(), LiveWords())) {
    throw PrintAndEnd(*text);
  }
  return options;
}

}  // namespace ktctl
