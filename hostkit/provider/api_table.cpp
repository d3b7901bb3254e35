#include "provider/api_table.h"

#include "base/guid_order.h"
#include "base/module.h"
#include "base/status.h"
#include "base/trace.h"
#include "dispatch/control_request.h"
#include "lifetime/entering_call.h"
#include "provider/provider.h"

namespace kt {
namespace {

constinit ApiState g_state;

// Whether the provider object may go: no other thread's call needs it any more.
bool WaitForCalls() noexcept {
  const std::chrono::milliseconds bound = g_state.longest_wait.load();
  if (EnteringCall::WaitForOthers(bound)) return true;
  Trace(kWarning, "%S::__KtApiShutdown(), TIMEOUT: calls did not come back within %d ms.",
        static_cast<int>(bound.count()));
  return false;
}

}  // namespace

ApiState& GetApiState() noexcept {
  return g_state;
}

void ResetApiState() noexcept {
  g_state.instance = nullptr;
  g_state.shutting_down = false;
  g_state.initialised = false;
  g_state.longest_wait = kLongestWait;
}

}  // namespace kt

using kt::WaitForCalls;

KtStatus __KtApiControl(const KtObjId* objectId, std::uint32_t selector, std::uint32_t controlCode,
                        KtPropset input, KtPropset output, std::uint32_t value6,
                        std::uint32_t value7, std::uint64_t value8, std::uint64_t value9,
                        std::uint64_t value10, std::uint64_t value11, std::uint64_t* providerOut) {
  const kt::EnteringCall call(kt::EnteringCall::Until::kHandedOver);
  if (kt::GetApiState().shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  if (!kt::GetApiState().initialised) {
    kt::Trace(kt::kError,
              "%S: ERROR: in CKtProvider::__KtApiControl(), provider object is not instantiated.");
    return KTERROR_UNEXPECTED;
  }
  if (objectId == nullptr || value10 == 0 || providerOut == nullptr) return E_INVALIDARG;

  *providerOut = reinterpret_cast<std::uintptr_t>(kt::ProviderHandle());
  CKtControlRequest request(*objectId, selector, controlCode, input, output, value6, value7, value8,
                            value9, value10, value11, providerOut);
  return CKtProvider::Instance()->Control(request);
}

KtStatus __KtApiInitialize(KtDatabase database, KtProvider provider) {
  const kt::EnteringCall call(kt::EnteringCall::Until::kReturned);
  kt::ApiState& state = kt::GetApiState();
  if (state.shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  try {
    CKtProvider* const instance = CKtProvider::Instance();
    kt::SetHandles(database, provider);
    state.initialised = true;
    return instance->Initialize();
  } catch (...) {
    state.initialised = false;
    // Where no object could be made, the name is the one that it would have had.
    const CKtProvider* const instance = CKtProvider::Existing();
    kt::Trace(kt::kError, "%S: ERROR: An exception was thrown in [%S] CKtProvider::Initialize()",
              instance == nullptr ? kt::ModuleName() : instance->Name().c_str());
    return KTERROR_UNEXPECTED;
  }
}

KtStatus __KtApiShutdown(std::uint64_t argument) {
  kt::ApiState& state = kt::GetApiState();
  kt::Trace(kt::kError, "%S::__KtApiShutdown(), started.");
  if (state.shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  CKtProvider* const provider = CKtProvider::Existing();
  if (provider == nullptr) {
    kt::Trace(kt::kError, "%S::__KtApiShutdown(), ERROR: Provider object is not instantiated.");
    return KTERROR_UNEXPECTED;
  }
  // Of two shutdowns at once, one goes on.
  if (state.shutting_down.exchange(true)) return KTERROR_PROVIDER_SHUTTING_DOWN;

  KtStatus status = KTERROR_UNEXPECTED;
  bool waited = false;
  try {
    status = provider->Shutdown(argument);
    waited = true;
    if (WaitForCalls()) {
      CKtProvider::DestroyInstance();
    } else {
      CKtProvider::StopManagers();
    }
  } catch (...) {
    kt::Trace(kt::kError, "%S::__KtApiShutdown(), caught unhandled exception.");
  }
  // A provider whose Shutdown threw is still there, and a call that entered must not make another.
  if (!waited) static_cast<void>(WaitForCalls());
  CKtProvider::ForgetInstance();
  state.initialised = false;
  kt::Trace(kt::kError, "%S::__KtApiShutdown(), completed.");
  return status;
}

KtStatus __KtApiGetAttr(std::uint64_t a, std::uint64_t b, std::uint64_t /*c*/, std::uint64_t d) {
  const kt::EnteringCall call(kt::EnteringCall::Until::kReturned);
  if (kt::GetApiState().shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  if (!kt::GetApiState().initialised) {
    kt::Trace(kt::kError,
              "%S: ERROR: in CKtProvider::__KtApiGetAttr(), provider object is not instantiated.");
    return KTERROR_UNEXPECTED;
  }
  return CKtProvider::Instance()->GetAttr(a, b, d);
}

KtStatus __KtApiChangeNotify(std::uint64_t a, std::uint64_t /*b*/, std::uint64_t c,
                             std::uint64_t d) {
  const kt::EnteringCall call(kt::EnteringCall::Until::kHandedOver);
  if (kt::GetApiState().shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  if (!kt::GetApiState().initialised) {
    kt::Trace(
        kt::kError,
        "%S: ERROR: in CKtProvider::__KtApiChangeNotify(), provider object is not instantiated.");
    return KTERROR_UNEXPECTED;
  }
  if (d == 0) return E_INVALIDARG;
  return CKtProvider::Instance()->Notify(a, c, d);
}

KtStatus __KtApiVersion(KtWchar** out) {
  const kt::EnteringCall call(kt::EnteringCall::Until::kReturned);
  if (kt::GetApiState().shutting_down) return KTERROR_PROVIDER_SHUTTING_DOWN;
  if (!kt::GetApiState().initialised) return E_NOTIMPL;
  if (out == nullptr) return E_INVALIDARG;
  return CKtProvider::Instance()->Version(out);
}
