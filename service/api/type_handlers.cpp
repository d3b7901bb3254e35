#include "api/handlers.h"
#include "bus_snapshot.h"
#include "json_report.h"

namespace ktsvc::api {

HttpError NoSuchType(const std::string& name) {
  return HttpError(404, "no type " + name, "GET /v1/types lists them.").WithCode(kUnknownType);
}

Response GetTypes(const Call& call) {
  Json json = Json::object();
  json["items"] = Json::array();
  for (const TypeView& type : ReadTypes(call.context.database)) {
    json["items"].push_back(TypeJson(type));
  }
  return JsonResponse(json);
}

Response GetType(const Call& call) {
  const std::string& name = call.arguments.at(0);
  for (const TypeView& type : ReadTypes(call.context.database)) {
    if (type.name == name) {
      return JsonResponse(TypeJson(type));
    }
  }
  throw NoSuchType(name);
}

}  // namespace ktsvc::api
