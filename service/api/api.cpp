#include "api/api.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "api/audited.h"
#include "api/body.h"
#include "api/handlers.h"
#include "api/http_error.h"
#include "status_text.h"

namespace ktsvc::api {
namespace {

constexpr std::string_view kStreamPath = "/v1/stream";
constexpr std::string_view kStreamType = "text/event-stream";

// The answer for which there is always memory enough: short texts live in the object itself.
Response NoMemory() noexcept {
  Response response;
  response.status = 503;
  response.contentType.clear();
  return response;
}

// What stands for the arguments of the route's path; nothing when the path is another.
std::optional<std::vector<std::string>> Match(const Route& route,
                                              const std::vector<std::string>& path) {
  const std::vector<std::string_view> parts = PartsOf(route.path);
  if (parts.size() != path.size()) {
    return std::nullopt;
  }
  std::vector<std::string> arguments;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (IsArgument(parts[i])) {
      arguments.push_back(path[i]);
    } else if (parts[i] != path[i]) {
      return std::nullopt;
    }
  }
  return arguments;
}

struct Found {
  const Route& route;
  std::vector<std::string> arguments;
};

Found FindRoute(const std::string& method, const std::vector<std::string>& path) {
  // HEAD is GET, but for the body, which the transport leaves out.
  const std::string_view wanted = method == "HEAD" ? std::string_view("GET") : method;
  std::string allowed;
  for (const Route& route : Routes()) {
    if (std::optional<std::vector<std::string>> arguments = Match(route, path)) {
      if (route.method == wanted) {
        return {route, std::move(*arguments)};
      }
      allowed.append(allowed.empty() ? "" : ", ")
          .append(route.method)
          .append(route.method == "GET" ? ", HEAD" : "");
    }
  }
  if (allowed.empty()) {
    throw HttpError(404, "there is nothing of this path", "GET /openapi.json lists what there is.");
  }
  throw HttpError(405, "this path takes another method", "It takes " + allowed + ".")
      .WithHeader("Allow", allowed);
}

void CheckQuery(const Route& route, const Query& query) {
  const auto& values = query.values();
  for (auto value = values.begin(); value != values.end(); ++value) {
    const std::string& name = value->first;
    const auto same = [&name](const auto& other) { return other.first == name; };
    if (std::any_of(values.begin(), value, same)) {
      throw HttpError(400, "the query has \"" + name + "\" twice");
    }
    if (std::none_of(route.query.begin(), route.query.end(),
                     [&name](const Parameter& known) { return known.name == name; })) {
      std::string list;
      for (const Parameter& known : route.query) {
        list.append(list.empty() ? "" : ", ").append(known.name);
      }
      throw HttpError(400, "the query has \"" + name + "\", which is unknown here",
                      list.empty() ? "This path takes no query." : "There are " + list + ".");
    }
  }
}

// An answer, or the error in its place.
template <typename Function>
Response Guarded(Function function) noexcept {
  try {
    try {
      return function();
    } catch (const HttpError& error) {
      return error.ToResponse();
    } catch (const BusError& error) {
      return HttpError(500, error.what()).WithCode(error.status()).ToResponse();
    } catch (const std::bad_alloc&) {
      return HttpError(503, "there is no memory for the answer")
          .WithCode(E_OUTOFMEMORY)
          .ToResponse();
    } catch (const std::exception& error) {
      return HttpError(500, error.what()).ToResponse();
    }
  } catch (...) {
    return NoMemory();
  }
}

// What to stream.
StreamHub::Selection OpenSelection(const Call& call) {
  if (call.context.stopping()) {
    throw HttpError(503, "the service is stopping");
  }
  return ReadSelection(call.query);
}

// Routes, decides and answers; a route without a handler is left to `stream`.
template <typename Stream>
Response Dispatch(const ApiContext& context, Memory& memory, const Request& request,
                  Stream stream) {
  const Target target = ParseTarget(request.target);
  const Found found = FindRoute(request.method, target.path);
  if (found.route.right) {
    RequireRight(context, request.caller, {*found.route.right, {}, 0, 0});
  }
  CheckQuery(found.route, target.query);
  const bool takesBody = !found.route.bodySchema.empty();
  if (takesBody && context.stopping()) {
    throw HttpError(503, "the service is stopping");
  }
  const Json body = takesBody ? ParseBody(request) : Json();
  const Call call{context, memory, request, found.arguments, target.query, body};
  return found.route.answer == nullptr ? stream(call) : found.route.answer(call);
}

}  // namespace

Response JsonResponse(const Json& json, unsigned status) {
  Response response;
  response.status = status;
  response.body = json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  return response;
}

class Api::State : public Memory {};

Api::Api(ApiContext context) : context_(std::move(context)), state_(std::make_unique<State>()) {}

Api::~Api() = default;

Response Api::Answer(const Request& request) noexcept {
  return Guarded([&] {
    return Dispatch(context_, *state_, request, [](const Call& call) -> Response {
      if (call.request.method != "HEAD") {
        throw HttpError(500, "a stream is not answered at once");
      }
      static_cast<void>(OpenSelection(call));
      return {200, std::string(kStreamType), {}, {}};
    });
  });
}

void Api::Answered(unsigned status) noexcept {
  state_->counts.Add(status);
}

std::variant<Api::StreamRequest, Response> Api::OpenStream(const Request& request) noexcept {
  StreamRequest selection;
  Response response = Guarded([&] {
    return Dispatch(context_, *state_, request, [&selection](const Call& call) {
      selection = OpenSelection(call);
      return Response();
    });
  });
  if (response.status == 200) {
    return selection;
  }
  return response;
}

bool Api::IsStream(std::string_view target) noexcept {
  try {
    const Target parsed = ParseTarget(target);
    const std::vector<std::string_view> parts = PartsOf(kStreamPath);
    return std::equal(parsed.path.begin(), parsed.path.end(), parts.begin(), parts.end());
  } catch (const std::exception&) {
    return false;  // whatever is wrong with it, Answer() says so
  }
}

}  // namespace ktsvc::api
