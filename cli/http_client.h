// HttpClient: requests to the service over its socket file or over loopback, and its streams.
//
// Each request has a connection of its own. Nothing is sent anywhere but to the places it was made
// with; of these the first that takes a connection is taken, and kept for later requests.
//
// Threads: one.
// Failure: Refusal. kExitNoService when nobody answers, when the answer does not come in time, when
//          it breaks off, and when what answers does not speak HTTP; kExitNotPermitted when the
//          system does not let this user connect. What the service answers is no failure here,
//          whatever its status.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "service_place.h"

namespace ktctl {

struct HttpRequest {
  std::string method;       // "GET"
  std::string target;       // "/v1/objects?limit=10"
  std::string body;         // JSON; "" for none
  std::string lastEventId;  // of a stream; "" for none
};

struct HttpAnswer {
  unsigned status = 0;
  std::string contentType;
  std::string body;
};

class HttpClient {
 public:
  // No time stands for waiting without end.
  using Wait = std::optional<std::chrono::milliseconds>;

  explicit HttpClient(Connection connection);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  // Sends the request and waits so long for its whole answer, connecting included.
  HttpAnswer Ask(const HttpRequest& request, Wait wait);

  // Asks for a stream. When the status is 200 its body is handed over piece by piece as it comes,
  // until `take` returns false or the service ends the stream; the answer's body is then empty. Any
  // other answer is returned whole. `wait` is for the beginning, `silence` the longest time without
  // a single byte. `wanted` is asked every second; when it returns false the stream is left.
  HttpAnswer Follow(const HttpRequest& request, Wait wait, Wait silence,
                    const std::function<bool(std::string_view piece)>& take,
                    const std::function<bool()>& wanted);

  // The place that answered; before the first answer the first place there is.
  [[nodiscard]] const Place& place() const noexcept;

 private:
  class Exchange;

  void Connect(Exchange& exchange);

  Connection connection_;
  std::optional<std::size_t> answered_;  // the place that took a connection
};

}  // namespace ktctl
