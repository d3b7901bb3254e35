#include "ktcheck/call_failer.h"

#include <array>
#include <string_view>
#include <utility>

#include "ktcheck/failing_statuses.h"

namespace ktcheck {
namespace {

bool CanFail(const KtBusCall& call) {
  if (call.inward != 0) return false;
  if (call.resultKind == KTBUS_WORD_STATUS) return true;
  return IsCallOf(call, "_KtAlloc") || IsCallOf(call, "KtGUIDToString");
}

// Gives back what the call would.
void GiveBack(const KtBusCall& call) {
  const KtBusWord* const words = call.arguments;
  const std::string_view function = call.function;
  if (function == "PsFreeProperty") {
    PsFreeProperty(PointerIn<cuvo_property*>(words[0]));
  } else if (function == "PsDestroyPropset") {
    PsDestroyPropset(PointerIn<KtPropset>(words[0]));
  } else if (function == "KtCloseHandle") {
    KtCloseHandle(PointerIn<void*>(words[0]));
  } else if (function == "DbUnlockDatabase") {
    DbUnlockDatabase(PointerIn<KtProvider>(words[0]));
  } else if (function == "EvUnregisterEvent") {
    EvUnregisterEvent(PointerIn<KtDatabase>(words[0]), words[1].value);
  } else if (function == "ObUnregisterAlert") {
    ObUnregisterAlert(PointerIn<KtDatabase>(words[0]), words[1].value);
  } else if (function == "ObUnpublishAlert") {
    ObUnpublishAlert(PointerIn<KtDatabase>(words[0]), PointerIn<KtProvider>(words[1]),
                     PointerIn<const char*>(words[2]));
  }
}

}  // namespace

CallFailer::CallFailer(std::string module) : module_(std::move(module)) {}

void CallFailer::FailOne(std::uint64_t number, KtStatus status) {
  const std::lock_guard lock(mutex_);
  number_ = number;
  status_ = status;
}

void CallFailer::FailAtRandom(std::uint64_t seed) {
  const std::lock_guard lock(mutex_);
  dice_.emplace(seed);
}

void CallFailer::Pass() {
  const std::lock_guard lock(mutex_);
  dice_.reset();
  number_ = 0;
}

std::optional<KtStatus> CallFailer::Chosen(const KtBusCall& call) {
  const std::lock_guard lock(mutex_);
  ++calls_;
  KtStatus status = status_;
  if (dice_) {
    const std::uint64_t thrown = (*dice_)();
    if ((thrown & 1U) != 0) return std::nullopt;
    status = kFailingStatuses[(thrown >> 1U) % kFailingStatuses.size()];
  } else if (calls_ != number_) {
    return std::nullopt;
  }
  ++failed_;
  function_ = call.function;
  stack_ = dice_ ? CallStack{} : CaptureStack();
  return call.resultKind == KTBUS_WORD_STATUS ? status : 0;
}

bool CallFailer::Before(KtBusCall& call) {
  if (module_ != call.provider || !CanFail(call)) return false;
  const std::optional<KtStatus> status = Chosen(call);
  if (!status) return false;
  GiveBack(call);
  call.result = *status;
  return true;
}

void CallFailer::After(const KtBusCall& /*call*/) {}

std::uint64_t CallFailer::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::uint64_t CallFailer::failed() const {
  const std::lock_guard lock(mutex_);
  return failed_;
}

std::string CallFailer::function() const {
  const std::lock_guard lock(mutex_);
  return function_;
}

CallStack CallFailer::stack() const {
  const std::lock_guard lock(mutex_);
  return stack_;
}

}  // namespace ktcheck
