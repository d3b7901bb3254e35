// ModuleError: why a provider could not be brought up, in three parts: what went wrong, where, and
// what the operator can do about it.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace ktsvc {

class ModuleError : public std::runtime_error {
 public:
  // `what` names the thing and the place; `advice` is a sentence of its own.
  ModuleError(const std::string& what, std::string advice)
      : std::runtime_error(what), advice_(std::move(advice)) {}

  [[nodiscard]] const std::string& advice() const noexcept { return advice_; }

 private:
  std::string advice_;
};

}  // namespace ktsvc
