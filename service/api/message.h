// One request and its answer, as the transport hands them over.
//
// The transport has read the whole request and knows its caller from the connection or from the
// token that was shown; nothing in the request itself says who asks.
//
// Threads: values.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "access/caller.h"

namespace ktsvc::api {

struct Request {
  std::string method;       // "GET"
  std::string target;       // as it came: "/v1/objects?type=qelm_ktvm_disk&limit=10"
  std::string contentType;  // of the body; empty for none
  std::string body;
  access::Caller caller;
};

struct Response {
  unsigned status = 200;
  std::string contentType = "application/json";
  std::string body;
  // Beside the content's type and length: {"Allow", "GET"}.
  std::vector<std::pair<std::string, std::string>> headers;
};

}  // namespace ktsvc::api
