#include "api/openapi.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "api/handlers.h"

namespace ktsvc::api {
namespace {

struct StatusRow {
  unsigned status;
  std::string_view meaning;
};

constexpr std::array kErrors{
    StatusRow{400, "The request is malformed; the reason says where."},
    StatusRow{401, "No token, or one that nobody has."},
    StatusRow{403, "The caller may not; the reason says by which line."},
    StatusRow{404, "Not there."},
    StatusRow{405, "The path takes another method; Allow names it."},
    StatusRow{408, "The request took too long to come."},
    StatusRow{410, "It was there and has gone."},
    StatusRow{413, "The body is too large."},
    StatusRow{415, "The body is not said to be JSON."},
    StatusRow{421, "Over loopback: the Host header names another machine."},
    StatusRow{431, "The header is too large."},
    StatusRow{500, "The service failed."},
    StatusRow{503, "The service is stopping, or has too many connections or no memory."},
};

// What may be answered to a request of any route.
constexpr std::array kAlways{400U, 401U, 403U, 408U, 421U, 431U, 500U, 503U};

Json Reference(std::string_view schema) {
  Json json = Json::object();
  json["$ref"] = "#/components/schemas/" + std::string(schema);
  return json;
}

Json Content(std::string_view type, std::string_view schema) {
  Json json = Json::object();
  Json inner = Json::object();
  inner["schema"] = schema.empty() ? Json::parse(R"({"type":"string"})") : Reference(schema);
  json[std::string(type.substr(0, type.find(';')))] = std::move(inner);
  return json;
}

Json ParameterJson(std::string_view name, std::string_view place, bool required, Json schema,
                   std::string_view description) {
  Json json = Json::object();
  json["name"] = std::string(name);
  json["in"] = std::string(place);
  json["required"] = required;
  json["description"] = std::string(description);
  json["schema"] = std::move(schema);
  return json;
}

Json ParametersJson(const Route& route) {
  Json json = Json::array();
  for (const std::string_view part : PartsOf(route.path)) {
    if (IsArgument(part)) {
      const std::string_view name = part.substr(1, part.size() - 2);
      json.push_back(
          ParameterJson(name, "path", true, Json::parse(R"({"type":"string"})"),
                        name == "id" ? "An object's id, in either case, with or without its braces."
                                     : "A name."));
    }
  }
  for (const Parameter& parameter : route.query) {
    json.push_back(ParameterJson(parameter.name, "query", parameter.required,
                                 Json::parse(parameter.schema), parameter.description));
  }
  return json;
}

Json ResponsesJson(const Route& route) {
  Json json = Json::object();
  Json success = Json::object();
  success["description"] = "Done.";
  success["content"] = Content(route.contentType, route.answerSchema);
  json[std::to_string(route.success)] = std::move(success);
  for (const StatusRow& row : kErrors) {
    const auto is = [&row](unsigned status) { return status == row.status; };
    if (std::any_of(kAlways.begin(), kAlways.end(), is) ||
        std::any_of(route.errors.begin(), route.errors.end(), is)) {
      Json error = Json::object();
      error["description"] = std::string(row.meaning);
      error["content"] = Content("application/json", "Error");
      json[std::to_string(row.status)] = std::move(error);
    }
  }
  return json;
}

Json OperationJson(const Route& route) {
  Json json = Json::object();
  json["operationId"] = std::string(route.operation);
  json["summary"] = std::string(route.summary);
  json["parameters"] = ParametersJson(route);
  if (!route.bodySchema.empty()) {
    Json body = Json::object();
    body["required"] = true;
    body["content"] = Content("application/json", route.bodySchema);
    json["requestBody"] = std::move(body);
  }
  json["responses"] = ResponsesJson(route);
  return json;
}

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return lower;
}

}  // namespace

Json OpenApiDocument() {
  Json json = Json::object();
  json["openapi"] = "3.1.0";
  json["info"] = {{"title", "ktsvc"},
                  {"version", KTSVC_VERSION},
                  {"description",
                   "The management API of the storage-management service. Every path that takes "
                   "GET takes HEAD too, which is answered the same way without the body."}};
  json["servers"] = Json::array({{{"url", "http://localhost"}}});
  json["security"] = Json::array({Json::object(), {{"token", Json::array()}}});
  json["paths"] = Json::object();
  for (const Route& route : Routes()) {
    json["paths"][std::string(route.path)][LowerCase(route.method)] = OperationJson(route);
  }
  json["components"]["securitySchemes"]["token"] = {{"type", "http"}, {"scheme", "bearer"}};
  json["components"]["schemas"] = OpenApiSchemas();
  return json;
}

Response GetOpenApi(const Call& /*call*/) {
  return JsonResponse(OpenApiDocument());
}

}  // namespace ktsvc::api
