// Verbs about what happens: trace, events, alerts.

#include <cstdint>

#include "document_text.h"
#include "exit_status.h"
#include "verbs.h"

namespace ktctl {
namespace {

using Kind = Column::Kind;
using LineOf = std::string (*)(const Json& data, const Painter& painter);

constexpr std::uint32_t kErrorLevel = 6;

std::string PropertiesOf(const Json& data) {
  return data.at("properties").empty() ? "" : "  " + SetOf(data.at("properties"));
}

std::string TraceLine(const Json& data, const Painter& painter) {
  const std::uint64_t level = NumberOf(data.at("level"));
  const bool error = level == kErrorLevel;
  return painter.Paint(Style::kFaint, TextOf(data.at("time"))) + "  " + std::to_string(level) +
         "  " + painter.Paint(error ? Style::kBad : Style::kPlain, TextOf(data.at("text")));
}

std::string EventLine(const Json& data, const Painter& painter) {
  const std::string by = TextOf(data.at("raisedBy"));
  return painter.Paint(Style::kFaint, TextOf(data.at("time"))) + "  " +
         painter.Paint(Style::kName, TextOf(data.at("name"))) + "  " +
         painter.Paint(Style::kFaint, "by " + (by.empty() ? "the service" : by)) +
         PropertiesOf(data);
}

std::string AlertLine(const Json& data, const Painter& painter) {
  const std::string object = TextOf(data.at("object"));
  return painter.Paint(Style::kFaint, TextOf(data.at("time"))) + "  severity " +
         TextOf(data.at("severity")) + "  " + painter.Paint(Style::kName, TextOf(data.at("name"))) +
         "  " + TextOf(data.at("description")) + (object.empty() ? "" : "  on " + object) +
         PropertiesOf(data);
}

// Before the first message it is about what the service does not keep any more: nothing, where it
// has not kept anything since its start.
void SayGap(Console& console, const Json& data, bool first) {
  if (!first) {
    console.Say("ktctl: " + CountText(data.at("lost"), "message") +
                " lost here: they came faster than they were read\n");
  } else if (data.at("lost") != 0) {
    console.Say("ktctl: " + CountText(data.at("lost"), "earlier message") + " not kept any more\n");
  }
}

int Follow(const Session& session, const std::string& target, LineOf lineOf) {
  const Painter painter(session.screen.colours);
  bool first = session.options.kept;
  session.service.Follow(
      target, session.options.kept,
      [&](const std::string& name, const std::string& data) {
        const Json json = Json::parse(data);
        if (name == "gap") {
          SayGap(session.console, json, first);
          return true;
        }
        first = false;
        return session.console.Write((session.options.json ? data : lineOf(json, painter)) + "\n");
      },
      [&] { return !session.console.ReaderGone(); });
  return kExitDone;
}

[[noreturn]] void RefuseWithoutFollowing(const std::string& verb, const std::string& what) {
  throw Refusal(
      kExitWrongWords, what + " can only be followed",
      "Write ktctl " + verb + " -f; with --kept it begins with what the service still has.");
}

}  // namespace

int FollowTrace(const Session& session) {
  if (!session.options.follow) {
    RefuseWithoutFollowing("trace", "the trace");
  }
  return Follow(session, "/v1/stream?topics=trace", &TraceLine);
}

int FollowEvents(const Session& session) {
  if (!session.options.follow) {
    RefuseWithoutFollowing("events", "events");
  }
  const std::string& pattern = session.options.pattern;
  return Follow(
      session, "/v1/stream?topics=events" + (pattern.empty() ? "" : "&pattern=" + Escaped(pattern)),
      &EventLine);
}

int ShowAlerts(const Session& session) {
  if (session.options.follow) {
    return Follow(session, "/v1/stream?topics=alerts", &AlertLine);
  }
  const Json document = session.service.Get("/v1/alerts");
  Table table({{"TIME"},
               {"SEVERITY", Kind::kNumber},
               {"ALERT"},
               {"DESCRIPTION", Kind::kCut},
               {"OBJECT"},
               {"HAS", Kind::kCut}});
  for (const Json& alert : document.at("items")) {
    table.Add({TextOf(alert.at("time")),
               TextOf(alert.at("severity")),
               {TextOf(alert.at("name")), Style::kName},
               TextOf(alert.at("description")),
               TextOf(alert.at("object")),
               alert.at("properties").empty() ? "" : SetOf(alert.at("properties"))});
  }
  session.Show(document, table, "no alert was raised lately");
  return kExitDone;
}

}  // namespace ktctl
