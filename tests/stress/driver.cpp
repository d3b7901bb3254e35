#include "stress/driver.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "stress/client.h"

namespace stress {

using ktsvc::api::HttpClient;

std::string Driver::Ask(const std::string& request) const {
  const HttpClient::Answer answer = Connect(socket_).Ask(request);
  if (answer.status < 200 || answer.status > 299) {
    throw std::runtime_error(request.substr(0, request.find('\r')) + " was answered with " +
                             std::to_string(answer.status) + " " + answer.body);
  }
  return answer.body;
}

void Driver::Raise(const std::string& event) const {
  static_cast<void>(Ask(PostText("/v1/events", event)));
}

std::string Driver::IdOf(const std::string& type) const {
  const auto page = nlohmann::json::parse(Ask(GetText("/v1/objects?type=" + type)));
  return page.at("items").at(0).at("id").get<std::string>();
}

std::uint64_t Driver::Metric(const std::string& name) const {
  const std::string text = Ask(GetText("/metrics"));
  const std::size_t at = text.find("\n" + name + " ");
  if (at == std::string::npos) {
    throw std::runtime_error("the metrics have no " + name);
  }
  return std::stoull(text.substr(at + name.size() + 2));
}

}  // namespace stress
