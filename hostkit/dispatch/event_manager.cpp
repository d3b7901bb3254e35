#include "dispatch/event_manager.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory_resource>
#include <new>

#include "base/module.h"
#include "base/retired.h"
#include "base/trace.h"
#include "dispatch/activity_scope.h"
#include "lifetime/entering_call.h"
#include "lifetime/singleton.h"

namespace {

// A path without a database of its own subscribed to the provider's.
bool ListensTo(const CKtEventPath& path, KtDatabase database) noexcept {
  const KtDatabase own = path.GetDatabase();
  return own == database || (own == nullptr && database == kt::DatabaseHandle());
}

// A status was traced where it was thrown; what else a call-back throws is told here.
void InvokeContained(const CKtEventPath& path, const KtEventRecord& event, std::uint64_t first,
                     std::uint64_t third) noexcept {
  try {
    static_cast<void>(path.Invoke(&event, first, third));
  } catch (std::uint32_t) {
  } catch (...) {
    KtTrace(kt::kError, "ERROR: CKtEventManager::Notify(%s), unresolved exception in a call-back.",
            event.name);
  }
}

}  // namespace

std::atomic<CKtEventManager*> CKtEventManager::instance_{nullptr};

CKtEventManager& CKtEventManager::Instance() {
  return kt::InstanceOf(instance_,
                        [] { return std::unique_ptr<CKtEventManager>(new CKtEventManager); });
}

void CKtEventManager::ReleaseInstance() noexcept {
  kt::ReleaseInstanceOf(instance_);
}

CKtEventManager::~CKtEventManager() {
  const kt::LockGuard guard(lock_);
  ClearLocked();
}

KtStatus CKtEventManager::RegisterEventPath(const CKtEventPath& path) {
  {
    const kt::LockGuard guard(lock_);
    if (!forgotten_) return RegisterLocked(path);
  }
  return Instance().RegisterEventPath(path);
}

void CKtEventManager::UnRegisterEventPath(const CKtEventPath& path) noexcept {
  {
    const kt::LockGuard guard(lock_);
    if (!forgotten_) return UnRegisterLocked(path);
  }
  // Without memory for another manager the path stands nowhere.
  auto* const successor = kt::InstanceOrNull<CKtEventManager>();
  if (successor != nullptr) successor->UnRegisterEventPath(path);
}

KtStatus CKtEventManager::Notify(const KtEventRecord* event, std::uint64_t first,
                                 std::uint64_t third) {
  if (event == nullptr) return E_INVALIDARG;
  // Before the lock, where a call-back of another thread may hold this one up for as long as it
  // likes, even by a shutdown that waits for entering calls.
  kt::EnteringCall::HandOver();
  {
    const kt::LockGuard guard(lock_);
    if (!forgotten_) return NotifyLocked(*event, first, third);
  }
  return Instance().Notify(event, first, third);
}

void CKtEventManager::Shutdown() noexcept {
  const kt::LockGuard guard(lock_);
  ClearLocked();
  CKtEventManager* self = this;
  if (instance_.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel)) {
    forgotten_ = true;
    kt::Retire(std::unique_ptr<CKtEventManager>(this));
  }
}

void CKtEventManager::ForgetPath(const CKtEventPath& path) noexcept {
  CKtEventManager* const manager = instance_.load(std::memory_order_acquire);
  if (manager != nullptr) manager->ForgetPathHere(path);
}

std::size_t CKtEventManager::DispatcherCount() const noexcept {
  const kt::LockGuard guard(lock_);
  return dispatchers_.size();
}

KtStatus CKtEventManager::RegisterLocked(const CKtEventPath& path) {
  CKtEventDispatcher* found = FindLocked(path.GetEventName());
  const bool fresh = found == nullptr;
  try {
    if (fresh) {
      dispatchers_.push_back(std::make_unique<CKtEventDispatcher>(path.GetEventName()));
      found = dispatchers_.back().get();
      by_name_.try_emplace(found->GetName(), found);
    }
    static_cast<void>(found->Add(path));
  } catch (const std::bad_alloc&) {
    if (fresh && found != nullptr && found->Paths().empty()) EraseLocked(found);
    KtTrace(kt::kError, "ERROR: CKtEventManager::RegisterEventPath() failed : KTERROR_OUTOFMEMORY");
    return E_OUTOFMEMORY;
  }
  return 0;
}

void CKtEventManager::UnRegisterLocked(const CKtEventPath& path) noexcept {
  CKtEventDispatcher* const found = FindLocked(path.GetEventName());
  if (found == nullptr) {
    KtTrace(kt::kError, "ERROR: CKtEventManager::UnRegisterEventPath() failed");
    return;
  }
  ++removals_;
  found->Remove(path);
  if (found->Paths().empty()) EraseLocked(found);
}

