#include "ktcheck/call_gate.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "property_value.h"
#include "status_text.h"

namespace ktcheck {
namespace {

constexpr std::array<std::string_view, 8> kReleases{
    "_KtFree",          "PsFreeProperty",    "PsDestroyPropset",  "KtCloseHandle",
    "DbUnlockDatabase", "EvUnregisterEvent", "ObUnregisterAlert", "ObUnpublishAlert"};

cuvo_bool AskAll(KtBusCall* call, void* context) {
  bool answered = false;
  for (CallListener* const listener : *static_cast<std::vector<CallListener*>*>(context)) {
    answered = listener->Before(*call) || answered;
  }
  return answered ? 1 : 0;
}

void TellAll(const KtBusCall* call, void* context) {
  for (CallListener* const listener : *static_cast<std::vector<CallListener*>*>(context)) {
    listener->After(*call);
  }
}

}  // namespace

CallGate::CallGate(std::vector<CallListener*> listeners) : listeners_(std::move(listeners)) {
  const KtBusCallGate gate{sizeof(KtBusCallGate), 0, &AskAll, &TellAll, &listeners_};
  ktsvc::RequireOk(KtBusSetCallGate(&gate), "KtBusSetCallGate");
}

CallGate::~CallGate() {
  KtBusSetCallGate(nullptr);
}

bool IsRelease(const KtBusCall& call) noexcept {
  return std::find(kReleases.begin(), kReleases.end(), call.function) != kReleases.end();
}

bool Succeeded(const KtBusCall& call) noexcept {
  if (call.outcome != KTBUS_CALL_MADE) return false;
  return call.resultKind != KTBUS_WORD_STATUS ||
         !ktsvc::StatusFails(static_cast<KtStatus>(call.result));
}

bool IsCallOf(const KtBusCall& call, const char* function) noexcept {
  return call.inward == 0 && std::string_view(call.function) == function;
}

}  // namespace ktcheck
