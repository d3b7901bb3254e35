#include "api/http_error.h"

#include "property_json.h"
#include "status_text.h"

namespace ktsvc::api {

HttpError::HttpError(unsigned status, const std::string& reason, std::string hint)
    : std::runtime_error(reason), status_(status), hint_(std::move(hint)) {}

HttpError HttpError::WithCode(KtStatus code) && {
  code_ = code;
  return std::move(*this);
}

HttpError HttpError::WithHeader(std::string name, std::string value) && {
  headers_.emplace_back(std::move(name), std::move(value));
  return std::move(*this);
}

Response HttpError::ToResponse() const {
  Json error = Json::object();
  error["status"] = status_;
  error["reason"] = what();
  error["hint"] = hint_.empty() ? Json(nullptr) : Json(hint_);
  error["code"] = code_ ? Json(StatusHex(*code_)) : Json(nullptr);
  Json json = Json::object();
  json["error"] = std::move(error);
  Response response;
  response.status = status_;
  response.body = json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  response.headers = headers_;
  return response;
}

}  // namespace ktsvc::api