// The scope closes, and deferred deletions run, before the lock is released: required.
KtStatus CKtEventManager::NotifyLocked(const KtEventRecord& event, std::uint64_t first,
                                       std::uint64_t third) {
  try {
    const CKtActivityScope scope;
    const CKtEventDispatcher* const dispatcher = MatchLocked(event);
    if (dispatcher == nullptr) {
      KtTrace(kt::kError,
              "ERROR: CKtEventManager::Notify(%s) failed with error KTERROR_NO_EVENT, no listener "
              "for event.",
              event.name);
      return KTERROR_NO_EVENT;
    }
    DeliverLocked(*dispatcher, event, first, third);
    return 0;
  } catch (const std::bad_alloc&) {
    KtTrace(kt::kError, "ERROR: CKtEventManager::Notify(%s) failed : KTERROR_OUTOFMEMORY",
            event.name);
    return E_OUTOFMEMORY;
  }
}

void CKtEventManager::ForgetPathHere(const CKtEventPath& path) noexcept {
  const kt::LockGuard guard(lock_);
  for (std::size_t i = dispatchers_.size(); i-- > 0;) {
    if (!dispatchers_[i]->Forget(path)) continue;
    ++removals_;
    if (dispatchers_[i]->Paths().empty()) EraseLocked(dispatchers_[i].get());
  }
}

CKtEventDispatcher* CKtEventManager::FindLocked(std::string_view name) const {
  const auto found = by_name_.find(name);
  return found == by_name_.end() ? nullptr : found->second;
}

// The first that equals or matches, in order of creation: an event reaches one dispatcher only.
// Which one equals is known beforehand, so the others are asked for their patterns alone.
const CKtEventDispatcher* CKtEventManager::MatchLocked(const KtEventRecord& event) const {
  if (event.name == nullptr) return nullptr;
  const CKtEventDispatcher* const equal = FindLocked(event.name);
  for (const auto& dispatcher : dispatchers_) {
    if (dispatcher.get() == equal ||
        EvMatch(event.database, event.name, dispatcher->GetName()) != 0) {
      return dispatcher.get();
    }
  }
  return nullptr;
}

bool CKtEventManager::IsAliveLocked(const CKtEventDispatcher* dispatcher,
                                    const CKtEventPath* path) const noexcept {
  return std::any_of(dispatchers_.begin(), dispatchers_.end(), [=](const auto& living) {
    return living.get() == dispatcher && living->Has(path);
  });
}

// Call-backs run with the lock held: required, and the reason why it is re-entrant. They may take
// out paths, and with them the dispatcher, even the whole manager: the walk goes over a copy of the
// addresses, and looks again whether an address still stands once something has been taken out.
void CKtEventManager::DeliverLocked(const CKtEventDispatcher& dispatcher,
                                    const KtEventRecord& event, std::uint64_t first,
                                    std::uint64_t third) {
  std::array<std::byte, 32 * sizeof(void*)> buffer{};
  std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
  std::pmr::vector<const CKtEventPath*> paths(dispatcher.Paths().begin(), dispatcher.Paths().end(),
                                              &memory);
  std::sort(paths.begin(), paths.end(), std::less<>());
  const std::uint64_t removals = removals_;
  for (const CKtEventPath* const path : paths) {
    if (removals_ != removals && !IsAliveLocked(&dispatcher, path)) continue;
    if (ListensTo(*path, event.database)) InvokeContained(*path, event, first, third);
  }
}

// Names that were cut may stand for several dispatchers: the next one takes the place of the first.
void CKtEventManager::EraseLocked(const CKtEventDispatcher* dispatcher) noexcept {
  const auto place = std::find_if(dispatchers_.begin(), dispatchers_.end(),
                                  [=](const auto& one) { return one.get() == dispatcher; });
  const std::unique_ptr<CKtEventDispatcher> gone = std::move(*place);
  dispatchers_.erase(place);
  const std::string_view name = gone->GetName();
  const auto found = by_name_.find(name);
  if (found == by_name_.end() || found->second != dispatcher) return;
  auto row = by_name_.extract(found);
  if (name.size() < CKtEventDispatcher::kNameLength) return;
  const auto next = std::find_if(dispatchers_.begin(), dispatchers_.end(),
                                 [=](const auto& one) { return one->IsNamed(name); });
  if (next == dispatchers_.end()) return;
  row.key() = (*next)->GetName();
  row.mapped() = next->get();
  by_name_.insert(std::move(row));
}

void CKtEventManager::ClearLocked() noexcept {
  ++removals_;
  by_name_.clear();
  for (auto& dispatcher : dispatchers_) dispatcher.reset();
  dispatchers_.clear();
}
