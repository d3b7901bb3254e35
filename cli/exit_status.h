// How ktctl ends, and the one exception that makes it end otherwise than well.
//
// Threads: values.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace ktctl {

// Exit statuses of the program; --help and docs/ktctl.md name them too.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;      // the provider's status fails, or the service failed
inline constexpr int kExitWrongWords = 2;  // words that make no sense, or that name nothing
inline constexpr int kExitNoService = 3;   // nobody answers, or not any more
inline constexpr int kExitNotPermitted = 4;

// Why a verb cannot be done. what() is a sentence without its full stop: what is wrong, and where;
// the advice is a sentence or more of its own, or "".
class Refusal : public std::runtime_error {
 public:
  Refusal(int status, const std::string& what, std::string advice = {})
      : std::runtime_error(what), status_(status), advice_(std::move(advice)) {}

  [[nodiscard]] int status() const noexcept { return status_; }
  [[nodiscard]] const std::string& advice() const noexcept { return advice_; }

 private:
  int status_;
  std::string advice_;
};

}  // namespace ktctl
