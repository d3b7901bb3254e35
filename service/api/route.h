// Route: one row of the API: a method and a path, who may use it, what it takes and gives.
//
// The router finds its way by these rows, and /openapi.json is written from them.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "access/access_decision.h"
#include "api/api_context.h"
#include "api/message.h"
#include "api/page_cursors.h"
#include "api/request_counts.h"
#include "api/target.h"
#include "property_json.h"

namespace ktsvc::api {

// What the Api itself remembers from one request to the next.
struct Memory {
  PageCursors cursors;
  RequestCounts counts;
};

// One request that has found its route, and its caller the right to it.
struct Call {
  const ApiContext& context;
  Memory& memory;
  const Request& request;
  const std::vector<std::string>& arguments;  // what stands for {id}, {name} ... in their order
  const Query& query;
  const Json& body;  // null where the route takes none
};

struct Parameter {
  std::string_view name;
  bool required;
  std::string_view schema;  // JSON text
  std::string_view description;
};

struct Route {
  std::string_view method;
  std::string_view path;  // "/v1/objects/{id}"
  std::string_view operation;
  std::string_view summary;
  // What the caller must be allowed to do; nothing where the handler decides by itself.
  std::optional<access::Action::Kind> right;
  std::span<const Parameter> query;
  std::string_view bodySchema;  // the schema's name; "" where it takes no body
  unsigned success;
  std::string_view contentType;
  std::string_view answerSchema;  // the schema's name; "" for text
  // The statuses of errors that this route has beside those of every route.
  std::span<const unsigned> errors;
  // Null for the stream, which the transport answers.
  Response (*answer)(const Call& call);
};

// In the order of the manual.
std::span<const Route> Routes() noexcept;

// The parts of the path between its slashes.
std::vector<std::string_view> PartsOf(std::string_view path);

// True for a part such as {id}.
bool IsArgument(std::string_view part) noexcept;

// 200 with this document.
Response JsonResponse(const Json& json, unsigned status = 200);

}  // namespace ktsvc::api
