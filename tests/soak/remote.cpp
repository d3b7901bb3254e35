#include "soak/remote.h"

#include <stdexcept>

#include "cli/service_client.h"
#include "soak/ids.h"

namespace soak {
namespace {

using ktsvc::Json;

// Longer than a provider may take to shut down: it waits for its threads and its calls, each a
// minute or two at most.
constexpr std::chrono::minutes kPatience{5};

ktctl::Connection ConnectionTo(const std::filesystem::path& socket) {
  ktctl::Place place;
  place.socket = socket;
  return {{place}, {}};
}

// The number of that name in the output of a control; a number of 64 bits is a text.
std::uint64_t NumberOf(const Json& answer, const std::string& name) {
  for (const Json& property : answer.at("output")) {
    if (property.at("name") == name) {
      const Json& value = property.at("value");
      return value.is_string() ? std::stoull(value.get<std::string>()) : value.get<std::uint64_t>();
    }
  }
  throw std::runtime_error("the answer of the soak's provider has no " + name);
}

}  // namespace

Remote::Remote(const std::filesystem::path& socket) : http_(ConnectionTo(socket)) {
  const Json page =
      Json::parse(Ask("GET", "/v1/objects?interface=" + ktctl::Escaped(kInterfaceText), {}));
  object_ = page.at("items").at(0).at("id").get<std::string>();
}

std::string Remote::Ask(const std::string& method, const std::string& target,
                        const std::string& body) {
  const ktctl::HttpAnswer answer = http_.Ask({method, target, body, {}}, kPatience);
  if (answer.status < 200 || answer.status > 299) {
    throw std::runtime_error(method + " " + target + " was answered with " +
                             std::to_string(answer.status) + " " + answer.body);
  }
  return answer.body;
}

Json Remote::Control(std::uint32_t code, const ktsvc::PropertyList& input) {
  Json body = Json::object();
  body["interface"] = kInterfaceText;
  body["code"] = code;
  body["input"] = ktsvc::PropertyListJson(input);
  Json answer =
      Json::parse(Ask("POST", "/v1/objects/" + ktctl::Escaped(object_) + "/controls", body.dump()));
  if (answer.at("status").at("code") != 0) {
    throw std::runtime_error("the soak's provider refuses control " + std::to_string(code) + ": " +
                             answer.dump());
  }
  return answer;
}

void Remote::FailOneIn(std::uint32_t count) {
  Control(kFail, {{"one_in", TYPE_UINT32, 0, {count}}});
}

std::uint64_t Remote::Restart() {
  return NumberOf(Control(kRestart, {{"restart", TYPE_BOOLEAN, 0, {true}}}), "failures");
}

Remote::Figures Remote::ReadFigures() {
  const Json answer = Control(kFigures, {});
  return {NumberOf(answer, "memory"), NumberOf(answer, "failed")};
}

std::string Remote::Metrics() {
  return Ask("GET", "/metrics", {});
}

void Remote::Raise(const std::string& name, unsigned count) {
  const std::string body = Json{{"name", name}}.dump();
  for (unsigned i = 0; i < count; ++i) {
    Ask("POST", "/v1/events", body);
  }
}

}  // namespace soak
