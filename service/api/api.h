// Api: what the management API answers, whatever carries its requests. docs/api.md is its manual
// for those who ask; /openapi.json is made from the same table of routes.
//
// Every request is decided for its own caller: the route is found, then the caller's right to it is
// asked of the access policy, and only then is anything looked up. A request that is refused learns
// nothing of what is on the bus. Controls, events and the trace level, done or refused, are written
// to the audit log.
//
// Threads:   any member from any number of threads. Answer() waits as long as a provider takes for
//            a control, so it belongs on a worker thread.
// Failure:   nothing is thrown. What the caller did wrong is a 4xx, what is wrong here a 5xx, both
//            in the form of http_error.h.
// Ownership: what the context points to is lent and must outlive the Api.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <variant>

#include "api/api_context.h"
#include "api/message.h"
#include "api/stream_hub.h"

namespace ktsvc::api {

// How much a request may ask. The transport looks after the sizes, the Api after the nesting.
inline constexpr std::size_t kMaxBodyBytes = std::size_t{1024} * 1024;
inline constexpr std::size_t kMaxHeaderBytes = std::size_t{16} * 1024;
inline constexpr std::size_t kMaxNesting = 32;

class Api {
 public:
  explicit Api(ApiContext context);
  ~Api();
  Api(const Api&) = delete;
  Api& operator=(const Api&) = delete;

  // A HEAD is answered as the GET is, body and all; the transport keeps that back.
  Response Answer(const Request& request) noexcept;

  // Counts an answer that the transport gives, whoever made it.
  void Answered(unsigned status) noexcept;

  // For the stream's path: reads the topics and decides whether the caller may follow them. The
  // transport then subscribes and sends what comes; a Response goes out as it is.
  using StreamRequest = StreamHub::Selection;
  std::variant<StreamRequest, Response> OpenStream(const Request& request) noexcept;

  // True when the target is the stream's path, whatever its query.
  static bool IsStream(std::string_view target) noexcept;

 private:
  class State;
  const ApiContext context_;
  const std::unique_ptr<State> state_;
};

}  // namespace ktsvc::api
