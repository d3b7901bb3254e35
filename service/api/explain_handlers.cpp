#include <limits>

#include "api/handlers.h"

namespace ktsvc::api {
namespace {

access::Action ReadAction(const Query& query) {
  constexpr std::uint32_t kHighest = std::numeric_limits<std::uint32_t>::max();
  const std::string name = query.Find("action").value_or("");
  for (const access::Action& action : {access::Action::Read(), access::Action::RaiseEvent(),
                                       access::Action::SetTraceLevel(), access::Action::Admin()}) {
    if (name == action.Name()) {
      for (const char* other : {"interface", "selector", "code"}) {
        if (query.Find(other)) {
          throw HttpError(400, std::string("\"") + other + "\" belongs to action=control alone");
        }
      }
      return action;
    }
  }
  if (name != access::Action::SendControl({}, 0, 0).Name()) {
    throw HttpError(400, name.empty() ? "\"action\" is missing" : "\"" + name + "\" is no action",
                    "Ask for ?action=read, control, raise-event, trace-level or admin.");
  }
  const std::optional<std::string> interface = query.Find("interface");
  const std::optional<std::uint32_t> code = query.Number("code", 0, kHighest);
  if (!interface || !code) {
    throw HttpError(400, std::string("\"") + (interface ? "code" : "interface") + "\" is missing",
                    "Ask for ?action=control&interface=system&code=11005.");
  }
  return access::Action::SendControl(InterfaceFromRequest(*interface),
                                     query.Number("selector", 0, kHighest).value_or(0), *code);
}

}  // namespace

Response GetExplanation(const Call& call) {
  const access::Explanation explanation =
      access::Explain(*call.context.policy, call.request.caller, ReadAction(call.query));
  const access::Decision& decision = explanation.decision;
  // The lines about others are for those who may read the file anyway.
  const bool all = decision.held == access::Role::kAdmin;
  Json json = Json::object();
  json["caller"] = TextJson(call.request.caller.Text());
  json["action"] = ReadAction(call.query).Text();
  json["allowed"] = decision.allowed;
  json["held"] = std::string(access::RoleName(decision.held));
  json["needed"] = std::string(access::RoleName(decision.needed));
  json["heldBy"] = TextJson(decision.heldBy);
  json["neededBy"] = TextJson(decision.neededBy);
  json["decidedBy"] = TextJson(decision.decidedBy);
  json["sentence"] = TextJson(decision.sentence);
  json["lines"] = Json::array();
  for (const access::ConsideredLine& line : explanation.lines) {
    if (all || line.applies) {
      Json entry = Json::object();
      entry["where"] = TextJson(line.where);
      entry["text"] = TextJson(line.text);
      entry["applies"] = line.applies;
      entry["decides"] = line.decides;
      entry["why"] = TextJson(line.why);
      json["lines"].push_back(std::move(entry));
    }
  }
  return JsonResponse(json);
}

}  // namespace ktsvc::api
