#include "walk/contract.h"

#include <algorithm>
#include <cctype>

namespace walk {
namespace {

using ktsvc::Json;

// Answers to requests that match no route.
const std::set<unsigned> kElsewhere{400, 401, 403, 404, 405, 413, 415, 421, 431, 503};

std::vector<std::string> PartsOf(const std::string& path) {
  std::vector<std::string> parts;
  std::string part;
  for (const char c : path) {
    if (c == '/') {
      parts.push_back(part);
      part.clear();
    } else {
      part += c;
    }
  }
  parts.push_back(part);
  return parts;
}

std::string ErrorFault(const Answer& answer) {
  const Json json = Json::parse(answer.body, nullptr, false);
  if (json.is_discarded() || !json.is_object() || !json.contains("error")) {
    return "the error has no JSON in the one form of errors";
  }
  const Json& error = json["error"];
  if (!error.is_object() || !error.contains("status") || error["status"] != answer.status ||
      !error.contains("reason") || !error["reason"].is_string() ||
      error["reason"].get_ref<const std::string&>().empty() || !error.contains("hint") ||
      !error.contains("code")) {
    return "the error lacks its status, reason, hint or code";
  }
  return {};
}

std::string ControlFault(const Json& json) {
  if (!json.is_object() || !json.contains("status") || !json["status"].is_object() ||
      !json["status"].contains("code") || !json["status"]["code"].is_number_unsigned() ||
      !json.contains("output") || !json["output"].is_array() || !json.contains("seconds") ||
      !json["seconds"].is_number()) {
    return "the answer of a control lacks its status, output or seconds";
  }
  return {};
}

}  // namespace

Contract::Contract(const Json& openapi) {
  for (const auto& [path, operations] : openapi.at("paths").items()) {
    Path known{PartsOf(path), {}};
    for (const auto& [method, operation] : operations.items()) {
      std::string capitals = method;
      std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                     [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
      for (const auto& response : operation.at("responses").items()) {
        known.operations[capitals].insert(static_cast<unsigned>(std::stoul(response.key())));
      }
    }
    paths_.push_back(std::move(known));
  }
}

const Contract::Path* Contract::Find(const std::string& target) const {
  const std::vector<std::string> parts = PartsOf(target.substr(0, target.find_first_of("?#")));
  for (const Path& path : paths_) {
    const auto same = [](const std::string& known, const std::string& asked) {
      return known == asked || (known.starts_with('{') && !asked.empty());
    };
    if (std::equal(path.parts.begin(), path.parts.end(), parts.begin(), parts.end(), same)) {
      return &path;
    }
  }
  return nullptr;
}

bool Contract::IsDocumented(const Call& call, unsigned status) const {
  const Path* const path = Find(call.target);
  if (path == nullptr) {
    return kElsewhere.contains(status);
  }
  const auto operation = path->operations.find(call.method);
  if (operation == path->operations.end()) {
    return status == 405 || status == 400 || status == 403;
  }
  return operation->second.contains(status);
}

std::string Contract::FaultOf(const Call& call, const Answer& answer) const {
  const bool isSuccess = answer.status >= 200 && answer.status <= 299;
  std::string fault;
  if (answer.status == 500) {
    fault = "the service blames itself";
  } else if (!IsDocumented(call, answer.status)) {
    fault = "this status is not documented there";
  } else if (!isSuccess) {
    fault = ErrorFault(answer);
  } else if (!call.target.starts_with("/metrics")) {
    const Json json = Json::parse(answer.body, nullptr, false);
    if (json.is_discarded()) {
      fault = "the answer is no JSON";
    } else if (call.isControl) {
      fault = ControlFault(json);
    }
  }
  if (fault.empty()) {
    return {};
  }
  return call.method + " " + call.target + " " + call.body.substr(0, 500) + " was answered with " +
         std::to_string(answer.status) + " " + answer.body.substr(0, 500) + ": " + fault;
}

}  // namespace walk
