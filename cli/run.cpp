#include "run.h"

#include <array>
#include <exception>
#include <string_view>

#include "command_line.h"
#include "exit_status.h"
#include "http_client.h"
#include "screen.h"
#include "service_place.h"

namespace ktctl {
namespace {

struct VerbRow {
  std::string_view name;
  Verb verb;
};

constexpr std::array kVerbs{
    VerbRow{"status", &ShowStatus},   VerbRow{"providers", &ShowProviders},
    VerbRow{"types", &ShowTypes},     VerbRow{"ls", &ListObjects},
    VerbRow{"tree", &ShowTree},       VerbRow{"show", &ShowObject},
    VerbRow{"get", &GetProperty},     VerbRow{"ledger", &ShowLedger},
    VerbRow{"control", &SendControl}, VerbRow{"trace-level", &TraceLevel},
    VerbRow{"raise", &RaiseEvent},    VerbRow{"explain", &Explain},
    VerbRow{"trace", &FollowTrace},   VerbRow{"events", &FollowEvents},
    VerbRow{"alerts", &ShowAlerts},
};

// "ktctl: what is wrong", and below it what to do.
void Say(Console& console, const std::string& what, const std::string& advice) {
  std::string lines = "ktctl: " + what + "\n";
  if (!advice.empty()) {
    std::string indented;
    for (const char unit : advice) {
      indented += unit;
      if (unit == '\n') {
        indented += "       ";
      }
    }
    lines += "       " + indented + "\n";
  }
  console.Say(lines);
}

int RunVerb(const Options& options, const Variables& variables, Console& console) {
  HttpClient http(FindConnection(options, variables));
  ServiceClient service(http, options.timeout);
  return FindVerb(options.verb)(
      {options, service, console, MakeScreen(console.terminal(), options.colour, variables)});
}

}  // namespace

void Session::Show(const Json& document, const std::string& text) const {
  static_cast<void>(console.Write(
      options.json ? document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n" : text));
}

void Session::Show(const Json& document, const Table& table, const std::string& none) const {
  if (!options.json && table.empty() && screen.terminal) {
    console.Say("ktctl: " + none + "\n");
  }
  Show(document, table.empty() ? "" : table.Text(screen));
}

Verb FindVerb(const std::string& name) noexcept {
  for (const VerbRow& row : kVerbs) {
    if (row.name == name) {
      return row.verb;
    }
  }
  return nullptr;
}

int Run(const std::vector<std::string>& words, const Variables& variables, Console& console) {
  try {
    const Options options = ParseCommandLine(words);
    return RunVerb(options, variables, console);
  } catch (const PrintAndEnd& end) {
    static_cast<void>(console.Write(end.what()));
    return kExitDone;
  } catch (const Refusal& refusal) {
    Say(console, refusal.what(), refusal.advice());
    return refusal.status();
  } catch (const Json::exception& error) {
    Say(console, std::string("the service's answer makes no sense: ") + error.what(),
        "Are service and ktctl of the same version? ktctl --version and ktctl status tell.");
    return kExitFailed;
  } catch (const std::exception& error) {
    Say(console, error.what(), "");
    return kExitFailed;
  }
}

}  // namespace ktctl
