// ServiceClient: the management API as calls that answer with documents (docs/api.md).
//
// Threads: one.
// Failure: Refusal, with the service's own reason and what to do about it: 401 and 403 are
//          kExitNotPermitted, 503 kExitNoService, other 4xx kExitWrongWords, everything else
//          kExitFailed; the failures of HttpClient as they are.
// Ownership: the HttpClient is lent.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "http_client.h"
#include "property_json.h"

namespace ktctl {

using ktsvc::Json;

// A text as a part of a path or a query: all but letters, digits and "-._~" as %XX.
std::string Escaped(std::string_view text);

// What the service advises, in the words of ktctl where it speaks of its API: "GET /v1/types lists
// them." becomes "ktctl types lists them.".
std::string AdviceText(const std::string& hint);

class ServiceClient {
 public:
  // `timeout` as the option has it: nothing for the default, no wait at all for 0.
  ServiceClient(HttpClient& http, std::optional<double> timeout);

  Json Get(const std::string& target);
  Json Send(const std::string& method, const std::string& target, const Json& body);

  // Sends a control. Without a timeout of the user's own it waits as long as the provider takes.
  Json SendControl(const std::string& objectId, const Json& body);

  // All objects of that type and of types derived from it that offer the interface, in the order of
  // their creation; "" for any.
  std::vector<Json> Objects(const std::string& type, const std::string& interface);

  // Follows a stream until `take` returns false, or `wanted`, which is asked every second. `take`
  // is given the name of each event and its data. The end of the stream by the service is a
  // Refusal.
  void Follow(const std::string& target, bool kept,
              const std::function<bool(const std::string& name, const std::string& data)>& take,
              const std::function<bool()>& wanted);

  [[nodiscard]] std::string Where() const { return http_.place().Text(); }

 private:
  Json Ask(const HttpRequest& request, HttpClient::Wait wait);

  HttpClient& http_;
  const std::optional<double> timeout_;
};

}  // namespace ktctl
