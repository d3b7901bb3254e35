// Audited: one deed of a caller, decided and put on record.
//
// Threads: one thread for one deed.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "access/access_decision.h"
#include "api/route.h"

namespace ktsvc::api {

// May the caller of this request do that? Throws HttpError 403 with the decision's sentence.
void RequireRight(const ApiContext& context, const access::Caller& caller,
                  const access::Action& action);

class Audited {
 public:
  // Decides. What is refused is on record when HttpError 403 leaves here.
  Audited(const Call& call, const access::Action& action, std::optional<std::string> object,
          std::optional<std::uint32_t> level = std::nullopt);

  // Puts it on record, without a status unless Done() has given one.
  ~Audited();
  Audited(const Audited&) = delete;
  Audited& operator=(const Audited&) = delete;

  // What became of it.
  void Done(KtStatus status) noexcept { status_ = status; }

 private:
  void Write(bool allowed) noexcept;

  const Call& call_;
  const access::Action action_;
  const std::optional<std::string> object_;
  const std::optional<std::uint32_t> level_;
  const std::chrono::system_clock::time_point time_ = std::chrono::system_clock::now();
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::string decidedBy_;
  std::optional<KtStatus> status_;
};

}  // namespace ktsvc::api
