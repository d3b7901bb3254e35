// Verbs about the service itself: status, providers, types, ledger.

#include <cstdint>

#include "document_text.h"
#include "exit_status.h"
#include "verbs.h"

namespace ktctl {
namespace {

using Kind = Column::Kind;

std::string NumberText(const Json& json) {
  return std::to_string(NumberOf(json));
}

// A number that is worth a look when it is not 0.
Cell Failures(const Json& json) {
  const std::string text = NumberText(json);
  return {text, text == "0" ? Style::kPlain : Style::kBad};
}

Cell StateCell(const std::string& state) {
  return {state, state == "running" || state == "serving" ? Style::kGood
                 : state == "failed"                      ? Style::kBad
                                                          : Style::kPlain};
}

std::string Joined(const Json& texts) {
  std::string text;
  for (const Json& entry : texts) {
    text += (text.empty() ? "" : ", ") + TextOf(entry);
  }
  return text;
}

// What does not fit into a row: what a stop waits for, controls under way, the slowest one, what
// went wrong.
void AddNotes(const Json& provider, Table& notes) {
  const std::string name = TextOf(provider.at("name"));
  const Json& activity = provider.at("activity");
  for (const Json& sentence : provider.at("waitsFor")) {
    notes.Add({{name, Style::kName}, "waits for", TextOf(sentence)});
  }
  for (const Json& running : activity.at("inFlight")) {
    const Json& known = running.at("interfaceName");
    notes.Add({{name, Style::kName},
               "runs",
               DurationText(running.at("seconds").get<double>()) + ", control " +
                   NumberText(running.at("code")) + " of interface " +
                   TextOf(known.is_null() ? running.at("interface") : known) + ", selector " +
                   NumberText(running.at("selector")) + ", on " + TextOf(running.at("object")) +
                   ", for " + TextOf(running.at("caller"))});
  }
  if (const Json& slowest = activity.at("slowest"); !slowest.is_null()) {
    notes.Add(
        {{name, Style::kName},
         "slowest",
         DurationText(slowest.at("seconds").get<double>()) + ", " + TextOf(slowest.at("what"))});
  }
  for (const Json& failure : provider.at("failures")) {
    const std::string advice = TextOf(failure.at("advice"));
    notes.Add({{name, Style::kName},
               {"failure", Style::kBad},
               TextOf(failure.at("what")) + (advice.empty() ? "" : ". " + advice)});
  }
}

}  // namespace

int ShowStatus(const Session& session) {
  const Json health = session.service.Get("/v1/health");
  const Json& service = health.at("service");
  const Json& caller = health.at("caller");
  const Json& providers = health.at("providers");
  const std::string state = TextOf(health.at("state"));
  Table table({{""}, {""}});
  const auto add = [&table](const char* what, Cell cell) {
    table.Add({{what, Style::kFaint}, std::move(cell)});
  };
  add("service", TextOf(service.at("name")) + " " + TextOf(service.at("version")) + ", process " +
                     NumberText(health.at("pid")) + ", at " + session.service.Where());
  add("state", StateCell(state));
  add("since", TextOf(health.at("startedAt")) + " (" +
                   DurationText(health.at("uptimeSeconds").get<double>()) + ")");
  add("you are", TextOf(caller.at("text")) + ", " + TextOf(caller.at("role")));
  add("providers", {NumberText(providers.at("running")) + " running, " +
                        NumberText(providers.at("failed")) + " failed",
                    providers.at("failed") == 0 ? Style::kPlain : Style::kBad});
  add("bus",
      CountText(health.at("objects"), "object") + ", " + CountText(health.at("types"), "type"));
  add("trace", "level " + NumberText(health.at("traceLevel")));
  add("now", CountText(health.at("controlsInFlight"), "control") + " under way, " +
                 CountText(health.at("subscribers"), "follower"));
  session.Show(health, table.Text(session.screen));
  return kExitDone;
}

int ShowProviders(const Session& session) {
  const Json document = session.service.Get("/v1/providers");
  Table table({{"PROVIDER"},
               {"STATE"},
               {"VERSION"},
               {"SERVED", Kind::kNumber},
               {"FAILED", Kind::kNumber},
               {"RUNNING", Kind::kNumber},
               {"THREADS", Kind::kNumber},
               {"QUEUE", Kind::kNumber},
               {"NOTICES", Kind::kNumber},
               {"KEPT", Kind::kNumber},
               {"FILE", Kind::kCut}});
  Table notes({{""}, {""}, {""}});
  for (const Json& provider : document.at("items")) {
    const Json& activity = provider.at("activity");
    std::uint64_t kept = 0;
    for (const Json& row : provider.at("ledger")) {
      kept += NumberOf(row.at("kept"));
    }
    table.Add({{TextOf(provider.at("name")), Style::kName},
               StateCell(TextOf(provider.at("state"))),
               TextOf(provider.at("version")),
               NumberText(activity.at("served")),
               Failures(activity.at("failures")),
               std::to_string(activity.at("inFlight").size()),
               NumberText(activity.at("callsInFlight")),
               NumberText(activity.at("queueDepth")),
               NumberText(activity.at("notices")),
               std::to_string(kept),
               TextOf(provider.at("file"))});
    AddNotes(provider, notes);
  }
  const Screen& screen = session.screen;
  session.Show(document, table.Text(screen) + (notes.empty() ? "" : "\n" + notes.Text(screen)));
  return kExitDone;
}

int ShowTypes(const Session& session) {
  const Json document = session.service.Get("/v1/types");
  Table table({{"TYPE"},
               {"OBJECTS", Kind::kNumber},
               {"DERIVED FROM", Kind::kCut},
               {"OFFERS", Kind::kCut},
               {"HAS", Kind::kCut}});
  std::string names;
  for (const Json& type : document.at("items")) {
    const std::string set = SetOf(type.at("properties"));
    names += TextOf(type.at("name")) + "\n";
    table.Add({{TextOf(type.at("name")), Style::kName},
               NumberText(type.at("objectCount")),
               Joined(type.at("superclasses")),
               InterfacesOf(type.at("interfaces")),
               set == "{}" ? "" : set});
  }
  if (session.options.names) {
    session.Show(document, names);
  } else {
    session.Show(document, table, "there is no type");
  }
  return kExitDone;
}

int ShowLedger(const Session& session) {
  const Json document = session.service.Get("/v1/ledger");
  Table table({{"PROVIDER"},
               {"KIND"},
               {"KEPT", Kind::kNumber},
               {"WRONGLY FREED", Kind::kNumber},
               {"HANDED OUT", Kind::kNumber}});
  for (const Json& row : document.at("rows")) {
    const Json& provider = row.at("provider");
    table.Add({{provider.is_null() ? "(the service)" : TextOf(provider), Style::kName},
               TextOf(row.at("kind")),
               NumberText(row.at("kept")),
               Failures(row.at("wrongFrees")),
               NumberText(row.at("total"))});
  }
  session.Show(document, table, "the bus has handed out nothing");
  return kExitDone;
}

}  // namespace ktctl
