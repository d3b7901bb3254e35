// HttpError: a request that is not answered as it was asked, and the one form that every such
// answer has:
//
// {"error": {"status": 404, "reason": "no object {...}", "hint": "GET /v1/objects lists them",
//            "code": "0x80070005" or null}}
//
// Threads: values.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "api/message.h"
#include "ktbus3/ktbus3.h"

namespace ktsvc::api {

class HttpError : public std::runtime_error {
 public:
  // `reason` says what is wrong, `hint` what to do instead; it may be empty.
  HttpError(unsigned status, const std::string& reason, std::string hint = {});

  // The same error with the status of the bus behind it, or with one header more.
  HttpError WithCode(KtStatus code) &&;
  HttpError WithHeader(std::string name, std::string value) &&;

  [[nodiscard]] unsigned status() const noexcept { return status_; }
  [[nodiscard]] const std::string& hint() const noexcept { return hint_; }

  // The whole answer. Text that is no UTF-8 is mended with U+FFFD.
  [[nodiscard]] Response ToResponse() const;

 private:
  unsigned status_;
  std::string hint_;
  std::optional<KtStatus> code_;
  std::vector<std::pair<std::string, std::string>> headers_;
};

}  // namespace ktsvc::api
