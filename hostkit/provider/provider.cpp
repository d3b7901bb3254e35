#include "provider/provider.h"

#include <atomic>
#include <memory>
#include <new>

#include "base/module.h"
#include "base/retired.h"
#include "base/trace.h"
#include "dispatch/control_manager.h"
#include "dispatch/event_manager.h"
#include "lifetime/custom_object_container.h"
#include "lifetime/singleton.h"
#include "lifetime/thread_container.h"

namespace {

std::atomic<CKtProvider*> g_provider{nullptr};

std::unique_ptr<CKtProvider> MakeOrNull() {
  try {
    return std::unique_ptr<CKtProvider>(kt::MakeProvider());
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

CKtProvider* CKtProvider::Instance() {
  if (CKtProvider* const existing = Existing()) return existing;
  static_cast<void>(kt::FindOrMake(g_provider, MakeOrNull));
  CreateManagers();
  // Where none could be made here, another thread may have made one meanwhile.
  CKtProvider* const current = Existing();
  if (current == nullptr) {
    kt::TraceAndThrow(KTERROR_UNEXPECTED, kt::kError,
                      "%S: ERROR: CKtProvider::Instance(), Unable to construct provider");
  }
  return current;
}

CKtProvider* CKtProvider::Existing() noexcept {
  return g_provider.load();
}

void CKtProvider::DestroyInstance() {
  // The destructor clears the pointer itself, at its place in the sequence.
  delete Existing();
}

void CKtProvider::StopManagers() {
  // The managers have stood since the provider was made. One that has been shut down since, and for
  // whose successor there is no memory, has nothing to stop.
  if (auto* const threads = kt::InstanceOrNull<CKtThreadContainer>()) threads->StopAll();
  kt::Trace(kt::kWarning, "%S::__KtApiShutdown(), CKtThreadContainer shutdown completed.");
  if (auto* const objects = kt::InstanceOrNull<CKtCustomObjectContainer>()) objects->Shutdown();
  kt::Trace(kt::kWarning, "%S::__KtApiShutdown(), CKtCustomObjectContainer shutdown completed.");
  if (const auto* const calls = kt::InstanceOrNull<CKtControlManager>()) calls->WaitForIdle();
  kt::Trace(kt::kWarning, "%S::__KtApiShutdown(), CKtControlManager shutdown completed.");
  if (auto* const events = kt::InstanceOrNull<CKtEventManager>()) events->Shutdown();
  kt::Trace(kt::kWarning, "%S::__KtApiShutdown(), CKtEventManager shutdown completed.");
}

void CKtProvider::ForgetInstance() noexcept {
  kt::Retire(std::unique_ptr<CKtProvider>(g_provider.exchange(nullptr)));
}

void CKtProvider::ReleaseInstance() noexcept {
  try {
    delete g_provider.exchange(nullptr);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the module goes; nobody is left to hear of it
  }
}

void CKtProvider::CreateManagers() {
  static_cast<void>(CKtCustomObjectContainer::Instance());
  static_cast<void>(CKtControlManager::Instance());
  static_cast<void>(CKtEventManager::Instance());
  static_cast<void>(CKtThreadContainer::Instance());
}

CKtProvider::CKtProvider() : name_(kt::ModuleName()) {}

CKtProvider::~CKtProvider() noexcept(false) {
  // An object that lost the race of two first uses, or that is released at module detach, is not
  // the module's provider any more: the managers are not its to stop.
  if (Existing() != this) return;

  struct PointerGuard {
    CKtProvider* self;
    // Only while it is this object: nobody else's pointer is taken away.
    ~PointerGuard() { g_provider.compare_exchange_strong(self, nullptr); }
  } const guard{this};

  StopManagers();
}

KtWString& CKtProvider::GetName(KtWString& out) const {
  return out = name_;
}

KtStatus CKtProvider::Initialize() {
  return 0;
}

KtStatus CKtProvider::Shutdown(std::uint64_t /*argument*/) {
  return 0;
}

KtStatus CKtProvider::Version(KtWchar** /*out*/) {
  return E_NOTIMPL;
}

KtStatus CKtProvider::Unused() {
  return 0;
}

KtStatus CKtProvider::GetAttr(std::uint64_t /*a*/, std::uint64_t /*b*/, std::uint64_t /*d*/) {
  return 0;
}

KtStatus CKtProvider::Notify(std::uint64_t a, std::uint64_t c, std::uint64_t d) {
  // The host passes the record's address as a plain word.
  return CKtEventManager::Instance().Notify(
      reinterpret_cast<const KtEventRecord*>(d),  // NOLINT(performance-no-int-to-ptr)
      a, c);
}

KtStatus CKtProvider::Control(CKtControlRequest& request) {
  return CKtControlManager::Instance().Invoke(request);
}
