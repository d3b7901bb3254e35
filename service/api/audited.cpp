#include "api/audited.h"

#include <exception>
#include <utility>

#include "api/http_error.h"

namespace ktsvc::api {
namespace {

HttpError Refusal(const access::Decision& decision) {
  return HttpError(403, decision.sentence,
                   "GET /v1/explain tells which line of which file decides.")
      .WithCode(decision.status);
}

}  // namespace

void RequireRight(const ApiContext& context, const access::Caller& caller,
                  const access::Action& action) {
  const access::Decision decision = access::Decide(*context.policy, caller, action);
  if (!decision.allowed) {
    throw Refusal(decision);
  }
}

Audited::Audited(const Call& call, const access::Action& action, std::optional<std::string> object,
                 std::optional<std::uint32_t> level)
    : call_(call), action_(action), object_(std::move(object)), level_(level) {
  const access::Decision decision =
      access::Decide(*call.context.policy, call.request.caller, action_);
  decidedBy_ = decision.decidedBy;
  if (!decision.allowed) {
    status_ = decision.status;
    Write(false);
    throw Refusal(decision);
  }
}

Audited::~Audited() {
  Write(true);
}

void Audited::Write(bool allowed) noexcept {
  if (call_.context.audit == nullptr) {
    return;
  }
  try {
    access::AuditEntry entry(call_.request.caller);
    entry.time = time_;
    entry.action = action_;
    entry.object = object_;
    entry.level = level_;
    entry.status = status_;
    entry.allowed = allowed;
    entry.decidedBy = decidedBy_;
    entry.duration = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - begin_);
    call_.context.audit->Write(entry);
  } catch (const std::exception&) {
    // No memory for one line. What was done is done, and its answer is still owed.
    return;
  }
}

}  // namespace ktsvc::api
