#include <algorithm>

#include "api/audited.h"
#include "api/body.h"
#include "api/handlers.h"
#include "ktbus3/ktbus3_host.h"
#include "property_writer.h"
#include "status_text.h"

namespace ktsvc::api {
namespace {

constexpr std::uint32_t kHighestTraceLevel = 7;

}  // namespace

Response GetAlerts(const Call& call) {
  Json json = Json::object();
  json["items"] = Json::array();
  for (const auto& message : call.context.hub->Recent(Topic::kAlerts)) {
    json["items"].push_back(Json::parse(message->json));
  }
  return JsonResponse(json);
}

Response PostEvent(const Call& call) {
  RequireKnownMembers(call.body, {"name", "properties"});
  const std::string name = TextMember(call.body, "name");
  const PropertyList properties = PropertiesMember(call.body, "properties");
  Audited deed(call, access::Action::RaiseEvent(), name);
  try {
    const OwnedSet set = MakePropertySet(properties);
    RequireOk(KtBusRaiseEvent(call.context.database, name.c_str(), set.get()), "KtBusRaiseEvent");
  } catch (const BusError& error) {
    deed.Done(error.status());
    throw;
  }
  deed.Done(0);
  Json json = Json::object();
  json["name"] = name;
  return JsonResponse(json, 202);
}

Response GetTraceLevel(const Call& /*call*/) {
  Json json = Json::object();
  json["level"] = KtBusTraceLevel();
  return JsonResponse(json);
}

Response PutTraceLevel(const Call& call) {
  RequireKnownMembers(call.body, {"level"});
  const std::uint32_t level = NumberMember(call.body, "level");
  if (level > kHighestTraceLevel) {
    throw HttpError(400, "\"level\" is no level from 0 to " + std::to_string(kHighestTraceLevel));
  }
  Audited deed(call, access::Action::SetTraceLevel(), std::nullopt, level);
  Json json = Json::object();
  json["level"] = level;
  json["previous"] = KtSetTraceLevel(level);
  deed.Done(0);
  return JsonResponse(json);
}

StreamHub::Selection ReadSelection(const Query& query) {
  StreamHub::Selection selection;
  std::string rest = query.Find("topics").value_or("");
  while (!rest.empty()) {
    const std::string name = rest.substr(0, rest.find(','));
    rest.erase(0, name.size() + 1);
    const std::optional<Topic> topic = TopicFromName(name);
    if (!topic) {
      throw HttpError(400, "\"" + name + "\" is no topic",
                      "There are events, alerts, trace and objects.");
    }
    if (std::find(selection.topics.begin(), selection.topics.end(), *topic) ==
        selection.topics.end()) {
      selection.topics.push_back(*topic);
    }
  }
  if (selection.topics.empty()) {
    throw HttpError(400, "\"topics\" is missing", "Ask for ?topics=events,alerts,trace,objects.");
  }
  selection.eventPattern = query.Find("pattern").value_or("");
  return selection;
}

}  // namespace ktsvc::api
