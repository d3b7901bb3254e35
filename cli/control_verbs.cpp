// Verbs that do something, and the one that asks whether they may: control, trace-level, raise,
// explain.

#include "access/interface_names.h"
#include "control_words.h"
#include "document_text.h"
#include "exit_status.h"
#include "guid.h"
#include "property_argument.h"
#include "property_text.h"
#include "verbs.h"

namespace ktctl {
namespace {

using Kind = Column::Kind;

// What the words ask for makes sense before anything is asked of the service.
void Check(const ControlWish& wish, const Options& options) {
  if (wish.known != nullptr && wish.known->needsArguments && wish.input.empty()) {
    const std::string argument(wish.known->arguments.front().name);
    throw Refusal(kExitWrongWords,
                  std::string(wish.known->name) + " needs its argument " + argument,
                  "Write ktctl control " + std::string(wish.known->interface) + " " +
                      std::string(wish.known->name) + " " + argument + "=3.");
  }
  if (ktsvc::access::IsRestart(wish.interfaceId, wish.code) && !options.yes) {
    throw Refusal(kExitWrongWords, "this control restarts the machine on which the service runs",
                  "Say --yes if that is what you want.");
  }
}

std::string AnswerText(const Json& answer, const Screen& screen) {
  const Json& status = answer.at("status");
  const Painter painter(screen.colours);
  std::string text =
      painter.Paint(status.at("fails").get<bool>() ? Style::kBad : Style::kGood, StatusOf(status)) +
      painter.Paint(Style::kFaint, "  after " + DurationText(answer.at("seconds").get<double>())) +
      "\n";
  Table table({{"ANSWER"}, {"TYPE"}, {"VALUE", Kind::kCut}});
  for (const Json& property : answer.at("output")) {
    table.Add({{TextOf(property.at("name")), Style::kName},
               {TextOf(property.at("type")), Style::kFaint},
               ValueOf(property)});
  }
  return table.empty() ? text : text + "\n" + table.Text(screen);
}

std::string ExplanationText(const Json& answer, const Screen& screen) {
  const Painter painter(screen.colours);
  const bool allowed = answer.at("allowed").get<bool>();
  std::string text =
      painter.Paint(allowed ? Style::kGood : Style::kBad, allowed ? "allowed" : "not allowed") +
      ": " + TextOf(answer.at("sentence")) + "\n";
  Table table({{""}, {""}, {""}, {"", Kind::kCut}});
  for (const Json& line : answer.at("lines")) {
    const bool applies = line.at("applies").get<bool>();
    table.Add(
        {line.at("decides").get<bool>() ? "*" : " ",
         {TextOf(line.at("where")), Style::kName},
         TextOf(line.at("text")),
         {(applies ? "applies: " : "does not apply: ") + TextOf(line.at("why")), Style::kFaint}});
  }
  return table.empty() ? text : text + "\n" + table.Text(screen);
}

}  // namespace

int SendControl(const Session& session) {
  const ControlWish wish = ReadControl(session.options.words, session.options.selector);
  Check(wish, session.options);
  const std::string interface = ktsvc::GuidText(wish.interfaceId);
  const std::string object = wish.object.empty()
                                 ? ChooseObject(wish, session.service.Objects("", interface))
                                 : FindObjectOf(session, wish.object);
  Json body = Json::object();
  body["interface"] = interface;
  body["selector"] = wish.selector;
  body["code"] = wish.code;
  body["input"] = wish.input;
  const Json answer = session.service.SendControl(object, body);
  session.Show(answer, AnswerText(answer, session.screen));
  return answer.at("status").at("fails").get<bool>() ? kExitFailed : kExitDone;
}

int TraceLevel(const Session& session) {
  if (!session.options.level) {
    const Json level = session.service.Get("/v1/trace-level");
    session.Show(level, level.at("level").dump() + "\n");
    return kExitDone;
  }
  Json body = Json::object();
  body["level"] = *session.options.level;
  const Json set = session.service.Send("PUT", "/v1/trace-level", body);
  session.Show(set, "trace level " + set.at("level").dump() + ", before " +
                        set.at("previous").dump() + "\n");
  return kExitDone;
}

int RaiseEvent(const Session& session) {
  Json body = Json::object();
  body["name"] = session.options.name;
  body["properties"] = ReadArguments(session.options.words);
  if (!ktsvc::IsUtf8(session.options.name)) {
    throw Refusal(kExitWrongWords, "the event's name is no UTF-8");
  }
  const Json raised = session.service.Send("POST", "/v1/events", body);
  session.Show(raised, "raised " + TextOf(raised.at("name")) + "\n");
  return kExitDone;
}

int Explain(const Session& session) {
  const Options& options = session.options;
  std::string target = "/v1/explain?action=" + Escaped(options.action);
  if (options.action == "control") {
    const ControlWish wish = ReadControl(options.words, options.selector);
    target += "&interface=" + Escaped(ktsvc::GuidText(wish.interfaceId)) +
              "&selector=" + std::to_string(wish.selector) + "&code=" + std::to_string(wish.code);
  } else if (!options.words.empty()) {
    throw Refusal(
        kExitWrongWords,
        ktsvc::QuotedText(options.words.front()) + " has no meaning behind " + options.action,
        "Only control is followed by more: INTERFACE CODE.");
  }
  const Json answer = session.service.Get(target);
  session.Show(answer, ExplanationText(answer, session.screen));
  return answer.at("allowed").get<bool>() ? kExitDone : kExitNotPermitted;
}

}  // namespace ktctl
